#include "platform/platform.h"
#include "platform/variant_support.h"

#include <gtest/gtest.h>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

/// One conversion: what goes in, what comes out or which status.
struct Case {
    const char* name;
    CComVariant source;
    VARTYPE type;
    CComVariant expected;
    HRESULT status = S_OK;
    USHORT flags = 0;
    LCID locale = 0;
};

void PrintTo(const Case& row, std::ostream* stream) {
    *stream << row.name;
}

class Convert : public testing::TestWithParam<Case> {};

TEST_P(Convert, GivesValueOrStatus) {
    if (const char* reason = whyWineDiffers(GetParam().name)) GTEST_SKIP() << reason;
    const Case& row = GetParam();
    CComVariant source(row.source);
    CComVariant target(OLESTR("before"));
    EXPECT_EQ(VariantChangeTypeEx(&target, &source, row.locale, row.flags, row.type), row.status);
    if (row.status == S_OK)
        expectSame(target, row.expected);
    else
        expectSame(target, CComVariant(OLESTR("before")));
    expectSame(source, row.source);
}

TEST_P(Convert, GivesTheSameInPlace) {
    if (const char* reason = whyWineDiffers(GetParam().name)) GTEST_SKIP() << reason;
    const Case& row = GetParam();
    CComVariant value(row.source);
    EXPECT_EQ(VariantChangeTypeEx(&value, &value, row.locale, row.flags, row.type), row.status);
    expectSame(value, row.status == S_OK ? row.expected : row.source);
}

Case fails(const char* name, const CComVariant& source, VARTYPE type, HRESULT status) {
    return {name, source, type, {}, status};
}

std::vector<Case> integerCases() {
    return {
        {"empty_is_zero", empty(), VT_I4, i4(0)},
        {"empty_is_the_empty_text", empty(), VT_BSTR, text(OLESTR(""))},
        {"empty_is_false", empty(), VT_BOOL, truth(VARIANT_FALSE)},
        {"anything_is_null", i4(1), VT_NULL, null()},
        {"anything_is_empty", i4(1), VT_EMPTY, empty()},
        fails("null_is_nothing_else", null(), VT_I4, DISP_E_TYPEMISMATCH),
        fails("null_is_no_text", null(), VT_BSTR, DISP_E_TYPEMISMATCH),
        fails("error_is_nothing_else", typed(VT_ERROR, 1), VT_I4, DISP_E_TYPEMISMATCH),
        fails("nothing_is_an_error", i4(1), VT_ERROR, DISP_E_TYPEMISMATCH),
        fails("type_that_is_none", i4(1), 15, DISP_E_BADVARTYPE),
        fails("type_of_type_descriptions", i4(1), 24, DISP_E_BADVARTYPE),
        fails("vector", i4(1), 0x1003, DISP_E_BADVARTYPE),
        fails("array", i4(1), VT_ARRAY | VT_I4, DISP_E_TYPEMISMATCH),
        fails("object", i4(1), VT_UNKNOWN, DISP_E_TYPEMISMATCH),
        {"largest_i2", i4(32767), VT_I2, i2(32767)},
        fails("beyond_i2", i4(32768), VT_I2, DISP_E_OVERFLOW),
        fails("below_i2", i4(-32769), VT_I2, DISP_E_OVERFLOW),
        {"same_width_keeps_the_bits", i4(-1), VT_UI4, typed(VT_UI4, 0xFFFFFFFFU)},
        {"same_width_back", typed(VT_UI4, 0xFFFFFFFFU), VT_I4, i4(-1)},
        fails("wider_unsigned_has_no_minus", i4(-1), VT_UI8, DISP_E_OVERFLOW),
        fails("narrower_unsigned", i4(256), VT_UI1, DISP_E_OVERFLOW),
        {"narrowest", i4(-128), VT_I1, typed(VT_I1, 0x80)},
        {"true_is_minus_one", truth(VARIANT_TRUE), VT_I4, i4(-1)},
        {"true_in_an_unsigned_byte", truth(VARIANT_TRUE), VT_UI1, typed(VT_UI1, 0xFF)},
        {"not_zero_is_true", i4(256), VT_BOOL, truth(VARIANT_TRUE)},
        {"to_real", i4(-3), VT_R8, r8(-3.0)},
        {"to_amount", i4(3), VT_CY, typed(VT_CY, 30000)},
        fails("beyond_amounts", typed(VT_I8, 922337203685478), VT_CY, DISP_E_OVERFLOW),
        {"to_text", i4(-2147483647), VT_BSTR, text(OLESTR("-2147483647"))},
        {"largest_to_text", typed(VT_UI8, ~0ULL), VT_BSTR, text(OLESTR("18446744073709551615"))},
        {"bool_to_digits", truth(VARIANT_TRUE), VT_BSTR, text(OLESTR("-1"))},
        {"bool_to_word", truth(VARIANT_TRUE), VT_BSTR, text(OLESTR("True")), S_OK, VARIANT_ALPHABOOL},
        {"bool_to_local_word", truth(VARIANT_FALSE), VT_BSTR, text(OLESTR("False")), S_OK, VARIANT_LOCALBOOL},
        fails("int_out_of_dates", i4(3000000), VT_DATE, DISP_E_OVERFLOW),
    };
}

