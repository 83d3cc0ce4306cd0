#include "platform/platform.h"
#include "platform/variant_support.h"

#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

namespace {

struct Case {
    const char* name;
    CComVariant left;
    CComVariant right;
    HRESULT result;
    /// Of the two exchanged.
    HRESULT reversed;
};

void PrintTo(const Case& row, std::ostream* stream) {
    *stream << row.name;
}

class Compare : public testing::TestWithParam<Case> {
protected:
    static HRESULT compare(const CComVariant& left, const CComVariant& right) {
        CComVariant first(left);
        CComVariant second(right);
        return VarCmp(&first, &second, LOCALE_USER_DEFAULT, 0);
    }
};

TEST_P(Compare, GivesOrderOrStatus) {
    if (const char* reason = whyWineDiffers(GetParam().name)) GTEST_SKIP() << reason;
    EXPECT_EQ(compare(GetParam().left, GetParam().right), GetParam().result);
    EXPECT_EQ(compare(GetParam().right, GetParam().left), GetParam().reversed);
}

Case equal(const char* name, const CComVariant& left, const CComVariant& right) {
    return {name, left, right, VARCMP_EQ, VARCMP_EQ};
}
Case less(const char* name, const CComVariant& left, const CComVariant& right) {
    return {name, left, right, VARCMP_LT, VARCMP_GT};
}
Case fails(const char* name, const CComVariant& left, const CComVariant& right, HRESULT status) {
    return {name, left, right, status, status};
}

std::vector<Case> sameTypeCases() {
    return {
        less("i2", i2(-1), i2(1)),
        equal("i4", i4(5), i4(5)),
        less("i8", typed(VT_I8, 0x8000000000000000U), typed(VT_I8, 0)),
        less("ui1_is_unsigned", typed(VT_UI1, 1), typed(VT_UI1, 255)),
        less("r4", r4(0.1F), r4(0.2F)),
        less("r8", r8(-std::numeric_limits<double>::infinity()), r8(0)),
        equal("zeros", r8(0.0), r8(-0.0)),
        less("dates", date(1), date(2)),
        less("amounts_at_both_ends", typed(VT_CY, 0x8000000000000000U), typed(VT_CY, 0x7FFFFFFFFFFFFFFFU)),
        less("true_is_less_than_false", truth(VARIANT_TRUE), truth(VARIANT_FALSE)),
        equal("decimals_of_different_scale", decimal(0, 15, 1, false), decimal(0, 1500, 3, false)),
        less("decimals_that_share_no_scale", decimal(0xFFFFFFFFU, ~0ULL, 28, false), decimal(0xFFFFFFFFU, 0, 0, false)),
        less("negative_decimals", decimal(0, 2, 0, true), decimal(0, 15, 1, true)),
        equal("decimal_zero_with_sign", decimal(0, 0, 2, true), decimal(0, 0, 0, false)),
        less("texts", text(OLESTR("abc")), text(OLESTR("abd"))),
        equal("errors", typed(VT_ERROR, 1), typed(VT_ERROR, 2)),
        equal("empties", empty(), empty()),
        fails("nulls", null(), null(), VARCMP_NULL),
    };
}

std::vector<Case> mixedCases() {
    return {
        equal("widths", i2(7), typed(VT_I8, 7)),
        less("integer_and_real", i4(1), r8(1.5)),
        equal("empty_is_zero", empty(), i4(0)),
        less("empty_is_less_than_one", empty(), r8(1)),
        equal("empty_is_the_empty_text", empty(), text(OLESTR(""))),
        less("empty_and_text", empty(), text(OLESTR("a"))),
        equal("true_is_minus_one", truth(VARIANT_TRUE), i4(-1)),
        equal("true_is_minus_one_to_a_decimal", truth(VARIANT_TRUE), decimal(0, 1, 0, true)),
        equal("float_decides_the_precision", r4(0.1F), r8(0.1)),
        equal("date_is_a_real", date(1.5), r8(1.5)),
        equal("amount_and_integer", typed(VT_CY, 20000), i4(2)),
        less("amount_and_large_integer_are_exact", typed(VT_CY, 9223372036854775807U), typed(VT_I8, 922337203685478U)),
        less("number_is_less_than_text", i4(5), text(OLESTR("4"))),
        less("number_is_less_than_the_empty_text", r8(5), text(OLESTR(""))),
        fails("null_and_number", null(), i4(1), VARCMP_NULL),
        fails("null_and_text", null(), text(OLESTR("a")), VARCMP_NULL),
        fails("null_and_empty", null(), empty(), VARCMP_NULL),
        {"int_on_the_left_only", typed(VT_INT, 1), i4(1), VARCMP_EQ, DISP_E_BADVARTYPE},
    };
}

std::vector<Case> rejectedCases() {
    return {
        fails("i1", typed(VT_I1, 1), typed(VT_I1, 1), DISP_E_TYPEMISMATCH),
        fails("ui2", typed(VT_UI2, 1), typed(VT_UI2, 1), DISP_E_TYPEMISMATCH),
        fails("ui4", typed(VT_UI4, 1), typed(VT_UI4, 1), DISP_E_TYPEMISMATCH),
        {"ui8_on_the_left", typed(VT_UI8, 1), i4(1), DISP_E_TYPEMISMATCH, DISP_E_BADVARTYPE},
        fails("uint", typed(VT_UINT, 1), typed(VT_UINT, 1), DISP_E_BADVARTYPE),
        fails("error_and_number", typed(VT_ERROR, 1), i4(1), DISP_E_TYPEMISMATCH),
        fails("error_and_null", typed(VT_ERROR, 1), null(), DISP_E_TYPEMISMATCH),
        fails("unsigned_and_null", typed(VT_UI4, 1), null(), DISP_E_TYPEMISMATCH),
        fails("objects", typed(VT_UNKNOWN, 0), typed(VT_UNKNOWN, 0), DISP_E_TYPEMISMATCH),
    };
}

std::string nameOf(const testing::TestParamInfo<Case>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(SameType, Compare, testing::ValuesIn(sameTypeCases()), nameOf);
INSTANTIATE_TEST_SUITE_P(Mixed, Compare, testing::ValuesIn(mixedCases()), nameOf);
INSTANTIATE_TEST_SUITE_P(Rejected, Compare, testing::ValuesIn(rejectedCases()), nameOf);

TEST(CompareVariant, WhatIsNotANumberIsGreater) {
    CComVariant notANumber = r8(std::numeric_limits<double>::quiet_NaN());
    CComVariant one = r8(1);
    EXPECT_EQ(VarCmp(&notANumber, &one, LOCALE_USER_DEFAULT, 0), VARCMP_GT);
    EXPECT_EQ(VarCmp(&one, &notANumber, LOCALE_USER_DEFAULT, 0), VARCMP_GT);
}

TEST(CompareVariant, NullTextIsTheEmptyText) {
    CComVariant nullOne = nullText();
    CComVariant emptyOne = text(OLESTR(""));
    EXPECT_EQ(VarCmp(&nullOne, &emptyOne, LOCALE_USER_DEFAULT, 0), VARCMP_EQ);
    EXPECT_EQ(VarCmp(&emptyOne, &nullOne, LOCALE_USER_DEFAULT, 0), VARCMP_EQ);
}

TEST(CompareVariant, FlagsReachTexts) {
    CComVariant small = text(OLESTR("abc"));
    CComVariant capital = text(OLESTR("ABC"));
    EXPECT_EQ(VarCmp(&small, &capital, LOCALE_USER_DEFAULT, 0), VARCMP_LT);
    EXPECT_EQ(VarCmp(&small, &capital, LOCALE_USER_DEFAULT, NORM_IGNORECASE), VARCMP_EQ);
}

TEST(CompareVariant, ArraysAndReferencesAreBadTypes) {
    CComVariant one = i4(1);
    LONG number = 1;
    VARIANT reference{};
    reference.vt = VT_BYREF | VT_I4;
    reference.byref = &number;
    EXPECT_EQ(VarCmp(&reference, &one, LOCALE_USER_DEFAULT, 0), DISP_E_BADVARTYPE);
    EXPECT_EQ(VarCmp(&one, &reference, LOCALE_USER_DEFAULT, 0), DISP_E_BADVARTYPE);
    VARIANT array{};
    array.vt = VT_ARRAY | VT_I4;
    EXPECT_EQ(VarCmp(&array, &one, LOCALE_USER_DEFAULT, 0), DISP_E_BADVARTYPE);
}

}  // namespace
