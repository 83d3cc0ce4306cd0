// The base of the host's objects: counted references, counted objects, interfaces that can be hidden.
#pragma once

#include "memhost/faults.h"

#include <atomic>
#include <vector>

namespace memhost {

/// Objects of the in-memory host that are alive.
std::size_t liveObjects();

namespace detail {
inline std::atomic<std::size_t> live;
}

/// Implements IUnknown for an object of the named interfaces, of which each must be a line of its own. Starts with one
/// reference. One thread.
template <class First, class... Others>
class Object : public First, public Others... {
public:
    Object() { ++detail::live; }
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) final {
        if (!object) return E_POINTER;
        *object = nullptr;
        // COM leaves no choice here: a query that fails gives null, and callers rely on it.
        ++detail::callCounts[static_cast<std::size_t>(Op::QueryInterface)];
        if (detail::armedFaults != 0)
            if (const Fault* fault = claimFault(Op::QueryInterface)) return fault->status;
        for (const IID& hidden : hidden_)
            if (hidden == iid) return E_NOINTERFACE;
        *object = find(iid);
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() final { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() final {
        const ULONG left = --references_;
        if (left == 0) delete this;
        return left;
    }

    ULONG references() const noexcept { return references_; }
    /// From now on the object denies offering this interface.
    template <class Interface>
    void hide() {
        hidden_.push_back(__uuidof(Interface));
    }

protected:
    virtual ~Object() { --detail::live; }

    /// The object's pointer for an interface; null when it has none. Bases of the named interfaces are up to the class.
    virtual void* find(REFIID iid) {
        if (iid == __uuidof(IUnknown) || iid == __uuidof(First)) return static_cast<First*>(this);
        void* found = nullptr;
        ((iid == __uuidof(Others) ? void(found = static_cast<Others*>(this)) : void()), ...);
        return found;
    }

private:
    ULONG references_ = 1;
    std::vector<IID> hidden_;
};

/// A new object in the hands of its first owner.
template <class T, class... Arguments>
CComPtr<T> make(Arguments&&... arguments) {
    CComPtr<T> object;
    object.Attach(new T(std::forward<Arguments>(arguments)...));
    return object;
}

/// Hands out a reference through an out argument.
template <class T>
HRESULT give(T** out, T* object) {
    if (!out) return E_POINTER;
    *out = object;
    if (object) object->AddRef();
    return S_OK;
}

/// Hands out a copy of a text through an out argument.
inline HRESULT give(BSTR* out, const CComBSTR& text) {
    return text.CopyTo(out);
}

}  // namespace memhost
