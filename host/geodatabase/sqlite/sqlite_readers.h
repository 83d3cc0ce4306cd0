// Readers of tables of SQLite files.
#pragma once

#include "host/geodatabase/sqlite/sqlite_table.h"

#include <memory>

namespace embedded_host {

/// All rows, by one statement that walks the table.
std::unique_ptr<RowReader> scanTable(std::shared_ptr<SqliteTable> table, const ColumnSet& columns);
/// The rows of ascending ids.
std::unique_ptr<RowReader> readByIds(std::shared_ptr<SqliteTable> table, const ColumnSet& columns, SharedIds ids);

}  // namespace embedded_host
