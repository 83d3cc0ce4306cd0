// The part of style sheets that pictures of symbols use: what a class declares.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace cxml {

/// Properties and their values, in small letters the former.
using Declarations = std::map<std::string, std::string>;

/// Reads "fill: red; stroke: none".
Declarations readDeclarations(std::string_view text);

/// Reads rules for single classes, ".name { fill: red }", and lists of them; later declarations replace earlier ones.
/// Other rules are passed over.
std::map<std::string, Declarations> readStyleSheet(std::string_view text);

}  // namespace cxml
