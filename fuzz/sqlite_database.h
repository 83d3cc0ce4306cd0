// A small SQLite database for fuzz targets, whose statements always end.
#pragma once

#include "fuzz/input.h"

#include <sqlite3.h>

#include <string>
#include <utility>

namespace fuzzing {

class Database {
public:
    explicit Database(const char* script) {
        require(sqlite3_open(":memory:", &connection_) == SQLITE_OK, "a database opens");
        require(sqlite3_exec(connection_, script, nullptr, nullptr, nullptr) == SQLITE_OK, "its tables are made");
        sqlite3_db_config(connection_, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
        sqlite3_limit(connection_, SQLITE_LIMIT_LENGTH, 1 << 16);
        sqlite3_progress_handler(connection_, 100'000, [](void*) { return 1; }, nullptr);
    }
    ~Database() { sqlite3_close(connection_); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    sqlite3* connection() const noexcept { return connection_; }

private:
    sqlite3* connection_ = nullptr;
};

/// One statement; what stands behind it makes it one that was not prepared.
class Statement {
public:
    Statement(const Database& database, const std::string& sql) {
        const char* rest = nullptr;
        // The size counts the zero at the end, and SQLite stops at an earlier one.
        const int size = static_cast<int>(sql.size()) + 1;
        if (sqlite3_prepare_v2(database.connection(), sql.c_str(), size, &statement_, &rest) != SQLITE_OK) return;
        if (rest != sql.c_str() + sql.size()) sqlite3_finalize(std::exchange(statement_, nullptr));
    }
    ~Statement() { sqlite3_finalize(statement_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    bool isPrepared() const noexcept { return statement_ != nullptr; }
    int step() noexcept { return sqlite3_step(statement_); }
    sqlite3_stmt* get() const noexcept { return statement_; }

private:
    sqlite3_stmt* statement_ = nullptr;
};

}  // namespace fuzzing
