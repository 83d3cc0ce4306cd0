// StreamSchema: the columns of a stream, and those of what a run makes of it.
#pragma once

#include "host/arrow/stream_field.h"
#include "host/geodatabase/base/field_request.h"
#include "host/geodatabase/base/table_schema.h"

#include <nanoarrow.hpp>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace embedded_host {

/// Columns are numbered as they come, those that the run adds behind them. Names are compared as a run compares them:
/// the exact one first, then without regard to case.
class StreamSchema {
public:
    /// \param given a struct, the stream's schema. \param writes the fields that the run writes; those that the stream
    /// lacks are added. \throws HostError, naming the column that cannot be written, or for what is no struct.
    StreamSchema(nanoarrow::UniqueSchema given, const std::vector<FieldRequest>& writes);
    StreamSchema(const StreamSchema&) = delete;
    StreamSchema& operator=(const StreamSchema&) = delete;

    /// How many columns come; the added ones follow.
    std::size_t givenCount() const noexcept { return givenCount_; }
    const std::vector<StreamField>& fields() const noexcept { return fields_; }
    bool isWritten(std::size_t column) const noexcept { return written_[column]; }
    /// What goes out.
    const ArrowSchema& result() const noexcept { return *result_.get(); }
    /// The same for rows: fields that cannot be read keep their places.
    const std::shared_ptr<const TableSchema>& table() const noexcept { return table_; }

private:
    void makeResult(const std::vector<FieldRequest>& added);

    nanoarrow::UniqueSchema given_;
    nanoarrow::UniqueSchema result_;
    std::size_t givenCount_ = 0;
    std::vector<StreamField> fields_;
    std::vector<bool> written_;
    std::shared_ptr<const TableSchema> table_;
};

}  // namespace embedded_host
