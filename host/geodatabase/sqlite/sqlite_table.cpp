// A table of an SQLite file, read and written through statements of its own.
#include "host/geodatabase/sqlite/sqlite_table.h"

#include "host/geodatabase/base/gdal_errors.h"
#include "host/geodatabase/base/text.h"
#include "host/geodatabase/sqlite/sqlite_triggers.h"

#include <ogrsf_frmts.h>
#include <sqlite3.h>

#include <algorithm>
#include <optional>
#include <span>

namespace embedded_host {

namespace {

std::string condition(std::string_view where) {
    // The line break ends a comment that the clause may end with.
    return "(" + std::string(where) + "\n)";
}

// Reads with one statement that walks the table in the order of its row ids, which no update changes. Within a
// transaction it reads some rows ahead, because a write between two steps costs the statement its place. They are read
// again when anything but a row that was given has changed meanwhile.
class ScanReader final : public RowReader {
public:
    ScanReader(std::shared_ptr<SqliteTable> table, const ColumnSet& columns)
        : table_(std::move(table)), schema_(table_->schema()) {
        setColumns(columns);
    }

    bool next(ObjectId& id, Cells& cells) override {
        if (position_ < count_ && !table_->isUnchangedAfter(lastId_, state_)) {
            startAgain();
            most_ = 1;  // it would happen with the rows to come
        }
        if (position_ == count_ && !failure_) readAhead();
        if (position_ == count_) {
            if (failure_) table_->failReading(*failure_);
            return false;
        }
        auto& [rowId, rowCells] = ahead_[position_++];
        cells.swap(rowCells);
        id = lastId_ = rowId;
        started_ = true;
        return true;
    }
    void setColumns(const ColumnSet& columns) override {
        columns_ = columns;
        startAgain();
    }

private:
    void startAgain() {
        statement_.reset();
        failure_.reset();
        position_ = count_ = 0;
    }

    void start() {
        const std::string from = started_ ? " WHERE " + table_->key() + " > ?1" : "";
        statement_ = std::make_unique<SqliteStatement>(
            table_->connection(), table_->selection(columns_) + from + " ORDER BY " + table_->key());
        if (started_) statement_->bind(1, lastId_);
    }

    void readAhead() {
        const GdalErrors errors;
        state_ = table_->state();
        const std::size_t most = state_.transaction == 0 ? 1 : most_;
        if (ahead_.size() < most) ahead_.resize(most, {0, Cells(schema_->columns.size())});
        position_ = count_ = 0;
        try {
            if (!statement_) start();
            for (; count_ < most; ++count_) {
                if (!statement_->step()) return statement_.reset();
                ahead_[count_].first = statement_->integer(0);
                SqliteTable::readRow(*statement_, *schema_, columns_, ahead_[count_].second);
            }
        } catch (const HostError& error) {
            failure_ = error;  // comes after the rows before it
        }
    }

    std::shared_ptr<SqliteTable> table_;
    std::shared_ptr<const TableSchema> schema_;
    ColumnSet columns_;
    std::unique_ptr<SqliteStatement> statement_;
    std::size_t most_ = 32;  // rows to read ahead
    std::vector<std::pair<ObjectId, Cells>> ahead_;
    std::size_t position_ = 0;
    std::size_t count_ = 0;
    SqliteTable::State state_;  // when they were read
    std::optional<HostError> failure_;
    ObjectId lastId_ = 0;  // of the row that was given last
    bool started_ = false;
};

// Reads rows whose ids were settled before the first of them was read.
class IdReader final : public RowReader {
public:
    IdReader(std::shared_ptr<SqliteTable> table, const ColumnSet& columns, SharedIds ids)
        : table_(std::move(table)), schema_(table_->schema()), ids_(std::move(ids)) {
        setColumns(columns);
    }

    bool next(ObjectId& id, Cells& cells) override {
        const GdalErrors errors;
        try {
            while (position_ < ids_->size()) {
                id = (*ids_)[position_++];
                if (readOne(id, cells)) return true;
            }
            return false;
        } catch (const HostError& error) {
            table_->failReading(error);
        }
    }
    void setColumns(const ColumnSet& columns) override {
        columns_ = columns;
        statement_.reset();
    }

private:
    // False for a row that has gone since its id was settled.
    bool readOne(ObjectId id, Cells& cells) {
        if (!statement_)
            statement_ = std::make_unique<SqliteStatement>(
                table_->connection(), table_->selection(columns_) + " WHERE " + table_->key() + " = ?1");
        const StatementRun run(*statement_);
        statement_->bind(1, id);
        if (!statement_->step()) return false;
        SqliteTable::readRow(*statement_, *schema_, columns_, cells);
        return true;
    }

