// Values for the categories that convert and compare: each type's edges, and random ones.
#pragma once

#include "platform/differential/category.h"

#include <vector>

namespace differential {

/// The types that a row value or an operand can have.
inline constexpr VARTYPE valueTypes[] = {VT_EMPTY, VT_NULL, VT_BOOL, VT_I1,   VT_UI1,   VT_I2,     VT_UI2,
                                         VT_I4,    VT_UI4,  VT_I8,   VT_UI8,  VT_INT,   VT_UINT,   VT_R4,
                                         VT_R8,    VT_CY,   VT_DATE, VT_BSTR, VT_ERROR, VT_DECIMAL};

CComVariant integerVariant(VARTYPE type, std::uint64_t value);
CComVariant realVariant(VARTYPE type, double value);
CComVariant textVariant(WideView text);
CComVariant decimalVariant(std::uint32_t high, std::uint64_t low, unsigned scale, bool negative);

/// Every type with its named edges: limits, zeros, halves, texts of all kinds.
std::vector<CComVariant> edgeVariants();
/// Texts at the edges of what reads as a number.
std::vector<WideString> numberTexts();
/// Texts at the edges of what reads as a date.
std::vector<WideString> dateTexts();

CComVariant randomVariant(Random& random, VARTYPE type);
/// Mostly a number, sometimes spoilt.
WideString randomNumberText(Random& random);
WideString randomDateText(Random& random);
/// A number whose size and number of decimals vary widely.
double randomReal(Random& random);

}  // namespace differential
