#include "rules/value_table.h"

#include "api/failures.h"

#include <bit>
#include <functional>

namespace ConditionalXml {

bool ValueTable::knows(VARTYPE type) noexcept {
    switch (type) {
        case VT_NULL:
        case VT_I2:
        case VT_I4:
        case VT_I8:
        case VT_R8:
        case VT_BSTR:
            return true;
        default:
            return false;
    }
}

std::uint64_t ValueTable::keyOf(const VARIANT& value) noexcept {
    switch (value.vt) {
        case VT_I2:
            return static_cast<std::uint64_t>(value.iVal);
        case VT_I4:
            return static_cast<std::uint64_t>(value.lVal);
        case VT_I8:
            return static_cast<std::uint64_t>(value.llVal);
        case VT_R8:
            return std::bit_cast<std::uint64_t>(value.dblVal);
        default:
            return std::hash<WideView>()(view(value.bstrVal));
    }
}

std::size_t ValueTable::firstPlace(std::uint64_t key) const noexcept {
    constexpr std::uint64_t spread = 0x9E3779B97F4A7C15;  // 2^64 divided by the golden ratio: near keys end up apart
    constexpr int half = 32;
    return static_cast<std::size_t>((key * spread) >> half) & (entries_.size() - 1);
}

bool ValueTable::isValue(const Entry& entry, std::uint64_t key, const VARIANT& value) const noexcept {
    if (entry.key != key) return false;
    return value.vt != VT_BSTR || WideView(texts_).substr(entry.textBegin, entry.textLength) == view(value.bstrVal);
}

ValueTable::Number ValueTable::find(const VARIANT& value) const noexcept {
    if (value.vt == VT_NULL) return null_;
    if (entries_.empty()) return none;
    const std::uint64_t key = keyOf(value);
    for (std::size_t place = firstPlace(key); entries_[place].number != none;
         place = (place + 1) & (entries_.size() - 1))
        if (isValue(entries_[place], key, value)) return entries_[place].number;
    return none;
}

ValueTable::Number ValueTable::add(const VARIANT& value) {
    if (value.vt == VT_NULL) return null_ = count_++;
    if (count_ + std::size_t{1} > entries_.size() / 2) grow();
    Entry entry{.key = keyOf(value), .number = count_};
    if (value.vt == VT_BSTR) {
        const WideView text = view(value.bstrVal);
        entry.textBegin = static_cast<std::uint32_t>(texts_.size());
        entry.textLength = static_cast<std::uint32_t>(text.size());
        texts_ += text;
    }
    insert(entry);
    return count_++;
}

void ValueTable::insert(const Entry& entry) noexcept {
    std::size_t place = firstPlace(entry.key);
    while (entries_[place].number != none) place = (place + 1) & (entries_.size() - 1);
    entries_[place] = entry;
}

void ValueTable::grow() {
    constexpr std::size_t firstSize = 64;
    std::vector<Entry> before(entries_.empty() ? firstSize : entries_.size() * 2);
    before.swap(entries_);
    for (const Entry& entry : before)
        if (entry.number != none) insert(entry);
}

}  // namespace ConditionalXml
