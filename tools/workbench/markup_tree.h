// MarkupTree: where the elements of a well-formed document stand in its text.
#pragma once

#include "tools/text/markup.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace cxml {

struct MarkupElement {
    std::string_view name;
    std::size_t line = 0;
    std::size_t begin = 0;   // of the start tag
    std::size_t tagEnd = 0;  // behind the start tag
    std::size_t end = 0;     // behind the end tag
    std::vector<MarkupAttribute> attributes;
    std::vector<MarkupElement> children;

    const MarkupAttribute* attribute(std::string_view wanted) const noexcept;
};

/// The root. Comments, sections of character data, processing instructions and the document type are passed over; what
/// entities stand for is not looked into. \param text must outlive the tree.
MarkupElement readMarkup(std::string_view text);

}  // namespace cxml
