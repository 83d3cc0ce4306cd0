#include "platform/portable/dom_lists.h"

#include "platform/portable/dom_node.h"
#include "platform/portable/dom_object.h"
#include "platform/portable/dom_text.h"

#include <string>
#include <utility>

namespace symbology_platform::dom {

namespace {

class NodeList final : public ComObject<NodeList, IXMLDOMNodeList> {
public:
    NodeList(std::shared_ptr<Tree> tree, std::vector<xmlNode*> nodes, ListUse use)
        : tree_(std::move(tree)), nodes_(std::move(nodes)), use_(use) {}
    ~NodeList() = default;

    HRESULT STDMETHODCALLTYPE get_item(LONG index, IXMLDOMNode** node) override {
        if (!node) return E_INVALIDARG;
        *node = nullptr;
        if (index < 0) return S_FALSE;
        return take(static_cast<std::size_t>(index), node);
    }
    HRESULT STDMETHODCALLTYPE get_length(LONG* length) override {
        if (!length) return E_INVALIDARG;
        *length = static_cast<LONG>(nodes_.size());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE nextNode(IXMLDOMNode** node) override {
        if (!node) return E_INVALIDARG;
        *node = nullptr;
        const HRESULT hr = take(next_, node);
        if (hr == S_OK) ++next_;
        return hr;
    }
    HRESULT STDMETHODCALLTYPE reset() override {
        next_ = 0;
        return S_OK;
    }

private:
    HRESULT take(std::size_t index, IXMLDOMNode** node) {
        return atBoundary([&] {
            if (index >= nodes_.size()) return S_FALSE;
            const HRESULT hr = handOut(tree_, nodes_[index], node);
            if (use_ == ListUse::Selection) setMark(nodes_[index], Mark::Read);
            return hr;
        });
    }

    const std::shared_ptr<Tree> tree_;
    const std::vector<xmlNode*> nodes_;
    const ListUse use_;
    std::size_t next_ = 0;
};

class AttributeMap final : public ComObject<AttributeMap, IXMLDOMNamedNodeMap> {
public:
    explicit AttributeMap(NodeRef element) : element_(std::move(element)) {}
    ~AttributeMap() = default;

    HRESULT STDMETHODCALLTYPE getNamedItem(BSTR name, IXMLDOMNode** node) override {
        if (!node) return E_INVALIDARG;
        *node = nullptr;
        if (!name) return E_INVALIDARG;
        return atBoundary([&] {
            std::string wanted;
            if (!toUtf8(viewOf(name), wanted)) return S_FALSE;
            xmlNode* attribute = first();
            while (attribute && !isNamed(attribute, wanted)) attribute = attribute->next;
            const HRESULT hr = handOut(element_.tree, attribute, node);
            if (attribute) setMark(attribute, Mark::Read);
            return hr;
        });
    }
    HRESULT STDMETHODCALLTYPE get_item(LONG index, IXMLDOMNode** node) override {
        if (!node) return E_INVALIDARG;
        *node = nullptr;
        if (index < 0) return S_FALSE;
        return atBoundary([&] {
            xmlNode* attribute = first();
            for (LONG i = 0; attribute && i < index; ++i) attribute = attribute->next;
            return handOut(element_.tree, attribute, node);
        });
    }
    HRESULT STDMETHODCALLTYPE get_length(LONG* length) override {
        if (!length) return E_INVALIDARG;
        *length = 0;
        for (const xmlNode* attribute = first(); attribute; attribute = attribute->next) ++*length;
        return S_OK;
    }

private:
    xmlNode* first() const { return reinterpret_cast<xmlNode*>(element_.node->properties); }

    const NodeRef element_;
};

}  // namespace

IXMLDOMNodeList* makeNodeList(const std::shared_ptr<Tree>& tree, std::vector<xmlNode*> nodes, ListUse use) {
    return new NodeList(tree, std::move(nodes), use);
}

IXMLDOMNamedNodeMap* makeAttributeMap(const NodeRef& element) {
    return new AttributeMap(element);
}

std::vector<xmlNode*> attributesOf(const xmlNode* node) {
    std::vector<xmlNode*> attributes;
    if (node->type != XML_ELEMENT_NODE) return attributes;
    for (xmlAttr* attribute = node->properties; attribute; attribute = attribute->next)
        attributes.push_back(reinterpret_cast<xmlNode*>(attribute));
    return attributes;
}

}  // namespace symbology_platform::dom
