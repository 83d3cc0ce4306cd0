// IUnknown, interface identifiers, and object creation by class identifier.
#pragma once

#include "types.h"

namespace symbology_platform {
/// Specialised by SYMBOLOGY_INTERFACE for every interface; `value` is its identifier.
template <class Interface>
struct InterfaceId;
}  // namespace symbology_platform

// The name that Windows compilers give to this operation.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the shared code spells it so on every platform.
#define __uuidof(type) (::symbology_platform::InterfaceId<type>::value)

/// The base of every interface. Thread rules and ownership are COM's.
struct IUnknown {
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;

    // As the Windows compilers' headers offer it.
    template <class Interface>
    HRESULT QueryInterface(Interface** object) {
        return QueryInterface(__uuidof(Interface), reinterpret_cast<void**>(object));
    }

protected:
    ~IUnknown() = default;
};

template <>
struct symbology_platform::InterfaceId<IUnknown> {
    // {00000000-0000-0000-C000-000000000046}
    static constexpr GUID value{0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
};

constexpr DWORD CLSCTX_INPROC_SERVER = 1;
constexpr DWORD CLSCTX_SERVER = 21;
constexpr DWORD CLSCTX_ALL = 23;

constexpr DWORD COINIT_APARTMENTTHREADED = 2;
constexpr DWORD COINIT_MULTITHREADED = 0;

/// Creates an object of a class that the platform offers; the XML document class is the only one.
/// \return S_OK with one reference in `object`; REGDB_E_CLASSNOTREG for other classes; E_NOINTERFACE;
///         CLASS_E_NOAGGREGATION when `outer` is given; E_POINTER. `object` is null after a failure.
SYMBOLOGY_PLATFORM_API HRESULT CoCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context, REFIID iid,
                                                void** object);

/// Nothing needs initialising here; both exist so that hosts have the same lines on every platform.
SYMBOLOGY_PLATFORM_API HRESULT CoInitializeEx(void* reserved, DWORD flags);
SYMBOLOGY_PLATFORM_API void CoUninitialize();

/// Objects of the platform (DOM documents, nodes, lists, error infos) that are alive in this process. For tests.
SYMBOLOGY_PLATFORM_API std::size_t PlatformLiveObjects();
