#include "markup_tree.h"

#include <algorithm>

namespace cxml {
namespace {

// Into the element around it.
void close(std::vector<MarkupElement>& open, std::size_t end) {
    if (open.size() < 2) return;
    MarkupElement closed = std::move(open.back());
    open.pop_back();
    closed.end = end;
    open.back().children.push_back(std::move(closed));
}

}  // namespace

const MarkupAttribute* MarkupElement::attribute(std::string_view wanted) const noexcept {
    const auto found = std::ranges::find(attributes, wanted, &MarkupAttribute::name);
    return found == attributes.end() ? nullptr : &*found;
}

MarkupElement readMarkup(std::string_view text) {
    std::vector<MarkupElement> open(1);
    MarkupReader reader(text);
    std::size_t line = 1;
    for (MarkupPiece piece; reader.next(piece);) {
        if (piece.kind == MarkupPiece::Kind::StartTag || piece.kind == MarkupPiece::Kind::EmptyTag) {
            MarkupElement& element = open.emplace_back();
            element.name = piece.name;
            element.line = line;
            element.begin = piece.begin;
            element.tagEnd = piece.end;
            element.attributes = std::move(piece.attributes);
        }
        if (piece.kind == MarkupPiece::Kind::EmptyTag || piece.kind == MarkupPiece::Kind::EndTag)
            close(open, piece.end);
        line += static_cast<std::size_t>(std::ranges::count(text.substr(piece.begin, piece.end - piece.begin), '\n'));
    }
    MarkupElement document = std::move(open.front());
    return document.children.empty() ? document : std::move(document.children.front());
}

}  // namespace cxml
