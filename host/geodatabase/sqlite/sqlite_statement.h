// Prepared statements on the SQLite connection that GDAL has open.
#pragma once

#include "host/geodatabase/base/cell.h"
#include "host/host_error.h"

#include <cstdint>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace embedded_host {

/// What SQLite said.
class SqliteError : public HostError {
public:
    explicit SqliteError(sqlite3* connection);

    /// Whether it is the statement that is wrong, or what it was asked over: the asker's affair. All else (a lock, a
    /// disk, memory, a damaged file) is the run's.
    bool isStatements() const noexcept;

private:
    int status_;
};

/// One prepared statement. Column and parameter numbers are SQLite's: columns from 0, parameters from 1.
class SqliteStatement {
public:
    /// \throws HostError with SQLite's words.
    SqliteStatement(sqlite3* connection, const std::string& sql);
    ~SqliteStatement();
    SqliteStatement(const SqliteStatement&) = delete;
    SqliteStatement& operator=(const SqliteStatement&) = delete;

    /// Steps. \return whether there is a row. \throws HostError
    bool step();
    /// Ready to run again; releases what the last run locked.
    void reset() noexcept;

    void bind(int parameter, std::int64_t value);
    /// Binds a cell; its text is not copied and must stay until the statement ran.
    void bind(int parameter, CellPart part, const Cell& cell);

    /// How many columns a row has.
    int columns() const noexcept;
    std::int64_t integer(int column) const noexcept;
    /// Fills `cell` from a column that should hold `part`.
    void read(int column, CellPart part, Cell& cell) const;

private:
    [[noreturn]] void fail() const;

    sqlite3* connection_;
    sqlite3_stmt* statement_ = nullptr;
};

/// Resets a statement at the end of a scope.
class StatementRun {
public:
    explicit StatementRun(SqliteStatement& statement) noexcept : statement_(statement) {}
    ~StatementRun() { statement_.reset(); }
    StatementRun(const StatementRun&) = delete;
    StatementRun& operator=(const StatementRun&) = delete;

private:
    SqliteStatement& statement_;
};

}  // namespace embedded_host
