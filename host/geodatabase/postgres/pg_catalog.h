// What a PostgreSQL server's catalog tells about tables.
#pragma once

#include "host/geodatabase/base/column.h"
#include "host/geodatabase/postgres/pg_connection.h"
#include "host/geodatabase/postgres/pg_names.h"
#include "host/geodatabase/postgres/pg_values.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace embedded_host {

/// A table, a view or a partitioned table.
struct PgRelation {
    std::int64_t oid = 0;
    std::string schema;
    std::string table;
    bool spatial = false;
    bool visible = false;      // found by its name alone
    std::string subtypeField;  // what its comment says behind "SUBTYPE_FIELD="

    /// The name alone where it is enough, else with its schema.
    std::string layerName() const;
    std::string sqlName() const;
};

/// A column, and how its values pass between the server and Cell.
struct PgColumn {
    Column column;
    std::string readSql;   // an expression whose binary form PgTable reads
    std::string writeSql;  // a cast or call around "@", which stands for an item of the array of new values
    PgArray::Item item;
    std::string storedAs;  // the type, with its precision, that gives values a form of its own (padded, rounded,
                           // normalized); empty where a value is stored as it comes
};

struct PgTableColumns {
    std::vector<PgColumn> columns;  // without key and geometries
    std::string key;                // empty when no column identifies a row by a whole number
};

/// Asks through a function, so that the asker decides what a failure does to its transaction.
class PgCatalog {
public:
    using Ask = std::function<PgResult(const PgStatement&)>;

    explicit PgCatalog(Ask ask) : ask_(std::move(ask)) {}

    /// What the role may read, system tables and those of extensions apart: the schemas of the search path first, then
    /// by name.
    std::vector<PgRelation> list(const std::vector<std::string>& schemas) const;
    /// The exact name first, then as the server folds it, then without regard to case.
    /// \throws StatusError when only several tables fit whose names differ in case.
    std::optional<PgRelation> find(const TableName& name) const;
    PgTableColumns describe(const PgRelation& relation) const;
    /// The metadata item SUBTYPE_FIELD that GDAL has kept when it imported the table; empty where there is none.
    std::string importedSubtypeField(const PgRelation& relation) const;

private:
    std::string keyOf(const PgRelation& relation) const;

    Ask ask_;
};

}  // namespace embedded_host
