// Arrow streams that tests make, value by value.
#pragma once

#include <cstdint>
#include <nanoarrow.hpp>
#include <optional>
#include <string>
#include <variant>
#include <vector>

using MadeValue = std::variant<std::monostate, std::int64_t, double, std::string>;
inline const MadeValue null{};

/// One column: its type, and the values of all batches.
struct MadeColumn {
    std::string name;
    std::string format;  // as Arrow writes types: "u", "i", "tsm:UTC"
    std::vector<MadeValue> values;
    bool isDictionary = false;  // of these values, with an index of 32 bits
};

nanoarrow::UniqueSchema schemaOf(const std::vector<MadeColumn>& columns);
/// The rows from `begin` to before `end`.
nanoarrow::UniqueArray batchOf(const std::vector<MadeColumn>& columns, std::size_t begin, std::size_t end);
/// Batches of so many rows; one when 0.
nanoarrow::UniqueArrayStream streamOf(const std::vector<MadeColumn>& columns, std::size_t rowsOfABatch = 0);

/// What came out of a stream: for each column its name, and each value as text, "NULL" for NULL.
struct ReadTable {
    std::vector<std::string> names;
    std::vector<std::vector<std::string>> columns;
    std::vector<std::int64_t> batches;  // how many rows each has
    int status = 0;                     // of the call that failed
    std::string error;

    /// Empty when there is no such column.
    std::vector<std::string> operator[](const std::string& name) const;
};
/// Reads the stream to its end, or to its first error.
ReadTable readAll(ArrowArrayStream& stream);
