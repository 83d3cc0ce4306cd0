// Values in the server's binary form.
#pragma once

#include "host/geodatabase/postgres/pg_connection.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace embedded_host {

/// Whole numbers and doubles of any width.
std::int64_t readInt64(std::string_view bytes) noexcept;
double readDouble(std::string_view bytes) noexcept;

PgParameter textParameter(std::string_view text);
PgParameter numberParameter(std::int64_t number);
PgParameter numbersParameter(std::span<const std::int64_t> numbers);

/// An array that grows item by item.
class PgArray {
public:
    enum class Item : unsigned { Integer = 20, Real = 701, Text = 25 };

    explicit PgArray(Item item) noexcept : item_(item) {}
    void addNull();
    void add(std::int64_t number);
    void add(double number);
    void add(std::string_view text);
    std::size_t size() const noexcept { return items_.size(); }  // in bytes
    /// The array as a parameter.
    PgParameter parameter() const;
    /// The array's type in SQL.
    const char* sqlType() const noexcept;

private:
    Item item_;
    std::int32_t count_ = 0;
    bool hasNull_ = false;
    std::string items_;
};

}  // namespace embedded_host
