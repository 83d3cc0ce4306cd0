#include "platform/differential/variants.h"

#include <cmath>
#include <cstring>
#include <initializer_list>
#include <limits>

namespace differential {

namespace {

template <class T>
T power10(int exponent) {
    T value = 1;
    for (int i = 0; i < exponent; ++i) value *= 10;
    return value;
}

WideString wide(std::string_view text) {
    return WideString(text.begin(), text.end());
}

void addIntegers(std::vector<CComVariant>& all) {
    static constexpr std::uint64_t values[] = {0,
                                               1,
                                               2,
                                               5,
                                               100,
                                               127,
                                               128,
                                               255,
                                               256,
                                               32767,
                                               32768,
                                               65535,
                                               65536,
                                               2147483647,
                                               2147483648,
                                               4294967295,
                                               4294967296,
                                               9007199254740993,
                                               922337203685477,
                                               922337203685478,
                                               9223372036854775807U,
                                               9223372036854775808U,
                                               18446744073709551615U};
    static constexpr VARTYPE types[] = {VT_BOOL, VT_I1, VT_UI1, VT_I2,  VT_UI2, VT_I4,
                                        VT_UI4,  VT_I8, VT_UI8, VT_INT, VT_UINT};
    for (const VARTYPE type : types)
        for (const std::uint64_t value : values) {
            all.push_back(integerVariant(type, value));
            all.push_back(integerVariant(type, 0 - value));
        }
    static constexpr std::uint64_t amounts[] = {0,
                                                1,
                                                4999,
                                                5000,
                                                5001,
                                                9999,
                                                10000,
                                                14999,
                                                15000,
                                                25000,
                                                25001,
                                                1234567,
                                                327675000,
                                                2550000,
                                                21474836475000,
                                                9223372036854775807U,
                                                42949672955000};
    for (const std::uint64_t amount : amounts) {
        all.push_back(integerVariant(VT_CY, amount));
        all.push_back(integerVariant(VT_CY, 0 - amount));
    }
    all.push_back(integerVariant(VT_ERROR, 0));
    all.push_back(integerVariant(VT_ERROR, 0x80020004U));
}

void addReals(std::vector<CComVariant>& all) {
    static constexpr double values[] = {0.0,
                                        0.1,
                                        0.3,
                                        0.5,
                                        0.49999999999999994,
                                        1.0,
                                        1.5,
                                        2.5,
                                        3.5,
                                        99.95,
                                        127.4,
                                        127.5,
                                        128.5,
                                        254.5,
                                        255.5,
                                        32766.5,
                                        32767.49,
                                        32767.5,
                                        32768.5,
                                        65535.5,
                                        2147483647.0,
                                        2147483647.5,
                                        2147483648.5,
                                        4294967295.5,
                                        1e10,
                                        922337203685477.5,
                                        922337203685478.0,
                                        9223372036854774784.0,
                                        9223372036854775808.0,
                                        18446744073709549568.0,
                                        18446744073709551616.0,
                                        123456.789,
                                        0.0001,
                                        0.00001,
                                        0.00005,
                                        0.00015,
                                        1.0 / 3,
                                        2.0 / 3,
                                        1e14,
                                        999999999999999.0,
                                        1e15,
                                        123456789012345678.0,
                                        1e16,
                                        1e20,
                                        7.9e28,
                                        8e28,
                                        3.4028234663852886e38,
                                        3.4028235677973366e38,
                                        3.5e38,
                                        1e-10,
                                        1e-28,
                                        1e-38,
                                        1e-45,
                                        1e100,
                                        1e-100,
                                        1.7976931348623157e308,
                                        2.2250738585072014e-308,
                                        4.9406564584124654e-324};
    for (const VARTYPE type : std::initializer_list<VARTYPE>{VT_R4, VT_R8, VT_DATE})
        for (const double value : values) {
            if (type == VT_R4 && value > 3.5e38) continue;
            all.push_back(realVariant(type, value));
            all.push_back(realVariant(type, -value));
        }
    static constexpr double days[] = {
        1.25,      2.0,       30.0,           61.0,           366.0,     36526.0, 43861.627835648,
        0.999995,  0.99999,   43861.99999421, 43861.99999422, -0.25,     -1.75,   -657434.0,
        -657435.0, 2958465.0, 2958465.99999,  2958466.0,      2958465.5, 0.00001, 43861.5};
    for (const double day : days) all.push_back(realVariant(VT_DATE, day));
    for (const VARTYPE type : std::initializer_list<VARTYPE>{VT_R4, VT_R8}) {
        all.push_back(realVariant(type, std::numeric_limits<double>::infinity()));
        all.push_back(realVariant(type, -std::numeric_limits<double>::infinity()));
        all.push_back(realVariant(type, std::numeric_limits<double>::quiet_NaN()));
    }
}

void addDecimals(std::vector<CComVariant>& all) {
    struct Edge {
        std::uint32_t high;
        std::uint64_t low;
        unsigned scale;
    };
    static constexpr Edge edges[] = {{0, 0, 0},
                                     {0, 0, 3},
                                     {0, 1, 0},
                                     {0, 15, 1},
                                     {0, 25, 1},
                                     {0, 1275, 1},
                                     {0, 12345, 4},
                                     {0, 1234500, 4},
                                     {0, 50000, 9},
                                     {0, 1, 28},
                                     {0, 2147483648, 0},
                                     {0, 18446744073709551615U, 0},
                                     {0, 18446744073709551615U, 28},
                                     {1, 0, 0},
                                     {0xFFFFFFFF, 0xFFFFFFFFFFFFFFFF, 0},
                                     {0xFFFFFFFF, 0xFFFFFFFFFFFFFFFF, 28},
                                     {0xFFFFFFFF, 0xFFFFFFFFFFFFFFFF, 14},
                                     {0, 9223372036854775807, 4},
                                     {0, 922337203685477581, 3},
                                     {0x3A284EAF, 0xB02B, 10},
                                     {0, 0x0BD33104290790A5, 1}};
    for (const Edge& edge : edges)
        for (const bool negative : {false, true})
            all.push_back(decimalVariant(edge.high, edge.low, edge.scale, negative));
}

void addTexts(std::vector<CComVariant>& all) {
    CComVariant null;
    null.vt = VT_BSTR;
    null.bstrVal = nullptr;
    all.push_back(null);
    for (const WideString& text : numberTexts()) all.push_back(textVariant(text));
    for (const WideString& text : dateTexts()) all.push_back(textVariant(text));
}

// The order in which a function's arguments are evaluated is the compiler's choice: what is drawn from `random` is
// drawn in statements of its own, so that every build draws the same.

std::uint64_t anyWidth(Random& random) {
    const std::uint64_t bits = random.next();
    return bits >> random.below(64);
}

/// A day near or in the range of dates, with whole seconds.
double randomDay(Random& random) {
    const double day = static_cast<double>(random.below(3700000)) - 700000;
    return day + static_cast<double>(random.below(86400)) / 86400;
}

CComVariant randomDecimal(Random& random) {
    const auto high = static_cast<std::uint32_t>(random.oneIn(3) ? random.next() : 0);
    const std::uint64_t low = anyWidth(random);
    const unsigned scale = random.below(random.oneIn(2) ? 29 : 6);
    return decimalVariant(high, low, scale, random.oneIn(2));
}

WideString digits(Random& random, unsigned most) {
    WideString text;
    for (unsigned left = random.below(most + 1); left > 0; --left)
        text += static_cast<OLECHAR>('0' + (random.oneIn(5) ? 0 : random.below(10)));
    return text;
}

WideString between(Random& random, std::uint32_t first, std::uint32_t last) {
    return wide(std::to_string(first + random.below(last - first + 1)));
}

}  // namespace

CComVariant integerVariant(VARTYPE type, std::uint64_t value) {
    CComVariant result;
    result.vt = type;
    result.llVal = 0;
    switch (type) {
        case VT_BOOL:
            result.boolVal = static_cast<VARIANT_BOOL>(value);
            break;
        case VT_I1:
        case VT_UI1:
            result.bVal = static_cast<BYTE>(value);
            break;
        case VT_I2:
        case VT_UI2:
            result.uiVal = static_cast<USHORT>(value);
            break;
        case VT_I8:
        case VT_UI8:
        case VT_CY:
            result.ullVal = value;
            break;
        default:
            result.ulVal = static_cast<ULONG>(value);
            break;
    }
    return result;
}

CComVariant realVariant(VARTYPE type, double value) {
    CComVariant result;
    result.vt = type;
    result.llVal = 0;
    if (type == VT_R4)
        result.fltVal = static_cast<float>(value);
    else
        result.dblVal = value;
    return result;
}

CComVariant textVariant(WideView text) {
    CComVariant result;
    result.bstrVal = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    if (!result.bstrVal) AtlThrow(E_OUTOFMEMORY);
    result.vt = VT_BSTR;
    return result;
}

CComVariant decimalVariant(std::uint32_t high, std::uint64_t low, unsigned scale, bool negative) {
    CComVariant result;
    result.decVal.Hi32 = high;
    result.decVal.Lo64 = low;
    result.decVal.scale = static_cast<BYTE>(scale);
    result.decVal.sign = negative ? 0x80 : 0;
    result.vt = VT_DECIMAL;  // overlays the decimal's reserved word
    return result;
}

std::vector<CComVariant> edgeVariants() {
    std::vector<CComVariant> all(1);
    all.push_back(integerVariant(VT_NULL, 0));
    addIntegers(all);
    addReals(all);
    addDecimals(all);
    addTexts(all);
    return all;
}

double randomReal(Random& random) {
    if (random.oneIn(4)) {
        // Any bit pattern of a finite number.
        std::uint64_t pattern = random.next();
        if ((pattern >> 52 & 0x7FF) == 0x7FF) pattern ^= std::uint64_t{1} << 53;
        double value = 0;
        std::memcpy(&value, &pattern, sizeof value);
        return value;
    }
    const auto whole = static_cast<double>(random.next() >> (1 + random.below(63)));
    const double value = whole / power10<double>(static_cast<int>(random.below(random.oneIn(3) ? 20 : 5)));
    return random.oneIn(2) ? value : -value;
}

WideString randomNumberText(Random& random) {
    static constexpr std::string_view spoilers[] = {" ", "x", "-", "+", ",",  ".", "$",
                                                    "(", ")", "e", "%", "&H", "0", "1"};
    WideString text;
    if (random.oneIn(6)) text += OLESTR(' ');
    if (random.oneIn(3)) text += random.oneIn(3) ? OLESTR("+") : OLESTR("-");
    text += digits(random, random.oneIn(4) ? 25 : 6);
    if (random.oneIn(6)) text += OLESTR(",") + digits(random, 4);
    if (random.oneIn(2)) text += OLESTR(".") + digits(random, random.oneIn(4) ? 25 : 5);
    if (random.oneIn(6)) {
        text += random.oneIn(2) ? OLESTR("e") : OLESTR("E");
        if (random.oneIn(2)) text += random.oneIn(3) ? OLESTR("+") : OLESTR("-");
        text += digits(random, 3);
    }
    if (random.oneIn(8)) text += OLESTR(' ');
    if (random.oneIn(8)) {
        const std::uint32_t place = random.below(static_cast<std::uint32_t>(text.size()) + 1);
        text.insert(place, wide(random.pick(spoilers)));
    }
    return text;
}

WideString randomDateText(Random& random) {
    static constexpr std::string_view separators[] = {"/", "/", "-", "-", ".", " ", ", "};
    static constexpr std::string_view months[] = {"Jan",     "Feb",      "Mar",      "Apr",  "May",
                                                  "Jun",     "Jul",      "Aug",      "Sep",  "September",
                                                  "October", "November", "December", "march"};
    const WideString separator = wide(random.pick(separators));
    const WideString day = between(random, 1, random.oneIn(10) ? 40 : 28);
    const WideString month =
        random.oneIn(3) ? wide(random.pick(months)) : between(random, 1, random.oneIn(10) ? 15 : 12);
    const WideString year = random.oneIn(4) ? between(random, 0, 120) : between(random, 1890, 2110);
    WideString date;
    switch (random.below(3)) {
        case 0:
            date = month + separator + day + separator + year;
            break;
        case 1:
            date = day + separator + month + separator + year;
            break;
        default:
            date = year + separator + month + separator + day;
            break;
    }
    if (random.oneIn(2)) return date;
    WideString time = between(random, 0, random.oneIn(10) ? 26 : 23);
    time += OLESTR(":") + between(random, 0, 61);
    if (random.oneIn(2)) time += OLESTR(":") + between(random, 0, 61);
    static constexpr std::string_view halves[] = {" AM", " PM", "AM", "pm", " a", " p"};
    if (random.oneIn(3)) time += wide(random.pick(halves));
    if (random.oneIn(5)) return time;
    return random.oneIn(5) ? time + OLESTR(" ") + date : date + OLESTR(" ") + time;
}

CComVariant randomVariant(Random& random, VARTYPE type) {
    switch (type) {
        case VT_EMPTY:
        case VT_NULL:
            return integerVariant(type, 0);
        case VT_R4: {
            double value = randomReal(random);
            // Out of the type's range a conversion would be undefined.
            if (std::fabs(value) > 3e38) value = 3e38 / (1 + random.below(1000));
            return realVariant(type, value);
        }
        case VT_R8:
            return realVariant(type, randomReal(random));
        case VT_DATE:
            return realVariant(type, random.oneIn(4) ? randomReal(random) : randomDay(random));
        case VT_BSTR:
            return textVariant(random.oneIn(6) ? randomDateText(random) : randomNumberText(random));
        case VT_DECIMAL:
            return randomDecimal(random);
        case VT_BOOL:
            return integerVariant(type, random.oneIn(4) ? random.next() : 0 - random.below(2));
        default: {
            const std::uint64_t inverted = random.oneIn(2) ? 0 : ~std::uint64_t{0};
            return integerVariant(type, inverted ^ anyWidth(random));
        }
    }
}

}  // namespace differential
