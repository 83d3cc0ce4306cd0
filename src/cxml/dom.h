// Reading a document through the DOM: the few questions that the loader asks of it. A DOM that runs out of memory is
// CAtlException(E_OUTOFMEMORY) in each of them: a document must not load with a part of it missing.
#pragma once

#include "text/failures.h"

#include <optional>

namespace ConditionalXml {

/// The attribute collection of an element; null when it cannot be had.
CComPtr<IXMLDOMNamedNodeMap> attributesOf(IXMLDOMNode* node);

/// The attribute's typed value; nothing when the attribute is absent or cannot be read.
std::optional<CComVariant> attributeValue(IXMLDOMNamedNodeMap* attributes, const OLECHAR* name);

/// The same as text: a value of another type is converted, one without text is the empty text.
std::optional<CComBSTR> attributeText(IXMLDOMNamedNodeMap* attributes, const OLECHAR* name);

/// The same, of an element whose attribute collection may not be there.
std::optional<CComBSTR> attributeText(IXMLDOMNode* element, const OLECHAR* name);

/// Reads it into `text`, which stays without one when the attribute is absent.
/// \return false when the DOM cannot tell.
bool readAttribute(IXMLDOMNamedNodeMap* attributes, const OLECHAR* name, std::optional<CComBSTR>& text);

/// The node's typed value as text.
CComBSTR nodeText(IXMLDOMNode* node);
/// The same; nothing when it cannot be had.
std::optional<CComBSTR> tryNodeText(IXMLDOMNode* node);

/// The nodes that `xpath` selects, relative to `node`; null when the selection fails.
CComPtr<IXMLDOMNodeList> selectNodes(IXMLDOMNode* node, const OLECHAR* xpath);

/// Calls `body(IXMLDOMNode*)` for each node of the list in document order until it returns false.
/// \return whether every call returned true and the list could be read to its end.
template <class Body>
bool forEachNode(IXMLDOMNodeList* nodes, Body&& body) {
    for (;;) {
        CComPtr<IXMLDOMNode> node;
        const HRESULT hr = checked(nodes->nextNode(&node));
        if (FAILED(hr)) return false;
        if (hr != S_OK || !node) return true;
        if (!body(node.p)) return false;
    }
}

}  // namespace ConditionalXml
