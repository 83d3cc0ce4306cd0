#include "platform/portable/decimal.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace ole {

namespace {

constexpr unsigned maxScale = 28;
constexpr UInt128 tooLarge = UInt128{1} << 96;

}  // namespace

DecimalNumber decimalOf(const DECIMAL& value) {
    // A scale beyond the type's own does not come from any of its operations; it must only do no harm.
    const unsigned scale = std::min<unsigned>(value.scale, maxScale);
    return {UInt128{value.Hi32} << 64 | value.Lo64, scale, (value.sign & 0x80) != 0};
}

DecimalNumber decimalOf(Int128 integer, unsigned scale) {
    return {integer < 0 ? -static_cast<UInt128>(integer) : static_cast<UInt128>(integer), scale, integer < 0};
}

HRESULT decimalOf(const NumberText& number, DecimalNumber& value) {
    if (number.isPattern) {
        value = {number.pattern, 0, false};
        return number.patternTooLong ? DISP_E_OVERFLOW : S_OK;
    }
    // As many places as the number has and the type can hold.
    long scale = std::clamp(-number.exponent, 0L, static_cast<long>(maxScale));
    for (; scale >= 0; --scale) {
        UInt128 magnitude = 0;
        if (scaledMagnitudeOf(number, static_cast<unsigned>(scale), magnitude) && magnitude < tooLarge) {
            // Rounding can leave zeros at the end.
            for (; scale > 0 && magnitude % 10 == 0; --scale) magnitude /= 10;
            value = {magnitude, static_cast<unsigned>(scale), number.negative && magnitude != 0};
            return S_OK;
        }
    }
    return DISP_E_OVERFLOW;
}

HRESULT decimalOf(double real, int significantDigits, DecimalNumber& value) {
    if (std::isnan(real)) return DISP_E_BADVARTYPE;
    if (std::isinf(real)) return DISP_E_OVERFLOW;
    const ShortText text = textOfReal(real, significantDigits);
    NumberText number;
    const HRESULT hr = readNumber(text.view(), LOCALE_INVARIANT, number);
    return FAILED(hr) ? hr : decimalOf(number, value);
}

void store(const DecimalNumber& value, DECIMAL& target) {
    target.Hi32 = static_cast<ULONG>(value.magnitude >> 64);
    target.Lo64 = static_cast<ULONGLONG>(value.magnitude);
    target.scale = static_cast<BYTE>(value.scale);
    target.sign = value.negative ? 0x80 : 0;
}

double realOf(const DecimalNumber& value) {
    // Through the text: dividing two doubles would round twice.
    const ShortText text = textOfDecimal(value.magnitude, value.scale, value.negative);
    char buffer[64];
    char* end = buffer;
    for (const char16_t unit : text.view()) *end++ = static_cast<char>(unit);
    double real = 0;
    std::from_chars(buffer, end, real);
    return real + 0.0;  // no negative zero
}

Int128 integerOf(const DecimalNumber& value) {
    const auto magnitude = static_cast<Int128>(divideRounded(value.magnitude, power10(value.scale)));
    return value.negative ? -magnitude : magnitude;
}

int compare(const DecimalNumber& left, const DecimalNumber& right) {
    const bool leftNegative = left.negative && left.magnitude != 0;
    const bool rightNegative = right.negative && right.magnitude != 0;
    if (leftNegative != rightNegative) return leftNegative ? -1 : 1;
    // Whole parts and fractions apart: both at one scale would not fit.
    const auto whole = [](const DecimalNumber& value) { return value.magnitude / power10(value.scale); };
    const auto fraction = [](const DecimalNumber& value) {
        return value.magnitude % power10(value.scale) * power10(maxScale - value.scale);
    };
    int order = 0;
    if (whole(left) != whole(right))
        order = whole(left) < whole(right) ? -1 : 1;
    else if (fraction(left) != fraction(right))
        order = fraction(left) < fraction(right) ? -1 : 1;
    return leftNegative ? -order : order;
}

}  // namespace ole
