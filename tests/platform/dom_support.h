// What the tests of the XML DOM share.
#pragma once

#include "support/platform_hooks.h"

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace dom_test {

/// UTF-16 to UTF-8 and back, for readable tables; the texts are well-formed.
std::string narrow(BSTR text);
CComBSTR wide(std::string_view text);

CComPtr<IXMLDOMDocument> newDocument();

struct Loaded {
    HRESULT status = E_FAIL;
    VARIANT_BOOL loaded = VARIANT_FALSE;
    CComPtr<IXMLDOMDocument> document;
};
Loaded loadFile(const std::string& path);
Loaded loadText(std::string_view text);
/// Loads a good text; the test fails when it is not.
CComPtr<IXMLDOMDocument> parse(std::string_view text);

struct Error {
    LONG code = -1;
    std::string reason;
    std::string sourceLine;
    LONG line = -1;
    LONG position = -1;
};
Error errorOf(IXMLDOMDocument* document);

/// Null when nothing is found; the test fails when the selection does.
CComPtr<IXMLDOMNode> first(IXMLDOMNode* node, std::string_view path);
CComPtr<IXMLDOMNodeList> all(IXMLDOMNode* node, std::string_view path);
/// The rest of the list.
std::vector<CComPtr<IXMLDOMNode>> nodesOf(IXMLDOMNodeList* list);

std::string nameOf(IXMLDOMNode* node);
std::string textOf(IXMLDOMNode* node);
/// The test fails when the value is not a BSTR.
std::string typedTextOf(IXMLDOMNode* node);
/// "(absent)" when the element has no such attribute.
std::string attributeOf(IXMLDOMNode* element, std::string_view name);
/// The texts of the nodes, joined by '|'.
std::string textsOf(IXMLDOMNode* node, std::string_view path);

}  // namespace dom_test
