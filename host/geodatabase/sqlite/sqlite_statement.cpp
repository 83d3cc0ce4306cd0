// Prepared statements on the SQLite connection that GDAL has open.
#include "host/geodatabase/sqlite/sqlite_statement.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <new>

namespace embedded_host {

namespace {

bool isBlank(const char* text) noexcept {
    while (*text == ' ' || *text == '\n' || *text == ';') ++text;
    return *text == '\0';
}

// Of a value that is not NULL.
std::string_view textOf(sqlite3_value* value) {
    const void* text = sqlite3_value_text(value);
    const int length = sqlite3_value_bytes(value);
    if (text) return {static_cast<const char*>(text), static_cast<std::size_t>(length)};
    // An empty BLOB has no bytes to point to; every other value has a text, if there is memory for it.
    if (sqlite3_value_type(value) != SQLITE_BLOB || length != 0) throw std::bad_alloc();
    return {};
}

}  // namespace

SqliteError::SqliteError(sqlite3* connection)
    : HostError(sqlite3_errmsg(connection)), status_(sqlite3_errcode(connection) & 0xFF) {}

bool SqliteError::isStatements() const noexcept {
    constexpr std::array statuses{SQLITE_ERROR,  SQLITE_CONSTRAINT, SQLITE_MISMATCH, SQLITE_AUTH,
                                  SQLITE_TOOBIG, SQLITE_RANGE,      SQLITE_NOLFS};
    return std::ranges::find(statuses, status_) != statuses.end();
}

SqliteStatement::SqliteStatement(sqlite3* connection, const std::string& sql) : connection_(connection) {
    const char* rest = nullptr;
    if (sqlite3_prepare_v2(connection_, sql.c_str(), -1, &statement_, &rest) != SQLITE_OK) fail();
    if (!statement_ || !isBlank(rest)) {
        sqlite3_finalize(statement_);
        throw HostError("not one SQL statement: " + sql);
    }
}

SqliteStatement::~SqliteStatement() {
    sqlite3_finalize(statement_);
}

void SqliteStatement::fail() const {
    // An error of the statement would count as its answer.
    if (sqlite3_errcode(connection_) == SQLITE_NOMEM) throw std::bad_alloc();
    throw SqliteError(connection_);
}

bool SqliteStatement::step() {
    switch (sqlite3_step(statement_)) {
        case SQLITE_ROW:
            return true;
        case SQLITE_DONE:
            return false;
        default:
            fail();
    }
}

void SqliteStatement::reset() noexcept {
    sqlite3_reset(statement_);  // repeats the failure that step() has already told
}

void SqliteStatement::bind(int parameter, std::int64_t value) {
    if (sqlite3_bind_int64(statement_, parameter, value) != SQLITE_OK) fail();
}

void SqliteStatement::bind(int parameter, CellPart part, const Cell& cell) {
    int status = SQLITE_OK;
    if (cell.state == Cell::State::Null)
        status = sqlite3_bind_null(statement_, parameter);
    else if (part == CellPart::Integer)
        status = sqlite3_bind_int64(statement_, parameter, cell.integer);
    else if (part == CellPart::Real)
        status = sqlite3_bind_double(statement_, parameter, cell.real);
    else
        status =
            sqlite3_bind_text64(statement_, parameter, cell.text.data(), cell.text.size(), SQLITE_STATIC, SQLITE_UTF8);
    if (status != SQLITE_OK) fail();
}

int SqliteStatement::columns() const noexcept {
    return sqlite3_column_count(statement_);
}

std::int64_t SqliteStatement::integer(int column) const noexcept {
    return sqlite3_column_int64(statement_, column);
}

void SqliteStatement::read(int column, CellPart part, Cell& cell) const {
    // Asked for once: every call for a column looks it up anew.
    sqlite3_value* const value = sqlite3_column_value(statement_, column);
    const int stored = sqlite3_value_type(value);
    cell.state = Cell::State::Value;
    if (stored == SQLITE_NULL) {
        cell.state = Cell::State::Null;
    } else if (part == CellPart::Text) {
        if (stored == SQLITE_BLOB) cell.state = Cell::State::Foreign;
        cell.text.assign(textOf(value));
    } else if (part == CellPart::Integer && stored == SQLITE_INTEGER) {
        cell.integer = sqlite3_value_int64(value);
    } else if (part == CellPart::Real && (stored == SQLITE_FLOAT || stored == SQLITE_INTEGER)) {
        cell.real = sqlite3_value_double(value);
    } else if (part != CellPart::None) {
        // SQLite lets any value into any column; a number is not made of what is none.
        cell.state = Cell::State::Foreign;
        cell.text.assign(textOf(value));
    }
}

}  // namespace embedded_host
