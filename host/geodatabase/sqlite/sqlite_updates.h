// Updates of a table's rows.
#pragma once

#include "host/geodatabase/base/table.h"
#include "host/geodatabase/sqlite/sqlite_rows.h"
#include "host/geodatabase/sqlite/statement_cache.h"

#include <string>

namespace embedded_host {

/// Within a transaction triggers that do nothing are set aside, see triggersAreIdle().
class SqliteUpdates {
public:
    /// \param rows outlives the updates.
    explicit SqliteUpdates(const SqliteRows& rows) noexcept : rows_(rows) {}

    /// Whether the next update may run triggers, which may call GDAL.
    bool mayFireTriggers() const noexcept;
    /// Writes `columns` of one row. \return whether that changes the row: not when it stores these values already, in
    /// whatever form. \throws HostError, also when there is no such row or a trigger keeps it as it is.
    bool update(ObjectId id, const ColumnSet& columns, const Cells& cells);

    /// Whether the rows after `id` are what they were in a state: nothing has changed, or just one row up to `id`, by
    /// an update of this table. \param state is brought up to date if so.
    bool isUnchangedAfter(ObjectId id, SqliteConnection::State& state) const;

    /// After the table's columns have changed.
    void forgetStatements() noexcept {
        updates_.clear();
        comparisons_.clear();
    }

private:
    void readTriggers();
    SqliteStatement& statementFor(const ColumnSet& columns);
    // Whether the column may store something else than the value that it is given.
    bool mayConvert(std::size_t column) const;
    // Why an update of a row changed nothing. \throws HostError unless the row stores these values already.
    void explainUnchanged(ObjectId id, const ColumnSet& columns, const Cells& cells);
    // Binds the new values, then the row's id.
    void bindRow(SqliteStatement& statement, ObjectId id, const ColumnSet& columns, const Cells& cells) const;
    // Column by column, `operation` between name and parameter.
    std::string each(const ColumnSet& columns, const char* separator, const char* operation, const char* end) const;

    const SqliteRows& rows_;
    StatementCache updates_;
    StatementCache comparisons_;
    SqliteConnection::State written_;  // after this table's last update, which was of
    ObjectId writtenId_ = 0;
    long triggersRead_ = 0;  // the transaction in which they were read
    bool triggersIdle_ = false;
};

}  // namespace embedded_host
