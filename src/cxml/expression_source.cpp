#include "cxml/expression_source.h"

namespace ConditionalXml {

namespace {

constexpr WideView callWithoutBlank = OLESTR("Generate(");
constexpr WideView callWithBlank = OLESTR("Generate (");
constexpr WideView listMark = OLESTR("[]");

void replaceAll(WideString& text, WideView what, WideView with) {
    for (std::size_t at = text.find(what); at != WideString::npos; at = text.find(what, at + with.size()))
        text.replace(at, what.size(), with);
}

/// Without leading and trailing blanks; tabs stay.
WideView trimBlanks(WideView text) {
    const std::size_t first = text.find_first_not_of(OLESTR(' '));
    if (first == WideView::npos) return {};
    return text.substr(first, text.find_last_not_of(OLESTR(' ')) - first + 1);
}

/// The text between the first "Generate(" and the next closing parenthesis.
WideView argumentList(WideView source) {
    const std::size_t call = source.find(callWithoutBlank);
    if (call == WideView::npos) return {};
    const std::size_t begin = call + callWithoutBlank.size();
    const std::size_t end = source.find(OLESTR(')'), begin);
    return end == WideView::npos ? WideView{} : source.substr(begin, end - begin);
}

std::vector<ExpressionSource::Argument> splitArguments(WideView list) {
    std::vector<ExpressionSource::Argument> arguments;
    while (!list.empty()) {
        const std::size_t comma = list.find(OLESTR(','));
        const WideView piece = trimBlanks(list.substr(0, comma));
        WideString name(piece);
        replaceAll(name, listMark, {});
        if (!name.empty()) arguments.push_back({WideString(piece), name, name.size() != piece.size()});
        list = comma == WideView::npos ? WideView{} : list.substr(comma + 1);
    }
    return arguments;
}

}  // namespace

void ExpressionSource::addExpression(WideView text) {
    source_ += text;
    if (text.find(callWithoutBlank) != WideView::npos || text.find(callWithBlank) != WideView::npos)
        mentionsGenerate_ = true;
}

void ExpressionSource::addLibrary(WideView text) {
    source_ += OLESTR('\n');
    source_ += text;
}

std::vector<ExpressionSource::Argument> ExpressionSource::takeArguments() {
    std::vector<Argument> arguments = splitArguments(argumentList(source_));
    for (const Argument& argument : arguments) {
        WideString pythonName = argument.name;
        replaceAll(pythonName, OLESTR("."), OLESTR("_"));
        if (argument.isList) replaceAll(source_, argument.piece, pythonName);
        if (argument.qualified()) replaceAll(source_, argument.name, pythonName);
    }
    return arguments;
}

WideString ExpressionSource::finish() {
    if (!mentionsGenerate_) return std::move(source_);
    WideString resolved;
    resolved.reserve(source_.size());
    for (std::size_t i = 0; i < source_.size(); ++i) {
        resolved.push_back(source_[i]);
        if (source_[i] != OLESTR('\\') || i + 1 == source_.size()) continue;
        const OLECHAR second = source_[++i];
        if (second == OLESTR('n'))
            resolved.back() = OLESTR('\n');
        else if (second == OLESTR('t'))
            resolved.back() = OLESTR('\t');
        else if (second != OLESTR('\\'))
            resolved.push_back(second);
    }
    return resolved;
}

}  // namespace ConditionalXml
