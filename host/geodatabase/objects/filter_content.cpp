// Reading query filters.
#include "host/geodatabase/objects/filter_content.h"

#include "host/geodatabase/base/sort_unique.h"
#include "host/geodatabase/base/status_error.h"
#include "host/geodatabase/base/text.h"
#include "host/velcore/query_filter.h"

namespace embedded_host {

namespace {

void check(HRESULT hr) {
    if (FAILED(hr)) throw StatusError(hr, "the query filter cannot be read");
}

LONG fieldCountOf(IQueryFilterSource& source) {
    LONG count = 0;
    check(source.get_FieldCount(&count));
    return count;
}

ColumnSet namedColumns(const TableSchema& schema, IQueryFilterSource& filter) {
    ColumnSet columns;
    for (LONG i = 0, count = fieldCountOf(filter); i < count; ++i) {
        CComBSTR name;
        check(filter.get_FieldName(i, &name));
        if (const LONG position = schema.find(viewOf(name)); position >= 0)
            columns.push_back(static_cast<std::size_t>(position));
    }
    sortUnique(columns);
    return columns;
}

CComQIPtr<IQueryFilterSource> sourceOf(IQueryFilter* filter) {
    CComQIPtr<IQueryFilterSource> source(static_cast<IUnknown*>(filter));
    if (!source) throw StatusError(E_NOINTERFACE, "the query filter is not one of this host's");
    return source;
}

std::string whereClauseOf(IQueryFilterSource& source) {
    CComBSTR where;
    check(source.get_WhereClause(&where));
    return toUtf8(viewOf(where));
}

}  // namespace

SelectionRequest readSelectionRequest(IQueryFilter* filter) {
    if (!filter) return {};
    const CComQIPtr<IQueryFilterSource> source = sourceOf(filter);
    return {.where = whereClauseOf(*source), .namesFields = fieldCountOf(*source) != 0};
}

FilterContent readFilter(const TableSchema& schema, IQueryFilter* filter) {
    FilterContent content;
    if (!filter) return {allColumns(schema), {}};
    const CComQIPtr<IQueryFilterSource> source = sourceOf(filter);
    content.columns = fieldCountOf(*source) == 0 ? allColumns(schema) : namedColumns(schema, *source);
    content.where = whereClauseOf(*source);
    return content;
}

}  // namespace embedded_host
