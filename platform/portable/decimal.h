// DECIMAL: 96 bits, a sign and a decimal scale.
#pragma once

#include "platform/portable/number_text.h"
#include "platform/portable/variant.h"

namespace ole {

/// A DECIMAL taken apart.
struct DecimalNumber {
    UInt128 magnitude = 0;
    unsigned scale = 0;
    bool negative = false;
};

DecimalNumber decimalOf(const DECIMAL& value);
DecimalNumber decimalOf(Int128 integer, unsigned scale = 0);
/// The nearest one that a DECIMAL can hold; DISP_E_OVERFLOW when the number is too large.
HRESULT decimalOf(const NumberText& number, DecimalNumber& value);
/// Of the shortest text that has so many digits, as OLE Automation does it: 15 for a double, 7 for a float.
HRESULT decimalOf(double real, int significantDigits, DecimalNumber& value);

/// Leaves the reserved word, which a variant's type overlays, as it is.
void store(const DecimalNumber& value, DECIMAL& target);

double realOf(const DecimalNumber& value);
/// Rounded with halves to even.
Int128 integerOf(const DecimalNumber& value);
/// Less than, equal to or greater than 0.
int compare(const DecimalNumber& left, const DecimalNumber& right);

}  // namespace ole