std::vector<Case> realCases() {
    return {
        {"half_to_even_down", r8(2.5), VT_I4, i4(2)},
        {"half_to_even_up", r8(3.5), VT_I4, i4(4)},
        {"negative_half", r8(-2.5), VT_I4, i4(-2)},
        {"just_below_a_half", r8(0.49999999999999994), VT_I4, i4(0)},
        fails("rounds_out_of_range", r8(2147483647.5), VT_I4, DISP_E_OVERFLOW),
        {"rounds_into_range", r8(-2147483648.5), VT_I4, i4(-2147483647 - 1)},
        fails("infinity_is_no_integer", r8(infinity), VT_I4, DISP_E_OVERFLOW),
        fails("nan_is_no_integer", r8(notANumber), VT_I4, DISP_E_OVERFLOW),
        {"nan_is_true", r8(notANumber), VT_BOOL, truth(VARIANT_TRUE)},
        fails("too_large_for_float", r8(3.5e38), VT_R4, DISP_E_OVERFLOW),
        {"to_float", r8(0.1), VT_R4, r4(0.1F)},
        {"fifteen_digits", r8(1.0 / 3), VT_BSTR, text(OLESTR("0.333333333333333"))},
        {"no_more_digits_than_needed", r8(0.1), VT_BSTR, text(OLESTR("0.1"))},
        {"seven_digits_of_a_float", r4(1.0F / 3), VT_BSTR, text(OLESTR("0.3333333"))},
        {"whole_number", r8(3.0), VT_BSTR, text(OLESTR("3"))},
        {"negative_zero", r8(-0.0), VT_BSTR, text(OLESTR("0"))},
        {"largest_without_exponent", r8(123456789012345.0), VT_BSTR, text(OLESTR("123456789012345"))},
        {"exponent_of_two_digits", r8(1e15), VT_BSTR, text(OLESTR("1E+15"))},
        {"exponent_of_three_digits", r8(-1.5e100), VT_BSTR, text(OLESTR("-1.5E+100"))},
        {"smallest_without_exponent", r8(0.0001), VT_BSTR, text(OLESTR("0.0001"))},
        {"places_instead_of_an_exponent", r8(0.00001), VT_BSTR, text(OLESTR("0.00001"))},
        {"as_many_places_as_digits", r8(-1.2345e-11), VT_BSTR, text(OLESTR("-0.000000000012345"))},
        {"one_place_too_many", r8(1.2345e-12), VT_BSTR, text(OLESTR("1.2345E-12"))},
        {"smallest_with_places", r8(1e-14), VT_BSTR, text(OLESTR("0.00000000000001"))},
        {"negative_exponent", r8(1e-15), VT_BSTR, text(OLESTR("1E-15"))},
        {"exponent_of_a_float", r4(1e-7F), VT_BSTR, text(OLESTR("1E-07"))},
        {"tie_goes_away_from_zero", r4(3623202.5F), VT_BSTR, text(OLESTR("3623203"))},
        {"negative_tie", r4(-3226720.5F), VT_BSTR, text(OLESTR("-3226721"))},
        {"near_tie", r8(0.15), VT_BSTR, text(OLESTR("0.15"))},
        {"infinity_to_text", r8(-infinity), VT_BSTR, text(OLESTR("-1.#INF"))},
        {"nan_to_text", r8(notANumber), VT_BSTR, text(OLESTR("1.#QNAN"))},
        {"to_amount_rounds_to_even", r8(1.0 / 32), VT_CY, typed(VT_CY, 312)},
        {"amount_of_the_exact_double", r8(29452969458490.13), VT_CY, typed(VT_CY, 294529694584901289)},
        fails("beyond_amounts", r8(1e15), VT_CY, DISP_E_OVERFLOW),
        fails("beyond_dates", r8(2958466.0), VT_DATE, DISP_E_OVERFLOW),
        {"last_date", r8(2958465.5), VT_DATE, date(2958465.5)},
    };
}

