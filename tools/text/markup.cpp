#include "tools/text/markup.h"

#include <algorithm>

namespace cxml {
namespace {

using Kind = MarkupPiece::Kind;

constexpr std::string_view nameEnd = " \t\r\n/>";

std::size_t behind(std::string_view text, std::string_view mark, std::size_t from) {
    const std::size_t at = text.find(mark, from);
    return at == std::string_view::npos ? at : at + mark.size();
}

}  // namespace

bool MarkupReader::next(MarkupPiece& piece) {
    if (at_ >= text_.size()) return false;
    piece.begin = at_;
    piece.name = {};
    piece.isWhole = true;
    piece.open.reset();
    piece.attributes.clear();
    const std::string_view rest = text_.substr(at_);
    if (!rest.starts_with('<')) {
        piece.kind = Kind::Text;
        piece.end = std::min(text_.find('<', at_), text_.size());
    } else if (rest.starts_with("<!--")) {
        until(piece, Kind::Comment, "<!--", "-->");
    } else if (rest.starts_with("<![CDATA[")) {
        until(piece, Kind::CharacterData, "<![CDATA[", "]]>");
    } else if (rest.starts_with("<?")) {
        until(piece, Kind::Instruction, "<?", "?>");
    } else if (rest.starts_with("<!")) {
        documentType(piece);
    } else {
        tag(piece);
    }
    if (piece.end == std::string_view::npos) piece.isWhole = false;
    if (!piece.isWhole) piece.end = text_.size();
    at_ = piece.end;
    return true;
}

void MarkupReader::until(MarkupPiece& piece, Kind kind, std::string_view begin, std::string_view end) const {
    piece.kind = kind;
    piece.end = behind(text_, end, piece.begin + begin.size());
}

// Its internal subset may hold marks of its end in comments, instructions and quotes.
void MarkupReader::documentType(MarkupPiece& piece) const {
    piece.kind = Kind::DocumentType;
    piece.end = std::string_view::npos;
    std::size_t at = piece.begin + 2;
    for (bool isSubset = false; at < text_.size();) {
        const char c = text_[at];
        const std::string_view rest = text_.substr(at);
        if (c == '"' || c == '\'') {
            at = behind(text_, text_.substr(at, 1), at + 1);
        } else if (rest.starts_with("<!--")) {
            at = behind(text_, "-->", at + 4);
        } else if (rest.starts_with("<?")) {
            at = behind(text_, "?>", at + 2);
        } else if (c == '>' && !isSubset) {
            piece.end = at + 1;
            return;
        } else {
            if (c == '[') isSubset = true;
            if (c == ']') isSubset = false;
            ++at;
        }
    }
}

void MarkupReader::tag(MarkupPiece& piece) const {
    const bool isEnd = text_.substr(piece.begin).starts_with("</");
    const std::size_t name = piece.begin + (isEnd ? 2 : 1);
    std::size_t at = std::min(text_.find_first_of(nameEnd, name), text_.size());
    piece.kind = isEnd ? Kind::EndTag : Kind::StartTag;
    piece.name = text_.substr(std::min(name, at), at - std::min(name, at));
    if (isEnd) {
        piece.end = behind(text_, ">", at);
        return;
    }
    for (;;) {
        at = std::min(text_.find_first_not_of(markupSpace, at), text_.size());
        if (at < text_.size() && (text_[at] == '>' || text_[at] == '/')) break;
        if (at == text_.size() || !attribute(piece, at)) {
            piece.isWhole = false;
            return;
        }
    }
    if (text_[at] == '/') piece.kind = Kind::EmptyTag;
    piece.end = behind(text_, ">", at);
}

// \param at is moved behind it. \return whether it is one.
bool MarkupReader::attribute(MarkupPiece& piece, std::size_t& at) const {
    const std::size_t begin = at;
    const std::size_t equals = text_.find_first_of("=<>", at);
    if (equals == std::string_view::npos || text_[equals] != '=') return false;
    const std::size_t quote = text_.find_first_not_of(markupSpace, equals + 1);
    if (quote == std::string_view::npos || (text_[quote] != '"' && text_[quote] != '\'')) return false;
    const std::size_t end = text_.find(text_[quote], quote + 1);
    // No value holds a "<".
    if (end == std::string_view::npos || text_.substr(quote, end - quote).find('<') != std::string_view::npos) {
        piece.open = begin;
        return false;
    }
    const std::string_view written = text_.substr(begin, equals - begin);
    const std::size_t last = written.find_last_not_of(markupSpace);
    piece.attributes.push_back(
        {written.substr(0, last == std::string_view::npos ? 0 : last + 1), begin, quote + 1, end});
    at = end + 1;
    return true;
}

}  // namespace cxml
