// A new table of an SQLite database, made and filled.
#pragma once

#include "host/geodatabase/base/column.h"
#include "host/geodatabase/sqlite/sqlite_statement.h"

#include <string>
#include <vector>

struct sqlite3;

namespace embedded_host {

/// Runs statements that give no rows. \throws SqliteError
void runSql(sqlite3* connection, const std::string& sql);

/// Makes a table, and has the statement that fills it.
class NewTable {
public:
    /// \param fields of types that have values. \throws SqliteError when there cannot be such a table.
    NewTable(sqlite3* connection, const std::string& name, const std::vector<Column>& fields);

    /// The key's column, of a name that no field has.
    const std::string& key() const noexcept { return key_; }
    /// Adds a row, with the next number: its parameters are the fields, from 1.
    SqliteStatement& insertion() noexcept { return insertion_; }

private:
    static std::string keyFor(const std::vector<Column>& fields);
    static std::string create(sqlite3* connection, const std::string& name, const std::string& key,
                              const std::vector<Column>& fields);

    std::string key_;
    SqliteStatement insertion_;
};

}  // namespace embedded_host
