// Writing rows, with as few triggers as do something.
#include "host/geodatabase/sqlite/sqlite_updates.h"

#include "host/geodatabase/base/text.h"
#include "host/geodatabase/sqlite/sqlite_triggers.h"

#include <sqlite3.h>

#include <algorithm>
#include <utility>

namespace embedded_host {

bool SqliteUpdates::isUnchangedAfter(ObjectId id, SqliteConnection::State& state) const {
    const SqliteConnection::State now = rows_.connection().state();
    if (now != state) {
        const bool wroteOne = now.transaction == state.transaction && now.changes == state.changes + 1;
        if (!wroteOne || written_ != now || writtenId_ > id) return false;
        state = now;
    }
    return true;
}

bool SqliteUpdates::mayFireTriggers() const noexcept {
    const long transaction = rows_.connection().transaction();
    return transaction == 0 || transaction != triggersRead_ || !triggersIdle_;
}

/// Has triggers that do nothing set aside for the transaction. They are there when the table's first statement is
/// prepared: one that names what does not exist fails as ever.
void SqliteUpdates::readTriggers() {
    const long transaction = rows_.connection().transaction();
    if (transaction == 0 || transaction == triggersRead_) return;
    rows_.connection().setTriggers(true);
    updates_.clear();
    const TableSchema& schema = *rows_.schema();
    triggersIdle_ = triggersAreIdle(rows_.handle(), rows_.table(), schema.columns[schema.keyPosition()].name, schema);
    triggersRead_ = transaction;
}

SqliteStatement& SqliteUpdates::statementFor(const ColumnSet& columns) {
    readTriggers();
    SqliteStatement& statement = updates_.statementFor(columns, rows_.handle(), [&] {
        const std::string sql = "UPDATE " + rows_.tableSql() + " SET " + each(columns, ", ", " = ", "") + " WHERE " +
                                rows_.key() + " = ?" + std::to_string(columns.size() + 1);
        // The values differ from what was read. SQLite, which compares a value with a column as it would store it
        // there, has to be asked only when each of them may become another one.
        const bool mayBeStored =
            std::ranges::all_of(columns, [this](std::size_t column) { return mayConvert(column); });
        return mayBeStored ? sql + " AND (" + each(columns, " OR ", " IS NOT ", " COLLATE BINARY") + ")" : sql;
    });
    if (rows_.connection().transaction() != 0) rows_.connection().setTriggers(!triggersIdle_);
    return statement;
}

bool SqliteUpdates::mayConvert(std::size_t column) const {
    const Column& description = rows_.schema()->columns[column];
    if (partOf(description.type) != CellPart::Text) return false;
    // SQLite's own rule: what a column makes of a text follows from the words in its declared type.
    SqliteStatement keepsTexts(rows_.handle(),
                               "SELECT 1 FROM pragma_table_info(" + quotedText(rows_.table()) +
                                   ") WHERE lower(name) = lower(" + quotedText(description.name) +
                                   ") AND type NOT LIKE '%INT%' AND (type = '' OR type LIKE '%CHAR%' OR type LIKE "
                                   "'%CLOB%' OR type LIKE '%TEXT%' OR type LIKE '%BLOB%')");
    return !keepsTexts.step();
}

std::string SqliteUpdates::each(const ColumnSet& columns, const char* separator, const char* operation,
                                const char* end) const {
    std::string sql;
    int parameter = 1;
    for (const std::size_t column : columns) {
        if (parameter > 1) sql += separator;
        sql += quotedName(rows_.schema()->columns[column].name) + operation + '?' + std::to_string(parameter++) + end;
    }
    return sql;
}

void SqliteUpdates::bindRow(SqliteStatement& statement, ObjectId id, const ColumnSet& columns,
                            const Cells& cells) const {
    const TableSchema& current = *rows_.schema();
    int parameter = 1;
    for (const std::size_t column : columns)
        statement.bind(parameter++, partOf(current.columns[column].type), cells[column]);
    statement.bind(parameter, id);
}

void SqliteUpdates::explainUnchanged(ObjectId id, const ColumnSet& columns, const Cells& cells) {
    SqliteStatement& statement = comparisons_.statementFor(columns, rows_.handle(), [&] {
        return "SELECT " + each(columns, " AND ", " IS ", " COLLATE BINARY") + " FROM " + rows_.tableSql() + " WHERE " +
               rows_.key() + " = ?" + std::to_string(columns.size() + 1);
    });
    const StatementRun run(statement);
    bindRow(statement, id, columns, cells);
    if (!statement.step()) throw HostError("it is gone");
    if (statement.integer(0) == 0) throw HostError("a trigger of the table keeps it as it is");
}

bool SqliteUpdates::update(ObjectId id, const ColumnSet& columns, const Cells& cells) {
    {
        SqliteStatement& statement = statementFor(columns);
        const StatementRun run(statement);
        bindRow(statement, id, columns, cells);
        statement.step();
        if (sqlite3_changes(rows_.handle()) == 0) {
            explainUnchanged(id, columns, cells);
            return false;
        }
    }
    const SqliteConnection::State before = std::exchange(written_, rows_.connection().state());
    writtenId_ = id;
    if (before.transaction == 0 || before.transaction != written_.transaction)
        rows_.connection().noteChange(rows_.table());
    return true;
}

}  // namespace embedded_host
