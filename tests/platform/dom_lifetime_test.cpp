// Documents before, between and after their loads, and nodes and lists that outlive them.
#include "platform/dom_support.h"

#include <gtest/gtest.h>

namespace dom_test {
namespace {

TEST(DomLifetime, NodesOutliveTheirDocumentObject) {
    CComPtr<IXMLDOMDocument> document = parse("<a x='1'><b>text</b></a>");
    const CComPtr<IXMLDOMNode> node = first(document, "/a/b");
    const CComPtr<IXMLDOMNodeList> list = all(document, "//b");
    CComPtr<IXMLDOMNamedNodeMap> map;
    ASSERT_EQ(first(document, "/a")->get_attributes(&map), S_OK);
    document.Release();
    EXPECT_EQ(textOf(node), "text");
    EXPECT_EQ(nodesOf(list).size(), 1U);
    CComPtr<IXMLDOMNode> attribute;
    EXPECT_EQ(map->getNamedItem(wide("x"), &attribute), S_OK);
    EXPECT_EQ(textsOf(node, "/a/@x"), "1");
}

TEST(DomLifetime, NodesOutliveASecondLoad) {
    const CComPtr<IXMLDOMDocument> document = parse("<a><b>old</b></a>");
    const CComPtr<IXMLDOMNode> old = first(document, "/a/b");
    VARIANT_BOOL loaded = VARIANT_FALSE;
    ASSERT_EQ(document->loadXML(wide("<a><b>new</b></a>"), &loaded), S_OK);
    EXPECT_EQ(textOf(old), "old");
    EXPECT_EQ(textsOf(old, "/a/b"), "old");
    EXPECT_EQ(textsOf(document, "/a/b"), "new");
}

TEST(DomLifetime, FailedLoadLeavesAnEmptyDocument) {
    const CComPtr<IXMLDOMDocument> document = parse("<a/>");
    VARIANT_BOOL loaded = VARIANT_TRUE;
    ASSERT_EQ(document->loadXML(wide("<a>"), &loaded), S_FALSE);
    EXPECT_EQ(loaded, VARIANT_FALSE);
    EXPECT_NE(errorOf(document).code, 0);
    EXPECT_FALSE(first(document, "/a"));
    ASSERT_EQ(document->loadXML(wide("<b/>"), &loaded), S_OK);
    EXPECT_EQ(errorOf(document).code, 0);
}

TEST(DomLifetime, NewDocumentIsEmpty) {
    const CComPtr<IXMLDOMDocument> document = newDocument();
    EXPECT_EQ(textOf(document), "");
    EXPECT_EQ(textsOf(document, "/a"), "");
    EXPECT_FALSE(first(document, "//a"));
    const Error error = errorOf(document);
    EXPECT_EQ(error.code, 0);
    EXPECT_EQ(error.reason + error.sourceLine, "");
    EXPECT_EQ(error.line, 0);
    EXPECT_EQ(error.position, 0);
}

TEST(DomLifetime, ListIsWalkedAndIndexed) {
    const CComPtr<IXMLDOMDocument> document = parse("<a><b>0</b><b>1</b><b>2</b></a>");
    const CComPtr<IXMLDOMNodeList> list = all(document, "/a/b");
    LONG length = 0;
    EXPECT_EQ(list->get_length(&length), S_OK);
    EXPECT_EQ(length, 3);
    CComPtr<IXMLDOMNode> item;
    EXPECT_EQ(list->get_item(2, &item), S_OK);
    EXPECT_EQ(textOf(item), "2");
    if (underWine()) list->reset();
    EXPECT_EQ(nodesOf(list).size(), 3U) << "an index does not move the walk, but under Wine";
    EXPECT_EQ(nodesOf(list).size(), 0U);
    EXPECT_EQ(list->reset(), S_OK);
    EXPECT_EQ(nodesOf(list).size(), 3U);
    for (const LONG index : {-1, 3}) {
        auto* none = reinterpret_cast<IXMLDOMNode*>(1);
        EXPECT_EQ(list->get_item(index, &none), S_FALSE);
        EXPECT_EQ(none, nullptr);
    }
}

}  // namespace
}  // namespace dom_test
