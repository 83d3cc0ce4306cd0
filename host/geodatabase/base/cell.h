// A value of a row as the host keeps it between the database and VARIANT.
#pragma once

#include "host/geodatabase/base/column.h"

#include <cstdint>
#include <string>
#include <vector>

namespace embedded_host {

/// One value. Numbers and booleans are in `integer` or `real`; texts, dates (ISO 8601) and lists (joined by commas) in
/// `text`, whose memory serves row after row.
struct Cell {
    enum class State : std::uint8_t {
        Missing,  // not read from the database
        Null,
        Value,
        Foreign  // the database holds a value that is not of the column's type: `text` shows it
    };

    State state = State::Missing;
    std::int64_t integer = 0;
    double real = 0;
    std::string text;
};

using Cells = std::vector<Cell>;

/// Whether two cells of a column hold the same value. What was not read, or is not of the column's type, equals
/// nothing.
bool equalValues(ColumnType type, const Cell& left, const Cell& right) noexcept;

}  // namespace embedded_host
