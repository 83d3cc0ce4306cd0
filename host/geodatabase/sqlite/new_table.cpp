#include "host/geodatabase/sqlite/new_table.h"

#include "host/geodatabase/base/text.h"

#include <sqlite3.h>

namespace embedded_host {
namespace {

const char* sqlType(ColumnType type) {
    switch (type) {
        case ColumnType::Boolean:
            return "BOOLEAN";
        case ColumnType::Int16:
            return "SMALLINT";
        case ColumnType::Integer:
            return "MEDIUMINT";
        case ColumnType::Integer64:
            return "INTEGER";
        case ColumnType::Real:
            return "DOUBLE";
        case ColumnType::Float32:
            return "FLOAT";
        case ColumnType::Date:
            return "DATE";
        case ColumnType::DateTime:
            return "DATETIME";
        default:
            return "TEXT";
    }
}

}  // namespace

void runSql(sqlite3* connection, const std::string& sql) {
    if (sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) throw SqliteError(connection);
}

NewTable::NewTable(sqlite3* connection, const std::string& name, const std::vector<Column>& fields)
    : key_(keyFor(fields)), insertion_(connection, create(connection, name, key_, fields)) {}

std::string NewTable::keyFor(const std::vector<Column>& fields) {
    std::string key = "fid";
    for (bool isFree = false; !isFree;) {
        isFree = true;
        for (const Column& field : fields)
            if (sqlite3_stricmp(field.name.c_str(), key.c_str()) == 0) isFree = false;
        if (!isFree) key += '_';
    }
    return key;
}

// Makes the table. Returns the statement that adds a row.
std::string NewTable::create(sqlite3* connection, const std::string& name, const std::string& key,
                             const std::vector<Column>& fields) {
    std::string columns = quotedName(key) + " INTEGER PRIMARY KEY NOT NULL";
    std::string places = "NULL";
    for (const Column& field : fields) {
        columns += ", " + quotedName(field.name) + ' ' + sqlType(field.type);
        places += ", ?";
    }
    runSql(connection, "CREATE TABLE " + quotedName(name) + " (" + columns + ")");
    return "INSERT INTO " + quotedName(name) + " VALUES (" + places + ")";
}

}  // namespace embedded_host
