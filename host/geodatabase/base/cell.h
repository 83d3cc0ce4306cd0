// A value of a row as the host keeps it between the database and VARIANT.
#pragma once

#include "platform/platform.h"

#include <cstdint>
#include <string>
#include <vector>

namespace embedded_host {

enum class ColumnType : std::uint8_t {
    Boolean,
    Int16,
    Integer,
    Integer64,
    Real,
    Float32,
    Text,
    Date,
    Time,
    DateTime,
    IntegerList,
    RealList,
    TextList,
    Unsupported  // binary data and the like: neither read nor written
};

struct Column {
    std::string name;
    ColumnType type;
    int width = 0;  // the most characters that a text may have; 0 for no limit
};

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

/// Which member of Cell holds the values of a type.
enum class CellPart : std::uint8_t { Integer, Real, Text, None };
constexpr CellPart partOf(ColumnType type) noexcept {
    switch (type) {
        case ColumnType::Boolean:
        case ColumnType::Int16:
        case ColumnType::Integer:
        case ColumnType::Integer64:
            return CellPart::Integer;
        case ColumnType::Real:
        case ColumnType::Float32:
            return CellPart::Real;
        case ColumnType::Unsupported:
            return CellPart::None;
        default:
            return CellPart::Text;
    }
}

/// The type that toVariant() gives to the values of a column; VT_EMPTY for one that cannot be read.
VARTYPE variantTypeOf(ColumnType type) noexcept;

/// Fills `value`, which is VT_EMPTY. \throws StatusError when the cell's content cannot be shown as its column's type.
void toVariant(const Column& column, const Cell& cell, VARIANT* value);

/// Makes `cell` hold `value` converted to the column's type; VT_NULL and VT_EMPTY give Null.
/// \throws StatusError when the value has no equal of that type; the cell is then unchanged.
void fromVariant(const Column& column, const VARIANT& value, Cell& cell);

}  // namespace embedded_host
