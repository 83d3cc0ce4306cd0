// Connection strings and names of tables on a PostgreSQL server.
#pragma once

#include "host/geodatabase/base/database_server.h"

#include <string>
#include <string_view>
#include <vector>

namespace embedded_host {

/// Whether a dataset's name means a database on a PostgreSQL server ("PG:..." or "postgresql://...").
bool isPostgresName(std::string_view dataset) noexcept;

/// A dataset's name taken apart: what libpq is told, and what GDAL's driver for PostgreSQL adds to that.
struct PgSettings {
    std::string connection;
    std::vector<std::string> schemas;  // the only ones that are listed; empty: all
    std::string activeSchema;          // where names without an owner are looked for first; empty: as the role has it
};

/// \throws HostError for settings that are not understood.
PgSettings parsePgSettings(std::string_view dataset);

/// "table", "owner.table" or "database.owner.table"; a part between double quotes may have anything in it, also points
/// and doubled double quotes. \throws StatusError (E_INVALIDARG)
TableName parseTableName(std::string_view name);

/// The parts that are not empty, each between double quotes where a point or a quote in it would be misread.
/// \throws StatusError (E_INVALIDARG) for a table without a name or a part longer than a server's names may be.
std::string qualifyTableName(const TableName& name);

}  // namespace embedded_host
