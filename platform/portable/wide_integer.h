// 128-bit integers, in which amounts and decimals are exact.
#pragma once

namespace ole {

__extension__ using Int128 = __int128;
__extension__ using UInt128 = unsigned __int128;

/// 10 to the power of `exponent`, which is at most 38.
constexpr UInt128 power10(unsigned exponent) {
    UInt128 value = 1;
    for (; exponent > 0; --exponent) value *= 10;
    return value;
}

/// `value` divided by `divisor`, rounded to the nearest, halves to even.
constexpr UInt128 divideRounded(UInt128 value, UInt128 divisor) {
    const UInt128 quotient = value / divisor;
    const UInt128 rest = value % divisor;
    const UInt128 otherHalf = divisor - rest;
    const bool up = rest > otherHalf || (rest == otherHalf && (quotient & 1) != 0);
    return quotient + (up ? 1 : 0);
}

}  // namespace ole
