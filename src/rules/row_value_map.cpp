#include "rules/row_value_map.h"

#include <algorithm>

namespace ConditionalXml {

void RowValueMap::clear() noexcept {
    for (Entry& entry : entries_) {
        for (std::size_t i = 0; i < entry.count; ++i)
            if (FAILED(entry.values[i].Clear())) VariantInit(&entry.values[i]);  // of a type that the platform lacks
        entry.count = 0;
    }
}

/// Appends where nothing is left from earlier rows.
CComVariant& RowValueMap::grow(Slot slot) {
    if (slot >= entries_.size()) entries_.resize(std::max(slot + 1, names_->size()));
    Entry& entry = entries_[slot];
    entry.values.emplace_back();
    return entry.values[entry.count++];
}

void RowValueMap::append(const CComBSTR& name, const VARIANT& value) {
    CComVariant copy(value);  // before the entry exists: a failed copy adds nothing
    append(names_->intern(name)) = std::move(copy);
}

std::span<const CComVariant> RowValueMap::values(Slot slot) const noexcept {
    if (!contains(slot)) return {};
    return {entries_[slot].values.data(), entries_[slot].count};
}

}  // namespace ConditionalXml
