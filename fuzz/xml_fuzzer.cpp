// The DOM: any bytes as a file, then an XPath of their first line over what was read.
#include "fuzz/input.h"
#include "fuzz/temporary_file.h"
#include "memhost/text.h"

namespace {

/// Reads everything that the library would of a node and its descendants.
void readAll(IXMLDOMNode* node, int depth) {
    fuzzing::require(depth < 10'000, "depth is bounded");
    CComBSTR name;
    CComBSTR text;
    CComVariant value;
    fuzzing::require(SUCCEEDED(node->get_nodeName(&name)), "every node has a name");
    if (depth < 8) {  // the text of an ancestor is the texts of all its descendants
        node->get_text(&text);
        node->get_nodeTypedValue(&value);
    }
    CComPtr<IXMLDOMNamedNodeMap> attributes;
    LONG count = 0;
    if (node->get_attributes(&attributes) == S_OK) attributes->get_length(&count);
    for (LONG i = 0; i < count; ++i) {
        CComPtr<IXMLDOMNode> attribute;
        fuzzing::require(attributes->get_item(i, &attribute) == S_OK, "attributes are as many as said");
        CComVariant ofAttribute;
        attribute->get_nodeTypedValue(&ofAttribute);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzing::Input input(data, size);
    const std::string_view xpath = input.line();
    static const fuzzing::TemporaryFile file;
    file.write(input.rest());
    const fuzzing::NothingLeft check;
    CComPtr<IXMLDOMDocument> document;
    CoCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_ALL, __uuidof(IXMLDOMDocument),
                     reinterpret_cast<void**>(&document));
    fuzzing::require(document, "a document can be created");
    VARIANT_BOOL loaded = VARIANT_FALSE;
    const HRESULT hr = document->load(CComVariant(memhost::bstr(file.path())), &loaded);
    fuzzing::require((hr == S_OK) == (loaded != VARIANT_FALSE), "the status and the flag agree");

    CComPtr<IXMLDOMParseError> error;
    LONG code = 0;
    document->get_parseError(&error);
    error->get_errorCode(&code);
    fuzzing::require((code == 0) == (loaded != VARIANT_FALSE), "there is a parse error exactly when nothing was read");
    CComBSTR reason;
    CComBSTR source;
    error->get_reason(&reason);
    error->get_srcText(&source);

    CComPtr<IXMLDOMNodeList> nodes;
    if (FAILED(document->selectNodes(memhost::bstr(xpath.empty() ? "//*" : xpath), &nodes))) return 0;
    CComPtr<IXMLDOMNode> node;
    for (int seen = 0; seen < 500 && nodes->nextNode(&node) == S_OK; ++seen) {
        readAll(node, 8);
        node.Release();
    }
    CComPtr<IXMLDOMNode> element;
    if (document->get_documentElement(&element) == S_OK) readAll(element, 0);
    return 0;
}
