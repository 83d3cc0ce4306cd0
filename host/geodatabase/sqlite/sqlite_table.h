// A table of an SQLite file (GeoPackage too), read and written through statements on the connection that GDAL has open.
#pragma once

#include "host/geodatabase/gdal/gdal_table.h"
#include "host/geodatabase/sqlite/clause_guard.h"
#include "host/geodatabase/sqlite/sqlite_statement.h"
#include "host/geodatabase/sqlite/where_shape.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace embedded_host {

/// GDAL describes the table; rows pass GDAL by, because its features cost several times what SQLite's rows do.
class SqliteTable final : public GdalTable {
public:
    /// Whether the layer is a table with a row id and with columns whose content SQLite has as GDAL would show it.
    static bool suits(GdalDataset& dataset, OGRLayer& layer);

    SqliteTable(const std::shared_ptr<GdalDataset>& dataset, OGRLayer& layer);
    ~SqliteTable() override;

    ObjectIds select(const std::string& where, bool onlyOne, const ColumnSet& ahead) override;
    ObjectIds restrict(const ObjectIds& ids, const std::string& where) override;
    std::unique_ptr<RowReader> read(const ColumnSet& columns, SharedIds ids) override;
    bool fetch(ObjectId id, const ColumnSet& columns, Cells& cells) override;
    bool update(ObjectId id, const ColumnSet& columns, const Cells& cells) override;

    /// SELECT of the key and the columns, up to and with FROM.
    std::string selection(const ColumnSet& columns) const;
    const std::string& key() const noexcept { return key_; }
    sqlite3* connection() const;
    /// Fills the columns from a row of selection().
    static void readRow(const SqliteStatement& row, const TableSchema& schema, const ColumnSet& columns, Cells& cells);

    /// What the connection has done so far: two states are equal when no row changed between them.
    struct State {
        long transaction = 0;
        int changes = 0;
        bool operator==(const State&) const = default;
    };
    State state() const;
    /// Whether the rows after `id` are what they were in a state. \param state is brought up to date if so.
    bool isUnchangedAfter(ObjectId id, State& state) const;

    /// Throws the failure of a reader, with the table's name.
    [[noreturn]] void failReading(const HostError& error) const;
    /// Throws `text` with the table's name. The run is told when `error`, from which it comes, is not the statement's.
    [[noreturn]] void failFor(const HostError& error, const std::string& text) const;

private:
    // A statement and the columns that it is for; callers ask for few different sets.
    using Prepared = std::pair<ColumnSet, std::unique_ptr<SqliteStatement>>;
    template <class MakeSql>
    SqliteStatement& prepared(std::vector<Prepared>& known, const ColumnSet& columns, MakeSql&& makeSql);

    // A statement that selects, and the shape of the clauses that it is for.
    struct Selection {
        std::string shape;
        bool onlyOne;
        ColumnSet ahead;
        std::unique_ptr<SqliteStatement> statement;
    };
    // Rows that a selection has read for the fetches to come.
    struct RowsAhead {
        ColumnSet columns;
        std::vector<std::pair<ObjectId, Cells>> rows;  // those from `count` on are storage
        std::size_t count = 0;
        State state;  // in which they were read
    };
    std::string selectionSql(std::string_view where, bool onlyOne, const ColumnSet& ahead) const;
    Selection* knownSelection(bool onlyOne, const ColumnSet& ahead);
    bool selectByShape(const std::string& where, bool onlyOne, const ColumnSet& ahead, ObjectIds& ids,
                       ClauseScope& clause);
    void keepAhead(ObjectId id, const SqliteStatement& row);
    const Cells* findAhead(ObjectId id, const ColumnSet& columns) const;
    void readTriggers();
    SqliteStatement& updateOf(const ColumnSet& columns);
    // Whether the column may store something else than the value that it is given.
    bool mayConvert(std::size_t column) const;
    // Why an update of a row changed nothing. \throws HostError unless the row stores these values already.
    void explainUnchanged(ObjectId id, const ColumnSet& columns, const Cells& cells);
    // Binds the new values, then the row's id.
    void bindRow(SqliteStatement& statement, ObjectId id, const ColumnSet& columns, const Cells& cells) const;
    // Column by column, `operation` between name and parameter.
    std::string each(const ColumnSet& columns, const char* separator, const char* operation, const char* end) const;

    std::string key_;  // as SQL writes it
    WhereShape shape_;
    std::vector<Selection> selections_;
    RowsAhead ahead_;
    std::vector<Prepared> fetches_;
    std::vector<Prepared> updates_;
    std::vector<Prepared> comparisons_;
    State written_;  // after this table's last update, which was of
    ObjectId writtenId_ = 0;
    long triggersRead_ = 0;  // the transaction in which they were read
    bool triggersIdle_ = false;
};

}  // namespace embedded_host
