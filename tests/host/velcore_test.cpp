// The object factory and the query filter.
#include "host/velcore/class_registry.h"
#include "host/velcore/query_filter.h"
#include "memhost/text.h"
#include "symbology/host_interfaces.h"
#include "symbology/vel_core.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using memhost::bstr;
using memhost::utf8;

HRESULT create(REFCLSID clsid, REFIID iid, void** object, IUnknown* outer = nullptr) {
    return VelCreateInstance(clsid, outer, CLSCTX_ALL, iid, object);
}

CComPtr<IQueryFilter> filter(const std::vector<std::string>& fields, const std::string& where = {}) {
    CComPtr<IQueryFilter> made;
    EXPECT_EQ(create(CLSID_QueryFilter, __uuidof(IQueryFilter), reinterpret_cast<void**>(&made)), S_OK);
    for (const std::string& field : fields) EXPECT_EQ(made->AddField(bstr(field)), S_OK);
    EXPECT_EQ(made->put_WhereClause(bstr(where)), S_OK);
    return made;
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
    VelRegisterClass(CLSID_QueryFilter, [](DWORD context, REFIID, void** object) {
        EXPECT_EQ(context, DWORD{CLSCTX_ALL});
        *object = reinterpret_cast<void*>(1);  // a factory that sets and fails
        return E_ACCESSDENIED;
    });
    void* object = nullptr;
    EXPECT_EQ(create(CLSID_QueryFilter, __uuidof(IUnknown), &object), E_ACCESSDENIED);
    EXPECT_EQ(object, nullptr);
    VelRegisterClass(CLSID_QueryFilter, [](DWORD, REFIID, void**) { return E_OUTOFMEMORY; });
    EXPECT_EQ(create(CLSID_QueryFilter, __uuidof(IUnknown), &object), E_OUTOFMEMORY);
    VelRegisterClass(CLSID_QueryFilter, nullptr);
    VelRegisterClass(CLSID_QueryFilter, nullptr);
    EXPECT_TRUE(filter({}));
}

TEST(QueryFilter, GivesBackWhatItWasGiven) {
    const CComPtr<IQueryFilter> made = filter({"SYMBOL_C",
                                               "Gr\xC3\xB6\xC3\x9F"
                                               "e"},
                                              "name = 'x'");
    const std::string zero("a\0b", 3);
    EXPECT_EQ(made->AddField(bstr(zero)), S_OK);
    const CComQIPtr<IQueryFilterSource> source(made.p);
    LONG count = 0;
    ASSERT_EQ(source->get_FieldCount(&count), S_OK);
    ASSERT_EQ(count, 3);
    const std::vector<std::string> expected{"SYMBOL_C",
                                            "Gr\xC3\xB6\xC3\x9F"
                                            "e",
                                            zero};
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
    const CComQIPtr<IQueryFilterSource> source(made.p);
    EXPECT_EQ(made->AddField(nullptr), E_INVALIDARG);
    CComBSTR text;
    EXPECT_EQ(source->get_FieldName(0, &text), E_INVALIDARG);
    EXPECT_EQ(made->AddField(bstr("")), S_OK) << "a document may say so; it is no field's name";
    EXPECT_EQ(source->get_FieldName(0, &text), S_OK);
    EXPECT_EQ(utf8(text), "");
    text.Empty();
    EXPECT_EQ(source->get_FieldName(1, &text), E_INVALIDARG);
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
