// Upper and lower case of single UTF-16 code units.
#include "platform/portable/nls.h"

#include <unicode/uchar.h>

namespace {

using Mapping = decltype(&u_toupper);

/// Whether a character is one of Unicode 15: younger ones are left alone, so that ICU's version does not matter.
bool isEstablished(UChar32 character) {
    constexpr std::uint8_t newestUnicode = 15;
    UVersionInfo age;
    u_charAge(character, age);
    return age[0] <= newestUnicode;
}

/// Windows maps only letters that have each other as upper and lower case, both of one unit: no dotless i to I, no
/// micro sign to capital mu, no title case.
WCHAR mapped(WCHAR unit, Mapping there, Mapping back) {
    const UChar32 other = there(unit);
    if (other == unit || other > 0xFFFF || back(other) != unit) return unit;
    return isEstablished(unit) && isEstablished(other) ? static_cast<WCHAR>(other) : unit;
}

WCHAR upper(WCHAR unit) {
    if (unit < 0x80) return unit >= u'a' && unit <= u'z' ? static_cast<WCHAR>(unit - u'a' + u'A') : unit;
    return mapped(unit, u_toupper, u_tolower);
}

WCHAR lower(WCHAR unit) {
    if (unit < 0x80) return unit >= u'A' && unit <= u'Z' ? static_cast<WCHAR>(unit - u'A' + u'a') : unit;
    return mapped(unit, u_tolower, u_toupper);
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
