// The in-memory host itself: what tests rely on when they blame the library.
#include "memhost/messages.h"
#include "memhost/query_filter.h"
#include "memhost/table.h"
#include "memhost/workspace.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace {

using namespace memhost;

CComPtr<ICursor> cursorOf(TableObject& table, std::initializer_list<const char*> fields) {
    const auto filter = make<QueryFilter>();
    for (const char* field : fields) EXPECT_EQ(filter->AddField(bstr(field)), S_OK);
    CComPtr<ICursor> cursor;
    EXPECT_EQ(table.Update(filter, VARIANT_FALSE, &cursor), S_OK);
    return cursor;
}

Table twoRows() {
    Table table("T");
    table.field("A", VT_I4).field("B", VT_BSTR).row({1, "one"}).row({2});
    return table;
}

TEST(MemhostTest, rowsHaveTheValuesOfTheBuilder) {
    const auto table = twoRows().build();
    EXPECT_EQ(table->text(0, "A"), "I4 1");
    EXPECT_EQ(table->text(0, "B"), "\"one\"");
    EXPECT_EQ(table->text(1, "B"), "NULL") << "values left out are NULL";
    EXPECT_THROW(table->text(0, "C"), std::logic_error);
    EXPECT_THROW(twoRows().row({1, "x", 3}), std::logic_error);
}

TEST(MemhostTest, cursorReusesARowThatNobodyHolds) {
    const auto table = twoRows().build();
    const auto cursor = cursorOf(*table, {});
    CComPtr<IRow> row;
    ASSERT_EQ(cursor->NextRow(&row), S_OK);
    const IRow* first = row.p;
    row.Release();
    ASSERT_EQ(cursor->NextRow(&row), S_OK);
    EXPECT_EQ(row.p, first);
    CComPtr<IRow> end;
    EXPECT_EQ(cursor->NextRow(&end), S_FALSE);
    EXPECT_EQ(end.p, nullptr);
}

TEST(MemhostTest, cursorLeavesARowThatSomebodyHolds) {
    const auto table = twoRows().build();
    const auto cursor = cursorOf(*table, {});
    CComPtr<IRow> first;
    CComPtr<IRow> second;
    ASSERT_EQ(cursor->NextRow(&first), S_OK);
    ASSERT_EQ(cursor->NextRow(&second), S_OK);
    EXPECT_NE(first.p, second.p);
    CComVariant value;
    EXPECT_EQ(first->get_Value(0, &value), S_OK);
    EXPECT_EQ(value.lVal, 1);
}

TEST(MemhostTest, fieldThatWasNotAskedForFailsLoudly) {
    const auto table = twoRows().build();
    const auto cursor = cursorOf(*table, {"A"});
    CComPtr<IRow> row;
    ASSERT_EQ(cursor->NextRow(&row), S_OK);
    CComVariant value;
    EXPECT_EQ(row->get_Value(0, &value), S_OK);
    EXPECT_EQ(row->get_Value(1, &value), E_UNEXPECTED);
    EXPECT_EQ(table->unfetchedReads, 1);
}

TEST(MemhostTest, fieldThatWasNotAskedForByOption) {
    for (const auto& [answer, expected] : {std::pair{Unfetched::HasItsValue, "\"one\""}, {Unfetched::IsNull, "NULL"}}) {
        const auto table = twoRows().unfetched(answer).build();
        const auto cursor = cursorOf(*table, {"A"});
        CComPtr<IRow> row;
        ASSERT_EQ(cursor->NextRow(&row), S_OK);
        CComVariant value;
        EXPECT_EQ(row->get_Value(1, &value), S_OK);
        EXPECT_EQ(describe(value), expected);
    }
}

TEST(MemhostTest, whatWasPutReachesTheTableByUpdateOnly) {
    const auto table = twoRows().build();
    const auto cursor = cursorOf(*table, {});
    CComPtr<IRow> row;
    ASSERT_EQ(cursor->NextRow(&row), S_OK);
    EXPECT_EQ(row->put_Value(1, CComVariant(5)), S_OK);
    CComVariant value;
    EXPECT_EQ(row->get_Value(1, &value), S_OK);
    EXPECT_EQ(describe(value), "I4 5");
    EXPECT_EQ(table->text(0, "B"), "\"one\"");
    EXPECT_EQ(cursor->UpdateRow(row), S_OK);
    EXPECT_EQ(table->text(0, "B"), "I4 5");
    ASSERT_EQ(table->updates.size(), 1U);
    EXPECT_EQ(table->updates[0].id, 1);
    const auto other = twoRows().build();
    EXPECT_EQ(cursor->UpdateRow(other->row(0)), E_INVALIDARG) << "a row of another table";
}

TEST(MemhostTest, selectionGivesItsRowsInItsOrder) {
    const auto table = twoRows().build();
    CComPtr<ICursor> cursor;
    ASSERT_EQ(table->select({2, 99, 1})->Update(nullptr, VARIANT_FALSE, &cursor), S_OK);
    std::vector<LONG> seen;
    CComPtr<IRow> row;
    while (cursor->NextRow(&row) == S_OK) {
        CComVariant value;
        EXPECT_EQ(row->get_Value(0, &value), S_OK);
        seen.push_back(value.lVal);
        row.Release();
    }
    EXPECT_EQ(seen, (std::vector<LONG>{2, 1}));
}

