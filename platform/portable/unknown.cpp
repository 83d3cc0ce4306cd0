// Object creation by class identifier, and the count of what was created.
#include "platform/portable/unknown.h"

#include "platform/portable/dom.h"
#include "platform/portable/live_objects.h"
#include "platform/portable/msxml.h"

#include <atomic>

namespace {

std::atomic<std::size_t> liveObjects{0};

}  // namespace

namespace symbology_platform {

LiveObject::LiveObject() noexcept {
    liveObjects.fetch_add(1, std::memory_order_relaxed);
}

LiveObject::~LiveObject() {
    liveObjects.fetch_sub(1, std::memory_order_relaxed);
}

}  // namespace symbology_platform

HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    const bool inProcess = (context & CLSCTX_INPROC_SERVER) != 0;
    if (clsid != CLSID_DOMDocument || !inProcess) return REGDB_E_CLASSNOTREG;
    if (outer) return CLASS_E_NOAGGREGATION;
    return createDomDocument(iid, object);
}

HRESULT CoInitializeEx(void* reserved, DWORD /*flags*/) {
    return reserved ? E_INVALIDARG : S_OK;
}

void CoUninitialize() {}

std::size_t PlatformLiveObjects() {
    return liveObjects.load(std::memory_order_relaxed);
}
