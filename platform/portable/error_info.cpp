// One error object per thread, and the platform's own class of error objects.
#include "platform/portable/error_info.h"

#include "platform/portable/live_objects.h"

#include "platform/platform.h"

#include <atomic>
#include <new>
#include <utility>

namespace {

/// What a failing component tells about its failure. Filled through one interface, read through the other; like the
/// platform's own, it is not locked: one thread at a time.
class ErrorInfo final : public ICreateErrorInfo, public IErrorInfo {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (iid == __uuidof(ICreateErrorInfo) || iid == __uuidof(IUnknown))
            *object = static_cast<ICreateErrorInfo*>(this);
        else if (iid == __uuidof(IErrorInfo))
            *object = static_cast<IErrorInfo*>(this);
        else
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --references_;
        if (left == 0) delete this;
        return left;
    }

    HRESULT STDMETHODCALLTYPE SetGUID(REFGUID guid) override {
        guid_ = guid;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE SetSource(LPOLESTR source) override { return replace(source_, source); }
    HRESULT STDMETHODCALLTYPE SetDescription(LPOLESTR description) override {
        return replace(description_, description);
    }
    HRESULT STDMETHODCALLTYPE SetHelpFile(LPOLESTR helpFile) override { return replace(helpFile_, helpFile); }
    HRESULT STDMETHODCALLTYPE SetHelpContext(DWORD helpContext) override {
        helpContext_ = helpContext;
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE GetGUID(GUID* guid) override {
        if (!guid) return E_INVALIDARG;
        *guid = guid_;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetSource(BSTR* source) override { return copyTo(source, source_); }
    HRESULT STDMETHODCALLTYPE GetDescription(BSTR* description) override { return copyTo(description, description_); }
    HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR* helpFile) override { return copyTo(helpFile, helpFile_); }
    HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD* helpContext) override {
        if (!helpContext) return E_INVALIDARG;
        *helpContext = helpContext_;
        return S_OK;
    }

private:
    ~ErrorInfo() = default;

    // A text that cannot be copied leaves the former one in place.
    static HRESULT replace(CComBSTR& member, LPCOLESTR text) {
        BSTR copy = SysAllocString(text);
        if (!copy && text) return E_OUTOFMEMORY;
        member.Attach(copy);
        return S_OK;
    }
    // A text that was never set is given out as null.
    static HRESULT copyTo(BSTR* target, const CComBSTR& member) {
        if (!target) return E_INVALIDARG;
        return member.CopyTo(target);
    }

    symbology_platform::LiveObject counted_;
    std::atomic<ULONG> references_{1};
    GUID guid_{};
    CComBSTR source_;
    CComBSTR description_;
    CComBSTR helpFile_;
    DWORD helpContext_ = 0;
};

// Its destructor runs when the thread ends, so the object does not outlive the thread's use of it.
thread_local CComPtr<IErrorInfo> threadError;

}  // namespace

HRESULT GetErrorInfo(ULONG reserved, IErrorInfo** info) {
    if (reserved != 0 || !info) return E_INVALIDARG;
    *info = threadError.Detach();
    return *info ? S_OK : S_FALSE;
}

HRESULT SetErrorInfo(ULONG reserved, IErrorInfo* info) {
    if (reserved != 0) return E_INVALIDARG;
    threadError = info;
    return S_OK;
}

HRESULT CreateErrorInfo(ICreateErrorInfo** info) {
    if (!info) return E_INVALIDARG;
    *info = new (std::nothrow) ErrorInfo;
    return *info ? S_OK : E_OUTOFMEMORY;
}
