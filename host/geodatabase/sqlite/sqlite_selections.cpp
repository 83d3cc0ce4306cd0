// Selecting by where clauses.
#include "host/geodatabase/sqlite/sqlite_selections.h"

#include <algorithm>
#include <span>

namespace embedded_host {

std::string SqliteSelections::sqlOf(std::string_view where, bool onlyOne, const ColumnSet& ahead) const {
    std::string sql = rows_.selection(ahead);
    if (!where.empty()) sql += " WHERE " + conditionSql(where);
    // The condition is evaluated for all rows before the first id is used.
    sql += " ORDER BY " + rows_.key();
    if (onlyOne) sql += " LIMIT 1";
    return sql;
}

SqliteSelections::Selection* SqliteSelections::knownSelection(bool onlyOne, const ColumnSet& ahead) {
    const auto found = std::ranges::find_if(selections_, [&](const Selection& entry) {
        return entry.onlyOne == onlyOne && entry.ahead == ahead && entry.shape == shape_.text();
    });
    if (found != selections_.end()) return &*found;
    std::unique_ptr<SqliteStatement> statement;
    try {
        statement = std::make_unique<SqliteStatement>(rows_.handle(), sqlOf(shape_.text(), onlyOne, ahead));
    } catch (const SqliteError& error) {
        if (error.isStatements()) return nullptr;  // it is the clause as it is written that the failure has to name
        throw;
    }
    constexpr std::size_t mostStatements = 16;
    if (selections_.size() >= mostStatements) selections_.erase(selections_.begin());
    return &selections_.emplace_back(Selection{shape_.text(), onlyOne, ahead, std::move(statement)});
}

bool SqliteSelections::selectByShape(const std::string& where, bool onlyOne, const ColumnSet& ahead, ObjectIds& ids,
                                     ClauseScope& clause) {
    if (!shape_.read(where)) return false;
    const Selection* known = knownSelection(onlyOne, ahead);
    if (!known) return false;
    clause.run();
    SqliteStatement& statement = *known->statement;
    const StatementRun run(statement);
    for (std::size_t i = 0; i < shape_.literalCount(); ++i) {
        const auto& [part, cell] = shape_.literal(i);
        statement.bind(static_cast<int>(i) + 1, part, cell);
    }
    ahead_.columns = ahead;
    ahead_.state = rows_.connection().state();
    while (statement.step()) {
        ids.push_back(statement.integer(0));
        if (!ahead.empty()) keepAhead(ids.back(), statement);
    }
    return true;
}

void SqliteSelections::keepAhead(ObjectId id, const SqliteStatement& row) {
    constexpr std::size_t mostRows = 64;
    if (ahead_.count == mostRows) return;
    if (ahead_.count == ahead_.rows.size()) ahead_.rows.emplace_back();
    auto& [rowId, cells] = ahead_.rows[ahead_.count++];
    rowId = id;
    cells.resize(rows_.schema()->columns.size());
    SqliteRows::read(row, *rows_.schema(), ahead_.columns, cells);
}

const Cells* SqliteSelections::findAhead(ObjectId id, const ColumnSet& columns) const {
    if (ahead_.count == 0 || rows_.connection().state() != ahead_.state ||
        !std::ranges::includes(ahead_.columns, columns))
        return nullptr;
    const auto rows = std::span(ahead_.rows).first(ahead_.count);
    const auto found = std::ranges::find(rows, id, &std::pair<ObjectId, Cells>::first);
    return found == rows.end() ? nullptr : &found->second;
}

ObjectIds SqliteSelections::select(const std::string& where, bool onlyOne, const ColumnSet& ahead) {
    ClauseScope clause(rows_.connection().clauseGuard(), ClauseGuard::Phase::Preparing);
    ObjectIds ids;
    static const ColumnSet none;
    const bool readsAhead = rows_.connection().transaction() != 0;
    if (selectByShape(where, onlyOne, readsAhead ? ahead : none, ids, clause)) return ids;
    SqliteStatement statement(rows_.handle(), sqlOf(where, onlyOne, {}));
    clause.run();
    while (statement.step()) ids.push_back(statement.integer(0));
    return ids;
}

void SqliteSelections::prepare(const std::string& where) const {
    const ClauseScope clause(rows_.connection().clauseGuard(), ClauseGuard::Phase::Preparing);
    const SqliteStatement statement(rows_.handle(), sqlOf(where, false, {}));
}

ObjectIds SqliteSelections::restrict(const ObjectIds& ids, const std::string& where) const {
    std::string sql = "SELECT 1 FROM " + rows_.tableSql() + " WHERE " + rows_.key() + " = ?1";
    if (!where.empty()) sql += " AND " + conditionSql(where);
    ClauseScope clause(rows_.connection().clauseGuard(), ClauseGuard::Phase::Preparing);
    SqliteStatement statement(rows_.handle(), sql);
    clause.run();
    ObjectIds kept;
    for (const ObjectId id : ids) {
        const StatementRun run(statement);
        statement.bind(1, id);
        if (statement.step()) kept.push_back(id);
    }
    return kept;
}

}  // namespace embedded_host
