// StreamField: a column of a stream, and how its values become cells.
#pragma once

#include "host/geodatabase/base/cell.h"

#include <nanoarrow.hpp>

#include <cstdint>
#include <string>

namespace embedded_host {

/// One column of a stream's schema. What a type becomes:
///   booleans; integers of any width (uint64 that does not fit is not readable); half, single and double floats, NaN as
///   NULL; decimals as doubles; strings, large strings and string views; date32, date64; time32, time64; timestamps, at
///   UTC where they have a zone; lists and large lists of integers, floats and strings, joined by commas; null; and
///   dictionaries of all these. All else (binary, geometry, structs, maps, unions) passes through and is not read.
class StreamField {
public:
    /// \param schema of the column; must outlive this. \throws HostError, naming the column, for a schema that is none.
    explicit StreamField(const ArrowSchema& schema);

    const Column& column() const noexcept { return column_; }
    const ArrowSchema& schema() const noexcept { return *schema_; }
    bool isDictionary() const noexcept { return isDictionary_; }
    /// Whether values can be written: of booleans, signed integers from 16 bits, single and double floats, strings of
    /// all kinds, date32 and timestamps. A dictionary that is written becomes a column of its values.
    bool isWritable() const noexcept;
    /// Of values, a dictionary's too.
    const ArrowSchemaView& values() const noexcept { return values_; }
    /// The type's name, for people.
    std::string typeName() const;

    /// Fills the cell from a row of the column's array. \param view validated.
    void read(const ArrowArrayView& view, std::int64_t row, Cell& cell) const;
    /// Appends a cell to an array of the column's values. \return false when there is no such value.
    bool append(ArrowArray& array, const Cell& cell) const;

private:
    void readValue(const ArrowArrayView& view, std::int64_t row, Cell& cell) const;
    void readNumber(const ArrowArrayView& view, std::int64_t row, Cell& cell) const;
    void readMoment(std::int64_t value, Cell& cell) const;
    void readList(const ArrowArrayView& view, std::int64_t row, Cell& cell) const;

    const ArrowSchema* schema_;
    ArrowSchemaView values_{};
    bool isDictionary_ = false;
    ArrowType itemType_ = NANOARROW_TYPE_UNINITIALIZED;  // of a list's items
    Column column_;
};

/// \throws HostError, naming the column, unless the array is one of the schema, whatever its producer has put into it.
/// \param view is given the array, which must outlive it.
void setValidated(ArrowArrayView& view, const StreamField& field, const ArrowArray& array);

}  // namespace embedded_host
