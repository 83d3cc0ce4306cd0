// A table of an SQLite file (GeoPackage too), read and written through statements on the connection that GDAL has open.
#pragma once

#include "host/geodatabase/base/table.h"
#include "host/geodatabase/sqlite/sqlite_rows.h"
#include "host/geodatabase/sqlite/sqlite_selections.h"
#include "host/geodatabase/sqlite/sqlite_updates.h"
#include "host/geodatabase/sqlite/statement_cache.h"

#include <functional>
#include <memory>
#include <string>

namespace embedded_host {

/// Somebody else describes the table; rows pass GDAL by, because its features cost several times what SQLite's rows do.
class SqliteTable final : public Table {
public:
    /// Tells the fields that the table has now. \throws HostError
    using ReadSchema = std::function<std::shared_ptr<const TableSchema>()>;

    /// Whether it is a table with a row id and with columns whose content SQLite has as GDAL would show it.
    static bool suits(sqlite3* connection, const std::string& table);

    /// \param connection the dataset's. \param key the key's column; empty for SQLite's own row id.
    SqliteTable(std::shared_ptr<Dataset> dataset, SqliteConnection& connection, const TableDescription& description,
                const std::string& key, ReadSchema readSchema);
    ~SqliteTable() override;

    void refresh() override;
    ObjectIds select(const std::string& where, bool onlyOne, const ColumnSet& ahead) override;
    std::optional<Refusal> whyRefused(const std::string& where) override;
    ObjectIds restrict(const ObjectIds& ids, const std::string& where) override;
    std::unique_ptr<RowReader> read(const ColumnSet& columns, SharedIds ids) override;
    bool fetch(ObjectId id, const ColumnSet& columns, Cells& cells) override;
    bool update(ObjectId id, const ColumnSet& columns, const Cells& cells) override;

    const SqliteRows& rows() const noexcept { return rows_; }
    const SqliteUpdates& updates() const noexcept { return updates_; }
    /// Throws the failure of a reader, with the table's name.
    [[noreturn]] void failReading(const HostError& error) const;

private:
    // Throws `text` with the table's name. The run is told when `error`, from which it comes, is not the statement's.
    [[noreturn]] void failFor(const HostError& error, const std::string& text) const;
    // The same for a where clause, perhaps an empty one, and what was said against it.
    [[noreturn]] void failForClause(const HostError& error, const std::string& where, const std::string& said) const;

    ReadSchema readSchema_;
    SqliteRows rows_;
    SqliteSelections selections_;
    SqliteUpdates updates_;
    StatementCache fetches_;
};

}  // namespace embedded_host
