// Nodes, and what documents have in common with them.
#pragma once

#include "platform/portable/dom_object.h"
#include "platform/portable/dom_tree.h"
#include "platform/portable/msxml.h"

#include <vector>

namespace symbology_platform::dom {

/// The operations of a node, for any object that stands for one.
/// All out arguments are set before anything can fail.
HRESULT nodeGetName(const NodeRef& ref, BSTR* name);
HRESULT nodeGetAttributes(const NodeRef& ref, IXMLDOMNamedNodeMap** attributes);
HRESULT nodeGetText(const NodeRef& ref, BSTR* text);
HRESULT nodeGetTypedValue(const NodeRef& ref, VARIANT* value);
HRESULT nodeSelectAll(const NodeRef& ref, BSTR xpath, IXMLDOMNodeList** nodes);
HRESULT nodeSelectFirst(const NodeRef& ref, BSTR xpath, IXMLDOMNode** node);
HRESULT nodeGetLine(const NodeRef& ref, LONG* line);
HRESULT nodeGetColumn(const NodeRef& ref, LONG* column);
HRESULT nodeGetWasRead(const NodeRef& ref, VARIANT_BOOL* read);
HRESULT nodeGetChildElements(const NodeRef& ref, IXMLDOMNodeList** nodes);
HRESULT nodeGetAllAttributes(const NodeRef& ref, IXMLDOMNodeList** nodes);
HRESULT nodeGetTextLine(const NodeRef& ref, LONG* line);

/// Implements IXMLDOMNode, or an interface derived from it, and INodeTrace through `Object::ref()`.
template <class Object, class Interface>
class NodeObject : public ComObject<Object, Interface, INodeTrace> {
    NodeObject() = default;
    friend Object;

public:
    HRESULT STDMETHODCALLTYPE get_nodeName(BSTR* name) final { return nodeGetName(ref(), name); }
    HRESULT STDMETHODCALLTYPE get_attributes(IXMLDOMNamedNodeMap** attributes) final {
        return nodeGetAttributes(ref(), attributes);
    }
    HRESULT STDMETHODCALLTYPE get_text(BSTR* text) final { return nodeGetText(ref(), text); }
    HRESULT STDMETHODCALLTYPE get_nodeTypedValue(VARIANT* value) final { return nodeGetTypedValue(ref(), value); }
    HRESULT STDMETHODCALLTYPE selectNodes(BSTR xpath, IXMLDOMNodeList** nodes) final {
        return nodeSelectAll(ref(), xpath, nodes);
    }
    HRESULT STDMETHODCALLTYPE selectSingleNode(BSTR xpath, IXMLDOMNode** node) final {
        return nodeSelectFirst(ref(), xpath, node);
    }
    HRESULT STDMETHODCALLTYPE get_line(LONG* line) final { return nodeGetLine(ref(), line); }
    HRESULT STDMETHODCALLTYPE get_wasRead(VARIANT_BOOL* read) final { return nodeGetWasRead(ref(), read); }
    HRESULT STDMETHODCALLTYPE get_childElements(IXMLDOMNodeList** nodes) final {
        return nodeGetChildElements(ref(), nodes);
    }
    HRESULT STDMETHODCALLTYPE get_allAttributes(IXMLDOMNodeList** nodes) final {
        return nodeGetAllAttributes(ref(), nodes);
    }
    HRESULT STDMETHODCALLTYPE get_textLine(LONG* line) final { return nodeGetTextLine(ref(), line); }
    HRESULT STDMETHODCALLTYPE get_column(LONG* column) final { return nodeGetColumn(ref(), column); }

protected:
    ~NodeObject() = default;

private:
    NodeRef ref() { return static_cast<Object*>(this)->borrow(); }
};

/// An object for the node, with one reference that the caller owns.
IXMLDOMNode* makeNode(const std::shared_ptr<Tree>& tree, xmlNode* node);

/// Hands a node out: S_OK, or S_FALSE and null when there is none.
HRESULT handOut(const std::shared_ptr<Tree>& tree, xmlNode* node, IXMLDOMNode** object);

}  // namespace symbology_platform::dom
