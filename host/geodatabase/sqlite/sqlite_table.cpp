// A table of an SQLite file: the edge between its jobs and those who call them.
#include "host/geodatabase/sqlite/sqlite_table.h"

#include "host/geodatabase/base/dataset.h"
#include "host/geodatabase/base/gdal_errors.h"
#include "host/geodatabase/base/text.h"
#include "host/geodatabase/sqlite/sqlite_readers.h"

#include <optional>
#include <utility>

namespace embedded_host {

namespace {

bool hasRowIds(sqlite3* connection, const std::string& table) {
    try {
        SqliteStatement statement(connection, "SELECT _rowid_ FROM " + quotedName(table) + " LIMIT 1");
        SqliteStatement kind(connection, "SELECT 1 FROM sqlite_master WHERE type = 'table' AND lower(name) = lower(" +
                                             quotedText(table) + ")");
        return kind.step();
    } catch (const SqliteError& error) {
        if (error.isStatements()) return false;  // a view or a table without row ids
        throw;
    }
}

// The GDAL driver for plain SQLite files stores lists, and compressed texts, in encodings of its own.
bool hasPlainColumns(sqlite3* connection, const std::string& table) {
    SqliteStatement columns(connection, "SELECT 1 FROM pragma_table_info(" + quotedText(table) +
                                            ") WHERE lower(type) LIKE '%list%' OR lower(type) LIKE '%deflate%'");
    return !columns.step();
}

}  // namespace

bool SqliteTable::suits(sqlite3* connection, const std::string& table) {
    return hasRowIds(connection, table) && hasPlainColumns(connection, table);
}

SqliteTable::SqliteTable(std::shared_ptr<Dataset> dataset, SqliteConnection& connection,
                         const TableDescription& description, const std::string& key, ReadSchema readSchema)
    : Table(std::move(dataset), description),
      readSchema_(std::move(readSchema)),
      rows_(connection, description.name, key, description.schema),
      selections_(rows_),
      updates_(rows_) {}
SqliteTable::~SqliteTable() = default;

void SqliteTable::refresh() {
    setSchema(readSchema_());
    rows_.setSchema(schema());
    // Statements are known by the columns' positions, which have changed.
    fetches_.clear();
    selections_.forgetStatements();
    updates_.forgetStatements();
}

ObjectIds SqliteTable::select(const std::string& where, bool onlyOne, const ColumnSet& ahead) {
    selections_.forgetAhead();
    checkClause(where);
    // Only functions make GDAL speak; listening for it costs as much as a short query's rows.
    std::optional<GdalErrors> errors;
    if (where.find('(') != std::string::npos) errors.emplace();
    try {
        return selections_.select(where, onlyOne, ahead);
    } catch (const HostError& error) {
        failForClause(error, where, errors ? errors->text(error.what()) : error.what());
    }
}

std::optional<Refusal> SqliteTable::whyRefused(const std::string& where) {
    checkClause(where);
    const GdalErrors errors;
    try {
        selections_.prepare(where);
        return std::nullopt;
    } catch (const SqliteError& error) {
        if (error.isStatements()) return Refusal{errors.text(error.what())};
        failForClause(error, where, error.what());
    }
}

ObjectIds SqliteTable::restrict(const ObjectIds& ids, const std::string& where) {
    checkClause(where);
    const GdalErrors errors;
    try {
        return selections_.restrict(ids, where);
    } catch (const HostError& error) {
        failForClause(error, where, errors.text(error.what()));
    }
}

std::unique_ptr<RowReader> SqliteTable::read(const ColumnSet& columns, SharedIds ids) {
    auto self = std::static_pointer_cast<SqliteTable>(shared_from_this());
    if (ids) return readByIds(std::move(self), columns, std::move(ids));
    return scanTable(std::move(self), columns);
}

bool SqliteTable::fetch(ObjectId id, const ColumnSet& columns, Cells& cells) {
    if (const Cells* known = selections_.findAhead(id, columns)) {
        for (const std::size_t column : columns) cells[column] = (*known)[column];
        return true;
    }
    const GdalErrors errors;
    try {
        SqliteStatement& statement = fetches_.statementFor(
            columns, rows_.handle(), [&] { return rows_.selection(columns) + " WHERE " + rows_.key() + " = ?1"; });
        const StatementRun run(statement);
        statement.bind(1, id);
        if (!statement.step()) return false;
        SqliteRows::read(statement, *schema(), columns, cells);
        return true;
    } catch (const HostError& error) {
        failFor(error, "row " + std::to_string(id) + ": " + errors.text(error.what()));
    }
}

bool SqliteTable::update(ObjectId id, const ColumnSet& columns, const Cells& cells) {
    checkWritable();
    // GDAL has its say in triggers only.
    std::optional<GdalErrors> errors;
    if (updates_.mayFireTriggers()) errors.emplace();
    try {
        return updates_.update(id, columns, cells);
    } catch (const HostError& error) {
        fail("row " + std::to_string(id) +
             " cannot be written: " + (errors ? errors->text(error.what()) : error.what()));
    }
}

void SqliteTable::failReading(const HostError& error) const {
    failFor(error, std::string("cannot be read: ") + error.what());
}

void SqliteTable::failForClause(const HostError& error, const std::string& where, const std::string& said) const {
    failFor(error, where.empty() ? error.what() : "where clause \"" + where + "\": " + said);
}

void SqliteTable::failFor(const HostError& error, const std::string& text) const {
    const auto* const said = dynamic_cast<const SqliteError*>(&error);
    if (said && !said->isStatements()) dataset().noteFailure(title() + ": " + text);
    fail(text);
}

}  // namespace embedded_host
