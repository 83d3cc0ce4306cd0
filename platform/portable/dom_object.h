// What all objects of the DOM have in common: reference counting, and the border between exceptions and statuses.
#pragma once

#include "platform/portable/live_objects.h"
#include "platform/portable/unknown.h"

#include "platform/platform.h"

#include <atomic>
#include <new>

namespace symbology_platform::dom {

/// Runs the body of an interface's method; what it throws becomes a status.
template <class Body>
HRESULT atBoundary(Body&& body) noexcept {
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const CAtlException& e) {
        return e;
    } catch (...) {
        return E_FAIL;
    }
}

/// Counts references and answers QueryInterface. `Object` is the final class and derives from this; `First` is the
/// interface that stands for the object's identity, `Others` what else it offers. Born with one reference.
template <class Object, class First, class... Others>
class ComObject : public First, public Others... {
public:
    // Classes may stand between this one and the object's: the object as the only friend would not do.
    ComObject() = default;                 // NOLINT(bugprone-crtp-constructor-accessibility)
    ComObject(const ComObject&) = delete;  // NOLINT(bugprone-crtp-constructor-accessibility)
    ComObject& operator=(const ComObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) final {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (iid == __uuidof(IUnknown) || iid == __uuidof(First) || static_cast<Object*>(this)->isAlso(iid))
            *object = static_cast<First*>(this);
        else
            (offer<Others>(iid, object), ...);
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() final { return references_.fetch_add(1, std::memory_order_relaxed) + 1; }
    ULONG STDMETHODCALLTYPE Release() final {
        const ULONG left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0) delete static_cast<Object*>(this);
        return left;
    }

    /// An interface from which `First` derives.
    static bool isAlso(REFIID /*iid*/) { return false; }

protected:
    ~ComObject() = default;

private:
    template <class Interface>
    void offer(REFIID iid, void** object) {
        if (iid == __uuidof(Interface)) *object = static_cast<Interface*>(this);
    }

    std::atomic<ULONG> references_{1};
    LiveObject counted_;
};

}  // namespace symbology_platform::dom
