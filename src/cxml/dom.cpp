#include "cxml/dom.h"
#include "text/failures.h"
#include "text/text.h"

namespace ConditionalXml {

CComPtr<IXMLDOMNamedNodeMap> attributesOf(IXMLDOMNode* node) {
    CComPtr<IXMLDOMNamedNodeMap> attributes;
    if (checked(node->get_attributes(&attributes)) != S_OK) return nullptr;
    return attributes;
}

std::optional<CComVariant> attributeValue(IXMLDOMNamedNodeMap* attributes, const OLECHAR* name) {
    CComPtr<IXMLDOMNode> attribute;
    if (checked(attributes->getNamedItem(CComBSTR(name), &attribute)) != S_OK || !attribute) return std::nullopt;
    CComVariant value;
    if (FAILED(checked(attribute->get_nodeTypedValue(&value)))) return std::nullopt;
    return value;
}

namespace {

CComBSTR textOf(CComVariant& value) {
    if (value.vt != VT_BSTR && FAILED(checked(value.ChangeType(VT_BSTR)))) return makeBstr({});
    if (!value.bstrVal) return makeBstr({});
    CComBSTR text;
    text.Attach(value.bstrVal);
    value.vt = VT_EMPTY;
    return text;
}

}  // namespace

std::optional<CComBSTR> attributeText(IXMLDOMNamedNodeMap* attributes, const OLECHAR* name) {
    std::optional<CComVariant> value = attributeValue(attributes, name);
    if (!value) return std::nullopt;
    return textOf(*value);
}

std::optional<CComBSTR> attributeText(IXMLDOMNode* element, const OLECHAR* name) {
    const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(element);
    return attributes ? attributeText(attributes, name) : std::nullopt;
}

bool readAttribute(IXMLDOMNamedNodeMap* attributes, const OLECHAR* name, std::optional<CComBSTR>& text) {
    CComPtr<IXMLDOMNode> attribute;
    const HRESULT hr = checked(attributes->getNamedItem(CComBSTR(name), &attribute));
    if (hr != S_OK || !attribute) return SUCCEEDED(hr);
    text = tryNodeText(attribute);
    return text.has_value();
}

std::optional<CComBSTR> tryNodeText(IXMLDOMNode* node) {
    CComVariant value;
    if (FAILED(checked(node->get_nodeTypedValue(&value)))) return std::nullopt;
    return textOf(value);
}

CComBSTR nodeText(IXMLDOMNode* node) {
    auto text = tryNodeText(node);
    return text ? std::move(*text) : makeBstr({});
}

CComPtr<IXMLDOMNodeList> selectNodes(IXMLDOMNode* node, const OLECHAR* xpath) {
    CComPtr<IXMLDOMNodeList> nodes;
    if (FAILED(checked(node->selectNodes(CComBSTR(xpath), &nodes)))) return nullptr;
    return nodes;
}

}  // namespace ConditionalXml
