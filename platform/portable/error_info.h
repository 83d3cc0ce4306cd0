// The thread's COM error information.
#pragma once

#include "bstr.h"
#include "unknown.h"

#include "../interface.h"

SYMBOLOGY_INTERFACE(IErrorInfo, "1CF2B120-547D-101B-8E65-08002B2BD119") : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetGUID(GUID* guid) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSource(BSTR* source) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDescription(BSTR* description) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR* helpFile) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD* helpContext) = 0;
};

SYMBOLOGY_INTERFACE(ICreateErrorInfo, "22F03340-547D-101B-8E65-08002B2BD119") : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetGUID(REFGUID guid) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSource(LPOLESTR source) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDescription(LPOLESTR description) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetHelpFile(LPOLESTR helpFile) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetHelpContext(DWORD helpContext) = 0;
};

/// Takes the calling thread's error object: S_OK and one reference, which leaves the thread; S_FALSE and null when
/// there is none.
SYMBOLOGY_PLATFORM_API HRESULT GetErrorInfo(ULONG reserved, IErrorInfo** info);
/// Replaces the calling thread's error object (null clears it); the platform keeps its own reference.
SYMBOLOGY_PLATFORM_API HRESULT SetErrorInfo(ULONG reserved, IErrorInfo* info);
/// A new, empty error object; query it for IErrorInfo.
SYMBOLOGY_PLATFORM_API HRESULT CreateErrorInfo(ICreateErrorInfo** info);
