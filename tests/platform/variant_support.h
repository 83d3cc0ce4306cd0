// Short ways to write variants down in tables, and to compare them exactly.
#pragma once

#include "support/platform_hooks.h"

#include <gtest/gtest.h>
#include <cstring>
#include <ostream>
#include <set>
#include <string_view>

/// A variant whose 64 bits of value are given.
inline CComVariant typed(VARTYPE type, ULONGLONG bits) {
    CComVariant value;
    value.llVal = static_cast<LONGLONG>(bits);
    value.vt = type;
    return value;
}
inline CComVariant empty() {
    return {};
}
inline CComVariant null() {
    return typed(VT_NULL, 0);
}
inline CComVariant i2(SHORT value) {
    return CComVariant(value);
}
inline CComVariant i4(int value) {
    return CComVariant(value);
}
inline CComVariant r4(float value) {
    return CComVariant(value);
}
inline CComVariant r8(double value) {
    return CComVariant(value);
}
inline CComVariant date(double value) {
    return CComVariant(value, VT_DATE);
}
inline CComVariant truth(VARIANT_BOOL value) {
    return typed(VT_BOOL, static_cast<USHORT>(value));
}
inline CComVariant text(WideView content) {
    CComVariant value;
    value.bstrVal = SysAllocStringLen(content.data(), static_cast<UINT>(content.size()));
    value.vt = VT_BSTR;
    return value;
}
inline CComVariant nullText() {
    return typed(VT_BSTR, 0);
}
inline CComVariant decimal(ULONG high, ULONGLONG low, BYTE scale, bool negative) {
    CComVariant value;
    value.decVal.Hi32 = high;
    value.decVal.Lo64 = low;
    value.decVal.scale = scale;
    value.decVal.sign = negative ? 0x80 : 0;
    value.vt = VT_DECIMAL;  // overlays the decimal's reserved word
    return value;
}

/// Bytes of the value of a type that is no text.
inline std::size_t valueBytes(VARTYPE type) {
    switch (type) {
        case VT_EMPTY:
        case VT_NULL:
            return 0;
        case VT_I1:
        case VT_UI1:
            return 1;
        case VT_I2:
        case VT_UI2:
        case VT_BOOL:
            return 2;
        case VT_I4:
        case VT_UI4:
        case VT_INT:
        case VT_UINT:
        case VT_R4:
        case VT_ERROR:
            return 4;
        default:
            return 8;
    }
}

/// Types and values alike to the last bit.
inline void expectSame(const VARIANT& actual, const VARIANT& expected) {
    ASSERT_EQ(actual.vt, expected.vt);
    if (actual.vt == VT_BSTR) {
        EXPECT_EQ(WideView(actual.bstrVal, SysStringLen(actual.bstrVal)),
                  WideView(expected.bstrVal, SysStringLen(expected.bstrVal)));
    } else if (actual.vt == VT_DECIMAL) {
        EXPECT_EQ(actual.decVal.Hi32, expected.decVal.Hi32);
        EXPECT_EQ(actual.decVal.Lo64, expected.decVal.Lo64);
        EXPECT_EQ(actual.decVal.scale, expected.decVal.scale);
        EXPECT_EQ(actual.decVal.sign, expected.decVal.sign);
    } else {
        EXPECT_EQ(std::memcmp(&actual.llVal, &expected.llVal, valueBytes(actual.vt)), 0)
            << "type " << actual.vt << ": " << actual.llVal << " in place of " << expected.llVal;
    }
}

/// Whether Wine answers the case of that name otherwise than Windows and the portable platform: it rounds on the way,
/// or does not know a spelling. differential/known_differences.txt has the reason of each.
inline bool wineDiffers(std::string_view name) {
    static const std::set<std::string_view> names{"amounts_at_both_ends",
                                                  "as_many_places_as_digits",
                                                  "decimal_is_the_nearest_double",
                                                  "decimal_to_amount_is_exact",
                                                  "exponent_of_fortran",
                                                  "infinity_to_text",
                                                  "largest_amount",
                                                  "largest_double",
                                                  "leading_zero_behind_the_point",
                                                  "nan_is_no_integer",
                                                  "nan_to_text",
                                                  "nearest_double",
                                                  "places_instead_of_an_exponent",
                                                  "smallest_with_places",
                                                  "text_with_too_many_places",
                                                  "true_is_minus_one_to_a_decimal",
                                                  "true_to_decimal"};
    return underWine() && names.contains(name);
}
