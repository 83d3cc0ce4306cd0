// Selection sets.
#include "host/chart.h"

namespace host_test {
namespace {

class Selections : public ChartTest {
protected:
    void SetUp() override { open(20); }

    CComPtr<ISelectionSet> select(const std::string& where, SelectionOption option = selectionAll) {
        CComPtr<ISelectionSet> selection;
        EXPECT_EQ(openTable()->Select(filter({}, where), selectionIdSet, option, nullptr, &selection), S_OK)
            << errorText();
        return selection;
    }
    static LONG countOf(ISelectionSet* selection) {
        LONG count = -1;
        EXPECT_EQ(selection->get_Count(&count), S_OK);
        return count;
    }
};

TEST_F(Selections, HoldTheirIdsInAscendingOrder) {
    const CComPtr<ISelectionSet> selection = select("number > 15 OR number < 5 AND number IS NOT NULL");
    EXPECT_EQ(idsOf(selection), (std::vector<ObjectId>{1, 4, 16, 17, 18, 19, 20}));
    EXPECT_EQ(countOf(selection), 7);
}

TEST_F(Selections, TakeOneRowOnly) {
    EXPECT_EQ(idsOf(select("number > 10", selectionOnlyOne)), std::vector<ObjectId>{11});
    EXPECT_EQ(countOf(select("number > 1000", selectionOnlyOne)), 0);
}

TEST_F(Selections, WithoutAFilterTakeAllRows) {
    CComPtr<ISelectionSet> selection;
    EXPECT_EQ(openTable()->Select(nullptr, selectionIdSet, selectionAll, nullptr, &selection), S_OK);
    EXPECT_EQ(countOf(selection), 20);
}

TEST_F(Selections, EnumerateFromTheStartAgainAfterReset) {
    const CComPtr<ISelectionSet> selection = select("fid < 3");
    CComPtr<IEnumIDs> ids;
    ASSERT_EQ(selection->get_IDs(&ids), S_OK);
    ObjectId id = 0;
    EXPECT_EQ(ids->Next(&id), S_OK);
    EXPECT_EQ(ids->Next(&id), S_OK);
    EXPECT_EQ(id, 2);
    EXPECT_EQ(ids->Next(&id), S_FALSE);
    EXPECT_EQ(ids->Next(nullptr), E_POINTER);
    EXPECT_EQ(ids->Reset(), S_OK);
    EXPECT_EQ(ids->Next(&id), S_OK);
    EXPECT_EQ(id, 1);
}

TEST_F(Selections, AnswerForWrongArguments) {
    CComPtr<ISelectionSet> selection;
    const CComPtr<ITable> table = openTable();
    EXPECT_EQ(table->Select(nullptr, static_cast<SelectionType>(2), selectionAll, nullptr, &selection), E_INVALIDARG);
    EXPECT_EQ(table->Select(nullptr, selectionIdSet, static_cast<SelectionOption>(3), nullptr, &selection),
              E_INVALIDARG);
    EXPECT_EQ(table->Select(nullptr, selectionIdSet, selectionAll, nullptr, nullptr), E_POINTER);
    const CComPtr<ISelectionSet> all = select("");
    EXPECT_EQ(all->get_Count(nullptr), E_POINTER);
    EXPECT_EQ(all->get_IDs(nullptr), E_POINTER);
}

TEST_F(Selections, AClauseThatDoesNotParseFailsWithAText) {
    CComPtr<ISelectionSet> selection;
    EXPECT_EQ(openTable()->Select(filter({}, "depth > 3"), selectionIdSet, selectionAll, nullptr, &selection), E_FAIL);
    EXPECT_FALSE(selection);
    EXPECT_EQ(errorText(), path_ + ", layer BOYLAT: where clause \"depth > 3\": no such column: depth");
}

TEST_F(Selections, UpdateTheirRowsAndNoOthers) {
    const CComPtr<ISelectionSet2> selection = as<ISelectionSet2>(select("fid IN (4, 7, 9)"));
    ASSERT_TRUE(selection);
    CComPtr<ICursor> cursor;
    ASSERT_EQ(selection->Update(filter({"SYMBOL_C"}), VARIANT_FALSE, &cursor), S_OK);
    while (const CComPtr<IRow> row = next(cursor)) {
        EXPECT_EQ(row->put_Value(fieldIndex(row, "SYMBOL_C"), variant("new")), S_OK);
        EXPECT_EQ(cursor->UpdateRow(row), S_OK);
    }
    EXPECT_EQ(sqlite(path_, "SELECT fid FROM BOYLAT WHERE SYMBOL_C = 'new'"),
              (std::vector<std::string>{"4", "7", "9"}));
}

TEST_F(Selections, TheFiltersClauseNarrowsThem) {
    const CComPtr<ISelectionSet2> selection = as<ISelectionSet2>(select("fid < 10"));
    CComPtr<ICursor> cursor;
    ASSERT_EQ(selection->Update(filter({"fid"}, "number > 7"), VARIANT_FALSE, &cursor), S_OK);
    EXPECT_EQ(value(next(cursor), "fid"), "I8:8");
    EXPECT_EQ(value(next(cursor), "fid"), "I8:9");
    EXPECT_FALSE(next(cursor));
    cursor.Release();
    EXPECT_EQ(selection->Update(filter({}, "depth > 7"), VARIANT_FALSE, &cursor), E_FAIL);
    EXPECT_EQ(errorText(), path_ + ", layer BOYLAT: where clause \"depth > 7\": no such column: depth");
}

TEST_F(Selections, ByIdsAreSortedUniqueAndWithoutWhatIsMissing) {
    using Ids = std::vector<ObjectId>;
    EXPECT_EQ(idsOf(workspace_->select("BOYLAT", std::nullopt, Ids{9, 4, 4, 99, -1, 7})), (Ids{4, 7, 9}));
    EXPECT_EQ(idsOf(workspace_->select("BOYLAT", "number <> 7", Ids{9, 4, 7})), (Ids{4, 9}));
    EXPECT_EQ(idsOf(workspace_->select("BOYLAT", std::nullopt, Ids{})), Ids{});
    EXPECT_EQ(idsOf(workspace_->select("BOYLAT", "number < 5", std::nullopt)), (Ids{1, 4}));
    EXPECT_EQ(idsOf(workspace_->select("BOYLAT", std::nullopt, std::nullopt)).size(), 20U);
    EXPECT_THROW(workspace_->select("BOYLAT", "depth > 3", Ids{1}), HostError);
    EXPECT_THROW(workspace_->select("nowhere", std::nullopt, std::nullopt), HostError);
}

TEST_F(Selections, ByManyIds) {
    std::vector<ObjectId> ids;
    for (ObjectId id = 100000; id > 0; --id) ids.push_back(id);
    EXPECT_EQ(idsOf(workspace_->select("BOYLAT", std::nullopt, ids)).size(), 20U);
}

TEST_F(Selections, ARowDeletedSinceIsPassedOver) {
    const CComPtr<ISelectionSet2> selection = as<ISelectionSet2>(select("fid < 4"));
    sqlite(path_, "DELETE FROM BOYLAT WHERE fid = 2");
    CComPtr<ICursor> cursor;
    ASSERT_EQ(selection->Update(nullptr, VARIANT_FALSE, &cursor), S_OK);
    EXPECT_EQ(value(next(cursor), "fid"), "I8:1");
    EXPECT_EQ(value(next(cursor), "fid"), "I8:3");
    EXPECT_FALSE(next(cursor));
}

}  // namespace
}  // namespace host_test