std::vector<Case> numberTextCases() {
    return {
        {"white_space_around", text(OLESTR(" \t12\r\n")), VT_I4, i4(12)},
        {"no_break_space", text(OLESTR("\u00A012")), VT_I4, i4(12)},
        {"sign_before", text(OLESTR("- 12")), VT_I4, i4(-12)},
        {"sign_behind", text(OLESTR("12 -")), VT_I4, i4(-12)},
        {"parentheses", text(OLESTR("(12)")), VT_I4, i4(-12)},
        fails("open_parenthesis", text(OLESTR("(12")), VT_I4, DISP_E_TYPEMISMATCH),
        fails("two_signs", text(OLESTR("--12")), VT_I4, DISP_E_TYPEMISMATCH),
        {"currency", text(OLESTR("$1,234.50")), VT_R8, r8(1234.5)},
        {"currency_of_the_invariant_locale", text(OLESTR("$1")), VT_R8, {}, DISP_E_TYPEMISMATCH, 0, LOCALE_INVARIANT},
        fails("percent", text(OLESTR("50%")), VT_R8, DISP_E_TYPEMISMATCH),
        {"separators_anywhere", text(OLESTR("1,2,34")), VT_I4, i4(1234)},
        fails("leading_separator", text(OLESTR(",1")), VT_I4, DISP_E_TYPEMISMATCH),
        {"no_digit_before_the_point", text(OLESTR(".5")), VT_R8, r8(0.5)},
        {"no_digit_behind_the_point", text(OLESTR("5.")), VT_R8, r8(5.0)},
        fails("only_a_point", text(OLESTR(".")), VT_R8, DISP_E_TYPEMISMATCH),
        fails("empty_text", text(OLESTR("")), VT_R8, DISP_E_TYPEMISMATCH),
        fails("only_white_space", text(OLESTR(" ")), VT_I4, DISP_E_TYPEMISMATCH),
        fails("word", text(OLESTR("abc")), VT_I4, DISP_E_TYPEMISMATCH),
        fails("number_and_word", text(OLESTR("12m")), VT_I4, DISP_E_TYPEMISMATCH),
        fails("two_numbers", text(OLESTR("1 2")), VT_I4, DISP_E_TYPEMISMATCH),
        fails("wide_digit", text(OLESTR("\uFF11")), VT_I4, DISP_E_TYPEMISMATCH),
        {"exponent", text(OLESTR("1.5e3")), VT_R8, r8(1500.0)},
        {"exponent_with_sign", text(OLESTR("15E-1")), VT_R8, r8(1.5)},
        {"exponent_of_fortran", text(OLESTR("1d3")), VT_R8, r8(1000.0)},
        fails("exponent_without_digits", text(OLESTR("1e")), VT_R8, DISP_E_TYPEMISMATCH),
        fails("exponent_too_large", text(OLESTR("1e309")), VT_R8, DISP_E_OVERFLOW),
        {"exponent_too_small", text(OLESTR("1e-400")), VT_R8, r8(0.0)},
        {"nearest_double", text(OLESTR("9223372036854775807")), VT_R8, r8(9223372036854775807.0)},
        {"largest_double", text(OLESTR("1.7976931348623157e308")), VT_R8, r8(1.7976931348623157e308)},
        {"hexadecimal", text(OLESTR("&H1F")), VT_I4, i4(31)},
        {"hexadecimal_fills_the_type", text(OLESTR("&HFFFFFFFF")), VT_I4, i4(-1)},
        fails("hexadecimal_too_long", text(OLESTR("&H1FFFFFFFF")), VT_I4, DISP_E_OVERFLOW),
        {"octal", text(OLESTR("&o17")), VT_I4, i4(15)},
        fails("octal_digit", text(OLESTR("&O8")), VT_I4, DISP_E_TYPEMISMATCH),
        fails("c_hexadecimal", text(OLESTR("0x10")), VT_I4, DISP_E_TYPEMISMATCH),
        {"rounds_to_even", text(OLESTR("2.5")), VT_I4, i4(2)},
        {"rounds_by_all_digits", text(OLESTR("2.5000000000000000000000001")), VT_I4, i4(3)},
        {"leading_zero_behind_the_point", text(OLESTR(".070")), VT_I4, i4(0)},
        fails("beyond_the_type", text(OLESTR("2147483648")), VT_I4, DISP_E_OVERFLOW),
        {"exact_64_bits", text(OLESTR("-9223372036854775808")), VT_I8, typed(VT_I8, 0x8000000000000000U)},
        {"largest_amount", text(OLESTR("922337203685477.5807")), VT_CY, typed(VT_CY, 0x7FFFFFFFFFFFFFFFU)},
        {"ends_at_zero", text(WideView(OLESTR("1\0x"), 3)), VT_I4, i4(1)},
        {"word_true", text(OLESTR("tRUE")), VT_BOOL, truth(VARIANT_TRUE)},
        {"word_false", text(OLESTR("False")), VT_BOOL, truth(VARIANT_FALSE)},
        {"marked_word", text(OLESTR("#TRUE#")), VT_BOOL, truth(VARIANT_TRUE)},
        {"number_as_bool", text(OLESTR("0.5")), VT_BOOL, truth(VARIANT_TRUE)},
        fails("word_with_space", text(OLESTR("True ")), VT_BOOL, DISP_E_TYPEMISMATCH),
    };
}

