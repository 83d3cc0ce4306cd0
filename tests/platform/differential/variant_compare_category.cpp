// VarCmp of every type with every type.
#include "platform/differential/variants.h"

#include <initializer_list>
#include <limits>

namespace differential {

namespace {

void addComparison(Report& report, const CComVariant& left, const CComVariant& right, LCID locale, ULONG flags) {
    CComVariant first(left);
    CComVariant second(right);
    std::string asked = describe(left) + " with " + describe(right);
    if (locale != LOCALE_USER_DEFAULT) asked += " locale " + std::to_string(locale);
    if (flags != 0) asked += " flags " + std::to_string(flags);
    report.add(asked, hex(VarCmp(&first, &second, locale, flags)));
}

/// A few of each type, so that every pair of types meets.
std::vector<CComVariant> samples() {
    std::vector<CComVariant> all(1);
    all.push_back(integerVariant(VT_NULL, 0));
    for (const VARTYPE type : std::initializer_list<VARTYPE>{VT_BOOL, VT_I1, VT_UI1, VT_I2, VT_UI2, VT_I4, VT_UI4,
                                                             VT_I8, VT_UI8, VT_INT, VT_UINT, VT_CY, VT_ERROR})
        for (const int value : {-10000, -1, 0, 1, 10000})
            all.push_back(integerVariant(static_cast<VARTYPE>(type), static_cast<std::uint64_t>(value)));
    for (const VARTYPE type : std::initializer_list<VARTYPE>{VT_R4, VT_R8, VT_DATE})
        for (const double value : {-1.0, -0.0, 0.1, 1.0, 1.5, 10000.0, 1e18})
            all.push_back(realVariant(static_cast<VARTYPE>(type), value));
    for (const bool negative : {false, true})
        for (const unsigned scale : {0U, 1U, 28U}) all.push_back(decimalVariant(0, 10000, scale, negative));
    CComVariant null;
    null.vt = VT_BSTR;
    null.bstrVal = nullptr;
    all.push_back(null);
    for (const OLECHAR* text : {OLESTR(""), OLESTR("0"), OLESTR("1"), OLESTR("1.5"), OLESTR("10000"), OLESTR("abc"),
                                OLESTR("True"), OLESTR("-1"), OLESTR("1/1/2020")})
        all.push_back(textVariant(text));
    for (const int type : {VT_UNKNOWN, VT_DISPATCH}) all.push_back(integerVariant(static_cast<VARTYPE>(type), 0));
    return all;
}

void addTypeWords(Report& report) {
    static constexpr int types[] = {15, 24, 25, 26, 36, 37, 64, 72, 0x2003, 0x4003, 0x1003, 0x8003, 4095};
    for (const int type : types) {
        VARIANT odd{};
        odd.vt = static_cast<VARTYPE>(type);
        LONG place = 2;
        odd.llVal = 2;
        if (type == (VT_BYREF | VT_I4)) odd.byref = &place;
        CComVariant number(1);
        CComVariant null = integerVariant(VT_NULL, 0);
        report.add("I4 1 with " + typeName(odd.vt), hex(VarCmp(&number, &odd, 0, 0)));
        report.add(typeName(odd.vt) + " with I4 1", hex(VarCmp(&odd, &number, 0, 0)));
        report.add("NULL with " + typeName(odd.vt), hex(VarCmp(&null, &odd, 0, 0)));
        report.add(typeName(odd.vt) + " with NULL", hex(VarCmp(&odd, &null, 0, 0)));
    }
}

/// Numbers that a subtraction or a common scale would not hold.
void addExtremes(Report& report) {
    const CComVariant large = integerVariant(VT_CY, 8'000'000'000'000'000'000U);
    const CComVariant small = integerVariant(VT_CY, 0 - 8'000'000'000'000'000'000U);
    const CComVariant many = decimalVariant(0x3D1929E6, 0x738A109F7338B19C, 2, false);
    const CComVariant manyPlaces = decimalVariant(0xA8DD1B30, 0x1C, 4, false);
    const CComVariant zero = decimalVariant(0, 0, 0, false);
    const CComVariant tiny = realVariant(VT_R8, 1e-200);
    const CComVariant notANumber = realVariant(VT_R8, std::numeric_limits<double>::quiet_NaN());
    const CComVariant infinite = realVariant(VT_R8, std::numeric_limits<double>::infinity());
    const CComVariant one(1);
    const CComVariant all[] = {large,
                               small,
                               manyPlaces,
                               many,
                               zero,
                               tiny,
                               notANumber,
                               infinite,
                               one,
                               realVariant(VT_R8, 2178210.99),
                               integerVariant(VT_I8, 9223372036854775807U)};
    for (const CComVariant& left : all)
        for (const CComVariant& right : all) addComparison(report, left, right, LOCALE_USER_DEFAULT, 0);
}

void run(Report& report, Random& random, long randomCases) {
    const std::vector<CComVariant> all = samples();
    for (const CComVariant& left : all)
        for (const CComVariant& right : all) addComparison(report, left, right, LOCALE_USER_DEFAULT, 0);
    for (const LCID locale : {LCID{0}, LCID{LOCALE_SYSTEM_DEFAULT}, LCID{LOCALE_INVARIANT}})
        for (const ULONG flags : {ULONG{0}, ULONG{NORM_IGNORECASE}})
            addComparison(report, textVariant(OLESTR("abc")), textVariant(OLESTR("ABC")), locale, flags);
    addTypeWords(report);
    addExtremes(report);
    for (long i = 0; i < randomCases; ++i) {
        const VARTYPE type = random.pick(valueTypes);
        const CComVariant left = randomVariant(random, type);
        const CComVariant right = randomVariant(random, random.oneIn(2) ? type : random.pick(valueTypes));
        addComparison(report, left, random.oneIn(8) ? left : right, LOCALE_USER_DEFAULT, 0);
    }
}

const Registration registration("variant-compare", 30000, run);

}  // namespace

}  // namespace differential
