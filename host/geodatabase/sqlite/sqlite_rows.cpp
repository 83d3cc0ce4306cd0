// SQL that names a table's rows.
#include "host/geodatabase/sqlite/sqlite_rows.h"

#include "host/geodatabase/base/text.h"

#include <utility>

namespace embedded_host {

SqliteRows::SqliteRows(SqliteConnection& connection, std::string table, const std::string& key,
                       std::shared_ptr<const TableSchema> schema)
    : connection_(connection),
      table_(std::move(table)),
      tableSql_(quotedName(table_)),
      key_(key.empty() ? "_rowid_" : quotedName(key)),
      schema_(std::move(schema)) {}

std::string SqliteRows::selection(const ColumnSet& columns) const {
    std::string sql = "SELECT " + key_;
    for (const std::size_t column : columns)
        sql += column == schema_->keyPosition() ? ", " + key_ : ", " + quotedName(schema_->columns[column].name);
    return sql + " FROM " + tableSql_;
}

void SqliteRows::read(const SqliteStatement& row, const TableSchema& schema, const ColumnSet& columns, Cells& cells) {
    int position = 1;
    for (const std::size_t column : columns) row.read(position++, partOf(schema.columns[column].type), cells[column]);
}

std::string conditionSql(std::string_view where) {
    // The line break ends a comment that the clause may end with.
    return "(" + std::string(where) + "\n)";
}

}  // namespace embedded_host