std::vector<Case> fixedPointCases() {
    return {
        {"amount_to_text", typed(VT_CY, 12345000), VT_BSTR, text(OLESTR("1234.5"))},
        {"smallest_amount", typed(VT_CY, ~0ULL), VT_BSTR, text(OLESTR("-0.0001"))},
        {"amount_rounds_to_even", typed(VT_CY, 25000), VT_I4, i4(2)},
        {"negative_amount_to_i8_is_one_less", typed(VT_CY, static_cast<ULONGLONG>(-10000)), VT_I8,
         typed(VT_I8, static_cast<ULONGLONG>(-2))},
        {"amount_to_real", typed(VT_CY, 5000), VT_R8, r8(0.5)},
        {"decimal_to_text", decimal(0, 1234500, 4, true), VT_BSTR, text(OLESTR("-123.45"))},
        {"largest_decimal", decimal(0xFFFFFFFFU, ~0ULL, 0, false), VT_BSTR,
         text(OLESTR("79228162514264337593543950335"))},
        {"smallest_decimal", decimal(0, 1, 28, false), VT_BSTR, text(OLESTR("0.0000000000000000000000000001"))},
        {"decimal_without_minus_zero", decimal(0, 0, 3, true), VT_BSTR, text(OLESTR("0"))},
        {"decimal_rounds_to_even", decimal(0, 25, 1, false), VT_I4, i4(2)},
        {"decimal_is_the_nearest_double", decimal(0, 1, 28, false), VT_R8, r8(1e-28)},
        {"decimal_to_amount_is_exact", decimal(0, 9223372036854775807, 4, false), VT_CY,
         typed(VT_CY, 9223372036854775807)},
        fails("decimal_beyond_i8", decimal(1, 0, 0, false), VT_I8, DISP_E_OVERFLOW),
        {"text_to_decimal", text(OLESTR("-1.50")), VT_DECIMAL, decimal(0, 15, 1, true)},
        {"text_with_too_many_places", text(OLESTR("0.00000000000000000000000000015")), VT_DECIMAL,
         decimal(0, 2, 28, false)},
        fails("text_beyond_decimals", text(OLESTR("79228162514264337593543950336")), VT_DECIMAL, DISP_E_OVERFLOW),
        {"real_to_decimal", r8(0.1), VT_DECIMAL, decimal(0, 1, 1, false)},
        {"true_to_decimal", truth(VARIANT_TRUE), VT_DECIMAL, decimal(0, 1, 0, true)},
    };
}

