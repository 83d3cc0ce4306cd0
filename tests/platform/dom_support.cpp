#include "platform/dom_support.h"

#include <gtest/gtest.h>

namespace dom_test {

std::string narrow(BSTR text) {
    const int units = static_cast<int>(SysStringLen(text));
    if (units == 0) return {};
    std::string result(static_cast<std::size_t>(3 * units), '\0');
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, text, units, result.data(), 3 * units, nullptr, nullptr);
    result.resize(static_cast<std::size_t>(bytes));
    return result;
}

CComBSTR wide(std::string_view text) {
    if (text.empty()) return OLESTR("");
    const int size = static_cast<int>(text.size());
    WideString result(text.size(), OLECHAR{});
    return {MultiByteToWideChar(CP_UTF8, 0, text.data(), size, result.data(), size), result.c_str()};
}

CComPtr<IXMLDOMDocument> newDocument() {
    CComPtr<IXMLDOMDocument> document;
    EXPECT_EQ(CoCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_SERVER, __uuidof(IXMLDOMDocument),
                               reinterpret_cast<void**>(&document)),
              S_OK);
    return document;
}

Loaded loadFile(const std::string& path) {
    Loaded result;
    result.document = newDocument();
    result.status = result.document->load(CComVariant(wide(path)), &result.loaded);
    return result;
}

Loaded loadText(std::string_view text) {
    Loaded result;
    result.document = newDocument();
    result.status = result.document->loadXML(wide(text), &result.loaded);
    return result;
}

CComPtr<IXMLDOMDocument> parse(std::string_view text) {
    const Loaded result = loadText(text);
    EXPECT_EQ(result.status, S_OK) << text << '\n' << errorOf(result.document).reason;
    EXPECT_EQ(result.loaded, VARIANT_TRUE);
    return result.document;
}

Error errorOf(IXMLDOMDocument* document) {
    Error error;
    CComPtr<IXMLDOMParseError> object;
    EXPECT_EQ(document->get_parseError(&object), S_OK);
    CComBSTR reason;
    CComBSTR sourceLine;
    EXPECT_TRUE(SUCCEEDED(object->get_errorCode(&error.code)));
    EXPECT_TRUE(SUCCEEDED(object->get_reason(&reason)));
    EXPECT_TRUE(SUCCEEDED(object->get_srcText(&sourceLine)));
    EXPECT_EQ(object->get_line(&error.line), S_OK);
    EXPECT_EQ(object->get_linepos(&error.position), S_OK);
    error.reason = narrow(reason);
    error.sourceLine = narrow(sourceLine);
    return error;
}

CComPtr<IXMLDOMNode> first(IXMLDOMNode* node, std::string_view path) {
    CComPtr<IXMLDOMNode> found;
    const HRESULT status = node->selectSingleNode(wide(path), &found);
    EXPECT_EQ(status, found ? S_OK : S_FALSE) << path;
    return found;
}

CComPtr<IXMLDOMNodeList> all(IXMLDOMNode* node, std::string_view path) {
    CComPtr<IXMLDOMNodeList> found;
    EXPECT_EQ(node->selectNodes(wide(path), &found), S_OK) << path;
    return found;
}

std::vector<CComPtr<IXMLDOMNode>> nodesOf(IXMLDOMNodeList* list) {
    std::vector<CComPtr<IXMLDOMNode>> nodes;
    for (;;) {
        CComPtr<IXMLDOMNode> node;
        const HRESULT status = list->nextNode(&node);
        EXPECT_EQ(status, node ? S_OK : S_FALSE);
        if (!node) return nodes;
        nodes.push_back(node);
    }
}

std::string nameOf(IXMLDOMNode* node) {
    CComBSTR name;
    EXPECT_EQ(node->get_nodeName(&name), S_OK);
    return narrow(name);
}

std::string textOf(IXMLDOMNode* node) {
    CComBSTR text;
    EXPECT_EQ(node->get_text(&text), S_OK);
    return narrow(text);
}

std::string typedTextOf(IXMLDOMNode* node) {
    CComVariant value;
    EXPECT_EQ(node->get_nodeTypedValue(&value), S_OK);
    EXPECT_EQ(value.vt, VT_BSTR);
    return value.vt == VT_BSTR ? narrow(value.bstrVal) : "(not a text)";
}

std::string attributeOf(IXMLDOMNode* element, std::string_view name) {
    CComPtr<IXMLDOMNamedNodeMap> attributes;
    EXPECT_EQ(element->get_attributes(&attributes), S_OK);
    CComPtr<IXMLDOMNode> attribute;
    const HRESULT status = attributes->getNamedItem(wide(name), &attribute);
    EXPECT_EQ(status, attribute ? S_OK : S_FALSE);
    return attribute ? typedTextOf(attribute) : "(absent)";
}

std::string textsOf(IXMLDOMNode* node, std::string_view path) {
    std::string texts;
    for (const auto& found : nodesOf(all(node, path))) texts += (texts.empty() ? "" : "|") + textOf(found);
    return texts;
}

}  // namespace dom_test
