// The one implementation of IUnknown that the embedded host's objects share.
#pragma once

#include "platform/platform.h"

#include <atomic>
#include <cstddef>

namespace embedded_host {

/// The interface that `Interface` extends, so that QueryInterface answers for both; specialise it where that is another
/// one than IUnknown.
template <class Interface>
struct ExtendedInterface {
    using Type = IUnknown;
};

/// An object that answers for the given interfaces, counts its references and deletes itself with the last one.
/// It is born with no reference: hand it to a CComPtr at once. `Counter` has a static atomic member `live`.
template <class Counter, class First, class... Rest>
class ComObject : public First, public Rest... {
public:
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = iid == __uuidof(IUnknown) ? static_cast<First*>(this) : nullptr;
        if (!*object) (answerFor<First>(iid, object) || ... || answerFor<Rest>(iid, object));
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return references_.fetch_add(1, std::memory_order_relaxed) + 1; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0) delete this;
        return left;
    }

protected:
    ComObject() noexcept { Counter::live.fetch_add(1, std::memory_order_relaxed); }
    virtual ~ComObject() { Counter::live.fetch_sub(1, std::memory_order_relaxed); }

    /// Whether the only reference left is the one that the object's maker keeps.
    bool isHeldOnce() const noexcept { return references_.load(std::memory_order_acquire) == 1; }

private:
    template <class Interface>
    bool answerFor(REFIID iid, void** object) {
        using Base = typename ExtendedInterface<Interface>::Type;
        if (iid == __uuidof(Interface))
            *object = static_cast<Interface*>(this);
        else if (iid == __uuidof(Base))
            *object = static_cast<Base*>(static_cast<Interface*>(this));
        return *object != nullptr;
    }

    std::atomic<ULONG> references_{0};
};

}  // namespace embedded_host
