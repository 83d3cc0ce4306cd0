// Short ways to write variants down in tables, and to compare them exactly.
#pragma once

#include "support/platform_hooks.h"

#include <gtest/gtest.h>
#include <cstring>
#include <map>
#include <ostream>
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

/// Why Wine answers the case of that name otherwise than Windows and the portable platform do; null when it does not.
inline const char* whyWineDiffers(std::string_view name) {
    static constexpr const char* rounds = "Wine rounds on the way";
    static constexpr const char* exponent = "Wine 8 writes an exponent where Windows and Wine 10 write places";
    static constexpr const char* truth = "Wine takes true for 1 where a DECIMAL is concerned";
    static const std::map<std::string_view, const char*> reasons{
        {"amounts_at_both_ends", "Wine subtracts the amounts, which overflows"},
        {"as_many_places_as_digits", exponent},
        {"decimal_is_the_nearest_double", rounds},
        {"decimal_to_amount_is_exact", rounds},
        {"exponent_of_fortran", "Wine does not read D before an exponent"},
        {"infinity_to_text", "Wine writes infinity as the C library does"},
        {"largest_amount", rounds},
        {"largest_double", "Wine's sum of the digits overflows"},
        {"leading_zero_behind_the_point", "Wine rounds by the first digit that is not zero, wherever it stands"},
        {"nan_is_no_integer", "Wine stores what its arithmetic happens to leave"},
        {"nan_to_text", "Wine writes it as the C library does"},
        {"nearest_double", rounds},
        {"places_instead_of_an_exponent", exponent},
        {"smallest_with_places", exponent},
        {"text_with_too_many_places", "Wine's DECIMAL has more places than a valid one"},
        {"true_is_minus_one_to_a_decimal", truth},
        {"true_to_decimal", truth}};
    const auto found = reasons.find(name);
    return underWine() && found != reasons.end() ? found->second : nullptr;
}
