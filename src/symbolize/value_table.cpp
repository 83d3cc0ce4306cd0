#include "symbolize/value_table.h"

#include "text/text.h"

#include <bit>
#include <cstring>
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

bool ValueTable::keepsType(const VARIANT& value, VARTYPE& type) noexcept {
    if (value.vt == VT_NULL) return true;
    if (type == VT_EMPTY && knows(value.vt)) type = value.vt;
    return type != VT_EMPTY && value.vt == type;
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
        default: {
            const WideView text = view(value.bstrVal);
            return std::uint64_t{text.size()} << 32 | static_cast<std::uint32_t>(std::hash<WideView>()(text));
        }
    }
}

std::size_t ValueTable::firstPlace(std::uint64_t key) const noexcept {
    // 2^64 divided by the golden ratio. The product's leading bits keep apart what differs in any bits of the key:
    // those of round numbers differ in the first few alone.
    constexpr std::uint64_t spread = 0x9E3779B97F4A7C15;
    return static_cast<std::size_t>((key * spread) >> (64 - std::countr_zero(entries_.size())));
}

bool ValueTable::isValue(const Entry& entry, std::uint64_t key, const VARIANT& value) const noexcept {
    if (entry.key != key) return false;
    if (value.vt != VT_BSTR) return true;
    const WideView text = view(value.bstrVal);  // as long as the entry's: the keys say so
    return text.empty() ||
           std::memcmp(texts_.data() + entry.textBegin, text.data(), text.size() * sizeof(OLECHAR)) == 0;
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

void ValueTable::add(const VARIANT& value, Number number) {
    if (value.vt == VT_NULL) {
        null_ = number;
    } else {
        if ((count_ + 1) * 2 > entries_.size()) grow();
        insert({.key = keyOf(value), .number = number, .textBegin = static_cast<std::uint32_t>(texts_.size())});
        if (value.vt == VT_BSTR) texts_ += view(value.bstrVal);
    }
    ++count_;
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
