// The host's object factory, from its library VelCore.
#pragma once

#include "platform/platform.h"

#ifdef VELCORE_BUILDING
#define VELCORE_API SYMBOLOGY_DLL_EXPORT
#else
#define VELCORE_API SYMBOLOGY_DLL_IMPORT
#endif

/// Creates an object of a class, shaped like COM's own creation call.
/// \param outer must be null: nothing is aggregated.
/// \param context where the object may live, CLSCTX_* flags.
/// \param object receives one reference that the caller owns; null after a failure.
extern "C" VELCORE_API HRESULT STDMETHODCALLTYPE VelCreateInstance(REFCLSID clsid, IUnknown* outer, DWORD context,
                                                                   REFIID iid, void** object);