TEST(MemhostTest, enumeratorGivesNothingBeforeReset) {
    const auto table = twoRows().build();
    CComPtr<IEnumIDs> ids;
    ASSERT_EQ(table->select({2, 1})->get_IDs(&ids), S_OK);
    ObjectId id = 0;
    EXPECT_EQ(ids->Next(&id), S_FALSE);
    EXPECT_EQ(ids->Reset(), S_OK);
    EXPECT_EQ(ids->Next(&id), S_OK);
    EXPECT_EQ(id, 2);
}

TEST(MemhostTest, faultClaimsTheNthCall) {
    const auto table = twoRows().build();
    const FaultScope fault({.op = Op::DatasetGetName, .status = E_ABORT, .nth = 2});
    const CallCount calls(Op::DatasetGetName);
    for (const HRESULT expected : {S_OK, E_ABORT, S_OK}) {
        CComBSTR name;
        EXPECT_EQ(table->get_Name(&name), expected);
        EXPECT_EQ(name.m_str != nullptr, expected == S_OK);
    }
    EXPECT_EQ(fault.hits(), 1);
    EXPECT_EQ(calls(), 3);
}

TEST(MemhostTest, faultEverAfter) {
    const auto table = twoRows().build();
    const FaultScope fault({.op = Op::Any, .nth = 2, .everAfter = true});
    LONG index = 7;
    EXPECT_EQ(table->FindField(bstr("A"), &index), S_OK);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(table->FindField(bstr("B"), &index), E_FAIL);
    EXPECT_EQ(index, -1);
    CComPtr<IDataset> dataset;
    EXPECT_EQ(table->QueryInterface(__uuidof(IDataset), reinterpret_cast<void**>(&dataset)), E_FAIL);
    EXPECT_EQ(fault.hits(), 2);
}

TEST(MemhostTest, faultsTreatOutValuesAsTold) {
    const auto table = twoRows().build();
    for (const auto& [out, expected] : {std::pair{Out::Null, -1}, {Out::Untouched, 7}, {Out::Filled, 1}}) {
        const FaultScope fault({.op = Op::ClassFindField, .out = out});
        LONG index = 7;
        EXPECT_EQ(table->FindField(bstr("B"), &index), E_FAIL);
        EXPECT_EQ(index, expected);
    }
}

TEST(MemhostTest, faultLeavesErrorInformation) {
    const auto table = twoRows().build();
    const FaultScope fault({.op = Op::DatasetGetName, .description = "J\xC3\xB8rgen has it"});
    CComBSTR name;
    EXPECT_EQ(table->get_Name(&name), E_FAIL);
    CComPtr<IErrorInfo> info;
    ASSERT_EQ(GetErrorInfo(0, &info), S_OK);
    CComBSTR description;
    EXPECT_EQ(info->GetDescription(&description), S_OK);
    EXPECT_EQ(utf8(description.m_str), "J\xC3\xB8rgen has it");
}

TEST(MemhostTest, hiddenInterfaceIsNotOffered) {
    const auto table = twoRows().build();
    EXPECT_TRUE(CComQIPtr<ISubtypes>(table->table()));
    table->hide<ISubtypes>();
    EXPECT_FALSE(CComQIPtr<ISubtypes>(table->table()));
    EXPECT_TRUE(CComQIPtr<IDataset>(table->table()));
}

TEST(MemhostTest, identityIsOneForAllInterfaces) {
    const auto table = twoRows().build();
    const CComPtr<ITable> asTable(table->table());
    EXPECT_TRUE(asTable.IsEqualObject(table->featureClass()));
    EXPECT_FALSE(asTable.IsEqualObject(twoRows().build()->featureClass()));
}

TEST(MemhostTest, serverNamesHaveThreeParts) {
    const auto server = make<Workspace>("DB", "ME");
    CComBSTR database;
    CComBSTR owner;
    CComBSTR name;
    EXPECT_EQ(server->ParseTableName(bstr("a.b.c"), &database, &owner, &name), S_OK);
    EXPECT_EQ(utf8(database.m_str) + '|' + utf8(owner.m_str) + '|' + utf8(name.m_str), "a|b|c");
    CComBSTR whole;
    EXPECT_EQ(server->QualifyTableName(nullptr, owner, name, &whole), S_OK);
    EXPECT_EQ(utf8(whole.m_str), "b.c");
    EXPECT_FALSE(CComQIPtr<IDatabaseConnectionInfo>(make<Workspace>(workspaceRemoteDatabase)->asWorkspace()));
    EXPECT_TRUE(CComQIPtr<IDatabaseConnectionInfo>(server->asWorkspace()));
}

TEST(MemhostTest, objectsAreCounted) {
    const std::size_t before = liveObjects();
    {
        const auto messages = make<Messages>();
        EXPECT_EQ(liveObjects(), before + 1);
    }
    EXPECT_EQ(liveObjects(), before);
}

}  // namespace
