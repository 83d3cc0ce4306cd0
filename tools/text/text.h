// Text at the tool's edges: UTF-8 outside, UTF-16 towards the library, and what a terminal may be shown.
#pragma once

#include "platform/platform.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace cxml {

/// Lone surrogates become U+FFFD; zeros stay.
std::string toUtf8(WideView text);
std::string toUtf8(const CComBSTR& text);

/// Bytes that are not UTF-8 become U+FFFD. Never null: the empty text is an allocated one.
CComBSTR toBstr(std::string_view text);

/// The path of a file, whose name need not be UTF-8: other bytes become lone surrogates, U+DC80 to U+DCFF, by which the
/// library finds the file.
CComBSTR toPathBstr(std::string_view path);

/// Upper case by simple mappings, as names of feature classes are compared.
CComBSTR upperCase(const CComBSTR& text);

/// Whether two names are the same in upper case.
bool isSameName(std::string_view a, std::string_view b);

/// A to Z in lower case, everything else as it is.
std::string lowerAscii(std::string_view text);

/// "1 row", "2 rows".
std::string plural(std::int64_t count, std::string_view what);

/// The text without trailing white space, its control characters (line feeds and tabs excepted) written as \x1B, so
/// that a document cannot steer the terminal.
std::string printable(std::string_view text);

/// The same on one line: every run of line breaks becomes one blank.
std::string oneLine(std::string_view text);

}  // namespace cxml