std::vector<Case> dateCases() {
    constexpr double day = 43861;  // 31 January 2020
    constexpr double time = 15 / 24.0 + 4 / 1440.0 + 5 / 86400.0;
    return {
        {"date_and_time", date(day + time), VT_BSTR, text(OLESTR("1/31/2020 3:04:05 PM"))},
        {"date_alone", date(day), VT_BSTR, text(OLESTR("1/31/2020"))},
        {"time_alone", date(0.25), VT_BSTR, text(OLESTR("6:00:00 AM"))},
        {"midnight", date(0), VT_BSTR, text(OLESTR("12:00:00 AM"))},
        {"before_day_zero_time_counts_forward", date(-1.75), VT_BSTR, text(OLESTR("12/29/1899 6:00:00 PM"))},
        {"rounds_into_the_next_day", date(day + 0.999999), VT_BSTR, text(OLESTR("2/1/2020 12:00:00 AM"))},
        {"first_day", date(-657434), VT_BSTR, text(OLESTR("1/1/100"))},
        {"last_day", date(2958465), VT_BSTR, text(OLESTR("12/31/9999"))},
        fails("beyond_the_last_day", date(2958466), VT_BSTR, E_INVALIDARG),
        {"invariant_locale", date(day + time), VT_BSTR, text(OLESTR("01/31/2020 15:04:05")), S_OK, 0, LOCALE_INVARIANT},
        {"date_is_a_real", date(1.5), VT_R8, r8(1.5)},
        {"month_day_year", text(OLESTR("1/31/2020")), VT_DATE, date(day)},
        {"day_month_year_when_it_must_be", text(OLESTR("31/1/2020")), VT_DATE, date(day)},
        {"year_month_day", text(OLESTR("2020-01-31")), VT_DATE, date(day)},
        {"month_name", text(OLESTR("31 January, 2020")), VT_DATE, date(day)},
        {"weekday_is_skipped", text(OLESTR("Fri, Jan 31, 2020")), VT_DATE, date(day)},
        {"two_digits_of_this_century", text(OLESTR("1/31/20")), VT_DATE, date(day)},
        {"two_digits_of_the_last_century", text(OLESTR("12/31/99")), VT_DATE, date(36525)},
        {"with_time", text(OLESTR("1/31/2020 18:00")), VT_DATE, date(day + 0.75)},
        {"time_first", text(OLESTR("6 PM 1/31/2020")), VT_DATE, date(day + 0.75)},
        {"noon", text(OLESTR("12:00 PM")), VT_DATE, date(0.5)},
        {"midnight_in_the_morning", text(OLESTR("12:00 AM")), VT_DATE, date(0)},
        {"leap_day", text(OLESTR("2/29/2020")), VT_DATE, date(43890)},
        fails("no_leap_day", text(OLESTR("2/29/2019")), VT_DATE, DISP_E_TYPEMISMATCH),
        fails("no_such_hour", text(OLESTR("24:00")), VT_DATE, DISP_E_TYPEMISMATCH),
        fails("one_number", text(OLESTR("15")), VT_DATE, DISP_E_TYPEMISMATCH),
        fails("letter_t", text(OLESTR("2020-01-31T15:04:05")), VT_DATE, DISP_E_TYPEMISMATCH),
        fails("date_is_no_number", text(OLESTR("1/31/2020")), VT_R8, DISP_E_TYPEMISMATCH),
    };
}

std::string nameOf(const testing::TestParamInfo<Case>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Integers, Convert, testing::ValuesIn(integerCases()), nameOf);
INSTANTIATE_TEST_SUITE_P(Reals, Convert, testing::ValuesIn(realCases()), nameOf);
INSTANTIATE_TEST_SUITE_P(NumberTexts, Convert, testing::ValuesIn(numberTextCases()), nameOf);
INSTANTIATE_TEST_SUITE_P(FixedPoint, Convert, testing::ValuesIn(fixedPointCases()), nameOf);
INSTANTIATE_TEST_SUITE_P(Dates, Convert, testing::ValuesIn(dateCases()), nameOf);

TEST(ConvertVariant, TextOfManyDigitsStaysExact) {
    NOT_UNDER_WINE("Wine rounds on the way");
    // A tie that only the thousandth digit decides.
    WideString digits = OLESTR("9007199254740993.");
    CComVariant value = text(digits + WideString(1000, OLESTR('0')) + OLESTR('1'));
    ASSERT_EQ(VariantChangeType(&value, &value, 0, VT_R8), S_OK);
    expectSame(value, r8(9007199254740994.0));
}

