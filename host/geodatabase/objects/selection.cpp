// Selection sets and their ids.
#include "host/geodatabase/objects/selection.h"

#include "host/geodatabase/objects/boundary.h"

#include <climits>
#include <utility>

namespace embedded_host {

SelectionSet::SelectionSet(CComPtr<FeatureClass> featureClass, SharedIds ids)
    : class_(std::move(featureClass)), ids_(std::move(ids)) {}
SelectionSet::~SelectionSet() = default;

HRESULT SelectionSet::get_Count(LONG* count) {
    if (!count) return E_POINTER;
    *count = 0;
    if (ids_->size() > INT_MAX) return DISP_E_OVERFLOW;
    *count = static_cast<LONG>(ids_->size());
    return S_OK;
}

HRESULT SelectionSet::get_IDs(IEnumIDs** ids) {
    if (!ids) return E_POINTER;
    *ids = nullptr;
    return atBoundary([&] {
        *ids = CComPtr<IEnumIDs>(new SelectionIds(ids_)).Detach();
        return S_OK;
    });
}

HRESULT SelectionSet::Update(IQueryFilter* filter, VARIANT_BOOL recycling, ICursor** cursor) {
    if (!cursor) return E_POINTER;
    *cursor = nullptr;
    return atBoundary([&] {
        *cursor = class_->openCursor(filter, recycling != VARIANT_FALSE, ids_).Detach();
        return S_OK;
    });
}

SelectionIds::SelectionIds(SharedIds ids) : ids_(std::move(ids)) {}

HRESULT SelectionIds::Reset() {
    position_ = 0;
    return S_OK;
}

HRESULT SelectionIds::Next(ObjectId* id) {
    if (!id) return E_POINTER;
    *id = 0;
    if (position_ == ids_->size()) return S_FALSE;
    *id = (*ids_)[position_++];
    return S_OK;
}

}  // namespace embedded_host
