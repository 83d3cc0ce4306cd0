// Triggers that an update of a table fires for nothing.
#pragma once

#include "host/geodatabase/base/table_schema.h"

#include <string>

struct sqlite3;

namespace embedded_host {

/// Whether no trigger of the table can act on an update that leaves the key and everything but the schema's columns as
/// they are. GDAL keeps a layer's spatial index with triggers like that: they look at the geometry alone, or first ask
/// whether the key has changed. Those are run for every row all the same, and cost more than the row.
/// \param key as the schema names it. \throws HostError
bool triggersAreIdle(sqlite3* connection, const std::string& table, const std::string& key, const TableSchema& schema);

}  // namespace embedded_host
