// MSXML does not tell how many of its documents are alive. So the tests make them, keep a reference of their own to
// each, and see at the end who else has one.
#include "host/velcore/class_registry.h"
#include "support/leak_check.h"

#include <mutex>
#include <vector>

namespace {

std::mutex guard;
std::vector<CComPtr<IXMLDOMDocument>> documents;  // NOLINT(cert-err58-cpp): does not throw

HRESULT createDocument(DWORD, REFIID iid, void** object) {
    CComPtr<IXMLDOMDocument> document;
    const HRESULT hr = CoCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IXMLDOMDocument),
                                        reinterpret_cast<void**>(&document.p));
    if (FAILED(hr)) return hr;
    const std::scoped_lock lock(guard);
    documents.push_back(document);
    return document->QueryInterface(iid, object);
}

bool onlyOurs(IXMLDOMDocument* document) {
    document->AddRef();
    return document->Release() == 1;
}

/// Lets go of those that nobody else has. A test may have registered another factory; the next one has this again.
std::size_t liveDocuments() {
    VelRegisterClass(CLSID_DOMDocument, createDocument);
    const std::scoped_lock lock(guard);
    std::erase_if(documents, [](const CComPtr<IXMLDOMDocument>& document) { return onlyOurs(document.p); });
    return documents.size();
}

const bool registered = [] {
    registerLiveCounter("documents of MSXML", liveDocuments);
    return true;
}();

}  // namespace
