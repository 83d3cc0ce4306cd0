// The update cursor.
#pragma once

#include "host/com_object.h"
#include "host/geodatabase/base/table.h"
#include "host/geodatabase/objects/live_objects.h"
#include "host/geodatabase/objects/row.h"
#include "symbology/host_interfaces.h"

#include <exception>
#include <memory>

namespace embedded_host {

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
    void countRow(ObjectId id);
    void note(const std::exception& failure);

    std::shared_ptr<RowSource> source_;
    ColumnSet columns_;
    bool recycling_;
    std::unique_ptr<RowReader> reader_;
    CComPtr<Row> row_;
    bool atEnd_ = false;
};

}  // namespace embedded_host
