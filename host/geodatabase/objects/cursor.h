// The update cursor.
#pragma once

#include "host/geodatabase/objects/row.h"

#include <memory>

namespace embedded_host {

/// What a query filter asks for.
struct FilterContent {
    ColumnSet columns;  // all fields when the filter names none of the table's
    std::string where;
};

/// What a selection asks for: which rows, and whether it says that fields of them are going to be read.
struct SelectionRequest {
    std::string where;
    bool namesFields = false;
};

/// \param filter may be null. \throws StatusError
SelectionRequest readSelectionRequest(IQueryFilter* filter);

/// \param filter may be null. Names that the table does not have are passed over. \throws StatusError
FilterContent readFilter(const TableSchema& schema, IQueryFilter* filter);

class Cursor final : public ComObject<HostCounter, ICursor> {
public:
    /// \param recycling whether one row object serves all rows, even while the caller holds it.
    Cursor(std::shared_ptr<RowSource> source, ColumnSet columns, SharedIds ids, bool recycling);
    ~Cursor() override;

    HRESULT STDMETHODCALLTYPE NextRow(IRow** row) override;
    HRESULT STDMETHODCALLTYPE UpdateRow(IRow* row) override;

private:
    void checkStop() const;
    void readMissedColumns();
    Row& rowToFill();
    void countRow();
    void note(const std::exception& failure);

    std::shared_ptr<RowSource> source_;
    ColumnSet columns_;
    bool recycling_;
    std::unique_ptr<RowReader> reader_;
    CComPtr<Row> row_;
    bool atEnd_ = false;
};

}  // namespace embedded_host
