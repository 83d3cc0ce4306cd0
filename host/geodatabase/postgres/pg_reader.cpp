// Readers of tables on a PostgreSQL server. While the rows of one block are worked on, the server writes the changes of
// the block before and reads the block after.
#include "host/geodatabase/postgres/pg_reader.h"

#include <algorithm>
#include <atomic>
#include <span>
#include <utility>

namespace embedded_host {

namespace {

// Blocks are as long as about a megabyte holds, so that long rows take no more memory than short ones.
constexpr std::size_t firstBlockRows = 64;  // short: a run may ask for more columns after its first row
constexpr std::size_t leastBlockRows = 16;
constexpr std::size_t mostBlockRows = 4096;
constexpr std::size_t blockBytes = 1'000'000;
constexpr int rowsPerAdvance = 64;

class BlockReader : public RowReader {
public:
    BlockReader(std::shared_ptr<PgTable> table, ColumnSet columns)
        : table_(std::move(table)), columns_(std::move(columns)) {}

    bool next(ObjectId& id, Cells& cells) final {
        while (row_ == block_.rows())
            if (!nextBlock()) return false;
        if (row_ % rowsPerAdvance == 0) table_->dataset().connection().advance();
        id = lastId_ = block_.int64(row_, 0);
        table_->readRow(block_, row_++, columns_, cells);
        return true;
    }
    void setColumns(const ColumnSet& columns) final {
        // The rest of the block, and the one on its way, have been read without the new columns.
        columns_ = columns;
        block_ = {};
        row_ = 0;
        coming_ = nullptr;
        atEnd_ = false;
        restartAfter(lastId_);
    }

protected:
    PgTable& table() const noexcept { return *table_; }
    const ColumnSet& columns() const noexcept { return columns_; }
    std::size_t blockRows() const noexcept { return blockRows_; }
    bool hasStarted() const noexcept { return lastId_ != none; }

    PgConnection::Failed readingFailed() const {
        // Not the table: the connection, which the table keeps alive, would then keep the table.
        return [&dataset = table_->dataset(), title = table_->title()](const PgError& error) {
            dataset.breakRun(title + ": cannot be read: " + error.what());
        };
    }

    /// Queues what gives the next block. \return false when there is none.
    virtual bool requestBlock(PgConnection::Take take) = 0;
    virtual void restartAfter(ObjectId id) = 0;
    /// Whether a block of so many rows is the last one.
    virtual bool endsWith(int rows) const = 0;

private:
    static constexpr ObjectId none = INT64_MIN;

    void request() {
        const auto coming = std::make_shared<PgResult>();
        if (requestBlock([coming](PgResult&& result) { *coming = std::move(result); })) coming_ = coming;
        if (!coming_) atEnd_ = true;
    }

    bool nextBlock() {
        PgDataset& dataset = table_->dataset();
        dataset.checkRun();
        if (!coming_ && !atEnd_) request();
        // At the end the run waits for its last changes, so that it hears of their failure and not its commit.
        if (!coming_) dataset.writer().send();
        dataset.finish();
        if (!coming_) return false;
        if (!coming_->isThere()) dataset.breakRun(table_->title() + ": cannot be read: a block of rows is missing");
        block_ = std::move(*std::exchange(coming_, nullptr));
        row_ = 0;
        atEnd_ = endsWith(block_.rows());
        resize();
        dataset.writer().sendIfMany();
        if (!atEnd_) request();
        return true;
    }

    void resize() {
        if (block_.rows() == 0) return;
        const std::size_t bytesPerRow =
            std::max<std::size_t>(block_.memory() / static_cast<std::size_t>(block_.rows()), 1);
        // Not at once: the first rows need not be like the rest.
        const std::size_t wanted = std::min(blockBytes / bytesPerRow, blockRows_ * 8);
        blockRows_ = std::clamp(wanted, leastBlockRows, mostBlockRows);
    }

    std::shared_ptr<PgTable> table_;
    ColumnSet columns_;
    PgResult block_;
    int row_ = 0;
    std::size_t blockRows_ = firstBlockRows;
    std::shared_ptr<PgResult> coming_;  // null when nothing was asked for
    bool atEnd_ = false;
    ObjectId lastId_ = none;
};

class CursorReader final : public BlockReader {
public:
    CursorReader(std::shared_ptr<PgTable> table, const ColumnSet& columns)
        : BlockReader(std::move(table), columns), transaction_(this->table().dataset().transactionNumber()) {}
    ~CursorReader() override { close(); }
    CursorReader(const CursorReader&) = delete;
    CursorReader& operator=(const CursorReader&) = delete;

private:
    bool requestBlock(PgConnection::Take take) override {
        PgDataset& dataset = table().dataset();
        if (name_.empty()) {
            name_ = "run_" + std::to_string(++cursorsMade);
            std::string sql = "DECLARE " + name_ + " BINARY NO SCROLL CURSOR FOR " + table().selection(columns());
            if (hasStarted()) sql += " WHERE " + table().keySql() + " > " + std::to_string(after_);
            dataset.send({sql + " ORDER BY " + table().keySql(), {}}, {}, readingFailed());
        }
        asked_ = blockRows();
        dataset.send({"FETCH " + std::to_string(asked_) + " FROM " + name_, {}}, std::move(take), readingFailed());
        return true;
    }
    void restartAfter(ObjectId id) override {
        close();
        after_ = id;
    }
    bool endsWith(int rows) const override { return std::cmp_less(rows, asked_); }

    void close() noexcept {
        PgDataset& dataset = table().dataset();
        if (name_.empty() || !dataset.inTransaction() || dataset.transactionNumber() != transaction_) return;
        try {
            dataset.checkRun();
            dataset.send({"CLOSE " + std::exchange(name_, {}), {}}, {});
        } catch (const std::exception&) {
            name_.clear();  // the cursor ends with its transaction
        }
    }

    static inline std::atomic<unsigned> cursorsMade = 0;  // datasets of other threads count on it, too
    int transaction_;
    std::string name_;
    ObjectId after_ = 0;
    std::size_t asked_ = 0;
};

class IdReader final : public BlockReader {
public:
    IdReader(std::shared_ptr<PgTable> table, const ColumnSet& columns, SharedIds ids)
        : BlockReader(std::move(table), columns), ids_(std::move(ids)) {}

private:
    bool requestBlock(PgConnection::Take take) override {
        if (position_ == ids_->size()) return false;
        const std::size_t count = std::min(blockRows(), ids_->size() - position_);
        const std::span<const ObjectId> block(ids_->data() + position_, count);
        position_ += count;
        table().dataset().send(
            {table().selection(columns()) + " WHERE " + table().keySql() + " = ANY ($1) ORDER BY " + table().keySql(),
             {numbersParameter(block)}},
            std::move(take), readingFailed());
        return true;
    }
    void restartAfter(ObjectId id) override {
        if (hasStarted()) position_ = static_cast<std::size_t>(std::ranges::upper_bound(*ids_, id) - ids_->begin());
    }
    bool endsWith(int /*rows*/) const override { return false; }

    SharedIds ids_;
    std::size_t position_ = 0;
};

}  // namespace

std::unique_ptr<RowReader> readWithCursor(std::shared_ptr<PgTable> table, const ColumnSet& columns) {
    return std::make_unique<CursorReader>(std::move(table), columns);
}

std::unique_ptr<RowReader> readByIds(std::shared_ptr<PgTable> table, const ColumnSet& columns, SharedIds ids) {
    return std::make_unique<IdReader>(std::move(table), columns, std::move(ids));
}

}  // namespace embedded_host
