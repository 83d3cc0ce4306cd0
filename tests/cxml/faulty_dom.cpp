#include "cxml/faulty_dom.h"

#include "host/velcore/class_registry.h"
#include "memhost/text.h"

using memhost::bstr;
using memhost::call;
using memhost::give;
using memhost::make;
using memhost::Object;
using memhost::Op;

namespace {

std::optional<FakeLoad> fakeLoad;

template <class Wrapper, class Interface>
HRESULT wrap(HRESULT hr, Interface* real, Interface** out) {
    if (hr != S_OK || !real) {
        *out = nullptr;
        return hr;
    }
    *out = new Wrapper(real);
    return hr;
}

class NodeList final : public Object<IXMLDOMNodeList> {
public:
    explicit NodeList(IXMLDOMNodeList* real) : real_(real) {}
    HRESULT STDMETHODCALLTYPE get_item(LONG index, IXMLDOMNode** node) override;
    HRESULT STDMETHODCALLTYPE get_length(LONG* length) override {
        return call(Op::Document, [&] { return real_->get_length(length); }, [&] { *length = 0; });
    }
    HRESULT STDMETHODCALLTYPE nextNode(IXMLDOMNode** node) override;
    HRESULT STDMETHODCALLTYPE reset() override {
        return call(Op::Document, [&] { return real_->reset(); });
    }

private:
    CComPtr<IXMLDOMNodeList> real_;
};

class AttributeMap final : public Object<IXMLDOMNamedNodeMap> {
public:
    explicit AttributeMap(IXMLDOMNamedNodeMap* real) : real_(real) {}
    HRESULT STDMETHODCALLTYPE getNamedItem(BSTR name, IXMLDOMNode** node) override;
    HRESULT STDMETHODCALLTYPE get_item(LONG index, IXMLDOMNode** node) override;
    HRESULT STDMETHODCALLTYPE get_length(LONG* length) override {
        return call(Op::Document, [&] { return real_->get_length(length); }, [&] { *length = 0; });
    }

private:
    CComPtr<IXMLDOMNamedNodeMap> real_;
};

class Node;

/// What a node and a document have in common.
template <class Interface>
class NodeBase : public Object<Interface> {
public:
    explicit NodeBase(Interface* real) : real_(real) {}

    HRESULT STDMETHODCALLTYPE get_nodeName(BSTR* name) override {
        return call(Op::Document, [&] { return real_->get_nodeName(name); }, [&] { *name = nullptr; });
    }
    HRESULT STDMETHODCALLTYPE get_attributes(IXMLDOMNamedNodeMap** attributes) override {
        return call(
            Op::Document,
            [&] {
                CComPtr<IXMLDOMNamedNodeMap> real;
                const HRESULT hr = real_->get_attributes(&real);
                return wrap<AttributeMap>(hr, real.p, attributes);
            },
            [&] { *attributes = nullptr; });
    }
    HRESULT STDMETHODCALLTYPE get_text(BSTR* text) override {
        return call(Op::Document, [&] { return real_->get_text(text); }, [&] { *text = nullptr; });
    }
    HRESULT STDMETHODCALLTYPE get_nodeTypedValue(VARIANT* value) override {
        return call(Op::Document, [&] { return real_->get_nodeTypedValue(value); }, [&] { VariantInit(value); });
    }
    HRESULT STDMETHODCALLTYPE selectNodes(BSTR xpath, IXMLDOMNodeList** nodes) override {
        return call(
            Op::Document,
            [&] {
                CComPtr<IXMLDOMNodeList> real;
                const HRESULT hr = real_->selectNodes(xpath, &real);
                return wrap<NodeList>(hr, real.p, nodes);
            },
            [&] { *nodes = nullptr; });
    }
    HRESULT STDMETHODCALLTYPE selectSingleNode(BSTR xpath, IXMLDOMNode** node) override {
        return call(
            Op::Document,
            [&] {
                CComPtr<IXMLDOMNode> real;
                const HRESULT hr = real_->selectSingleNode(xpath, &real);
                return wrap<Node>(hr, real.p, node);
            },
            [&] { *node = nullptr; });
    }

protected:
    CComPtr<Interface> real_;
};

class Node final : public NodeBase<IXMLDOMNode> {
public:
    using NodeBase::NodeBase;
};

class ParseError final : public Object<IXMLDOMParseError> {
public:
    explicit ParseError(FakeParseError error) : error_(std::move(error)) {}

