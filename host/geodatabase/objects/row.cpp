// A row of a table.
#include "host/geodatabase/objects/row.h"

#include "host/geodatabase/base/dataset.h"
#include "host/geodatabase/objects/boundary.h"
#include "host/geodatabase/objects/cell_variant.h"

#include <algorithm>
#include <utility>

namespace embedded_host {

namespace {

void insertInto(ColumnSet& columns, std::size_t column) {
    const auto place = std::ranges::lower_bound(columns, column);
    if (place == columns.end() || *place != column) columns.insert(place, column);
}

}  // namespace

Row::Row(std::shared_ptr<RowSource> source) : source_(std::move(source)), cells_(source_->schema->columns.size()) {}
Row::~Row() = default;

HRESULT Row::get_Fields(IFields** fields) {
    return source_->fields.CopyTo(fields);
}

HRESULT Row::get_Table(ITable** table) {
    return source_->tableObject.CopyTo(table);
}

std::size_t Row::checkedIndex(LONG index) const {
    if (index < 0 || static_cast<std::size_t>(index) >= cells_.size())
        throw StatusError(E_INVALIDARG, source_->table->title() + ": there is no field " + std::to_string(index));
    return static_cast<std::size_t>(index);
}

void Row::fetch(std::size_t column) {
    try {
        if (!source_->table->fetch(id_, {column}, cells_))
            throw HostError(source_->table->title() + ": row " + std::to_string(id_) + " is gone");
    } catch (const HostError& error) {
        if (source_->monitor && source_->monitor->failure.empty()) source_->monitor->failure = error.what();
        throw;
    }
    touched_.push_back(column);
    insertInto(source_->missed, column);
}

template <class Convert>
void Row::counted(RowList RunMonitor::* list, bool& isCounted, Convert&& convert) {
    try {
        convert();
    } catch (const StatusError&) {
        if (source_->monitor && !isCounted) (source_->monitor->*list).add(id_);
        isCounted = true;
        throw;
    }
}

HRESULT Row::get_Value(LONG index, VARIANT* value) {
    if (!value) return E_POINTER;
    value->vt = VT_EMPTY;
    return atBoundary([&] {
        const std::size_t column = checkedIndex(index);
        if (source_->asked) insertInto(*source_->asked, column);
        if (cells_[column].state == Cell::State::Missing) fetch(column);
        counted(&RunMonitor::unreadable, isUnreadable_,
                [&] { toVariant(source_->schema->columns[column], cells_[column], value); });
        return S_OK;
    });
}

HRESULT Row::put_Value(LONG index, VARIANT value) {
    return atBoundary([&] {
        const std::size_t column = checkedIndex(index);
        const Column& description = source_->schema->columns[column];
        if (column == source_->schema->keyPosition())
            throw StatusError(E_ACCESSDENIED, "field " + description.name + ": the key of a row does not change");
        // What the row holds decides whether there is anything to write.
        if (cells_[column].state == Cell::State::Missing) fetch(column);
        counted(&RunMonitor::refused, isRefused_, [&] { fromVariant(description, value, converted_); });
        if (!std::ranges::binary_search(changed_, column)) {
            stored_.resize(cells_.size());
            std::swap(stored_[column], cells_[column]);
            insertInto(changed_, column);
        }
        std::swap(cells_[column], converted_);
        touched_.push_back(column);
        return S_OK;
    });
}

HRESULT Row::Store() {
    return atBoundary([&] {
        write();
        return S_OK;
    });
}

Cells& Row::startFilling() noexcept {
    for (const std::size_t column : touched_) cells_[column].state = Cell::State::Missing;
    touched_.clear();
    changed_.clear();
    isUnreadable_ = isRefused_ = false;
    return cells_;
}

bool Row::write() {
    std::erase_if(changed_, [this](std::size_t column) {
        return equalValues(source_->schema->columns[column].type, cells_[column], stored_[column]);
    });
    if (changed_.empty()) return false;
    const bool written = source_->table->dataset().isRehearsal() || source_->table->update(id_, changed_, cells_);
    changed_.clear();
    return written;
}

}  // namespace embedded_host
