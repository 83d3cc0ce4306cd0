#include "markup.h"

#include <fmt/format.h>
#include <algorithm>

namespace cxml {
namespace {

constexpr std::string_view space = " \t\r\n";

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

// Behind what begins with "<!" or "<?", document types excepted, of which the end of the first part is taken.
std::size_t behindSpecial(std::string_view text, std::size_t at) {
    if (text.substr(at).starts_with("<!--")) return behind(text, "-->", at + 4);
    if (text.substr(at).starts_with("<![CDATA[")) return behind(text, "]]>", at + 9);
    if (text.substr(at).starts_with("<?")) return behind(text, "?>", at + 2);
    const std::size_t subset = text.find('[', at);
    const std::size_t end = text.find('>', at);
    return subset < end ? behind(text, "]>", subset) : behind(text, ">", at);
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

class Scan {
public:
    /// Up to a bound, in bytes.
    Scan(std::string_view text, std::size_t bound) : text_(text), bound_(bound) {}

    Open run() {
        std::size_t at = text_.find('<');
        while (at < bound_) {
            const char next = at + 1 < text_.size() ? text_[at + 1] : '\0';
            if (next == '!' || next == '?')
                at = behindSpecial(text_, at);
            else if (next == '/')
                at = endTag(at);
            else if (!startTag(at))
                break;
            at = text_.find('<', at);
        }
        return std::move(open_);
    }

private:
    // \return the end of the text where another element is open.
    std::size_t endTag(std::size_t at) {
        const std::string_view name = nameAt(at + 2);
        if (!open_.elements.empty() && nameAt(open_.elements.back() + 1) != name) return text_.size();
        if (!open_.elements.empty()) open_.elements.pop_back();
        return behind(text_, ">", at);
    }

    std::string_view nameAt(std::size_t at) const {
        return text_.substr(at, std::min(text_.find_first_of(" \t\r\n/>", at), text_.size()) - at);
    }

    // \param at is moved behind the tag. \return false when the tag does not end before the bound.
    bool startTag(std::size_t& at) {
        const std::size_t begin = at;
        open_.swallowing.reset();
        at = std::min(text_.find_first_of(" \t\r\n/>", at + 1), text_.size());
        for (;;) {
            at = std::min(text_.find_first_not_of(space, at), text_.size());
            if (at >= bound_) return false;
            if (text_[at] == '>' || text_[at] == '/') break;
            if (!attribute(at)) return false;
        }
        open_.swallowing.reset();
        const bool isEmpty = text_[at] == '/';
        at = behind(text_, ">", at);
        if (!isEmpty) open_.elements.push_back(begin);
        return true;
    }

    bool attribute(std::size_t& at) {
        const std::size_t begin = at;
        const std::size_t equals = text_.find_first_of("=<>", at);
        if (equals == std::string_view::npos || text_[equals] != '=') return false;
        const std::size_t quote = text_.find_first_not_of(space, equals + 1);
        if (quote == std::string_view::npos || (text_[quote] != '"' && text_[quote] != '\'')) return false;
        const std::size_t end = text_.find(text_[quote], quote + 1);
        const std::size_t tag = text_.find('<', quote + 1);
        if (end == std::string_view::npos || tag < end) {
            open_.value = begin;
            return false;
        }
        std::string_view value = text_.substr(quote + 1, end - quote - 1);
        if (value.ends_with('=')) {
            value.remove_suffix(1);
            const std::size_t blank = value.find_last_of(space);
            if (blank != std::string_view::npos && isName(value.substr(blank + 1))) open_.swallowing = begin;
        }
        at = end + 1;
        return true;
    }

    std::string_view text_;
    std::size_t bound_;
    Open open_;
};

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
    const Open open = Scan(source.text(), offsetOf(source, failure.place)).run();
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
        const std::size_t begin = text.find_first_not_of(space, at + 4);
        if (begin == std::string_view::npos || !text.substr(begin).starts_with(word)) continue;
        const std::size_t end = text.find("-->", begin);
        if (end == std::string_view::npos) break;
        std::size_t next = end + 3;
        for (;;) {
            next = std::min(text.find_first_not_of(space, next), text.size());
            if (!text.substr(next).starts_with("<!--")) break;
            next = behind(text, "-->", next);
        }
        CommentedTag tag{text.substr(begin, end - begin), cursor.at(at), {}, {}};
        if (next + 1 < text.size() && text[next] == '<' && text[next + 1] != '/' && text[next + 1] != '!') {
            Cursor ahead = cursor;
            tag.tag = ahead.at(next);
            std::size_t close = next;
            // No value of an attribute holds "<", but it may hold ">".
            for (char quote = '\0'; close < text.size() && (quote != '\0' || text[close] != '>'); ++close)
                if (quote == '\0' ? text[close] == '"' || text[close] == '\'' : text[close] == quote)
                    quote = quote == '\0' ? text[close] : '\0';
            tag.tagEnd = ahead.at(close);
        }
        found.push_back(tag);
    }
    return found;
}

}  // namespace cxml
