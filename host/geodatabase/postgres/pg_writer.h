// Changed rows on their way to a PostgreSQL server: collected, and sent as one statement for many rows.
#pragma once

#include "host/geodatabase/base/table.h"
#include "host/geodatabase/postgres/pg_values.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace embedded_host {

class PgDataset;
class PgTable;

class PgWriter {
public:
    explicit PgWriter(PgDataset& dataset) noexcept : dataset_(dataset) {}

    /// Takes new values of one row. \throws HostError for a value that the server cannot hold, and what sending throws.
    void add(const std::shared_ptr<PgTable>& table, ObjectId id, const ColumnSet& columns, const Cells& cells);
    /// Sends what is collected when it is worth a statement. Failures show when the dataset finishes.
    void sendIfMany();
    void send();
    /// Forgets what was not sent.
    void forget() noexcept;

private:
    // Rows in which the same columns change.
    struct Batch {
        ColumnSet columns;
        ObjectIds ids;
        std::vector<PgArray> values;
    };

    Batch& batchFor(const ColumnSet& columns);
    void sendBatch(const PgTable& table, const Batch& batch);

    PgDataset& dataset_;
    std::shared_ptr<PgTable> table_;  // null when nothing is collected: it keeps the dataset alive
    std::vector<Batch> batches_;
    ObjectId lastId_ = 0;
    std::size_t rows_ = 0;
    std::size_t bytes_ = 0;
};

}  // namespace embedded_host
