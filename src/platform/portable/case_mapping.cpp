// Upper and lower case of single UTF-16 code units.
#include "platform/portable/nls.h"

#include <unicode/uchar.h>

namespace {

// Windows maps unit to unit; what would leave the basic plane, or is half of a pair, stays as it is.
WCHAR upper(WCHAR unit) {
    const UChar32 mapped = u_toupper(unit);
    return mapped <= 0xFFFF ? static_cast<WCHAR>(mapped) : unit;
}

WCHAR lower(WCHAR unit) {
    const UChar32 mapped = u_tolower(unit);
    return mapped <= 0xFFFF ? static_cast<WCHAR>(mapped) : unit;
}

}  // namespace

DWORD CharUpperBuffW(LPWSTR text, DWORD length) {
    if (!text) return 0;
    for (DWORD i = 0; i < length; ++i) text[i] = upper(text[i]);
    return length;
}

DWORD CharLowerBuffW(LPWSTR text, DWORD length) {
    if (!text) return 0;
    for (DWORD i = 0; i < length; ++i) text[i] = lower(text[i]);
    return length;
}
