// RowValueMap: the values of one row that rules and expressions read.
#pragma once

#include "text/field_names.h"

#include <memory>
#include <span>
#include <vector>

namespace ConditionalXml {

/// Maps field names to sequences of values: one value for a field of the row, any number for an alias that queries
/// append to. Names match as BstrLess orders them.
///
/// One map serves all rows of a run in turn: clear() keeps the storage, so that a row costs no allocation that the row
/// before has already made. A name that was interned is present only while it has an entry for the current row.
class RowValueMap {
public:
    using Slot = FieldNames::Slot;

    /// Shares `names` with the rules that were built with it.
    explicit RowValueMap(std::shared_ptr<FieldNames> names) : names_(std::move(names)) {}

    /// Forgets the current row's values. References into the map end here.
    void clear() noexcept;

    /// Adds an empty value at the end of the entry, creating the entry when needed, and returns it for the caller to
    /// fill. The reference is good until the next append to the same entry.
    CComVariant& append(Slot slot) {
        if (slot < entries_.size())
            if (Entry& entry = entries_[slot]; entry.count < entry.values.size()) return entry.values[entry.count++];
        return grow(slot);
    }
    /// Adds a copy of `value`.
    void append(const CComBSTR& name, const VARIANT& value);

    /// The entry's first value; null when the name has no entry for this row or an entry without values.
    const VARIANT* first(Slot slot) const noexcept {
        return slot < entries_.size() && entries_[slot].count != 0 ? entries_[slot].values.data() : nullptr;
    }
    /// All values of the entry, in order; empty when the name has no entry.
    std::span<const CComVariant> values(Slot slot) const noexcept;
    bool contains(Slot slot) const noexcept { return slot < entries_.size() && entries_[slot].count != 0; }

    const FieldNames& names() const noexcept { return *names_; }

private:
    struct Entry {
        std::vector<CComVariant> values;  // those from `count` on are left from earlier rows, cleared
        std::size_t count = 0;
    };

    CComVariant& grow(Slot slot);

    std::shared_ptr<FieldNames> names_;
    std::vector<Entry> entries_;  // by slot
};

}  // namespace ConditionalXml
