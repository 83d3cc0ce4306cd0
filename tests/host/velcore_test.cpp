// The object factory and the query filter.
#include "host/chart.h"
#include "host/velcore/class_registry.h"
#include "host/velcore/query_filter.h"
#include "symbology/vel_core.h"

#include <gtest/gtest.h>

namespace host_test {
namespace {

HRESULT create(REFCLSID clsid, REFIID iid, void** object, IUnknown* outer = nullptr) {
    return VelCreateInstance(clsid, outer, CLSCTX_ALL, iid, object);
}

TEST(VelCore, GivesAFilterAsIUnknownAndThenAsIQueryFilter) {
    CComPtr<IUnknown> unknown;
    ASSERT_EQ(create(CLSID_QueryFilter, __uuidof(IUnknown), reinterpret_cast<void**>(&unknown)), S_OK);
    const CComQIPtr<IQueryFilter> filter(unknown);
    const CComQIPtr<IQueryFilterSource> source(unknown);
    ASSERT_TRUE(filter && source);
    EXPECT_TRUE(CComPtr<IUnknown>(filter).IsEqualObject(source));
    EXPECT_EQ(VelLiveObjects(), 1U);
}

TEST(VelCore, GivesTheXmlDocumentOfThePlatform) {
    CComPtr<IXMLDOMDocument> document;
    EXPECT_EQ(create(CLSID_DOMDocument, __uuidof(IXMLDOMDocument), reinterpret_cast<void**>(&document)), S_OK);
    EXPECT_TRUE(document);
}

TEST(VelCore, RefusesWhatItDoesNotKnowAndLeavesNull) {
    auto* const garbage = reinterpret_cast<void*>(1);
    void* object = garbage;
    EXPECT_EQ(create(__uuidof(ICursor), __uuidof(IUnknown), &object), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(object, nullptr);
    object = garbage;
    EXPECT_EQ(create(CLSID_QueryFilter, __uuidof(ICursor), &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(create(CLSID_QueryFilter, __uuidof(IUnknown), nullptr), E_POINTER);
    const CComPtr<IQueryFilter> outer = filter({});
    object = garbage;
    EXPECT_EQ(create(CLSID_QueryFilter, __uuidof(IUnknown), &object, outer), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(object, nullptr);
}

TEST(VelCore, RegisteredClassesComeFirstUntilTheyAreGivenBack) {
    VelRegisterClass(CLSID_QueryFilter, [](REFIID, void** object) {
        *object = reinterpret_cast<void*>(1);  // a factory that sets and fails
        return E_ACCESSDENIED;
    });
    void* object = nullptr;
    EXPECT_EQ(create(CLSID_QueryFilter, __uuidof(IUnknown), &object), E_ACCESSDENIED);
    EXPECT_EQ(object, nullptr);
    VelRegisterClass(CLSID_QueryFilter, [](REFIID, void**) { return E_OUTOFMEMORY; });
    EXPECT_EQ(create(CLSID_QueryFilter, __uuidof(IUnknown), &object), E_OUTOFMEMORY);
    VelRegisterClass(CLSID_QueryFilter, nullptr);
    VelRegisterClass(CLSID_QueryFilter, nullptr);
    EXPECT_TRUE(filter({}));
}

TEST(QueryFilter, GivesBackWhatItWasGiven) {
    const CComPtr<IQueryFilter> made = filter({"SYMBOL_C", "Größe"}, "name = 'x'");
    const std::string zero("a\0b", 3);
    EXPECT_EQ(made->AddField(bstr(zero)), S_OK);
    const CComPtr<IQueryFilterSource> source = as<IQueryFilterSource>(made);
    LONG count = 0;
    ASSERT_EQ(source->get_FieldCount(&count), S_OK);
    ASSERT_EQ(count, 3);
    const std::vector<std::string> expected{"SYMBOL_C", "Größe", zero};
    for (LONG i = 0; i < count; ++i) {
        CComBSTR name;
        EXPECT_EQ(source->get_FieldName(i, &name), S_OK);
        EXPECT_EQ(utf8(name), expected[static_cast<std::size_t>(i)]);
    }
    CComBSTR clause;
    EXPECT_EQ(source->get_WhereClause(&clause), S_OK);
    EXPECT_EQ(utf8(clause), "name = 'x'");
}

TEST(QueryFilter, AnswersForTheEdges) {
    const CComPtr<IQueryFilter> made = filter({});
    const CComPtr<IQueryFilterSource> source = as<IQueryFilterSource>(made);
    EXPECT_EQ(made->AddField(nullptr), E_INVALIDARG);
    CComBSTR text;
    EXPECT_EQ(source->get_FieldName(0, &text), E_INVALIDARG);
    EXPECT_EQ(source->get_FieldName(-1, &text), E_INVALIDARG);
    EXPECT_EQ(source->get_FieldName(0, nullptr), E_POINTER);
    EXPECT_EQ(source->get_FieldCount(nullptr), E_POINTER);
    EXPECT_EQ(source->get_WhereClause(nullptr), E_POINTER);
    EXPECT_EQ(made->put_WhereClause(nullptr), S_OK);
    EXPECT_EQ(source->get_WhereClause(&text), S_OK);
    EXPECT_EQ(text.Length(), 0U);
    text.Empty();
    EXPECT_EQ(made->put_WhereClause(bstr("a")), S_OK);
    EXPECT_EQ(made->put_WhereClause(bstr("b")), S_OK);
    EXPECT_EQ(source->get_WhereClause(&text), S_OK);
    EXPECT_EQ(utf8(text), "b");
}

}  // namespace
}  // namespace host_test
