// Texts of tests are UTF-8 literals; these carry them to and from the host's.
#pragma once

#include "platform/platform.h"

#include <string>
#include <string_view>

namespace memhost {

/// A new BSTR from UTF-8; the empty text gives an allocated empty one.
CComBSTR bstr(std::string_view text);
std::string utf8(WideView text);
/// Null reads as the empty text.
std::string utf8(BSTR text);
/// The narrow text that the system has for a UTF-8 one, as exceptions carry it; the same text where that is UTF-8.
std::string narrowed(std::string_view utf8Text);
/// And back.
std::string fromNarrow(std::string_view narrowText);
/// A value for reading: "NULL", "EMPTY", a quoted text, or the number with its type, as in "I4 5" or "R8 1.5".
std::string describe(const VARIANT& value);

}  // namespace memhost
