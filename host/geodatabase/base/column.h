// A column of a table as the host knows it.
#pragma once

#include <cstdint>
#include <string>

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

}  // namespace embedded_host
