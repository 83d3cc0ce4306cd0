// Upper and lower case, in place.
#include "platform/portable/nls.h"

#include <unicode/uchar.h>
#include <unicode/utf16.h>

namespace {

using Mapping = decltype(&u_toupper);

/// Whether a character is one of Unicode 15: younger ones are left alone, so that ICU's version does not matter.
bool isEstablished(UChar32 character) {
    constexpr std::uint8_t newestUnicode = 15;
    UVersionInfo age;
    u_charAge(character, age);
    return age[0] <= newestUnicode;
}

/// Windows maps only letters that have each other as upper and lower case, both of as many units: no dotless i to I, no
/// micro sign to capital mu, no title case.
UChar32 mapped(UChar32 character, Mapping there, Mapping back) {
    const UChar32 other = there(character);
    if (other == character || U16_LENGTH(other) != U16_LENGTH(character) || back(other) != character) return character;
    return isEstablished(character) && isEstablished(other) ? other : character;
}

/// Maps in place; `firstLetter` is the first of the 26 letters of ASCII that change, `firstOther` what it becomes.
void mapAll(LPWSTR text, DWORD length, char16_t firstLetter, char16_t firstOther, Mapping there, Mapping back) {
    DWORD i = 0;
    while (i < length) {
        if (text[i] < 0x80) {
            if (text[i] >= firstLetter && text[i] < firstLetter + 26)
                text[i] = static_cast<WCHAR>(text[i] - firstLetter + firstOther);
            ++i;
        } else if (i + 1 < length && U16_IS_LEAD(text[i]) && U16_IS_TRAIL(text[i + 1])) {
            const UChar32 other = mapped(U16_GET_SUPPLEMENTARY(text[i], text[i + 1]), there, back);
            text[i] = U16_LEAD(other);
            text[i + 1] = U16_TRAIL(other);
            i += 2;
        } else {
            text[i] = static_cast<WCHAR>(mapped(text[i], there, back));
            ++i;
        }
    }
}

}  // namespace

DWORD CharUpperBuffW(LPWSTR text, DWORD length) {
    if (!text) return 0;
    mapAll(text, length, u'a', u'A', u_toupper, u_tolower);
    return length;
}

DWORD CharLowerBuffW(LPWSTR text, DWORD length) {
    if (!text) return 0;
    mapAll(text, length, u'A', u'a', u_tolower, u_toupper);
    return length;
}