    std::shared_ptr<SqliteTable> table_;
    std::shared_ptr<const TableSchema> schema_;
    SharedIds ids_;
    std::size_t position_ = 0;
    ColumnSet columns_;
    std::unique_ptr<SqliteStatement> statement_;
};

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

bool SqliteTable::suits(GdalDataset& dataset, OGRLayer& layer) {
    sqlite3* connection = dataset.sqlite();
    return connection && hasRowIds(connection, layer.GetName()) && hasPlainColumns(connection, layer.GetName());
}

SqliteTable::SqliteTable(const std::shared_ptr<GdalDataset>& dataset, OGRLayer& layer)
    : GdalTable(dataset, layer), key_(*layer.GetFIDColumn() ? quotedName(layer.GetFIDColumn()) : "_rowid_") {}
SqliteTable::~SqliteTable() = default;

sqlite3* SqliteTable::connection() const {
    return dataset().sqlite();
}

SqliteTable::State SqliteTable::state() const {
    return {dataset().transaction(), sqlite3_total_changes(connection())};
}

bool SqliteTable::isUnchangedAfter(ObjectId id, State& state) const {
    const State now = this->state();
    if (now != state) {
        const bool wroteOne = now.transaction == state.transaction && now.changes == state.changes + 1;
        if (!wroteOne || written_ != now || writtenId_ > id) return false;
        state = now;
    }
    return true;
}

std::string SqliteTable::selection(const ColumnSet& columns) const {
    std::string sql = "SELECT " + key_;
    const std::shared_ptr<const TableSchema> current = schema();
    for (const std::size_t column : columns)
        sql += column == current->keyPosition() ? ", " + key_ : ", " + quotedName(current->columns[column].name);
    return sql + " FROM " + quotedName(name());
}

void SqliteTable::readRow(const SqliteStatement& row, const TableSchema& schema, const ColumnSet& columns,
                          Cells& cells) {
    int position = 1;
    for (const std::size_t column : columns) row.read(position++, partOf(schema.columns[column].type), cells[column]);
}

std::string SqliteTable::selectionSql(std::string_view where, bool onlyOne, const ColumnSet& ahead) const {
    std::string sql = selection(ahead);
    if (!where.empty()) sql += " WHERE " + condition(where);
    // The condition is evaluated for all rows before the first id is used.
    sql += " ORDER BY " + key_;
    if (onlyOne) sql += " LIMIT 1";
    return sql;
}

SqliteTable::Selection* SqliteTable::knownSelection(bool onlyOne, const ColumnSet& ahead) {
    const auto found = std::ranges::find_if(selections_, [&](const Selection& entry) {
        return entry.onlyOne == onlyOne && entry.ahead == ahead && entry.shape == shape_.text();
    });
    if (found != selections_.end()) return &*found;
    std::unique_ptr<SqliteStatement> statement;
    try {
        statement = std::make_unique<SqliteStatement>(connection(), selectionSql(shape_.text(), onlyOne, ahead));
    } catch (const SqliteError& error) {
        if (error.isStatements()) return nullptr;  // it is the clause as it is written that the failure has to name
        throw;
    }
    constexpr std::size_t mostStatements = 16;
    if (selections_.size() >= mostStatements) selections_.erase(selections_.begin());
    return &selections_.emplace_back(Selection{shape_.text(), onlyOne, ahead, std::move(statement)});
}

bool SqliteTable::selectByShape(const std::string& where, bool onlyOne, const ColumnSet& ahead, ObjectIds& ids,
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
    ahead_.state = state();
    while (statement.step()) {
        ids.push_back(statement.integer(0));
        if (!ahead.empty()) keepAhead(ids.back(), statement);
    }
    return true;
}

void SqliteTable::keepAhead(ObjectId id, const SqliteStatement& row) {
    constexpr std::size_t mostRows = 64;
    if (ahead_.count == mostRows) return;
    if (ahead_.count == ahead_.rows.size()) ahead_.rows.emplace_back();
    auto& [rowId, cells] = ahead_.rows[ahead_.count++];
    rowId = id;
    cells.resize(schema()->columns.size());
    readRow(row, *schema(), ahead_.columns, cells);
}

/// A row that was read ahead, as long as it is the row that would be read now: within a transaction nobody but this
/// connection can have changed it.
const Cells* SqliteTable::findAhead(ObjectId id, const ColumnSet& columns) const {
    if (ahead_.count == 0 || state() != ahead_.state || !std::ranges::includes(ahead_.columns, columns)) return nullptr;
    const auto rows = std::span(ahead_.rows).first(ahead_.count);
    const auto found = std::ranges::find(rows, id, &std::pair<ObjectId, Cells>::first);
    return found == rows.end() ? nullptr : &found->second;
}

ObjectIds SqliteTable::select(const std::string& where, bool onlyOne, const ColumnSet& ahead) {
    ahead_.count = 0;
    checkClause(where);
    // Only functions make GDAL speak; listening for it costs as much as a short query's rows.
    std::optional<GdalErrors> errors;
    if (where.find('(') != std::string::npos) errors.emplace();
    try {
        ClauseScope clause(dataset().clauseGuard(), ClauseGuard::Phase::Preparing);
        ObjectIds ids;
        static const ColumnSet none;
        const bool readsAhead = dataset().transaction() != 0;
        if (selectByShape(where, onlyOne, readsAhead ? ahead : none, ids, clause)) return ids;
        SqliteStatement statement(connection(), selectionSql(where, onlyOne, {}));
        clause.run();
        while (statement.step()) ids.push_back(statement.integer(0));
        return ids;
    } catch (const HostError& error) {
        failFor(error, where.empty()
                           ? error.what()
                           : "where clause \"" + where + "\": " + (errors ? errors->text(error.what()) : error.what()));
    }
}

ObjectIds SqliteTable::restrict(const ObjectIds& ids, const std::string& where) {
    checkClause(where);
    const GdalErrors errors;
    std::string sql = "SELECT 1 FROM " + quotedName(name()) + " WHERE " + key_ + " = ?1";
    if (!where.empty()) sql += " AND " + condition(where);
    try {
        ClauseScope clause(dataset().clauseGuard(), ClauseGuard::Phase::Preparing);
        SqliteStatement statement(connection(), sql);
        clause.run();
        ObjectIds kept;
        for (const ObjectId id : ids) {
            const StatementRun run(statement);
            statement.bind(1, id);
            if (statement.step()) kept.push_back(id);
        }
        return kept;
    } catch (const HostError& error) {
        failFor(error, where.empty() ? error.what() : "where clause \"" + where + "\": " + errors.text(error.what()));
    }
}

std::unique_ptr<RowReader> SqliteTable::read(const ColumnSet& columns, SharedIds ids) {
    auto self = std::static_pointer_cast<SqliteTable>(shared_from_this());
    if (ids) return std::make_unique<IdReader>(std::move(self), columns, std::move(ids));
    return std::make_unique<ScanReader>(std::move(self), columns);
}

void SqliteTable::failReading(const HostError& error) const {
    failFor(error, std::string("cannot be read: ") + error.what());
}

void SqliteTable::failFor(const HostError& error, const std::string& text) const {
    const auto* const said = dynamic_cast<const SqliteError*>(&error);
    if (said && !said->isStatements()) dataset().noteFailure(title() + ": " + text);
    fail(text);
}

template <class MakeSql>
SqliteStatement& SqliteTable::prepared(std::vector<Prepared>& known, const ColumnSet& columns, MakeSql&& makeSql) {
    const auto found = std::ranges::find_if(known, [&](const Prepared& entry) { return entry.first == columns; });
    if (found != known.end()) return *found->second;
    constexpr std::size_t mostStatements = 32;
    if (known.size() >= mostStatements) known.erase(known.begin());
    known.emplace_back(columns, std::make_unique<SqliteStatement>(connection(), makeSql()));
    return *known.back().second;
}

bool SqliteTable::fetch(ObjectId id, const ColumnSet& columns, Cells& cells) {
    if (const Cells* known = findAhead(id, columns)) {
        for (const std::size_t column : columns) cells[column] = (*known)[column];
        return true;
    }
    const GdalErrors errors;
    try {
        SqliteStatement& statement =
            prepared(fetches_, columns, [&] { return selection(columns) + " WHERE " + key_ + " = ?1"; });
        const StatementRun run(statement);
        statement.bind(1, id);
        if (!statement.step()) return false;
        readRow(statement, *schema(), columns, cells);
        return true;
    } catch (const HostError& error) {
        failFor(error, "row " + std::to_string(id) + ": " + errors.text(error.what()));
    }
}

/// Has triggers that do nothing set aside for the transaction. They are there when the table's first statement is
/// prepared: one that names what does not exist fails as ever.
void SqliteTable::readTriggers() {
    const long transaction = dataset().transaction();
    if (transaction == 0 || transaction == triggersRead_) return;
    dataset().setTriggers(true);
    updates_.clear();
    triggersIdle_ = triggersAreIdle(connection(), name(), keyName(), *schema());
    triggersRead_ = transaction;
}

SqliteStatement& SqliteTable::updateOf(const ColumnSet& columns) {
    readTriggers();
    SqliteStatement& statement = prepared(updates_, columns, [&] {
        const std::string sql = "UPDATE " + quotedName(name()) + " SET " + each(columns, ", ", " = ", "") + " WHERE " +
                                key_ + " = ?" + std::to_string(columns.size() + 1);
        // The values differ from what was read. SQLite, which compares a value with a column as it would store it
        // there, has to be asked only when each of them may become another one.
        const bool mayBeStored =
            std::ranges::all_of(columns, [this](std::size_t column) { return mayConvert(column); });
        return mayBeStored ? sql + " AND (" + each(columns, " OR ", " IS NOT ", " COLLATE BINARY") + ")" : sql;
    });
    if (dataset().transaction() != 0) dataset().setTriggers(!triggersIdle_);
    return statement;
}

bool SqliteTable::mayConvert(std::size_t column) const {
    const Column& description = schema()->columns[column];
    if (partOf(description.type) != CellPart::Text) return false;
    // SQLite's own rule: what a column makes of a text follows from the words in its declared type.
    SqliteStatement keepsTexts(
        connection(), "SELECT 1 FROM pragma_table_info(" + quotedText(name()) + ") WHERE lower(name) = lower(" +
                          quotedText(description.name) +
                          ") AND type NOT LIKE '%INT%' AND (type = '' OR type LIKE '%CHAR%' OR type LIKE "
                          "'%CLOB%' OR type LIKE '%TEXT%' OR type LIKE '%BLOB%')");
    return !keepsTexts.step();
}

std::string SqliteTable::each(const ColumnSet& columns, const char* separator, const char* operation,
                              const char* end) const {
    std::string sql;
    int parameter = 1;
    for (const std::size_t column : columns) {
        if (parameter > 1) sql += separator;
        sql += quotedName(schema()->columns[column].name) + operation + '?' + std::to_string(parameter++) + end;
    }
    return sql;
}

void SqliteTable::bindRow(SqliteStatement& statement, ObjectId id, const ColumnSet& columns, const Cells& cells) const {
    const TableSchema& current = *schema();
    int parameter = 1;
    for (const std::size_t column : columns)
        statement.bind(parameter++, partOf(current.columns[column].type), cells[column]);
    statement.bind(parameter, id);
}

void SqliteTable::explainUnchanged(ObjectId id, const ColumnSet& columns, const Cells& cells) {
    SqliteStatement& statement = prepared(comparisons_, columns, [&] {
        return "SELECT " + each(columns, " AND ", " IS ", " COLLATE BINARY") + " FROM " + quotedName(name()) +
               " WHERE " + key_ + " = ?" + std::to_string(columns.size() + 1);
    });
    const StatementRun run(statement);
    bindRow(statement, id, columns, cells);
    if (!statement.step()) throw HostError("it is gone");
    if (statement.integer(0) == 0) throw HostError("a trigger of the table keeps it as it is");
}

bool SqliteTable::update(ObjectId id, const ColumnSet& columns, const Cells& cells) {
    checkWritable();
    // GDAL has its say in triggers only.
    std::optional<GdalErrors> errors;
    const long transaction = dataset().transaction();
    if (transaction == 0 || transaction != triggersRead_ || !triggersIdle_) errors.emplace();
    try {
        SqliteStatement& statement = updateOf(columns);
        const StatementRun run(statement);
        bindRow(statement, id, columns, cells);
        statement.step();
        if (sqlite3_changes(connection()) == 0) {
            explainUnchanged(id, columns, cells);
            return false;
        }
    } catch (const HostError& error) {
        fail("row " + std::to_string(id) +
             " cannot be written: " + (errors ? errors->text(error.what()) : error.what()));
    }
    const State before = std::exchange(written_, state());
    writtenId_ = id;
    if (before.transaction == 0 || before.transaction != written_.transaction) dataset().noteChange(name());
    return true;
}

}  // namespace embedded_host
