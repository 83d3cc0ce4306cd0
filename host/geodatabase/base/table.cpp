// What all tables have in common.
#include "host/geodatabase/base/table.h"

#include "host/geodatabase/base/dataset.h"
#include "host/host_error.h"

namespace embedded_host {

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
