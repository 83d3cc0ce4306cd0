// The layout of documents: which attribute comes first, what stands on a line of its own, and how far from the margin.
#pragma once

#include <string>
#include <string_view>

namespace cxml {

/// A line that was broken before stays so, one that was not is kept up to this width, in characters.
inline constexpr std::size_t widestLine = 120;

/// The document with the layout that all have. Only white space between tags and inside of tags changes, and the order
/// of attributes: texts, values, comments, instructions and the document type stay to the letter. An element with text
/// of its own, or with `xml:space="preserve"`, keeps all that is in it. Of its own result it makes the same again.
/// \param text a document that an XML reader has accepted, in an encoding where the characters of markup are ASCII.
std::string laidOut(std::string_view text);

}  // namespace cxml
