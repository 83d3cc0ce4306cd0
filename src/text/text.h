// Texts as the library has them: views of BSTRs, copies, and what they are in other encodings.
#pragma once

#include "platform/platform.h"

#include <string>
#include <string_view>

namespace ConditionalXml {

/// The text of a BSTR, null included, embedded zeros included; valid as long as the BSTR.
inline WideView view(BSTR text) noexcept {
    return {text, SysStringLen(text)};
}

/// A copy of `text` that owns its characters, zeros included; the empty text gives an allocated empty BSTR.
/// \throws CAtlException(E_OUTOFMEMORY)
CComBSTR makeBstr(WideView text);

/// The text in upper case, as names of feature classes are compared.
CComBSTR upperCased(CComBSTR text);

/// Converts to the thread's ANSI code page; what it lacks becomes its replacement character.
std::string narrow(WideView text);
std::string narrow(const OLECHAR* text) = delete;  // a BSTR may hold zeros: say view(...)
/// Converts from the thread's ANSI code page.
CComBSTR widen(std::string_view text);

/// Lone surrogates become U+FFFD; zeros stay.
std::string toUtf8(WideView text);

/// "lead 'item'!" when `lead` ends with the opening quote.
std::string quoted(std::string_view lead, WideView item);

}  // namespace ConditionalXml
