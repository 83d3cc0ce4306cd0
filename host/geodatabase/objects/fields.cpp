// IFields over a table's schema.
#include "host/geodatabase/objects/fields.h"

#include "host/geodatabase/base/text.h"
#include "host/geodatabase/objects/boundary.h"

#include <utility>

namespace embedded_host {

Fields::Fields(std::shared_ptr<const TableSchema> schema) : schema_(std::move(schema)) {}

HRESULT Fields::FindField(BSTR name, LONG* index) {
    if (!index) return E_POINTER;
    *index = -1;
    return atBoundary([&] {
        *index = schema_->find(viewOf(name));
        return S_OK;
    });
}

}  // namespace embedded_host
