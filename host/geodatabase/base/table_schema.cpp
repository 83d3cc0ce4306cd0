// Names of fields and their positions.
#include "host/geodatabase/base/table_schema.h"

#include "host/geodatabase/base/text.h"

#include <numeric>
#include <utility>

namespace embedded_host {

TableSchema::TableSchema(std::vector<Column> fields, const std::string& keyName) : columns(std::move(fields)) {
    columns.push_back({keyName, ColumnType::Integer64});
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const WideString name = toWide(columns[i].name);
        positions.emplace(name, static_cast<LONG>(i));
        positionsByUpperCase.emplace(upperCased(name), static_cast<LONG>(i));
    }
}

LONG TableSchema::find(WideView name) const {
    if (const auto found = positions.find(name); found != positions.end()) return found->second;
    const auto found = positionsByUpperCase.find(upperCased(name));
    return found == positionsByUpperCase.end() ? -1 : found->second;
}

ColumnSet allColumns(const TableSchema& schema) {
    ColumnSet columns(schema.columns.size());
    std::iota(columns.begin(), columns.end(), std::size_t{0});
    return columns;
}

}  // namespace embedded_host
