// Readers of tables on a PostgreSQL server, block by block.
#pragma once

#include "host/geodatabase/postgres/pg_table.h"

#include <memory>

namespace embedded_host {

/// All rows, through a cursor of the server's; in a transaction only.
std::unique_ptr<RowReader> readWithCursor(std::shared_ptr<PgTable> table, const ColumnSet& columns);
/// The rows of ascending ids.
std::unique_ptr<RowReader> readByIds(std::shared_ptr<PgTable> table, const ColumnSet& columns, SharedIds ids);

}  // namespace embedded_host
