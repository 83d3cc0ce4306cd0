// Dates and times between ISO 8601 texts and DATE.
#pragma once

#include "host/geodatabase/base/column.h"
#include "platform/platform.h"

#include <string>

namespace embedded_host {

/// Reads a date, a time or both; a zone is not applied: the time is given as it is written. \return whether it is one.
bool parseIso(ColumnType type, const std::string& text, DATE& date);

/// The text of a Date, Time or DateTime column, to the millisecond.
/// \throws StatusError when the column would lose a part of the date, or it lies outside the years 100 to 9999.
std::string isoText(ColumnType type, DATE date);

}  // namespace embedded_host
