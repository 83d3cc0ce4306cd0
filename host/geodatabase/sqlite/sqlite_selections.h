// Selections of a table's rows by where clauses, and the rows that they read ahead.
#pragma once

#include "host/geodatabase/base/table.h"
#include "host/geodatabase/sqlite/sqlite_rows.h"
#include "host/geodatabase/sqlite/where_shape.h"

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace embedded_host {

/// Clauses that differ only in their literals share a prepared statement. Clauses are at work under the connection's
/// guard.
class SqliteSelections {
public:
    /// \param rows outlives the selections.
    explicit SqliteSelections(const SqliteRows& rows) noexcept : rows_(rows) {}

    /// Ascending ids of the rows that satisfy `where` (all when empty), at most one when `onlyOne`.
    /// \param ahead columns that are read for the fetches to come, within a transaction; empty when none are.
    /// \throws SqliteError
    ObjectIds select(const std::string& where, bool onlyOne, const ColumnSet& ahead);
    /// Prepares what select() would run. \throws SqliteError
    void prepare(const std::string& where) const;
    /// Those of the ascending `ids` that have a row which satisfies `where`. \throws SqliteError
    ObjectIds restrict(const ObjectIds& ids, const std::string& where) const;

    /// A row that the last selection has read ahead, as long as it is the row that would be read now: within a
    /// transaction nobody but this connection can have changed it. Null when it has to be read.
    const Cells* findAhead(ObjectId id, const ColumnSet& columns) const;
    void forgetAhead() noexcept { ahead_.count = 0; }
    /// After the table's columns have changed.
    void forgetStatements() noexcept {
        forgetAhead();
        selections_.clear();
    }

private:
    // A statement that selects, and the shape of the clauses that it is for.
    struct Selection {
        std::string shape;
        bool onlyOne;
        ColumnSet ahead;
        std::unique_ptr<SqliteStatement> statement;
    };
    struct RowsAhead {
        ColumnSet columns;
        std::vector<std::pair<ObjectId, Cells>> rows;  // those from `count` on are storage
        std::size_t count = 0;
        SqliteConnection::State state;  // in which they were read
    };

    std::string sqlOf(std::string_view where, bool onlyOne, const ColumnSet& ahead) const;
    Selection* knownSelection(bool onlyOne, const ColumnSet& ahead);
    bool selectByShape(const std::string& where, bool onlyOne, const ColumnSet& ahead, ObjectIds& ids,
                       ClauseScope& clause);
    void keepAhead(ObjectId id, const SqliteStatement& row);

    const SqliteRows& rows_;
    WhereShape shape_;
    std::vector<Selection> selections_;
    RowsAhead ahead_;
};

}  // namespace embedded_host
