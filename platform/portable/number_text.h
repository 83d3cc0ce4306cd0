// Numbers as texts: what reads as a number, and how numbers are written.
#pragma once

#include "platform/portable/types.h"
#include "platform/portable/wide_integer.h"

#include <string_view>

namespace ole {

/// A number as it stood in a text: digits times ten to the power of the exponent, or a hexadecimal or octal pattern.
struct NumberText {
    /// More digits than a double can tell apart; what lies beyond only decides a tie.
    static constexpr unsigned maxDigits = 800;

    bool negative = false;
    bool isPattern = false;
    /// Of a pattern: its bits, and whether they were more than 64.
    std::uint64_t pattern = 0;
    bool patternTooLong = false;
    /// '0' to '9' without leading or trailing zeros; none for zero.
    char digits[maxDigits];
    unsigned digitCount = 0;
    long exponent = 0;
};

/// Reads a whole text as a number, by the conventions of US English, or without a currency sign of its own for the
/// invariant locale. A text ends at its first zero unit.
/// \return S_OK, or DISP_E_TYPEMISMATCH.
HRESULT readNumber(std::u16string_view text, LCID locale, NumberText& number);

/// The nearest double; DISP_E_OVERFLOW when there is none.
HRESULT realOf(const NumberText& number, double& value);

/// The decimal number times ten to the power of `scale`, without its sign, rounded with halves to even.
/// \return false when it has more than 38 digits.
bool scaledMagnitudeOf(const NumberText& number, unsigned scale, UInt128& magnitude);

/// A short text made in place.
class ShortText {
public:
    std::u16string_view view() const { return {units_, length_}; }
    void add(char c) { units_[length_++] = static_cast<char16_t>(static_cast<unsigned char>(c)); }
    void add(std::string_view text) {
        for (const char c : text) add(c);
    }

private:
    // The longest is a decimal: 29 digits, a point, a sign.
    char16_t units_[64] = {};
    unsigned length_ = 0;
};

ShortText textOfInteger(std::int64_t value);
ShortText textOfInteger(std::uint64_t value);
/// At most `significantDigits` digits; an exponent when the digits do not stand within so many places before or behind
/// the point: "0.00001", "1E+15", "1.23456789012345E-05", "1.#INF".
ShortText textOfReal(double value, int significantDigits);
/// `magnitude` divided by ten to the power of `scale`, without trailing zeros after the point.
ShortText textOfDecimal(UInt128 magnitude, unsigned scale, bool negative);

/// White space around numbers and dates.
bool isBlank(char16_t unit);

}  // namespace ole
