// Dates as texts, in the order month, day, year.
#pragma once

#include "platform/portable/number_text.h"

namespace ole {

/// The first and last days that a DATE can name: 1 January 100 and 31 December 9999.
constexpr double firstDay = -657434;
constexpr double lastDay = 2958465;

/// Whether a DATE's day is one of those.
bool isDate(double date);

/// "1/31/2020 3:04:05 PM"; the date alone at midnight, the time alone on 30 December 1899. In the invariant locale
/// "01/31/2020 15:04:05". E_INVALIDARG out of range.
HRESULT textOfDate(double date, LCID locale, ShortText& text);

/// Reads a date, a time or both: numbers, the months' and days' English names, separators, AM and PM. A missing year is
/// the current one. DISP_E_TYPEMISMATCH for anything else.
HRESULT readDate(std::u16string_view text, double& date);

}  // namespace ole
