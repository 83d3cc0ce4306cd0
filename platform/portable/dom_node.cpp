#include "platform/portable/dom_node.h"

#include "platform/portable/dom_lists.h"
#include "platform/portable/dom_select.h"
#include "platform/portable/dom_text.h"

#include <utility>

namespace symbology_platform::dom {

namespace {

class Node final : public NodeObject<Node, IXMLDOMNode> {
public:
    explicit Node(NodeRef ref) : ref_(std::move(ref)) {}
    ~Node() = default;

    const NodeRef& borrow() const { return ref_; }

private:
    const NodeRef ref_;
};

}  // namespace

IXMLDOMNode* makeNode(const std::shared_ptr<Tree>& tree, xmlNode* node) {
    return new Node({tree, node});
}

HRESULT handOut(const std::shared_ptr<Tree>& tree, xmlNode* node, IXMLDOMNode** object) {
    if (!node) return S_FALSE;
    *object = makeNode(tree, node);
    return S_OK;
}

HRESULT nodeGetName(const NodeRef& ref, BSTR* name) {
    if (!name) return E_INVALIDARG;
    *name = nullptr;
    return atBoundary([&] {
        *name = toBstr(nodeName(ref.node));
        return S_OK;
    });
}

HRESULT nodeGetAttributes(const NodeRef& ref, IXMLDOMNamedNodeMap** attributes) {
    if (!attributes) return E_INVALIDARG;
    *attributes = nullptr;
    if (ref.node->type != XML_ELEMENT_NODE) return S_FALSE;
    return atBoundary([&] {
        *attributes = makeAttributeMap(ref);
        return S_OK;
    });
}

HRESULT nodeGetText(const NodeRef& ref, BSTR* text) {
    if (!text) return E_INVALIDARG;
    *text = nullptr;
    return atBoundary([&] {
        *text = toBstr(nodeText(ref.node));
        return S_OK;
    });
}

HRESULT nodeGetTypedValue(const NodeRef& ref, VARIANT* value) {
    if (!value) return E_INVALIDARG;
    VariantInit(value);
    if (ref.node->type == XML_DOCUMENT_NODE) {
        value->vt = VT_NULL;
        return S_FALSE;
    }
    return atBoundary([&] {
        value->bstrVal = toBstr(nodeText(ref.node));
        value->vt = VT_BSTR;
        return S_OK;
    });
}

HRESULT nodeSelectAll(const NodeRef& ref, BSTR xpath, IXMLDOMNodeList** nodes) {
    if (!nodes) return E_INVALIDARG;
    *nodes = nullptr;
    if (!xpath) return E_INVALIDARG;
    return atBoundary([&] {
        std::vector<xmlNode*> found;
        const HRESULT hr = select(ref.node, viewOf(xpath), false, found);
        if (SUCCEEDED(hr)) *nodes = makeNodeList(ref.tree, std::move(found), ListUse::Selection);
        return hr;
    });
}

HRESULT nodeSelectFirst(const NodeRef& ref, BSTR xpath, IXMLDOMNode** node) {
    if (!node) return E_INVALIDARG;
    *node = nullptr;
    if (!xpath) return E_INVALIDARG;
    return atBoundary([&] {
        std::vector<xmlNode*> found;
        const HRESULT hr = select(ref.node, viewOf(xpath), true, found);
        if (FAILED(hr)) return hr;
        if (found.empty()) return S_FALSE;
        setMark(found.front(), Mark::Read);
        return handOut(ref.tree, found.front(), node);
    });
}

namespace {

/// The element or attribute that tells where a node stands; null when there is none. What a declaration adds stands
/// with its element.
const xmlNode* placedNode(const xmlNode* node) {
    if (node->type == XML_ELEMENT_NODE) return node;
    if (node->type == XML_ATTRIBUTE_NODE && lineOf(node) != 0) return node;
    return node->parent && node->parent->type == XML_ELEMENT_NODE ? node->parent : nullptr;
}

}  // namespace

HRESULT nodeGetLine(const NodeRef& ref, LONG* line) {
    if (!line) return E_INVALIDARG;
    const xmlNode* const node = placedNode(ref.node);
    *line = node ? lineOf(node) : 0;
    return S_OK;
}

HRESULT nodeGetColumn(const NodeRef& ref, LONG* column) {
    if (!column) return E_INVALIDARG;
    const xmlNode* const node = placedNode(ref.node);
    *column = node ? columnOf(node) : 0;
    return S_OK;
}

HRESULT nodeGetWasRead(const NodeRef& ref, VARIANT_BOOL* read) {
    if (!read) return E_INVALIDARG;
    *read = hasMark(ref.node, Mark::Read) ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

HRESULT nodeGetChildElements(const NodeRef& ref, IXMLDOMNodeList** nodes) {
    if (!nodes) return E_INVALIDARG;
    *nodes = nullptr;
    return atBoundary([&] {
        std::vector<xmlNode*> found;
        for (xmlNode* child = ref.node->children; child; child = child->next)
            if (child->type == XML_ELEMENT_NODE) found.push_back(child);
        *nodes = makeNodeList(ref.tree, std::move(found), ListUse::Walk);
        return S_OK;
    });
}

HRESULT nodeGetAllAttributes(const NodeRef& ref, IXMLDOMNodeList** nodes) {
    if (!nodes) return E_INVALIDARG;
    *nodes = nullptr;
    return atBoundary([&] {
        std::vector<xmlNode*> found;
        for (xmlNode* attribute : attributesOf(ref.node))
            if (!declaresNamespace(attribute)) found.push_back(attribute);
        *nodes = makeNodeList(ref.tree, std::move(found), ListUse::Walk);
        return S_OK;
    });
}

HRESULT nodeGetTextLine(const NodeRef& ref, LONG* line) {
    if (!line) return E_INVALIDARG;
    *line = textLine(ref.node);
    return S_OK;
}

}  // namespace symbology_platform::dom
