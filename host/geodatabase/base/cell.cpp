// Comparing cells.
#include "host/geodatabase/base/cell.h"

namespace embedded_host {

bool equalValues(ColumnType type, const Cell& left, const Cell& right) noexcept {
    if (left.state != right.state) return false;
    if (left.state != Cell::State::Value) return left.state == Cell::State::Null;
    switch (partOf(type)) {
        case CellPart::Integer:
            return left.integer == right.integer;
        case CellPart::Real:
            return left.real == right.real;
        case CellPart::Text:
            return left.text == right.text;
        default:
            return false;
    }
}

}  // namespace embedded_host
