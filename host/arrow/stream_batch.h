// StreamBatch: one batch of a stream's rows, and what a run puts into it.
#pragma once

#include "host/arrow/stream_schema.h"
#include "host/geodatabase/base/cell.h"

#include <nanoarrow.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace embedded_host {

/// Columns are looked at, and checked, when they are first asked for: what nobody reads passes through as it is.
class StreamBatch {
public:
    /// \param schema must outlive this. \throws HostError for an array that is no batch of it.
    StreamBatch(const StreamSchema& schema, nanoarrow::UniqueArray array);

    std::int64_t rows() const noexcept { return rows_; }
    /// Fills the cell from a row as it came; NULL for a column that the run adds. \throws HostError
    void read(std::size_t column, std::int64_t row, Cell& cell);
    /// Has a row hold a value, which goes out and is not read again. Rows in ascending order.
    /// \throws HostError unless the column is one that the run writes, and the row behind those that were put.
    void put(std::size_t column, std::int64_t row, const Cell& cell);
    /// The batch with what was put. Columns into which nothing was put are those that came. Ends this.
    nanoarrow::UniqueArray finish();

private:
    // What becomes of one column, as far as rows have gone.
    struct Growing {
        nanoarrow::UniqueArray array;
        std::int64_t rows = 0;
    };

    const ArrowArrayView& viewOf(std::size_t column);
    Growing& growing(std::size_t column);
    void growTo(std::size_t column, Growing& growing, std::int64_t row);
    void append(std::size_t column, Growing& growing, const Cell& cell);
    bool mustGrow(std::size_t column) const;

    const StreamSchema& schema_;
    nanoarrow::UniqueArray array_;
    std::int64_t rows_ = 0;
    std::vector<std::optional<nanoarrow::UniqueArrayView>> views_;
    std::vector<std::optional<Growing>> growing_;
    Cell came_;  // lends its memory to one value after the other
};

}  // namespace embedded_host
