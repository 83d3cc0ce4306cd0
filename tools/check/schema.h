// The language as an XML Schema, for editors.
#pragma once

#include <string>

namespace cxml {

/// XSD 1.0, made of the words of the language. It refuses only what a check has an error or a warning for.
std::string languageSchema();

}  // namespace cxml
