// A row of a table.
#pragma once

#include "host/com_object.h"
#include "host/geodatabase/base/run_monitor.h"
#include "host/geodatabase/base/table.h"
#include "host/geodatabase/objects/live_objects.h"
#include "symbology/host_interfaces.h"

#include <memory>

namespace embedded_host {
class Row;
}

/// Tells the host's own rows from those of another maker.
SYMBOLOGY_INTERFACE(IHostRow, "5D3C0102-8A41-4E7B-9C1E-2B6F0A7D4C01") : public IUnknown {
    virtual embedded_host::Row* STDMETHODCALLTYPE hostRow() = 0;
};

namespace embedded_host {

/// What the rows of one cursor, or the one row of a GetRow call, have in common.
struct RowSource {
    std::shared_ptr<Table> table;
    std::shared_ptr<const TableSchema> schema;
    CComPtr<ITable> tableObject;
    CComPtr<IFields> fields;
    // Columns that a row was asked for without having them: the cursor reads them for the rows to come.
    ColumnSet missed;
    // The columns that rows of GetRow were asked for: the ones to read of the next. Null for a cursor's rows.
    std::shared_ptr<ColumnSet> asked;
    // Null when nobody watches, and after the cursor's end: rows may live longer.
    RunMonitor* monitor = nullptr;
};

template <>
struct ExtendedInterface<IRow> {
    using Type = IRowBuffer;
};

class Row final : public ComObject<HostCounter, IRow, IHostRow> {
public:
    explicit Row(std::shared_ptr<RowSource> source);
    ~Row() override;

    HRESULT STDMETHODCALLTYPE get_Fields(IFields** fields) override;
    HRESULT STDMETHODCALLTYPE get_Value(LONG index, VARIANT* value) override;
    HRESULT STDMETHODCALLTYPE put_Value(LONG index, VARIANT value) override;
    HRESULT STDMETHODCALLTYPE get_Table(ITable** table) override;
    HRESULT STDMETHODCALLTYPE Store() override;
    Row* STDMETHODCALLTYPE hostRow() override { return this; }

    const std::shared_ptr<RowSource>& source() const noexcept { return source_; }
    /// Whether nobody but its cursor holds the row, so that it may become another row.
    bool isFree() const noexcept { return isHeldOnce(); }

    /// Forgets the row's content before a reader fills the cells with the next one.
    Cells& startFilling() noexcept;
    void finishFilling(ObjectId id) noexcept { id_ = id; }

    /// Writes the values that were put since the last time. \return whether that changed the row: values that it
    /// stores already are not written. \throws HostError
    bool write();

private:
    std::size_t checkedIndex(LONG index) const;
    void fetch(std::size_t column);
    // Runs `convert`; when it fails the row is counted, once, where a run watches.
    template <class Convert>
    void counted(RowList RunMonitor::* list, bool& isCounted, Convert&& convert);

    std::shared_ptr<RowSource> source_;
    ObjectId id_ = 0;
    Cells cells_;
    ColumnSet changed_;  // ascending
    Cells stored_;       // of the columns that changed: what they held before; made with the first of them
    Cell converted_;     // lends its memory to one value after the other
    ColumnSet touched_;  // filled by other ways than the cursor's reader
    bool isUnreadable_ = false;
    bool isRefused_ = false;
};

}  // namespace embedded_host
