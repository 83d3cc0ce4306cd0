// ValueTable: numbers for the distinct values of one field.
#pragma once

#include "platform/platform.h"

#include <cstdint>
#include <limits>
#include <vector>

namespace ConditionalXml {

/// Gives each distinct value of a field a number, from 0 in order of first mention. NULL is a value; besides it a table
/// is for values of one type. Values are the same when nothing can tell them apart: all bits of a number, all units of
/// a text.
class ValueTable {
public:
    using Number = std::uint32_t;
    static constexpr Number none = std::numeric_limits<Number>::max();

    /// Whether values of the type can have numbers.
    static bool knows(VARTYPE type) noexcept;

    /// The number of NULL or of a value of a known type; none when it has none.
    Number find(const VARIANT& value) const noexcept;
    /// Gives a value that has no number the next one.
    Number add(const VARIANT& value);
    std::size_t size() const noexcept { return count_; }

private:
    struct Entry {
        std::uint64_t key = 0;  // the number itself, or the hash of a text
        Number number = none;
        std::uint32_t textBegin = 0;
        std::uint32_t textLength = 0;
    };

    static std::uint64_t keyOf(const VARIANT& value) noexcept;
    bool isValue(const Entry& entry, std::uint64_t key, const VARIANT& value) const noexcept;
    std::size_t firstPlace(std::uint64_t key) const noexcept;
    void insert(const Entry& entry) noexcept;
    void grow();

    std::vector<Entry> entries_;  // open addressing; a power of two, at most half full
    WideString texts_;
    Number null_ = none;
    Number count_ = 0;
};

}  // namespace ConditionalXml
