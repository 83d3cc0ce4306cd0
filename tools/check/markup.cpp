#include "markup.h"

#include "tools/text/markup.h"

#include <fmt/format.h>
#include <algorithm>

namespace cxml {
namespace {

// Walks forward through a text and knows lines and columns.
class Cursor {
public:
    explicit Cursor(std::string_view text) : text_(text) {}

    Spot at(std::size_t offset) {
        for (; offset_ < std::min(offset, text_.size()); ++offset_) {
            if (text_[offset_] == '\n') {
                ++spot_.line;
                spot_.column = 1;
            } else if ((static_cast<unsigned char>(text_[offset_]) & 0xC0U) != 0x80U) {
                ++spot_.column;
            }
        }
        return spot_;
    }

private:
    std::string_view text_;
    std::size_t offset_ = 0;
    Spot spot_{1, 1};
};

// Behind the mark that ends something; the end of the text when there is none.
std::size_t behind(std::string_view text, std::string_view mark, std::size_t from) {
    const std::size_t at = text.find(mark, from);
    return at == std::string_view::npos ? text.size() : at + mark.size();
}

bool isName(std::string_view text) {
    return !text.empty() && text.find_first_of(" \t\r\n<>=/\"'") == std::string_view::npos;
}

// What was open where a parser gave up.
struct Open {
    std::optional<std::size_t> value;       // the attribute whose value has no end
    std::optional<std::size_t> swallowing;  // the attribute whose value ended where the next one's was to begin
    std::vector<std::size_t> elements;      // start tags without end tags
};

// Whether a value looks as if it ended where the next attribute's was to begin.
bool swallowsAName(std::string_view value) {
    if (!value.ends_with('=')) return false;
    value.remove_suffix(1);
    const std::size_t blank = value.find_last_of(markupSpace);
    return blank != std::string_view::npos && isName(value.substr(blank + 1));
}

// \param bound where a parser gave up, in bytes.
Open openAt(std::string_view text, std::size_t bound) {
    Open open;
    std::vector<std::string_view> names;  // of the elements
    MarkupReader reader(text);
    for (MarkupPiece piece; reader.next(piece) && piece.begin < bound;) {
        if (piece.kind == MarkupPiece::Kind::EndTag) {
            if (names.empty()) continue;
            if (names.back() != piece.name) break;
            names.pop_back();
            open.elements.pop_back();
        } else if (piece.kind == MarkupPiece::Kind::StartTag || piece.kind == MarkupPiece::Kind::EmptyTag) {
            if (piece.isWhole && piece.end <= bound) {
                if (piece.kind == MarkupPiece::Kind::EmptyTag) continue;
                names.push_back(piece.name);
                open.elements.push_back(piece.begin);
                continue;
            }
            if (piece.open && *piece.open < bound) open.value = piece.open;
            for (const MarkupAttribute& attribute : piece.attributes)
                if (attribute.begin < bound &&
                    swallowsAName(text.substr(attribute.value, attribute.end - attribute.value)))
                    open.swallowing = attribute.begin;
            break;
        }
    }
    return open;
}

std::size_t offsetOf(const SourceText& source, const Place& place) {
    const std::string_view line = source.line(place.line);
    if (line.data() == nullptr) return source.text().size();
    return static_cast<std::size_t>(line.data() - source.text().data()) + bytesBefore(line, place.column);
}

}  // namespace

void addNotWellFormed(const MarkupFailure& failure, const SourceText& source, Findings& findings) {
    const Spot noticed{failure.place.line, failure.place.column};
    const auto remark = [&](Spot at, const char* text) {
        return Remark{{failure.place.file, at.line, at.column}, {}, text};
    };
    Finding& finding = findings.add(noticed, "not-well-formed", failure.reason);
    if (source.text().empty() || noticed.line == 0) return;
    const Open open = openAt(source.text(), offsetOf(source, failure.place));
    Cursor cursor(source.text());
    if (const auto value = open.value ? open.value : open.swallowing) {
        const Spot begin = cursor.at(*value);
        finding.place.line = begin.line;
        finding.place.column = begin.column;
        finding.text = fmt::format("the value of an attribute has no end: {}", failure.reason);
        finding.other = remark(noticed, "this is where it was noticed");
        finding.help = "write a quotation mark at the end of the value";
    } else if (!open.elements.empty()) {
        finding.other = remark(cursor.at(open.elements.back()), "this element is open");
    }
}

std::vector<CommentedTag> commentsWith(std::string_view word, const SourceText& source) {
    std::vector<CommentedTag> found;
    const std::string_view text = source.text();
    Cursor cursor(text);
    for (std::size_t at = text.find("<!--"); at != std::string_view::npos; at = text.find("<!--", at + 1)) {
        const std::size_t begin = text.find_first_not_of(markupSpace, at + 4);
        if (begin == std::string_view::npos || !text.substr(begin).starts_with(word)) continue;
        const std::size_t end = text.find("-->", begin);
        if (end == std::string_view::npos) break;
        std::size_t next = end + 3;
        for (;;) {
            next = std::min(text.find_first_not_of(markupSpace, next), text.size());
            if (!text.substr(next).starts_with("<!--")) break;
            next = behind(text, "-->", next);
        }
        CommentedTag tag{text.substr(begin, end - begin), cursor.at(at), {}, {}};
        if (next + 1 < text.size() && text[next] == '<' && text[next + 1] != '/' && text[next + 1] != '!') {
            Cursor ahead = cursor;
            tag.tag = ahead.at(next);
            MarkupPiece piece;
            MarkupReader(text.substr(next)).next(piece);
            tag.tagEnd = ahead.at(next + piece.end);
        }
        found.push_back(tag);
    }
    return found;
}

}  // namespace cxml
