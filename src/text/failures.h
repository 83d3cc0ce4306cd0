// How failures travel and where they are reported.
//
// A failed allocation is CAtlException(E_OUTOFMEMORY): the text and variant owners raise it themselves, checked() does
// for what is called, and the exported class for the standard library's. It is never a row's or a document's failure. A
// failure that the caller is to read is a std::runtime_error; all else is a text in the caller's message collection.
#pragma once

#include "symbology/host_interfaces.h"

#include <string>
#include <string_view>

namespace ConditionalXml {

/// The status of a call, for the caller to decide what it means.
/// \throws CAtlException when memory ran out in the call: that is no answer to what was asked.
inline HRESULT checked(HRESULT status) {
    if (status == E_OUTOFMEMORY) AtlThrow(status);
    return status;
}

/// \throws std::runtime_error with this text.
[[noreturn]] void throwText(const std::string& text);

/// Adds an error with the code E_FAIL; nothing happens without a collection. The collection's answer is ignored.
void addError(IGPMessages* messages, std::string_view text);
/// Adds a plain message; nothing happens without a collection. The collection's answer is ignored.
void addMessage(IGPMessages* messages, std::string_view text);

/// Writes one entry to the host's diagnostic event log when it is enabled; never throws.
/// \param function the reporting function's qualified name; \param sourceFile may be null or empty;
/// \param line tells failing steps of one function apart.
void LogComFailure(const OLECHAR* function, HRESULT status, const OLECHAR* sourceFile, ULONG line) noexcept;

}  // namespace ConditionalXml
