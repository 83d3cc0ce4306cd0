// Text between the database (UTF-8) and the library (UTF-16).
#pragma once

#include "platform/platform.h"

#include <string>
#include <string_view>

namespace embedded_host {

/// A fresh BSTR that the caller owns, embedded zeros included. Bytes that are not UTF-8 become U+FFFD.
BSTR toBstr(std::string_view utf8);

WideString toWide(std::string_view utf8);

/// \throws StatusError (E_INVALIDARG) for a lone surrogate, which UTF-8 cannot hold.
std::string toUtf8(WideView text);

/// \param text null stands for the empty text.
WideView viewOf(BSTR text) noexcept;

/// As names are compared without regard to case.
WideString upperCased(WideView name);

/// `name` as an SQL identifier, between double quotes.
std::string quotedName(std::string_view name);
/// `value` as an SQL text literal, between single quotes.
std::string quotedText(std::string_view value);

}  // namespace embedded_host
