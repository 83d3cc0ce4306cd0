// Text of SVG documents.
#pragma once

#include <string>
#include <string_view>

namespace cxml {

/// A number with at most three digits behind the point: a thousandth of a millimetre.
std::string svgNumber(double value);
/// The shortest text that reads back as the same number.
std::string exactNumber(double value);

/// Whatever the text holds, it is text there, between tags and in an attribute between double quotes: markup is
/// escaped, bytes that are not UTF-8 and characters that XML has no place for become U+FFFD, control characters \x1B.
std::string xmlText(std::string_view text);

/// The text, and where it is longer than `most` characters its beginning with an ellipsis.
std::string shortened(std::string_view text, std::size_t most);

}  // namespace cxml
