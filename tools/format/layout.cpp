#include "layout.h"

#include "tools/check/language.h"
#include "tools/text/markup.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace cxml {
namespace {

using Kind = MarkupPiece::Kind;

constexpr std::size_t indentation = 2;

bool isBlank(std::string_view text) {
    return text.find_first_not_of(markupSpace) == std::string_view::npos;
}

bool hasLineBreak(std::string_view text) {
    return text.find_first_of("\r\n") != std::string_view::npos;
}

std::size_t lineBreaks(std::string_view text) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text[i] == '\n' || (text[i] == '\r' && !text.substr(i + 1).starts_with('\n'))) ++count;
    return count;
}

// The first of the line ends in it; empty without one.
std::string_view lineEndOf(std::string_view text) {
    const std::size_t at = text.find_first_of("\r\n");
    if (at == std::string_view::npos) return {};
    return text.substr(at, text.substr(at).starts_with("\r\n") ? 2 : 1);
}

std::size_t width(std::string_view text) {
    return static_cast<std::size_t>(
        std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

// The place of an attribute among those that elements of the name may have; behind them all for others.
std::size_t rankOf(std::string_view element, std::string_view attribute) {
    for (const LanguageElement& known : languageElements()) {
        if (known.name != element) continue;
        const auto found = std::ranges::find(known.attributes, attribute);
        if (found != known.attributes.end()) return static_cast<std::size_t>(found - known.attributes.begin());
    }
    return SIZE_MAX;
}

bool hasTextOfItsOwn(std::string_view element) {
    return std::ranges::any_of(languageElements(),
                               [&](const LanguageElement& known) { return known.hasText && known.name == element; });
}

bool isInLanguage(std::string_view element) {
    return std::ranges::any_of(languageElements(), [&](const LanguageElement& known) { return known.name == element; });
}

// A piece without what can be read again.
struct Part {
    Kind kind;
    std::size_t begin;
    std::size_t end;
    std::size_t last;  // of a start tag the number of its end tag, of others their own
};

class Layout {
public:
    explicit Layout(std::string_view text) : text_(text) {
        std::vector<std::size_t> open;
        MarkupReader reader(text);
        for (MarkupPiece piece; reader.next(piece);) {
            const std::size_t number = parts_.size();
            parts_.push_back({piece.kind, piece.begin, piece.end, number});
            if (piece.kind == Kind::StartTag) open.push_back(number);
            if (piece.kind != Kind::EndTag || open.empty()) continue;
            parts_[open.back()].last = number;
            open.pop_back();
        }
    }

    std::string run() {
        lineEnd_ = usualLineEnd();
        content(0, parts_.size(), 0, true);
        result_ += lineEnd_;
        return std::move(result_);
    }

private:
    std::string_view source(const Part& part) const { return text_.substr(part.begin, part.end - part.begin); }
    std::string_view source(std::size_t first, std::size_t last) const {
        return text_.substr(parts_[first].begin, parts_[last].end - parts_[first].begin);
    }

    // What the document ends its lines with: the first one between tags tells, since what is kept may have others.
    std::string_view usualLineEnd() const {
        for (std::size_t i = 0; i < parts_.size(); ++i) {
            const Part& part = parts_[i];
            const std::string_view end = part.kind == Kind::Text ? lineEndOf(source(part)) : std::string_view();
            if (!end.empty()) return end;
            if (part.kind != Kind::StartTag) continue;
            const MarkupPiece piece = tag(i);
            if (keepsContent(i, piece.name, piece)) i = part.last;
        }
        const std::string_view any = lineEndOf(text_);
        return any.empty() ? "\n" : any;
    }

    MarkupPiece tag(std::size_t number) const {
        MarkupPiece piece;
        MarkupReader(source(parts_[number])).next(piece);
        return piece;
    }

    // The start tag on one line, but for line breaks in values.
    std::string startTag(std::size_t number) const {
        MarkupPiece piece = tag(number);
        const std::string_view written = source(parts_[number]);
        std::ranges::sort(piece.attributes, {}, [&](const MarkupAttribute& attribute) {
            return std::pair(rankOf(piece.name, attribute.name), attribute.begin);
        });
        std::string text = '<' + std::string(piece.name);
        for (const MarkupAttribute& attribute : piece.attributes) {
            text += ' ';
            text += attribute.name;
            text += '=';
            text += written.substr(attribute.value - 1, attribute.end - attribute.value + 2);
        }
        return text;
    }

    // Whether what is in the element stays as it is written.
    bool keepsContent(std::size_t first, std::string_view name, const MarkupPiece& piece) const {
        if (hasTextOfItsOwn(name)) return true;
        const bool isPreserved = std::ranges::any_of(piece.attributes, [&](const MarkupAttribute& attribute) {
            return attribute.name == "xml:space" &&
                   source(parts_[first]).substr(attribute.value, attribute.end - attribute.value) == "preserve";
        });
        if (isPreserved) return true;
        bool isEmpty = true;
        for (std::size_t i = first + 1; i < parts_[first].last; i = parts_[i].last + 1) {
            const Part& part = parts_[i];
            if (part.kind == Kind::CharacterData || (part.kind == Kind::Text && !isBlank(source(part)))) return true;
            if (part.kind != Kind::Text) isEmpty = false;
        }
        return isEmpty && !isInLanguage(name);
    }

    // The element without line breaks; nothing when it was not so before, is too wide, or has grandchildren.
    std::optional<std::string> onOneLine(std::size_t first, std::size_t depth, const std::string& start,
                                         std::string_view name) const {
        const std::size_t last = parts_[first].last;
        if (hasLineBreak(source(first, last))) return std::nullopt;
        std::string line = start + '>';
        bool isBehindComment = false;
        for (std::size_t i = first + 1; i < last; i = parts_[i].last + 1) {
            const Part& part = parts_[i];
            if (part.kind == Kind::Text) continue;
            const bool isElement = part.kind == Kind::StartTag || part.kind == Kind::EmptyTag;
            if (isBehindComment || (!isElement && i > first + 1)) line += ' ';
            isBehindComment = !isElement;
            if (!isElement) {
                line += source(part);
                continue;
            }
            const MarkupPiece child = tag(i);
            if (!keepsContent(i, child.name, child) && !isWithoutContent(i)) return std::nullopt;
            line += element(i);
            if (line.size() > 4 * widestLine) return std::nullopt;  // bytes of a character
        }
        line += "</" + std::string(name) + '>';
        if (width(line) + depth * indentation > widestLine) return std::nullopt;
        return line;
    }

    // An element that is kept as it is, or has nothing in it.
    std::string element(std::size_t first) const {
        const MarkupPiece piece = tag(first);
        const std::string start = startTag(first);
        const Part& part = parts_[first];
        if (part.kind == Kind::EmptyTag || !keepsContent(first, piece.name, piece)) return start + "/>";
        return start + '>' + std::string(text_.substr(part.end, parts_[part.last].begin - part.end)) + "</" +
               std::string(piece.name) + '>';
    }

    bool isWithoutContent(std::size_t first) const {
        for (std::size_t i = first + 1; i < parts_[first].last; ++i)
            if (parts_[i].kind != Kind::Text) return false;
        return true;
    }

    void writeElement(std::size_t first, std::size_t depth) {
        const MarkupPiece piece = tag(first);
        if (parts_[first].kind == Kind::EmptyTag || keepsContent(first, piece.name, piece) || isWithoutContent(first)) {
            result_ += element(first);
            return;
        }
        const std::string start = startTag(first);
        if (const auto line = onOneLine(first, depth, start, piece.name)) {
            result_ += *line;
            return;
        }
        result_ += start + '>';
        content(first + 1, parts_[first].last, depth + 1, false);
        newLine(depth);
        result_ += "</" + std::string(piece.name) + '>';
    }

    void newLine(std::size_t depth) {
        result_ += lineEnd_;
        result_.append(depth * indentation, ' ');
    }

    // What stands between the tags of an element, or the whole document.
    void content(std::size_t first, std::size_t end, std::size_t depth, bool isDocument) {
        std::size_t breaks = 0;  // in the source, since what came before
        bool isFirst = isDocument;
        for (std::size_t i = first; i < end; i = parts_[i].last + 1) {
            const Part& part = parts_[i];
            if (part.kind == Kind::Text) {
                breaks = lineBreaks(source(part));
                continue;
            }
            const bool staysOnLine = part.kind == Kind::Comment && breaks == 0;
            if (!isFirst && staysOnLine) result_ += ' ';
            if (!isFirst && !staysOnLine) {
                if (breaks > 1) result_ += lineEnd_;
                newLine(depth);
            }
            isFirst = false;
            breaks = 0;
            if (part.kind == Kind::StartTag || part.kind == Kind::EmptyTag)
                writeElement(i, depth);
            else
                result_ += source(part);
        }
        if (!isDocument && breaks > 1) result_ += lineEnd_;
    }

    std::string_view text_;
    std::string_view lineEnd_;
    std::vector<Part> parts_;
    std::string result_;
};

}  // namespace

std::string laidOut(std::string_view text) {
    return Layout(text).run();
}

}  // namespace cxml
