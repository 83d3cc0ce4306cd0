// What the variant's functions know of its types.
#pragma once

#include "platform/portable/variant.h"
#include "platform/portable/wide_integer.h"

#include <string_view>

namespace ole {

/// Whether a type word is one at all, with or without VT_BYREF and VT_ARRAY; the others are DISP_E_BADVARTYPE.
bool isKnownType(VARTYPE type);

/// The types whose values convert into each other.
constexpr bool isValue(VARTYPE type) {
    return type <= VT_BSTR || type == VT_ERROR || type == VT_BOOL || type == VT_DECIMAL ||
           (type >= VT_I1 && type <= VT_UINT);
}

constexpr bool isInteger(VARTYPE type) {
    return type == VT_I2 || type == VT_I4 || (type >= VT_I1 && type <= VT_UINT);
}

constexpr unsigned integerBits(VARTYPE type) {
    switch (type) {
        case VT_I1:
        case VT_UI1:
            return 8;
        case VT_I2:
        case VT_UI2:
            return 16;
        case VT_I8:
        case VT_UI8:
            return 64;
        default:
            return 32;
    }
}

constexpr bool isSigned(VARTYPE type) {
    return type == VT_I1 || type == VT_I2 || type == VT_I4 || type == VT_I8 || type == VT_INT;
}

/// The value of a variant of an integer type.
Int128 integerOf(const VARIANT& value);

/// What a variant with VT_BYREF refers to, borrowed: not to be cleared. False for references that are null or that
/// are not to values.
bool dereference(const VARIANT& reference, VARIANT& value);

/// Whether a text is the given one, which is in small letters, in any mixture of cases.
bool equalsAsciiNoCase(std::u16string_view text, std::string_view lower);

}  // namespace ole
