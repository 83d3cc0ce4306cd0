// The document object, and how it is made.
#include "platform/portable/dom.h"
#include "platform/portable/dom_loader.h"
#include "platform/portable/dom_node.h"
#include "platform/portable/dom_parse_error.h"
#include "platform/portable/dom_text.h"

#include <utility>

namespace symbology_platform::dom {

namespace {

class Document final : public NodeObject<Document, IXMLDOMDocument> {
public:
    Document() : tree_(Tree::makeEmpty()) {}
    ~Document() = default;

    NodeRef borrow() const { return {tree_, tree_->documentNode()}; }
    static bool isAlso(REFIID iid) { return iid == __uuidof(IXMLDOMNode); }

    HRESULT STDMETHODCALLTYPE get_documentElement(IXMLDOMNode** element) override {
        if (!element) return E_INVALIDARG;
        *element = nullptr;
        return atBoundary([&] { return handOut(tree_, tree_->root(), element); });
    }

    HRESULT STDMETHODCALLTYPE load(VARIANT source, VARIANT_BOOL* loaded) override {
        if (!loaded) return E_POINTER;
        *loaded = VARIANT_FALSE;
        const bool byReference = source.vt == (VT_BSTR | VT_BYREF);
        if ((source.vt != VT_BSTR && !byReference) || (byReference && !source.byref)) return E_INVALIDARG;
        BSTR path = byReference ? *static_cast<BSTR*>(source.byref) : source.bstrVal;
        return replace([&] { return loadFile(viewOf(path)); }, loaded);
    }

    HRESULT STDMETHODCALLTYPE loadXML(BSTR xml, VARIANT_BOOL* loaded) override {
        if (!loaded) return E_POINTER;
        *loaded = VARIANT_FALSE;
        return replace([&] { return loadText(viewOf(xml)); }, loaded);
    }

    HRESULT STDMETHODCALLTYPE get_parseError(IXMLDOMParseError** error) override {
        if (!error) return E_INVALIDARG;
        *error = nullptr;
        return atBoundary([&] {
            *error = makeParseError(failure_);
            return S_OK;
        });
    }

private:
    /// Drops the former content, then takes what `read` gives. Nodes of the former content keep it alive.
    template <class Read>
    HRESULT replace(Read&& read, VARIANT_BOOL* loaded) {
        return atBoundary([&] {
            tree_ = Tree::makeEmpty();
            failure_ = {};
            LoadResult result = read();
            failure_ = std::move(result.failure);
            if (!result.tree) return S_FALSE;
            tree_ = std::move(result.tree);
            *loaded = VARIANT_TRUE;
            return S_OK;
        });
    }

    std::shared_ptr<Tree> tree_;
    ParseFailure failure_;
};

}  // namespace

}  // namespace symbology_platform::dom

HRESULT createDomDocument(REFIID iid, void** object) {
    *object = nullptr;
    return symbology_platform::dom::atBoundary([&] {
        CComPtr<IXMLDOMDocument> document;
        document.Attach(new symbology_platform::dom::Document);
        return document->QueryInterface(iid, object);
    });
}
