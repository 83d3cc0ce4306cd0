// The object factory: registered classes first, then the host's own, then the platform's.
#include "symbology/vel_core.h"

#include "host/velcore/class_registry.h"
#include "host/velcore/filter_object.h"
#include "symbology/host_interfaces.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace {

using Registration = std::pair<CLSID, VelClassFactory>;

std::vector<Registration>& registrations() {
    static std::vector<Registration> all;
    return all;
}

std::vector<Registration>::iterator findRegistration(REFCLSID clsid) {
    std::vector<Registration>& all = registrations();
    return std::ranges::find_if(all, [&](const Registration& entry) { return entry.first == clsid; });
}

HRESULT create(REFCLSID clsid, DWORD context, REFIID iid, void** object) {
    if (const auto found = findRegistration(clsid); found != registrations().end())
        return found->second(context, iid, object);
    if (clsid == CLSID_QueryFilter) return createQueryFilter(iid, object);
    return CoCreateInstance(clsid, nullptr, context, iid, object);
}

}  // namespace

extern "C" HRESULT STDMETHODCALLTYPE VelCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID iid,
                                                       void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    const HRESULT hr = create(clsid, context, iid, object);
    if (FAILED(hr)) *object = nullptr;
    return hr;
}

extern "C" void VelRegisterClass(REFCLSID clsid, VelClassFactory factory) {
    const auto found = findRegistration(clsid);
    if (found == registrations().end()) {
        if (factory) registrations().emplace_back(clsid, factory);
    } else if (factory) {
        found->second = factory;
    } else {
        registrations().erase(found);
    }
}

extern "C" std::size_t VelLiveObjects() {
    return liveQueryFilters();
}
