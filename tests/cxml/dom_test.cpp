// Texts of the DOM's typed values: what a node may hold that is no text. A document here has texts only, so the node is
// made up; hosts may have a DOM that knows types.
#include "cxml/dom.h"

#include "memhost/object.h"
#include "memhost/text.h"

#include <gtest/gtest.h>

namespace {

using memhost::bstr;
using memhost::utf8;

/// A node that has nothing but its value.
class TypedNode final : public memhost::Object<IXMLDOMNode> {
public:
    explicit TypedNode(CComVariant value) : value_(std::move(value)) {}

    HRESULT STDMETHODCALLTYPE get_nodeName(BSTR* /*name*/) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_attributes(IXMLDOMNamedNodeMap** /*attributes*/) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_text(BSTR* /*text*/) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE get_nodeTypedValue(VARIANT* value) override { return VariantCopy(value, &value_); }
    HRESULT STDMETHODCALLTYPE selectNodes(BSTR /*xpath*/, IXMLDOMNodeList** /*nodes*/) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE selectSingleNode(BSTR /*xpath*/, IXMLDOMNode** /*node*/) override { return E_NOTIMPL; }

private:
    CComVariant value_;
};

CComVariant valueOfType(VARTYPE type) {
    CComVariant value;
    value.llVal = 0;  // no object, no text
    value.vt = type;
    return value;
}

TEST(TypedValues, areReadAsTexts) {
    const struct {
        const char* name;
        CComVariant value;
        const char* text;
    } rows[] = {
        {"text", CComVariant(bstr("B\xC3\xB8je")), "B\xC3\xB8je"},
        {"null text", valueOfType(VT_BSTR), ""},
        {"integer", CComVariant(42), "42"},
        {"real", CComVariant(1.5), "1.5"},
        {"nothing", CComVariant(), ""},
        {"null", valueOfType(VT_NULL), ""},
        {"object", valueOfType(VT_UNKNOWN), ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const auto node = memhost::make<TypedNode>(row.value);
        const CComBSTR text = ConditionalXml::nodeText(node);
        EXPECT_NE(text.m_str, nullptr);
        EXPECT_EQ(utf8(text), row.text);
    }
}

}  // namespace
