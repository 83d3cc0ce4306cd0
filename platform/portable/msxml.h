// The XML DOM: of the MSXML interfaces, the operations that the library uses.
#pragma once

#include "variant.h"

#include "../interface.h"

struct IXMLDOMNode;
struct IXMLDOMNodeList;
struct IXMLDOMNamedNodeMap;
struct IXMLDOMParseError;

SYMBOLOGY_INTERFACE(IXMLDOMNode, "2933BF80-7B36-11D2-B20E-00C04F983E60") : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE get_nodeName(BSTR* name) = 0;
    /// S_FALSE and null for a node that can have no attributes.
    virtual HRESULT STDMETHODCALLTYPE get_attributes(IXMLDOMNamedNodeMap** attributes) = 0;
    /// The text of the node and its descendants, white space treated as the document's defaults say.
    virtual HRESULT STDMETHODCALLTYPE get_text(BSTR* text) = 0;
    /// The same text as a VT_BSTR for elements and attributes without a data type.
    virtual HRESULT STDMETHODCALLTYPE get_nodeTypedValue(VARIANT* value) = 0;
    /// XPath 1.0, relative to this node; an invalid expression is a failure status.
    virtual HRESULT STDMETHODCALLTYPE selectNodes(BSTR xpath, IXMLDOMNodeList** nodes) = 0;
    /// S_FALSE and null when nothing matches.
    virtual HRESULT STDMETHODCALLTYPE selectSingleNode(BSTR xpath, IXMLDOMNode** node) = 0;
};

SYMBOLOGY_INTERFACE(IXMLDOMNodeList, "2933BF82-7B36-11D2-B20E-00C04F983E60") : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE get_item(LONG index, IXMLDOMNode** node) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_length(LONG* length) = 0;
    /// S_FALSE and null at the end.
    virtual HRESULT STDMETHODCALLTYPE nextNode(IXMLDOMNode** node) = 0;
    virtual HRESULT STDMETHODCALLTYPE reset() = 0;
};

SYMBOLOGY_INTERFACE(IXMLDOMNamedNodeMap, "2933BF83-7B36-11D2-B20E-00C04F983E60") : public IUnknown {
    /// S_FALSE and null when the attribute is absent.
    virtual HRESULT STDMETHODCALLTYPE getNamedItem(BSTR name, IXMLDOMNode** node) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_item(LONG index, IXMLDOMNode** node) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_length(LONG* length) = 0;
};

SYMBOLOGY_INTERFACE(IXMLDOMParseError, "3EFAA426-272F-11D2-836F-0000F87A7782") : public IUnknown {
    virtual HRESULT STDMETHODCALLTYPE get_errorCode(LONG* code) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_reason(BSTR* reason) = 0;
    /// The source line in which the error stands.
    virtual HRESULT STDMETHODCALLTYPE get_srcText(BSTR* text) = 0;
    /// From 1; 0 when the error has no place in the text.
    virtual HRESULT STDMETHODCALLTYPE get_line(LONG* line) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_linepos(LONG* position) = 0;
};

SYMBOLOGY_INTERFACE(IXMLDOMDocument, "2933BF81-7B36-11D2-B20E-00C04F983E60") : public IXMLDOMNode {
    virtual HRESULT STDMETHODCALLTYPE get_documentElement(IXMLDOMNode** element) = 0;
    /// Loads a file (VT_BSTR: its path). S_OK and VARIANT_TRUE; S_FALSE and VARIANT_FALSE when the text
    /// could not be opened or is not well formed: then the parse error says why. The former content is dropped.
    virtual HRESULT STDMETHODCALLTYPE load(VARIANT source, VARIANT_BOOL* loaded) = 0;
    virtual HRESULT STDMETHODCALLTYPE loadXML(BSTR xml, VARIANT_BOOL* loaded) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_parseError(IXMLDOMParseError** error) = 0;
};

/// What MSXML has no place for: where a node stands in its file and whether anyone has looked at it since the
/// document was loaded. Offered by the nodes of the portable DOM, for tools that check documents.
SYMBOLOGY_INTERFACE(INodeTrace, "6B0C5B0E-3D52-4E0B-9E35-5B8E6C0F1A01") : public IUnknown {
    /// Where the start tag of an element or the name of an attribute begins; other nodes, and attributes that a
    /// declaration adds, stand with their element. From 1; 0 when unknown.
    virtual HRESULT STDMETHODCALLTYPE get_line(LONG* line) = 0;
    /// An element has been read when it came out of a selection, an attribute when it was asked for by name.
    /// Walking with get_childElements and get_allAttributes does not count as reading.
    virtual HRESULT STDMETHODCALLTYPE get_wasRead(VARIANT_BOOL* read) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_childElements(IXMLDOMNodeList** nodes) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_allAttributes(IXMLDOMNodeList** nodes) = 0;
    /// The line in which the text of an element begins, white space that its value does not have left out; 0 when
    /// unknown or when there is no text.
    virtual HRESULT STDMETHODCALLTYPE get_textLine(LONG* line) = 0;
    /// The column of the place that get_line has, in characters from 1; 0 when unknown.
    virtual HRESULT STDMETHODCALLTYPE get_column(LONG* column) = 0;
};

/// The class that the object factory is asked for.
constexpr GUID CLSID_DOMDocument = symbology_platform::parseGuid("2933BF90-7B36-11D2-B20E-00C04F983E60");
