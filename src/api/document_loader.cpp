#include "api/document_loader.h"

#include "cxml/dom.h"
#include "symbology/vel_core.h"
#include "text/failures.h"
#include "text/text.h"

#include <cstdio>
#include <string>

namespace ConditionalXml {

namespace {

CComPtr<IXMLDOMDocument> createDocument() {
    CComPtr<IUnknown> object;
    CComPtr<IXMLDOMDocument> document;
    if (FAILED(checked(VelCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_ALL, __uuidof(IUnknown),
                                         reinterpret_cast<void**>(&object)))) ||
        !object || FAILED(checked(object.QueryInterface(&document))) || !document)
        throwText("Failed to create DOMDocument object!");
    return document;
}

/// The parse error as one text; empty when it would not fit the 1,024 characters (terminator included) that it may
/// have. Nothing is ever cut.
std::string parseErrorText(IXMLDOMParseError* error) {
    CComBSTR reason;
    CComBSTR source;
    LONG line = 0;
    LONG column = 0;
    checked(error->get_reason(&reason));
    checked(error->get_srcText(&source));
    error->get_line(&line);
    error->get_linepos(&column);
    char text[1024];
    const int length = std::snprintf(text, sizeof text, "Failed to parse CXML: %s [Source: %s : Line %u Column %u]\n",
                                     narrow(view(reason)).c_str(), narrow(view(source)).c_str(),
                                     static_cast<unsigned>(line), static_cast<unsigned>(column));
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof text) return {};
    return text;
}

}  // namespace

CComPtr<IXMLDOMDocument> loadDocument(const CComBSTR& path) {
    CComPtr<IXMLDOMDocument> document = createDocument();
    VARIANT_BOOL loaded = VARIANT_FALSE;
    if (FAILED(checked(document->load(CComVariant(path), &loaded))))
        throwText(quoted("Failed to load CXML: '", view(path)));
    if (loaded != VARIANT_FALSE) return document;
    CComPtr<IXMLDOMParseError> error;
    if (FAILED(checked(document->get_parseError(&error))) || !error) return nullptr;
    throwText(parseErrorText(error));
}

std::optional<DocumentHead> readHead(IXMLDOMDocument* document, const OLECHAR* xpath, const OLECHAR* nameAttribute) {
    CComPtr<IXMLDOMNode> root;
    if (FAILED(checked(document->selectSingleNode(CComBSTR(xpath), &root))) || !root) return std::nullopt;
    DocumentHead head{makeBstr({}), makeBstr({})};
    if (const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(root)) {
        if (auto text = attributeText(attributes, nameAttribute)) head.name = std::move(*text);
        if (auto text = attributeText(attributes, OLESTR("alias"))) head.alias = std::move(*text);
    }
    return head;
}

}  // namespace ConditionalXml
