// The rows of a table as SQL names and gives them.
#pragma once

#include "host/geodatabase/base/cell.h"
#include "host/geodatabase/base/table_schema.h"
#include "host/geodatabase/sqlite/sqlite_connection.h"
#include "host/geodatabase/sqlite/sqlite_statement.h"

#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace embedded_host {

/// A table, its key and its fields on a connection: what reading, selecting and updating have in common.
class SqliteRows {
public:
    /// \param key the key's column; empty for SQLite's own row id.
    SqliteRows(SqliteConnection& connection, std::string table, const std::string& key,
               std::shared_ptr<const TableSchema> schema);

    SqliteConnection& connection() const noexcept { return connection_; }
    sqlite3* handle() const noexcept { return connection_.handle(); }
    const std::string& table() const noexcept { return table_; }
    /// The table as SQL writes it.
    const std::string& tableSql() const noexcept { return tableSql_; }
    /// The key as SQL writes it.
    const std::string& key() const noexcept { return key_; }
    const std::shared_ptr<const TableSchema>& schema() const noexcept { return schema_; }
    void setSchema(std::shared_ptr<const TableSchema> schema) noexcept { schema_ = std::move(schema); }

    /// SELECT of the key and the columns, up to and with FROM.
    std::string selection(const ColumnSet& columns) const;
    /// Fills the columns from a row of selection().
    static void read(const SqliteStatement& row, const TableSchema& schema, const ColumnSet& columns, Cells& cells);

private:
    SqliteConnection& connection_;
    std::string table_;
    std::string tableSql_;
    std::string key_;
    std::shared_ptr<const TableSchema> schema_;
};

/// A where clause as a part of a greater condition.
std::string conditionSql(std::string_view where);

}  // namespace embedded_host
