// ValueTable: a number for each of the distinct values of one field.
#pragma once

#include "platform/platform.h"

#include <cstdint>
#include <limits>
#include <vector>

namespace ConditionalXml {

/// Keeps a number, which its user chooses, for each distinct value of a field. NULL is a value; besides it a table is
/// for values of one type. Values are the same when nothing can tell them apart: all bits of a number, all units of a
/// text.
class ValueTable {
public:
    using Number = std::uint32_t;
    static constexpr Number none = std::numeric_limits<Number>::max();

    /// Whether values of the type can have numbers.
    static bool knows(VARTYPE type) noexcept;
    /// Whether a field's values are of one such type still.
    /// \param type of those before, VT_EMPTY when there was none but NULL; the first other value decides it.
    static bool keepsType(const VARIANT& value, VARTYPE& type) noexcept;

    /// The number of NULL or of a value of a known type; none when it has none.
    Number find(const VARIANT& value) const noexcept;
    /// Gives a value that has none its number.
    void add(const VARIANT& value, Number number);
    /// How many values have a number.
    std::size_t size() const noexcept { return count_; }

private:
    /// Small, because a row looks at one for each field, and those of large tables are seldom near.
    struct Entry {
        std::uint64_t key = 0;  // the number itself, or the length and half the hash of a text
        Number number = none;
        std::uint32_t textBegin = 0;
    };

    static std::uint64_t keyOf(const VARIANT& value) noexcept;
    bool isValue(const Entry& entry, std::uint64_t key, const VARIANT& value) const noexcept;
    std::size_t firstPlace(std::uint64_t key) const noexcept;
    void insert(const Entry& entry) noexcept;
    void grow();

    std::vector<Entry> entries_;  // open addressing; a power of two, at most half full
    WideString texts_;
    Number null_ = none;
    std::size_t count_ = 0;
};

}  // namespace ConditionalXml
