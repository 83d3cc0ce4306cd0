// What query filters ask for.
#pragma once

#include "host/geodatabase/base/table_schema.h"
#include "symbology/host_interfaces.h"

#include <string>

namespace embedded_host {

/// What a query filter asks for.
struct FilterContent {
    ColumnSet columns;  // all fields when the filter names none of the table's
    std::string where;
};

/// What a selection asks for: which rows, and whether it says that fields of them are going to be read.
struct SelectionRequest {
    std::string where;
    bool namesFields = false;
};

/// \param filter may be null. \throws StatusError
SelectionRequest readSelectionRequest(IQueryFilter* filter);

/// \param filter may be null. Names that the table does not have are passed over. \throws StatusError
FilterContent readFilter(const TableSchema& schema, IQueryFilter* filter);

}  // namespace embedded_host
