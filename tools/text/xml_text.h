// Text that stands in a document, in comments too.
#pragma once

#include <string>
#include <string_view>

namespace cxml {

/// Whether XML can hold the text: no control characters but white space, nothing that is not UTF-8.
bool isXml(std::string_view text);

enum class Quotes : unsigned char { Escaped, Kept };

/// The text as markup that reads as it in content, in attributes between double quotes (with quotes escaped) and, once
/// the comment is taken away, in comments: no two dashes stand side by side. On one line. What XML cannot hold becomes
/// U+FFFD.
std::string xmlText(std::string_view text, Quotes quotes = Quotes::Escaped);

}  // namespace cxml
