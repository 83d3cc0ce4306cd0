// The fields of a table and their positions.
#pragma once

#include "host/geodatabase/base/column.h"
#include "platform/platform.h"

#include <cstddef>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

namespace embedded_host {

/// Hashes names, so that looking one up takes no copy of it.
struct NameHash {
    using is_transparent = void;
    std::size_t operator()(WideView name) const noexcept { return std::hash<WideView>{}(name); }
};
using NamePositions = std::unordered_map<WideString, LONG, NameHash, std::equal_to<>>;

/// The fields of a table as they were at one time. The key has the position after the last field.
struct TableSchema {
    std::vector<Column> columns;  // the table's fields, then the key
    NamePositions positions;
    NamePositions positionsByUpperCase;

    TableSchema(std::vector<Column> fields, const std::string& keyName);

    std::size_t fieldCount() const noexcept { return columns.size() - 1; }
    std::size_t keyPosition() const noexcept { return columns.size() - 1; }
    /// The exact name first, then the name without regard to case; -1 when there is none.
    LONG find(WideView name) const;
};

/// Which columns of a row: positions of a schema, ascending.
using ColumnSet = std::vector<std::size_t>;

ColumnSet allColumns(const TableSchema& schema);

}  // namespace embedded_host
