// The object factory: registered classes first, then the host's own, then the platform's.
#include "symbology/vel_core.h"

#include "host/velcore/class_registry.h"
#include "host/velcore/filter_object.h"
#include "symbology/host_interfaces.h"

#include <algorithm>
#include <mutex>
#include <shared_mutex>
#include <utility>
#include <vector>

namespace {

using Registration = std::pair<CLSID, VelClassFactory>;

// Runs of several threads make filters while another one loads a document.
struct Registrations {
    std::shared_mutex mutex;
    std::vector<Registration> all;

    std::vector<Registration>::iterator find(REFCLSID clsid) {
        return std::ranges::find_if(all, [&](const Registration& entry) { return entry.first == clsid; });
    }
};

Registrations& registrations() {
    static Registrations one;
    return one;
}

// Null when none is registered.
VelClassFactory registeredFactory(REFCLSID clsid) {
    Registrations& known = registrations();
    const std::shared_lock lock(known.mutex);
    const auto found = known.find(clsid);
    return found == known.all.end() ? nullptr : found->second;
}

HRESULT create(REFCLSID clsid, DWORD context, REFIID iid, void** object) {
    if (const VelClassFactory factory = registeredFactory(clsid)) return factory(context, iid, object);
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
    Registrations& known = registrations();
    const std::unique_lock lock(known.mutex);
    const auto found = known.find(clsid);
    if (found == known.all.end()) {
        if (factory) known.all.emplace_back(clsid, factory);
    } else if (factory) {
        found->second = factory;
    } else {
        known.all.erase(found);
    }
}

extern "C" std::size_t VelLiveObjects() {
    return liveQueryFilters();
}
