// A table of a database on a PostgreSQL server.
#include "host/geodatabase/postgres/pg_table.h"

#include "host/geodatabase/base/text.h"
#include "host/geodatabase/postgres/pg_reader.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <span>
#include <utility>

namespace embedded_host {

namespace {

constexpr std::size_t idsPerStatement = 10'000;
constexpr const char* nameOfNoKey = "FID";

// The line break ends a comment that the clause may end with.
std::string condition(const std::string& where) {
    return where.empty() ? std::string() : " WHERE (" + where + "\n)";
}

std::string questionFailed(const std::string& where, const PgError& error) {
    return where.empty() ? error.what() : "where clause \"" + where + "\": " + error.what();
}

void appendIds(ObjectIds& ids, const PgResult& result) {
    for (int row = 0; row < result.rows(); ++row) ids.push_back(result.int64(row, 0));
}

TableDescription description(PgDataset& dataset, const PgRelation& relation) {
    return {relation.layerName(), qualifyTableName({dataset.connection().database(), relation.schema, relation.table}),
            relation.table,       relation.subtypeField,
            relation.spatial,     nullptr};
}

}  // namespace

PgTable::PgTable(const std::shared_ptr<PgDataset>& dataset, const PgRelation& relation)
    : Table(dataset, description(*dataset, relation)),
      dataset_(*dataset),
      relation_(relation),
      sqlName_(relation.sqlName()) {
    describe();
}

void PgTable::describe() {
    PgTableColumns found;
    try {
        found = dataset_.catalog().describe(relation_);
    } catch (const PgError& error) {
        fail(std::string("cannot be described: ") + error.what());
    }
    columns_ = std::move(found.columns);
    keySql_ = found.key.empty() ? std::string() : quotedName(found.key);
    std::vector<Column> fields;
    fields.reserve(columns_.size());
    for (const PgColumn& column : columns_) fields.push_back(column.column);
    setSchema(std::make_shared<TableSchema>(std::move(fields), hasKey() ? found.key : nameOfNoKey));
}

void PgTable::refresh() {
    describe();
}

void PgTable::requireKey() const {
    if (!hasKey()) fail("it has no column of whole numbers that is unique and not NULL: its rows cannot be written");
}

std::string PgTable::selection(const ColumnSet& columns) const {
    std::string sql = "SELECT " + (hasKey() ? keySql_ : "0::int8");
    for (const std::size_t column : columns)
        if (column < columns_.size()) sql += ", " + columns_[column].readSql;
    return sql + " FROM " + sqlName_;
}

void PgTable::readRow(const PgResult& result, int row, const ColumnSet& columns, Cells& cells) const {
    int position = 1;
    for (const std::size_t column : columns) {
        Cell& cell = cells[column];
        // The key stands first.
        const int at = column < columns_.size() ? position++ : 0;
        cell.state = result.isNull(row, at) ? Cell::State::Null : Cell::State::Value;
        if (cell.state == Cell::State::Null) continue;
        const std::string_view bytes = result.bytes(row, at);
        switch (at == 0 ? CellPart::Integer : partOf(columns_[column].column.type)) {
            case CellPart::Integer:
                cell.integer = readInt64(bytes);
                break;
            case CellPart::Real:
                cell.real = readDouble(bytes);
                break;
            case CellPart::Text:
                cell.text.assign(bytes);
                break;
            case CellPart::None:
                break;
        }
    }
}

PgResult PgTable::ask(const PgStatement& statement, const std::string& where) {
    try {
        return dataset_.ask(statement);
    } catch (const PgError& error) {
        fail(questionFailed(where, error));
    }
}

ObjectIds PgTable::select(const std::string& where, bool onlyOne, const ColumnSet& /*ahead*/) {
    checkClause(where);
    if (!hasKey()) return selectRows(where, onlyOne);
    const std::string sql = "SELECT " + keySql_ + " FROM " + sqlName_ + condition(where) + " ORDER BY " + keySql_;
    if (!onlyOne && !dataset_.inTransaction()) return allIds(sql, where);
    ObjectIds ids;
    appendIds(ids, ask({sql + (onlyOne ? " LIMIT 1" : ""), {}}, where));
    return ids;
}

std::optional<Refusal> PgTable::whyRefused(const std::string& where) {
    checkClause(where);
    return dataset_.whyRefused("SELECT 1 FROM " + sqlName_ + condition(where));
}

// A selection may be as long as the table: its ids come through a cursor, so that no more than they is in memory.
ObjectIds PgTable::allIds(const std::string& sql, const std::string& where) {
    PgConnection& connection = dataset_.connection();
    const std::string fetch = "FETCH " + std::to_string(idsPerStatement) + " FROM selection";
    ObjectIds ids;
    try {
        dataset_.readOnly([&] {
            connection.queue({"DECLARE selection NO SCROLL CURSOR FOR " + sql, {}}, {});
            for (std::size_t before = 0;; before = ids.size()) {
                appendIds(ids, connection.run({fetch, {}}));
                if (ids.size() - before < idsPerStatement) break;
            }
        });
        return ids;
    } catch (const PgError& error) {
        fail(questionFailed(where, error));
    }
}

ObjectIds PgTable::selectRows(const std::string& where, bool onlyOne) {
    ColumnSet all(columns_.size());
    std::iota(all.begin(), all.end(), std::size_t{0});
    const PgResult result = ask({selection(all) + condition(where) + (onlyOne ? " LIMIT 1" : ""), {}}, where);
    keptRows_.clear();
    ObjectIds ids;
    for (int row = 0; row < result.rows(); ++row) {
        ids.push_back(++lastKept_);
        Cells& cells = keptRows_[lastKept_];
        cells.resize(columns_.size() + 1);
        readRow(result, row, all, cells);
        cells.back().state = Cell::State::Value;
        cells.back().integer = lastKept_;
    }
    return ids;
}

ObjectIds PgTable::restrict(const ObjectIds& ids, const std::string& where) {
    checkClause(where);
    requireKey();
    std::string sql = "SELECT " + keySql_ + " FROM " + sqlName_ + " WHERE " + keySql_ + " = ANY ($1)";
    if (!where.empty()) sql += " AND (" + where + "\n)";
    sql += " ORDER BY " + keySql_;
    ObjectIds kept;
    for (std::size_t at = 0; at < ids.size(); at += idsPerStatement) {
        const std::span<const ObjectId> block(ids.data() + at, std::min(idsPerStatement, ids.size() - at));
        appendIds(kept, ask({sql, {numbersParameter(block)}}, where));
    }
    return kept;
}

std::unique_ptr<RowReader> PgTable::read(const ColumnSet& columns, SharedIds ids) {
    requireKey();
    auto self = std::static_pointer_cast<PgTable>(shared_from_this());
    if (ids) return readByIds(std::move(self), columns, std::move(ids));
    if (dataset_.inTransaction()) return readWithCursor(std::move(self), columns);
    return readByIds(std::move(self), columns, std::make_shared<ObjectIds>(select({}, false, {})));
}

bool PgTable::fetch(ObjectId id, const ColumnSet& columns, Cells& cells) {
    if (!hasKey()) {
        const auto kept = keptRows_.find(id);
        if (kept == keptRows_.end()) return false;
        for (const std::size_t column : columns) cells[column] = kept->second[column];
        return true;
    }
    // Unlike a clause, this is nobody's to get wrong: a failure ends the run, and no savepoint has to stand before it.
    PgResult result;
    dataset_.checkRun();
    dataset_.writer().send();
    dataset_.send(
        {selection(columns) + " WHERE " + keySql_ + " = $1", {numberParameter(id)}},
        [&](PgResult&& row) { result = std::move(row); },
        [this](const PgError& error) { dataset_.breakRun(title() + ": cannot be read: " + error.what()); });
    dataset_.finish();
    if (result.rows() == 0) return false;
    readRow(result, 0, columns, cells);
    return true;
}

bool PgTable::update(ObjectId id, const ColumnSet& columns, const Cells& cells) {
    checkWritable();
    requireKey();
    dataset_.writer().add(std::static_pointer_cast<PgTable>(shared_from_this()), id, columns, cells);
    return true;
}

}  // namespace embedded_host
