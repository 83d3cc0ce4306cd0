// Values in the server's binary form: numbers with their most significant byte first.
#include "host/geodatabase/postgres/pg_values.h"

#include <bit>

namespace embedded_host {

namespace {

constexpr unsigned int8Type = 20;
constexpr unsigned textType = 25;

template <class Unsigned>
void appendBytes(std::string& bytes, Unsigned value) {
    for (int shift = static_cast<int>(sizeof(Unsigned)) * 8 - 8; shift >= 0; shift -= 8)
        bytes += static_cast<char>(static_cast<unsigned char>(value >> static_cast<unsigned>(shift)));
}

void appendLength(std::string& bytes, std::int32_t length) {
    appendBytes(bytes, static_cast<std::uint32_t>(length));
}

unsigned arrayType(PgArray::Item item) noexcept {
    switch (item) {
        case PgArray::Item::Integer:
            return 1016;
        case PgArray::Item::Real:
            return 1022;
        default:
            return 1009;
    }
}

}  // namespace

std::int64_t readInt64(std::string_view bytes) noexcept {
    // The first byte carries the sign, whatever the width.
    std::int64_t value = bytes.empty() ? 0 : static_cast<signed char>(bytes.front());
    for (std::size_t i = 1; i < bytes.size(); ++i) value = (value << 8) | static_cast<unsigned char>(bytes[i]);
    return value;
}

double readDouble(std::string_view bytes) noexcept {
    const auto bits = static_cast<std::uint64_t>(readInt64(bytes));
    if (bytes.size() == sizeof(float))
        return static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
    return std::bit_cast<double>(bits);
}

PgParameter textParameter(std::string_view text) {
    return {textType, std::string(text)};
}

PgParameter numberParameter(std::int64_t number) {
    PgParameter parameter{int8Type, {}};
    appendBytes(parameter.bytes, static_cast<std::uint64_t>(number));
    return parameter;
}

PgParameter numbersParameter(std::span<const std::int64_t> numbers) {
    PgArray array(PgArray::Item::Integer);
    for (const std::int64_t number : numbers) array.add(number);
    return array.parameter();
}

void PgArray::addNull() {
    appendLength(items_, -1);
    hasNull_ = true;
    ++count_;
}

void PgArray::add(std::int64_t number) {
    appendLength(items_, sizeof number);
    appendBytes(items_, static_cast<std::uint64_t>(number));
    ++count_;
}

void PgArray::add(double number) {
    appendLength(items_, sizeof number);
    appendBytes(items_, std::bit_cast<std::uint64_t>(number));
    ++count_;
}

void PgArray::add(std::string_view text) {
    appendLength(items_, static_cast<std::int32_t>(text.size()));
    items_ += text;
    ++count_;
}

PgParameter PgArray::parameter() const {
    PgParameter parameter{arrayType(item_), {}};
    appendLength(parameter.bytes, count_ == 0 ? 0 : 1);  // dimensions
    appendLength(parameter.bytes, hasNull_ ? 1 : 0);
    appendLength(parameter.bytes, static_cast<std::int32_t>(item_));
    if (count_ == 0) return parameter;
    appendLength(parameter.bytes, count_);
    appendLength(parameter.bytes, 1);  // the first index
    parameter.bytes += items_;
    return parameter;
}

const char* PgArray::sqlType() const noexcept {
    switch (item_) {
        case Item::Integer:
            return "int8[]";
        case Item::Real:
            return "float8[]";
        default:
            return "text[]";
    }
}

}  // namespace embedded_host
