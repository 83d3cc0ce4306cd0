#include "document_model.h"

#include "cxml/document_reader.h"
#include "cxml/expression_file.h"
#include "text/text.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <filesystem>

namespace cxml {

using ConditionalXml::attributesOf;
using ConditionalXml::attributeText;
using ConditionalXml::FeatureClassRule;
using ConditionalXml::LibraryPiece;
using ConditionalXml::view;

std::optional<std::string> attributeOf(IXMLDOMNode* element, const OLECHAR* name) {
    const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(element);
    const std::optional<CComBSTR> text = attributes ? attributeText(attributes, name) : std::nullopt;
    if (!text) return std::nullopt;
    return toUtf8(*text);
}

std::string CheckedCondition::title() const {
    if (condition->rulename.Length() == 0) return "the condition";
    return fmt::format("the condition '{}'", toUtf8(condition->rulename));
}

std::vector<const CheckedClass::List*> CheckedClass::lists() const {
    std::vector<const List*> all{&defaults};
    for (const auto& [code, list] : subtypes) all.push_back(&list);
    return all;
}

namespace {

LONG textLineOf(IXMLDOMNode* element) {
    LONG line = 0;
    if (const CComQIPtr<INodeTrace> trace(element); trace) trace->get_textLine(&line);
    return line == 0 ? lineOf(element) : line;
}

std::string quotedText(const CComBSTR& text) {
    return fmt::format("'{}'", toUtf8(text));
}

// Where the library found the file, as a person would name it.
std::string shownPath(const std::string& path, const std::string& folder) {
    std::error_code error;
    if (std::filesystem::exists(path, error)) return path;
    return std::filesystem::exists(folder + path, error) ? folder + path : path;
}

}  // namespace

DocumentModel::DocumentModel(IXMLDOMDocument* document, Findings& findings) : findings_(findings) {
    // What Python says of the expressions is asked for by itself.
    ConditionalXml::readDocument(map_, toPathBstr(findings.document()), document,
                                 {nullptr, [](ConditionalXml::Condition&) {}, this, true});
}

const CheckedClass* DocumentModel::find(const std::string& alias) const {
    const auto rule = map_.find(upperCase(toBstr(alias)));
    return rule ? byRule_.at(rule.get()) : nullptr;
}

std::string DocumentModel::folder() const {
    return toUtf8(ConditionalXml::folderOf(view(toPathBstr(findings_.document()))));
}

void DocumentModel::findDuplicate(IXMLDOMNode* element, const LibraryPiece& piece) {
    if (piece.file)
        findings_.add(
            lineOf(element), "library-duplicate",
            fmt::format("there is a library piece {} already: the document does not load", quotedText(*piece.name)));
    else
        findings_.add(lineOf(element), "library-duplicate",
                      fmt::format("the library piece {} replaces the one in line {}", quotedText(*piece.name),
                                  library_.at(*piece.name).place.line));
}

void DocumentModel::onLibraryPiece(IXMLDOMNode* element, const LibraryPiece& piece) {
    if (!piece.name) {
        findings_.add(lineOf(element), "library-unnamed",
                      "the piece of the function library has no attribute 'name': the document does not load");
        return;
    }
    if (piece.isTaken) findDuplicate(element, piece);
    if (!piece.source) {
        if (piece.isTaken) return;
        findings_.add(lineOf(element), "library-file",
                      fmt::format("the expression file {} {}: the document does not load", quotedText(piece.text),
                                  piece.file->refusal ? piece.file->refusal : "cannot be opened"));
        return;
    }
    Place place{findings_.document(), textLineOf(element)};
    if (piece.file) place = {shownPath(toUtf8(piece.text), folder()), 1};
    library_[*piece.name] = {WideString(*piece.source), std::move(place)};
}

void DocumentModel::onUnnamedClass(IXMLDOMNode* element) {
    findings_.add(lineOf(element), "class-unnamed", "the featureClass has no attribute 'name': nothing of it is used");
}

void DocumentModel::beginClass(IXMLDOMNode* element, const CComBSTR& name, FeatureClassRule& rule) {
    CheckedClass*& checked = byRule_[&rule];
    if (!checked) {
        checked = &classes_.emplace_back();
        checked->line = lineOf(element);
        checked->name = toUtf8(name);
    }
    class_ = checked;
    list_.clear();
    defaultsAreKept_ = false;
}

void DocumentModel::endClass(FeatureClassRule& /*rule*/, bool isKept, const FeatureClassRule* replaced) {
    if (defaultsAreKept_) class_->defaults.insert(class_->defaults.end(), list_.begin(), list_.end());
    class_->isKept = isKept;
    if (!replaced) return;
    CheckedClass& earlier = *byRule_.at(replaced);
    earlier.isKept = false;
    findings_.add(class_->line, "class-replaced",
                  fmt::format("the featureClass '{}' replaces the one in line {}; only a name in upper case adds to an "
                              "earlier one",
                              class_->name, earlier.line));
}

void DocumentModel::beginSubtype(IXMLDOMNode* element, const std::optional<CComBSTR>& number,
                                 const std::set<LONG>& codes) {
    list_.clear();
    if (!number)
        findings_.add(lineOf(element), "subtype-number",
                      fmt::format("the subtype has no attribute 'number': the featureClass '{}' is not configured by "
                                  "this element",
                                  class_->name));
    else if (codes.empty())
        findings_.add(
            lineOf(element), "subtype-number",
            fmt::format("no row can reach the subtype's conditions: its number {} holds no code", quotedText(*number)));
}

void DocumentModel::endSubtype(const std::set<LONG>& codes, bool isKept) {
    if (!isKept) return;
    for (const LONG code : codes) {
        CheckedClass::List& list = class_->subtypes[code];
        list.insert(list.end(), list_.begin(), list_.end());
    }
}

void DocumentModel::beginDefaults(bool isKept) {
    list_.clear();
    defaultsAreKept_ = isKept;
}

void DocumentModel::beginCondition(IXMLDOMNode* element) {
    openConditions_.emplace_back().line = lineOf(element);
}

void DocumentModel::endCondition(const std::shared_ptr<ConditionalXml::Condition>& condition, bool attributesAreGood,
                                 bool isKept) {
    CheckedCondition checked = std::move(openConditions_.back());
    openConditions_.pop_back();
    checked.condition = condition;
    checked.attributesAreGood = attributesAreGood;
    checked.isKept = isKept;
    if (!openRules_.empty()) {
        openRules_.back().nested.push_back(std::move(checked));
        return;
    }
    const CheckedCondition& stored = class_->conditions.emplace_back(std::move(checked));
    if (isKept) list_.push_back(&stored);
}

void DocumentModel::beginRule(IXMLDOMNode* element) {
    CheckedRule& rule = openRules_.emplace_back();
    rule.element = element;
    rule.line = lineOf(element);
}

void DocumentModel::onRule(const std::shared_ptr<ConditionalXml::Rule>& rule) {
    openRules_.back().rule = rule;
}

void DocumentModel::endRule() {
    openConditions_.back().rules.push_back(std::move(openRules_.back()));
    openRules_.pop_back();
}

void DocumentModel::onExpression(IXMLDOMNode* element, WideView text, const std::optional<CComBSTR>& library,
                                 const std::optional<WideView>& piece) {
    CheckedExpression& expression = openConditions_.back().expression;
    if (expression.line == 0) expression.line = lineOf(element);
    const Place place{findings_.document(), textLineOf(element)};
    expression.lines.add(text, place);
    if (!library) return;
    if (!piece) {
        findings_.add(lineOf(element), "library-unknown",
                      fmt::format("the function library has no piece {}", quotedText(*library)));
        return;
    }
    expression.lines.add(OLESTR("\n"), place);
    expression.lines.add(*piece, library_.at(*library).place);
}

void DocumentModel::onExpressionSource(const std::vector<ConditionalXml::ExpressionSource::Argument>& arguments,
                                       WideView source, bool escapesResolved) {
    CheckedExpression& expression = openConditions_.back().expression;
    expression.arguments = arguments;
    expression.source = source;
    expression.escapesResolved = escapesResolved;
}

}  // namespace cxml
