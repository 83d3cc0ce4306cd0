// What all tables have in common.
#include "host/geodatabase/base/table.h"

#include "host/geodatabase/base/dataset.h"
#include "host/geodatabase/base/errors.h"
#include "host/geodatabase/base/text.h"

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

std::string Table::title() const {
    return dataset_->name() + ", layer " + name();
}

void Table::checkWritable() const {
    dataset_->checkWritable();
}

void Table::checkClause(const std::string& where) const {
    if (where.find('\0') != std::string::npos) fail("a zero character in a where clause");
}

void Table::fail(const std::string& why) const {
    throw HostError(title() + ": " + why);
}

}  // namespace embedded_host