TEST(ConvertVariant, NullTextIsTheEmptyText) {
    CComVariant source = nullText();
    CComVariant target;
    EXPECT_EQ(VariantChangeType(&target, &source, 0, VT_I4), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(VariantChangeType(&target, &source, 0, VT_BSTR), S_OK);
    expectSame(target, text(OLESTR("")));
}

TEST(ConvertVariant, MissingVariantIsInvalid) {
    NOT_UNDER_WINE("Wine does not look whether there is a variant");
    VARIANT value;
    VariantInit(&value);
    EXPECT_EQ(VariantChangeType(nullptr, &value, 0, VT_I4), E_INVALIDARG);
    EXPECT_EQ(VariantChangeType(&value, nullptr, 0, VT_I4), E_INVALIDARG);
}

TEST(ConvertVariant, ReferenceIsFollowed) {
    SHORT number = 7;
    VARIANT reference{};
    reference.vt = VT_BYREF | VT_I2;
    reference.byref = &number;
    CComVariant value;
    ASSERT_EQ(VariantChangeType(&value, &reference, 0, VT_BSTR), S_OK);
    expectSame(value, text(OLESTR("7")));
}

TEST(ConvertVariant, ReferenceToAVariantIsFollowed) {
    CComVariant inner = text(OLESTR("5"));
    VARIANT reference{};
    reference.vt = VT_BYREF | VT_VARIANT;
    reference.byref = &inner;
    CComVariant value;
    ASSERT_EQ(VariantChangeType(&value, &reference, 0, VT_BSTR), S_OK);
    expectSame(value, text(OLESTR("5")));
    EXPECT_NE(value.bstrVal, inner.bstrVal);
}

class CountedObject : public IUnknown {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID /*iid*/, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override { return --references; }

    ULONG references = 1;
};

TEST(Copy, ObjectIsReferencedAndReleased) {
    CountedObject object;
    VARIANT source{};
    source.vt = VT_UNKNOWN;
    source.punkVal = &object;
    VARIANT copy{};
    EXPECT_EQ(VariantCopy(&copy, &source), S_OK);
    EXPECT_EQ(object.references, 2U);
    EXPECT_EQ(VariantCopy(&copy, &copy), S_OK);
    EXPECT_EQ(object.references, 2U);
    VARIANT converted{};
    EXPECT_EQ(VariantChangeType(&converted, &source, 0, VT_UNKNOWN), S_OK);
    EXPECT_EQ(object.references, 3U);
    EXPECT_EQ(VariantClear(&converted), S_OK);
    EXPECT_EQ(VariantClear(&copy), S_OK);
    EXPECT_EQ(copy.vt, VT_EMPTY);
    EXPECT_EQ(object.references, 1U);
}

TEST(Copy, NullObjectIsCopied) {
    VARIANT source{};
    source.vt = VT_DISPATCH;
    VARIANT copy{};
    EXPECT_EQ(VariantCopy(&copy, &source), S_OK);
    EXPECT_EQ(copy.vt, VT_DISPATCH);
    EXPECT_EQ(copy.punkVal, nullptr);
    EXPECT_EQ(VariantClear(&copy), S_OK);
}

TEST(Copy, TextIsCopiedWithItsZeros) {
    const CComVariant source = text(WideView(OLESTR("a\0b"), 3));
    const CComVariant copy(source);
    expectSame(copy, source);
    EXPECT_NE(copy.bstrVal, source.bstrVal);
}

TEST(Copy, NullTextBecomesTheEmptyText) {
    const CComVariant source = nullText();
    const CComVariant copy(source);
    ASSERT_NE(copy.bstrVal, nullptr);
    EXPECT_EQ(SysStringLen(copy.bstrVal), 0U);
}

TEST(Copy, BadTypeLeavesTheTargetAlone) {
    VARIANT bad{};
    bad.vt = 15;
    CComVariant target = text(OLESTR("kept"));
    EXPECT_EQ(VariantCopy(&target, &bad), DISP_E_BADVARTYPE);
    expectSame(target, text(OLESTR("kept")));
}

TEST(Clear, BadTypeStaysAsItWas) {
    VARIANT bad{};
    bad.vt = 15;
    EXPECT_EQ(VariantClear(&bad), DISP_E_BADVARTYPE);
    EXPECT_EQ(bad.vt, 15);
}

TEST(Clear, ReferenceDoesNotOwn) {
    CComBSTR owned(OLESTR("owned elsewhere"));
    VARIANT reference{};
    reference.vt = VT_BYREF | VT_BSTR;
    reference.byref = static_cast<void*>(&owned.m_str);
    EXPECT_EQ(VariantClear(&reference), S_OK);
    EXPECT_EQ(owned.Length(), 15U);
}

}  // namespace
