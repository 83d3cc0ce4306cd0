// Selection sets and their ids.
#pragma once

#include "host/com_object.h"
#include "host/geodatabase/base/table.h"
#include "host/geodatabase/objects/feature_class.h"
#include "host/geodatabase/objects/live_objects.h"
#include "symbology/host_interfaces.h"

namespace embedded_host {

template <>
struct ExtendedInterface<ISelectionSet2> {
    using Type = ISelectionSet;
};

class SelectionSet final : public ComObject<HostCounter, ISelectionSet2> {
public:
    SelectionSet(CComPtr<FeatureClass> featureClass, SharedIds ids);
    ~SelectionSet() override;

    HRESULT STDMETHODCALLTYPE get_Count(LONG* count) override;
    HRESULT STDMETHODCALLTYPE get_IDs(IEnumIDs** ids) override;
    HRESULT STDMETHODCALLTYPE Update(IQueryFilter* filter, VARIANT_BOOL recycling, ICursor** cursor) override;

private:
    CComPtr<FeatureClass> class_;
    SharedIds ids_;
};

class SelectionIds final : public ComObject<HostCounter, IEnumIDs> {
public:
    explicit SelectionIds(SharedIds ids);

    HRESULT STDMETHODCALLTYPE Reset() override;
    HRESULT STDMETHODCALLTYPE Next(ObjectId* id) override;

private:
    SharedIds ids_;
    std::size_t position_ = 0;
};

}  // namespace embedded_host
