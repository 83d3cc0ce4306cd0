// The update cursor.
#include "host/geodatabase/objects/cursor.h"

#include "host/geodatabase/base/status_error.h"
#include "host/geodatabase/objects/boundary.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace embedded_host {

namespace {

constexpr std::int64_t rowsPerProgress = 4096;

}  // namespace

Cursor::Cursor(std::shared_ptr<RowSource> source, ColumnSet columns, SharedIds ids, bool recycling)
    : source_(std::move(source)),
      columns_(std::move(columns)),
      recycling_(recycling),
      reader_(source_->table->read(columns_, std::move(ids))) {}

Cursor::~Cursor() {
    source_->monitor = nullptr;
}

void Cursor::note(const std::exception& failure) {
    if (source_->monitor && source_->monitor->failure.empty()) source_->monitor->failure = failure.what();
}

void Cursor::checkStop() const {
    const RunMonitor* monitor = source_->monitor;
    if (monitor && monitor->stop && monitor->stop->load(std::memory_order_relaxed))
        throw StatusError(E_ABORT, source_->table->title() + ": stopped");
}

void Cursor::readMissedColumns() {
    if (source_->missed.empty()) return;
    ColumnSet all;
    std::ranges::set_union(columns_, source_->missed, std::back_inserter(all));
    source_->missed.clear();
    columns_ = std::move(all);
    reader_->setColumns(columns_);
}

Row& Cursor::rowToFill() {
    if (!row_ || (!recycling_ && !row_->isFree())) row_ = new Row(source_);
    return *row_;
}

void Cursor::countRow(ObjectId id) {
    RunMonitor* monitor = source_->monitor;
    if (!monitor) return;
    monitor->row = id;
    ++monitor->rows;
    if (monitor->rows % rowsPerProgress == 0 && monitor->onProgress) monitor->onProgress(monitor->rows);
}

HRESULT Cursor::NextRow(IRow** row) {
    if (!row) return E_POINTER;
    *row = nullptr;
    return atBoundary([&] {
        if (atEnd_) return S_FALSE;
        checkStop();
        ObjectId id = 0;
        try {
            readMissedColumns();
            Row& next = rowToFill();
            atEnd_ = !reader_->next(id, next.startFilling());
            if (atEnd_) return S_FALSE;
            next.finishFilling(id);
            if (source_->monitor && source_->monitor->onRow) source_->monitor->onRow(&next);
        } catch (const HostError& error) {
            note(error);
            atEnd_ = true;
            throw;
        }
        countRow(id);
        row_->AddRef();
        *row = row_;
        return S_OK;
    });
}

HRESULT Cursor::UpdateRow(IRow* row) {
    if (!row) return E_POINTER;
    return atBoundary([&] {
        const CComQIPtr<IHostRow> own(static_cast<IUnknown*>(row));
        if (!own || own->hostRow()->source() != source_)
            throw StatusError(E_INVALIDARG, source_->table->title() + ": the row is not one of this cursor's");
        try {
            if (own->hostRow()->write() && source_->monitor) ++source_->monitor->changed;
        } catch (const std::exception& error) {
            note(error);
            throw;
        }
        return S_OK;
    });
}

}  // namespace embedded_host
