// Conversion between cells and VARIANTs.
#pragma once

#include "host/geodatabase/base/cell.h"
#include "platform/platform.h"

namespace embedded_host {

/// The type that toVariant() gives to the values of a column; VT_EMPTY for one that cannot be read.
VARTYPE variantTypeOf(ColumnType type) noexcept;

/// Fills `value`, which is VT_EMPTY. \throws StatusError when the cell's content cannot be shown as its column's type.
void toVariant(const Column& column, const Cell& cell, VARIANT* value);

/// Makes `cell` hold `value` converted to the column's type; VT_NULL and VT_EMPTY give Null.
/// \throws StatusError when the value has no equal of that type; the cell is then unchanged.
void fromVariant(const Column& column, const VARIANT& value, Cell& cell);

}  // namespace embedded_host
