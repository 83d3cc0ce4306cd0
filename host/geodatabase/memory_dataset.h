// A dataset of a few rows that a program has, for a moment and without a file.
#pragma once

#include "host/geodatabase/base/column.h"

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace embedded_host {

/// A GeoPackage in memory, without geometries, that GdalWorkspace::open() takes by its name. It goes with this.
class MemoryDataset {
public:
    struct Field {
        std::string name;
        ColumnType type;
    };
    /// NULL, numbers, and texts; dates are texts, as ISO 8601 has them.
    using Value = std::variant<std::monostate, std::int64_t, double, std::string>;
    struct Table {
        std::string name;
        std::string title;
        std::vector<Field> fields;
        std::vector<std::vector<Value>> rows;  // their ids are 1, 2, ...
    };

    /// \throws HostError when there cannot be such tables.
    explicit MemoryDataset(const std::vector<Table>& tables);
    ~MemoryDataset();
    MemoryDataset(const MemoryDataset&) = delete;
    MemoryDataset& operator=(const MemoryDataset&) = delete;

    const std::string& name() const noexcept { return name_; }

private:
    std::string name_;
};

}  // namespace embedded_host
