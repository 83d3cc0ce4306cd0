// Walking a table, and reading rows by their ids.
#include "host/geodatabase/sqlite/sqlite_readers.h"

#include "host/geodatabase/base/gdal_errors.h"

#include <optional>
#include <utility>
#include <vector>

namespace embedded_host {

namespace {

// Reads with one statement that walks the table in the order of its row ids, which no update changes. Within a
// transaction it reads some rows ahead, because a write between two steps costs the statement its place. They are read
// again when anything but a row that was given has changed meanwhile.
class ScanReader final : public RowReader {
public:
    ScanReader(std::shared_ptr<SqliteTable> table, const ColumnSet& columns)
        : table_(std::move(table)), rows_(table_->rows()), schema_(table_->schema()) {
        setColumns(columns);
    }

    bool next(ObjectId& id, Cells& cells) override {
        if (position_ < count_ && !table_->updates().isUnchangedAfter(lastId_, state_)) {
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
        const std::string from = started_ ? " WHERE " + rows_.key() + " > ?1" : "";
        statement_ = std::make_unique<SqliteStatement>(rows_.handle(),
                                                       rows_.selection(columns_) + from + " ORDER BY " + rows_.key());
        if (started_) statement_->bind(1, lastId_);
    }

    void readAhead() {
        const GdalErrors errors;
        state_ = rows_.connection().state();
        const std::size_t most = state_.transaction == 0 ? 1 : most_;
        if (ahead_.size() < most) ahead_.resize(most, {0, Cells(schema_->columns.size())});
        position_ = count_ = 0;
        try {
            if (!statement_) start();
            for (; count_ < most; ++count_) {
                if (!statement_->step()) return statement_.reset();
                ahead_[count_].first = statement_->integer(0);
                SqliteRows::read(*statement_, *schema_, columns_, ahead_[count_].second);
            }
        } catch (const HostError& error) {
            failure_ = error;  // comes after the rows before it
        }
    }

    std::shared_ptr<SqliteTable> table_;
    const SqliteRows& rows_;  // the table's
    std::shared_ptr<const TableSchema> schema_;
    ColumnSet columns_;
    std::unique_ptr<SqliteStatement> statement_;
    std::size_t most_ = 32;  // rows to read ahead
    std::vector<std::pair<ObjectId, Cells>> ahead_;
    std::size_t position_ = 0;
    std::size_t count_ = 0;
    SqliteConnection::State state_;  // when they were read
    std::optional<HostError> failure_;
    ObjectId lastId_ = 0;  // of the row that was given last
    bool started_ = false;
};

// Reads rows whose ids were settled before the first of them was read.
class IdReader final : public RowReader {
public:
    IdReader(std::shared_ptr<SqliteTable> table, const ColumnSet& columns, SharedIds ids)
        : table_(std::move(table)), rows_(table_->rows()), schema_(table_->schema()), ids_(std::move(ids)) {
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
                rows_.handle(), rows_.selection(columns_) + " WHERE " + rows_.key() + " = ?1");
        const StatementRun run(*statement_);
        statement_->bind(1, id);
        if (!statement_->step()) return false;
        SqliteRows::read(*statement_, *schema_, columns_, cells);
        return true;
    }

    std::shared_ptr<SqliteTable> table_;
    const SqliteRows& rows_;  // the table's
    std::shared_ptr<const TableSchema> schema_;
    SharedIds ids_;
    std::size_t position_ = 0;
    ColumnSet columns_;
    std::unique_ptr<SqliteStatement> statement_;
};

}  // namespace

std::unique_ptr<RowReader> scanTable(std::shared_ptr<SqliteTable> table, const ColumnSet& columns) {
    return std::make_unique<ScanReader>(std::move(table), columns);
}

std::unique_ptr<RowReader> readByIds(std::shared_ptr<SqliteTable> table, const ColumnSet& columns, SharedIds ids) {
    return std::make_unique<IdReader>(std::move(table), columns, std::move(ids));
}

}  // namespace embedded_host
