// Changed rows on their way to a PostgreSQL server.
#include "host/geodatabase/postgres/pg_writer.h"

#include "host/geodatabase/base/text.h"
#include "host/geodatabase/postgres/pg_dataset.h"
#include "host/geodatabase/postgres/pg_table.h"

#include <algorithm>
#include <utility>

namespace embedded_host {

namespace {

constexpr std::size_t fewRows = 500;      // less is not worth a statement while more rows come
constexpr std::size_t mostRows = 10'000;  // of all batches together
constexpr std::size_t mostBytes = 4'000'000;

void checkValue(const PgTable& table, const PgColumn& column, const Cell& cell) {
    if (cell.state != Cell::State::Null && column.item == PgArray::Item::Text &&
        cell.text.find('\0') != std::string::npos)
        throw HostError(table.title() + ": field " + column.column.name +
                        ": the server cannot hold a text with a zero character");
}

void addValue(const Cell& cell, PgArray::Item item, PgArray& values) {
    if (cell.state == Cell::State::Null) return values.addNull();
    switch (item) {
        case PgArray::Item::Integer:
            return values.add(cell.integer);
        case PgArray::Item::Real:
            return values.add(cell.real);
        case PgArray::Item::Text:
            return values.add(std::string_view(cell.text));
    }
}

// The parts of a statement that updates the rows `v` of new values.
struct UpdateParts {
    std::string values;       // FROM unnest(...) AS v(...)
    std::string assignments;  // c = v.c0, ...
    std::string changes;      // whether the row stores other values than these
};

UpdateParts updateParts(const PgTable& table, const ColumnSet& columns) {
    UpdateParts parts;
    std::string types = "$1";
    std::string names = "id";
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const PgColumn& column = table.column(columns[i]);
        const std::string value = "c" + std::to_string(i);
        const std::string name = quotedName(column.column.name);
        std::string newValue = column.writeSql;
        newValue.replace(newValue.find('@'), 1, "v." + value);
        parts.assignments.append(i == 0 ? "" : ", ").append(name).append(" = ").append(newValue);
        // As text, because not every type can be compared, and byte by byte.
        parts.changes.append(i == 0 ? "t." : " OR t.").append(name).append("::text COLLATE \"C\" IS DISTINCT FROM (");
        parts.changes.append(newValue).append(")::").append(column.storedAs).append("::text COLLATE \"C\"");
        types += ", $" + std::to_string(i + 2);
        names += ", " + value;
    }
    parts.values = "FROM unnest(" + types + ") AS v(" + names + ")";
    return parts;
}

std::string updateSql(const PgTable& table, const ColumnSet& columns) {
    const UpdateParts parts = updateParts(table, columns);
    return "UPDATE " + table.sqlName() + " AS t SET " + parts.assignments + ' ' + parts.values + " WHERE t." +
           table.keySql() + " = v.id";
}

// Gives how many rows were changed, and how many store these values already: all rows are looked at as they were.
std::string updateOthersSql(const PgTable& table, const ColumnSet& columns) {
    const UpdateParts parts = updateParts(table, columns);
    const std::string row = " WHERE t." + table.keySql() + " = v.id AND ";
    return "WITH v AS MATERIALIZED (SELECT * " + parts.values + "), u AS (UPDATE " + table.sqlName() + " AS t SET " +
           parts.assignments + " FROM v" + row + '(' + parts.changes +
           ") RETURNING 1) SELECT (SELECT count(*) FROM u), " + "(SELECT count(*) FROM " + table.sqlName() +
           " AS t, v" + row + "NOT (" + parts.changes + "))";
}

std::string rowsText(const ObjectIds& ids) {
    if (ids.size() == 1) return "row " + std::to_string(ids.front());
    return "rows " + std::to_string(ids.front()) + " to " + std::to_string(ids.back());
}

}  // namespace

PgWriter::Batch& PgWriter::batchFor(const ColumnSet& columns) {
    const auto found = std::ranges::find_if(batches_, [&](const Batch& batch) { return batch.columns == columns; });
    if (found != batches_.end()) return *found;
    Batch& batch = batches_.emplace_back(Batch{columns, {}, {}});
    for (const std::size_t column : columns) batch.values.emplace_back(table_->column(column).item);
    return batch;
}

void PgWriter::add(const std::shared_ptr<PgTable>& table, ObjectId id, const ColumnSet& columns, const Cells& cells) {
    for (const std::size_t column : columns) checkValue(*table, table->column(column), cells[column]);
    // A row that comes again, or rows in no order, must not be changed twice by one statement.
    if (table_ && (table_ != table || id <= lastId_)) send();
    table_ = table;
    Batch& batch = batchFor(columns);
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const std::size_t before = batch.values[i].size();
        addValue(cells[columns[i]], table->column(columns[i]).item, batch.values[i]);
        bytes_ += batch.values[i].size() - before;
    }
    batch.ids.push_back(id);
    bytes_ += sizeof id;
    lastId_ = id;
    ++rows_;
    if (dataset_.inTransaction() && rows_ < mostRows && bytes_ < mostBytes) return;
    send();
    dataset_.finish();
}

void PgWriter::sendIfMany() {
    if (rows_ >= fewRows) send();
}

void PgWriter::send() {
    const std::vector<Batch> batches = std::exchange(batches_, {});
    const std::shared_ptr<PgTable> table = table_;
    forget();
    for (const Batch& batch : batches) sendBatch(*table, batch);
}

void PgWriter::forget() noexcept {
    batches_.clear();
    table_ = nullptr;
    rows_ = 0;
    bytes_ = 0;
}

void PgWriter::sendBatch(const PgTable& table, const Batch& batch) {
    // Rows were compared before they came here, as far as that can be done without the server.
    const bool serverCompares =
        std::ranges::none_of(batch.columns, [&](std::size_t column) { return table.column(column).storedAs.empty(); });
    PgStatement statement{serverCompares ? updateOthersSql(table, batch.columns) : updateSql(table, batch.columns),
                          {numbersParameter(batch.ids)}};
    for (const PgArray& values : batch.values) statement.parameters.push_back(values.parameter());
    const std::string what = table.title() + ": " + rowsText(batch.ids) + " cannot be written: ";
    const auto wanted = static_cast<std::int64_t>(batch.ids.size());
    dataset_.send(
        statement,
        [this, what, wanted, serverCompares](const PgResult& result) {
            const std::int64_t changed = serverCompares ? result.int64(0, 0) : result.changed();
            const std::int64_t unchanged = serverCompares ? result.int64(0, 1) : 0;
            if (dataset_.monitor) dataset_.monitor->changed -= unchanged;
            if (changed != 0) dataset_.noteChange();
            if (const std::int64_t gone = wanted - changed - unchanged; gone != 0)
                dataset_.breakRun(what + std::to_string(gone) +
                                  (wanted == 1 ? " of them is gone" : " of them are gone"));
        },
        [this, what](const PgError& error) { dataset_.breakRun(what + error.what()); });
}

}  // namespace embedded_host