    HRESULT STDMETHODCALLTYPE get_errorCode(LONG* code) override {
        *code = E_FAIL;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_reason(BSTR* reason) override { return give(reason, bstr(error_.reason)); }
    HRESULT STDMETHODCALLTYPE get_srcText(BSTR* text) override { return give(text, bstr(error_.source)); }
    HRESULT STDMETHODCALLTYPE get_line(LONG* line) override {
        *line = error_.line;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_linepos(LONG* position) override {
        *position = error_.column;
        return S_OK;
    }

private:
    FakeParseError error_;
};

class Document final : public NodeBase<IXMLDOMDocument> {
public:
    using NodeBase::NodeBase;

    HRESULT STDMETHODCALLTYPE get_documentElement(IXMLDOMNode** element) override {
        return call(
            Op::Document,
            [&] {
                CComPtr<IXMLDOMNode> real;
                const HRESULT hr = real_->get_documentElement(&real);
                return wrap<Node>(hr, real.p, element);
            },
            [&] { *element = nullptr; });
    }
    HRESULT STDMETHODCALLTYPE load(VARIANT source, VARIANT_BOOL* loaded) override {
        return call(
            Op::Document,
            [&] {
                if (!fakeLoad) return real_->load(source, loaded);
                *loaded = fakeLoad->loaded;
                return fakeLoad->status;
            },
            [&] { *loaded = VARIANT_FALSE; });
    }
    HRESULT STDMETHODCALLTYPE loadXML(BSTR xml, VARIANT_BOOL* loaded) override {
        return call(Op::Document, [&] { return real_->loadXML(xml, loaded); }, [&] { *loaded = VARIANT_FALSE; });
    }
    HRESULT STDMETHODCALLTYPE get_parseError(IXMLDOMParseError** error) override {
        return call(
            Op::Document,
            [&] {
                if (!fakeLoad) return real_->get_parseError(error);
                if (!fakeLoad->error) return give<IXMLDOMParseError>(error, nullptr) == S_OK ? S_FALSE : E_POINTER;
                return give<IXMLDOMParseError>(error, make<ParseError>(*fakeLoad->error).p);
            },
            [&] { *error = nullptr; });
    }

private:
    void* find(REFIID iid) override {
        if (iid == __uuidof(IXMLDOMNode)) return static_cast<IXMLDOMNode*>(this);
        return Object::find(iid);
    }
};

HRESULT NodeList::get_item(LONG index, IXMLDOMNode** node) {
    return call(
        Op::Document,
        [&] {
            CComPtr<IXMLDOMNode> real;
            const HRESULT hr = real_->get_item(index, &real);
            return wrap<Node>(hr, real.p, node);
        },
        [&] { *node = nullptr; });
}

HRESULT NodeList::nextNode(IXMLDOMNode** node) {
    return call(
        Op::Document,
        [&] {
            CComPtr<IXMLDOMNode> real;
            const HRESULT hr = real_->nextNode(&real);
            return wrap<Node>(hr, real.p, node);
        },
        [&] { *node = nullptr; });
}

HRESULT AttributeMap::getNamedItem(BSTR name, IXMLDOMNode** node) {
    return call(
        Op::Document,
        [&] {
            CComPtr<IXMLDOMNode> real;
            const HRESULT hr = real_->getNamedItem(name, &real);
            return wrap<Node>(hr, real.p, node);
        },
        [&] { *node = nullptr; });
}

HRESULT AttributeMap::get_item(LONG index, IXMLDOMNode** node) {
    return call(
        Op::Document,
        [&] {
            CComPtr<IXMLDOMNode> real;
            const HRESULT hr = real_->get_item(index, &real);
            return wrap<Node>(hr, real.p, node);
        },
        [&] { *node = nullptr; });
}

HRESULT createDocument(DWORD, REFIID iid, void** object) {
    CComPtr<IXMLDOMDocument> real;
    const HRESULT hr = CoCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_SERVER, __uuidof(IXMLDOMDocument),
                                        reinterpret_cast<void**>(&real.p));
    if (FAILED(hr)) return hr;
    return make<Document>(real.p)->QueryInterface(iid, object);
}

}  // namespace

FaultyDomScope::FaultyDomScope() {
    VelRegisterClass(CLSID_DOMDocument, createDocument);
}

FaultyDomScope::FaultyDomScope(FakeLoad load) : FaultyDomScope() {
    fakeLoad = std::move(load);
}

FaultyDomScope::~FaultyDomScope() {
    fakeLoad.reset();
    VelRegisterClass(CLSID_DOMDocument, nullptr);
}
