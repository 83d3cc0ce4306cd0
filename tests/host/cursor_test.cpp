// The update cursor.
#include "host/chart.h"

#include <malloc.h>
#include <atomic>
#include <filesystem>
#include <fstream>

namespace host_test {
namespace {

class Cursors : public ChartTest {
protected:
    // Puts `symbol` into every row of a cursor; the ids in the order in which they came.
    std::vector<ObjectId> updateAll(const CComPtr<IQueryFilter>& rows, const std::string& symbol) {
        std::vector<ObjectId> ids;
        workspace_->begin();
        CComPtr<ICursor> cursor = update(rows);
        while (const CComPtr<IRow> row = next(cursor)) {
            CComVariant id;
            EXPECT_EQ(row->get_Value(fieldIndex(row, "fid"), &id), S_OK);
            ids.push_back(id.llVal);
            EXPECT_EQ(row->put_Value(fieldIndex(row, "SYMBOL_C"), variant(symbol)), S_OK);
            EXPECT_EQ(cursor->UpdateRow(row), S_OK) << errorText();
        }
        cursor.Release();
        workspace_->commit();
        return ids;
    }
    static std::vector<ObjectId> oneTo(ObjectId last) {
        std::vector<ObjectId> ids;
        for (ObjectId id = 1; id <= last; ++id) ids.push_back(id);
        return ids;
    }
    // What is allocated and not freed. AddressSanitizer's own allocator is not counted: there it stays 0.
    static std::size_t heapKilobytes() {
        const struct mallinfo2 heap = mallinfo2();
        return (heap.uordblks + heap.hblkhd) / 1024;
    }
};

TEST_F(Cursors, GiveEveryRowOnceInTheOrderOfTheIds) {
    open(10);
    EXPECT_EQ(updateAll(nullptr, "new"), oneTo(10));
    EXPECT_EQ(sqlite(path_, "SELECT count(*) FROM BOYLAT WHERE SYMBOL_C = 'new'").front(), "10");
}

TEST_F(Cursors, StayAtTheEnd) {
    open(1);
    const CComPtr<ICursor> cursor = update();
    EXPECT_TRUE(next(cursor));
    for (int i = 0; i < 3; ++i) EXPECT_FALSE(next(cursor));
    EXPECT_EQ(cursor->NextRow(nullptr), E_POINTER);
}

TEST_F(Cursors, AnEmptyTableEndsAtOnce) {
    open(0);
    EXPECT_FALSE(next(update()));
}

TEST_F(Cursors, AFieldThatWasNotAskedForGivesItsTrueValueAllTheSame) {
    open(10);
    const CComPtr<ICursor> cursor = update(filter({"name"}));
    for (int n = 1; n <= 10; ++n) {
        const CComPtr<IRow> row = next(cursor);
        const bool empty = n == 2 || n == 3;
        EXPECT_EQ(value(row, "name"), empty ? "NULL" : "BSTR:Buoy " + std::to_string(n));
        EXPECT_EQ(value(row, "ratio"), empty ? "NULL" : "R8:" + std::to_string(n) + ".5");
        if (n > 5) {
            EXPECT_EQ(value(row, "number"), "I4:" + std::to_string(n));
        }
    }
    EXPECT_FALSE(next(cursor));
}

TEST_F(Cursors, NamesThatTheTableLacksArePassedOver) {
    open(1);
    const CComPtr<IRow> row = next(update(filter({"nowhere", "NAME", "name"})));
    EXPECT_EQ(value(row, "name"), "BSTR:Buoy 1");
    EXPECT_EQ(fieldIndex(row, "nowhere"), -1);
}

TEST_F(Cursors, UpdateRowWritesOnlyWhatWasPut) {
    open(1);
    const CComPtr<ICursor> cursor = update(filter({"SYMBOL_C"}, "fid = 1"));
    const CComPtr<IRow> row = next(cursor);
    sqlite(path_, "UPDATE BOYLAT SET name = 'changed by another' WHERE fid = 1");
    EXPECT_EQ(row->put_Value(fieldIndex(row, "SYMBOL_C"), variant("new")), S_OK);
    EXPECT_EQ(cursor->UpdateRow(row), S_OK) << errorText();
    EXPECT_EQ(sqlite(path_, "SELECT name || ',' || SYMBOL_C || ',' || (geom IS NOT NULL) FROM BOYLAT").front(),
              "changed by another,new,1");
}

TEST_F(Cursors, TheWhereClauseSettlesTheRowsBeforeTheFirstIsChanged) {
    open(1000);
    sqlite(path_,
           "CREATE INDEX symbols ON BOYLAT (SYMBOL_C); UPDATE BOYLAT SET SYMBOL_C = 'b' WHERE fid % 2 = 0;"
           "UPDATE BOYLAT SET SYMBOL_C = 'a' WHERE fid % 2 = 1");
    // Each update moves its row within the index that the clause uses, ahead of where a reader of it would be.
    EXPECT_EQ(updateAll(filter({"SYMBOL_C"}, "SYMBOL_C >= 'a'"), "z"), oneTo(1000));
    // And each of these takes its row out of the clause.
    EXPECT_EQ(updateAll(filter({"SYMBOL_C"}, "SYMBOL_C = 'z'"), "c"), oneTo(1000));
    // Here the clause of every row looks at all the others.
    EXPECT_EQ(updateAll(filter({"SYMBOL_C"}, "EXISTS (SELECT 1 FROM BOYLAT o WHERE o.SYMBOL_C = 'c')"), "d"),
              oneTo(1000));
    EXPECT_EQ(sqlite(path_, "SELECT count(*) FROM BOYLAT WHERE SYMBOL_C = 'd'").front(), "1000");
}

TEST_F(Cursors, AWholeTableWithAnIndexOnTheChangedField) {
    open(1000);
    sqlite(path_, "CREATE INDEX symbols ON BOYLAT (SYMBOL_C)");
    EXPECT_EQ(updateAll(filter({"SYMBOL_C"}), "z"), oneTo(1000));
}

TEST_F(Cursors, TwoCursorsAndASelectionOnOneTableDoNotDisturbEachOther) {
    open(50);
    const CComPtr<ICursor> outer = update(filter({"name"}));
    int rows = 0;
    while (const CComPtr<IRow> row = next(outer)) {
        ++rows;
        CComPtr<ISelectionSet> selection;
        EXPECT_EQ(openTable()->Select(filter({}, "fid = " + std::to_string(rows)), selectionIdSet, selectionAll,
                                      nullptr, &selection),
                  S_OK);
        EXPECT_EQ(idsOf(selection), std::vector<ObjectId>{rows});
        const CComPtr<ICursor> inner = update(filter({"number"}, "fid > 48"));
        EXPECT_EQ(value(next(inner), "fid"), "I8:49");
    }
    EXPECT_EQ(rows, 50);
}

TEST_F(Cursors, WithoutRecyclingARowThatIsHeldStaysWhatItIs) {
    open(10);
    const CComPtr<ICursor> cursor = update();
    const CComPtr<IRow> first = next(cursor);
    const CComPtr<IRow> second = next(cursor);
    EXPECT_FALSE(first.IsEqualObject(second));
    EXPECT_EQ(value(first, "name"), "BSTR:Buoy 1");
    EXPECT_EQ(first->put_Value(fieldIndex(first, "name"), variant("late")), S_OK);
    EXPECT_EQ(cursor->UpdateRow(first), S_OK);
    EXPECT_EQ(sqlite(path_, "SELECT name FROM BOYLAT WHERE fid = 1").front(), "late");
}

TEST_F(Cursors, WithRecyclingOneRowObjectServesAll) {
    open(10);
    const CComPtr<ICursor> cursor = update(nullptr, true);
    const CComPtr<IRow> first = next(cursor);
    EXPECT_EQ(value(first, "fid"), "I8:1");
    EXPECT_TRUE(first.IsEqualObject(next(cursor)));
    EXPECT_EQ(value(first, "fid"), "I8:2");
}

TEST_F(Cursors, AReleasedRowObjectIsUsedAgainWithoutItsFormerContent) {
    open(4);
    const CComPtr<ICursor> cursor = update(filter({"number"}));
    CComPtr<IRow> row = next(cursor);
    const IRow* const address = row;
    EXPECT_EQ(value(row, "name"), "BSTR:Buoy 1");
    EXPECT_EQ(row->put_Value(fieldIndex(row, "SYMBOL_C"), variant("never written")), S_OK);
    row.Release();
    row = next(cursor);
    EXPECT_EQ(row.p, address);
    EXPECT_EQ(value(row, "SYMBOL_C"), "NULL");
    EXPECT_EQ(value(row, "name"), "NULL");
    EXPECT_EQ(cursor->UpdateRow(row), S_OK);
    EXPECT_EQ(sqlite(path_, "SELECT count(*) FROM BOYLAT WHERE SYMBOL_C = 'never written'").front(), "0");
}

TEST_F(Cursors, RowsShareTheirFieldsAndTheirTable) {
    open(2);
    const CComPtr<ITable> table = openTable();
    CComPtr<ICursor> cursor;
    ASSERT_EQ(table->Update(nullptr, VARIANT_FALSE, &cursor), S_OK);
    CComPtr<IFields> ofTable;
    ASSERT_EQ(table->get_Fields(&ofTable), S_OK);
    while (const CComPtr<IRow> row = next(cursor)) {
        CComPtr<IFields> fields;
        CComPtr<ITable> owner;
        EXPECT_EQ(row->get_Fields(&fields), S_OK);
        EXPECT_EQ(row->get_Table(&owner), S_OK);
        EXPECT_EQ(fields.p, ofTable.p);
        EXPECT_EQ(owner.p, table.p);
    }
}

TEST_F(Cursors, ARowOfAnotherCursorIsRefused) {
    open(4);
    const CComPtr<ICursor> mine = update();
    const CComPtr<ICursor> other = update();
    const CComPtr<IRow> row = next(other);
    EXPECT_EQ(mine->UpdateRow(row), E_INVALIDARG);
    EXPECT_EQ(errorText(), path_ + ", layer BOYLAT: the row is not one of this cursor's");
    EXPECT_EQ(mine->UpdateRow(nullptr), E_POINTER);
}

TEST_F(Cursors, AClauseThatDoesNotParseFailsWithTheDatabasesWords) {
    open(1);
    const std::vector<std::pair<std::string, std::string>> clauses{{"SYMBOL_C = ", "near \""},
                                                                   {"nowhere = 1", "no such column: nowhere"},
                                                                   {"\"nowhere\" = 'x'", "no such column: "},
                                                                   {"1) ; DROP TABLE BOYLAT; --", "near \""},
                                                                   {"nofunction(1)", "no such function: nofunction"}};
    for (const auto& [clause, words] : clauses) {
        CComPtr<ICursor> cursor;
        EXPECT_EQ(openTable()->Update(filter({}, clause), VARIANT_FALSE, &cursor), E_FAIL) << clause;
        EXPECT_FALSE(cursor);
        const std::string text = errorText();
        EXPECT_TRUE(text.starts_with(path_ + ", layer BOYLAT: where clause \"" + clause + "\": ")) << text;
        EXPECT_TRUE(clause.find(';') != std::string::npos || text.find(words) != std::string::npos) << text;
    }
    EXPECT_EQ(sqlite(path_, "SELECT count(*) FROM BOYLAT").front(), "1");
    EXPECT_EQ(idsOf(workspace_->select("BOYLAT", "fid = 1 -- with a comment", std::nullopt)), std::vector<ObjectId>{1});
}

TEST_F(Cursors, AFilterOfAnotherMakerIsRefused) {
    open(1);
    CComPtr<ICursor> cursor;
    struct Foreign final : IQueryFilter {
        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
        ULONG STDMETHODCALLTYPE Release() override { return 1; }
        HRESULT STDMETHODCALLTYPE AddField(BSTR) override { return S_OK; }
        HRESULT STDMETHODCALLTYPE put_WhereClause(BSTR) override { return S_OK; }
    } foreign;
    EXPECT_EQ(openTable()->Update(&foreign, VARIANT_FALSE, &cursor), E_NOINTERFACE);
    EXPECT_EQ(errorText(), "the query filter is not one of this host's");
}

TEST_F(Cursors, TellTheRunMonitorWhatHappens) {
    open(5000);
    RunMonitor monitor;
    std::vector<std::int64_t> progress;
    monitor.onProgress = [&](std::int64_t rows) { progress.push_back(rows); };
    workspace_->watch(&monitor);
    workspace_->begin();
    CComPtr<ICursor> cursor = update(filter({"SYMBOL_C"}));
    int n = 0;
    while (const CComPtr<IRow> row = next(cursor)) {
        if (++n % 2 == 0) {
            EXPECT_EQ(row->put_Value(fieldIndex(row, "SYMBOL_C"), variant("even")), S_OK);
        }
        EXPECT_EQ(cursor->UpdateRow(row), S_OK);
    }
    cursor.Release();
    workspace_->commit();
    workspace_->watch(nullptr);
    EXPECT_EQ(monitor.rows, 5000);
    EXPECT_EQ(monitor.changed, 2500);
    EXPECT_EQ(monitor.failure, "");
    EXPECT_EQ(progress, std::vector<std::int64_t>{4096});
}

TEST_F(Cursors, AWriteThatFailsIsKeptByTheMonitor) {
    open(4);
    sqlite(path_,
           "CREATE TRIGGER guard BEFORE UPDATE OF SYMBOL_C ON BOYLAT WHEN OLD.fid > 2 "
           "BEGIN SELECT RAISE(ABORT, 'row is guarded'); END");
    RunMonitor monitor;
    workspace_->watch(&monitor);
    const CComPtr<ICursor> cursor = update();
    int failures = 0;
    while (const CComPtr<IRow> row = next(cursor)) {
        EXPECT_EQ(row->put_Value(fieldIndex(row, "SYMBOL_C"), variant("new")), S_OK);
        if (cursor->UpdateRow(row) == E_FAIL) {
            ++failures;
            EXPECT_NE(errorText(), "");
        }
    }
    EXPECT_EQ(failures, 2);
    EXPECT_EQ(monitor.changed, 2);
    EXPECT_EQ(monitor.failure, path_ + ", layer BOYLAT: row 3 cannot be written: row is guarded");
    workspace_->watch(nullptr);
}

TEST_F(Cursors, AReadThatFailsIsKeptByTheMonitor) {
    for (const char* where : {"", "fid > 0"}) {
        makeChart(path_, 5000);
        const auto size = static_cast<std::streamoff>(std::filesystem::file_size(path_));
        std::fstream(path_, std::ios::in | std::ios::out | std::ios::binary)
            .seekp(size / 2)
            .write(std::string(65536, '\xFF').data(), 65536);
        workspace_ = GdalWorkspace::open(path_, Access::Update);
        RunMonitor monitor;
        workspace_->watch(&monitor);
        CComPtr<ICursor> cursor;
        CComPtr<IRow> row;
        HRESULT hr = openTable()->Update(filter({"name"}, where), VARIANT_FALSE, &cursor);
        while (hr == S_OK) {
            row.Release();
            hr = cursor->NextRow(&row);
        }
        EXPECT_EQ(hr, E_FAIL);
        EXPECT_FALSE(row);
        const std::string text = errorText();
        EXPECT_TRUE(text.starts_with(path_ + ", layer BOYLAT: ")) << text;
        EXPECT_TRUE(text.ends_with("database disk image is malformed")) << text;
        if (cursor) {
            EXPECT_GT(monitor.rows, 100);
            EXPECT_EQ(monitor.failure, text);
            EXPECT_EQ(cursor->NextRow(&row), S_FALSE);
        }
        workspace_->watch(nullptr);
        cursor.Release();
        workspace_.reset();
        std::filesystem::remove(path_);
    }
}

TEST_F(Cursors, ARowThatIsGoneCannotBeWritten) {
    open(4);
    const CComPtr<ICursor> cursor = update(filter({"SYMBOL_C"}, "fid < 3"));
    const CComPtr<IRow> row = next(cursor);
    sqlite(path_, "DELETE FROM BOYLAT WHERE fid < 3");
    EXPECT_EQ(row->put_Value(fieldIndex(row, "SYMBOL_C"), variant("new")), S_OK);
    EXPECT_EQ(cursor->UpdateRow(row), E_FAIL);
    EXPECT_EQ(errorText(), path_ + ", layer BOYLAT: row 1 cannot be written: it is gone");
    EXPECT_FALSE(next(cursor));
}

TEST_F(Cursors, StopEndsTheRunWithAbort) {
    open(10);
    std::atomic<bool> stop{false};
    RunMonitor monitor;
    monitor.stop = &stop;
    workspace_->watch(&monitor);
    const CComPtr<ICursor> cursor = update();
    EXPECT_TRUE(next(cursor));
    stop = true;
    CComPtr<IRow> row;
    EXPECT_EQ(cursor->NextRow(&row), E_ABORT);
    EXPECT_FALSE(row);
    EXPECT_EQ(errorText(), path_ + ", layer BOYLAT: stopped");
    EXPECT_EQ(monitor.rows, 1);
    workspace_->watch(nullptr);
}

TEST_F(Cursors, RowsMayOutliveTheirCursorAndItsMonitor) {
    open(2);
    CComPtr<IRow> row;
    {
        RunMonitor monitor;
        workspace_->watch(&monitor);
        row = next(update(filter({"number"})));
        workspace_->watch(nullptr);
    }
    EXPECT_EQ(value(row, "name"), "BSTR:Buoy 1");
}

TEST_F(Cursors, AReadOnlyDatasetGivesNoUpdateCursor) {
    open(1, Access::Read);
    CComPtr<ICursor> cursor;
    EXPECT_EQ(openTable()->Update(nullptr, VARIANT_FALSE, &cursor), E_ACCESSDENIED);
    EXPECT_EQ(errorText(), path_ + ": the dataset is open for reading only");
    const CComPtr<IRow> first = row(1);
    EXPECT_EQ(first->put_Value(fieldIndex(first, "name"), variant("x")), S_OK);
    EXPECT_EQ(first->Store(), E_ACCESSDENIED);
}

TEST_F(Cursors, ManyRowsNeedNoMoreMemoryThanFew) {
    open(0);
    sqlite(path_,
           "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 300000) "
           "INSERT INTO NOTES (code, text) SELECT i, printf('%0200d', i) FROM n");
    workspace_->begin();
    CComPtr<ICursor> cursor;
    ASSERT_EQ(openTable("NOTES")->Update(filter({"text"}), VARIANT_FALSE, &cursor), S_OK);
    std::size_t early = 0;
    int rows = 0;
    while (const CComPtr<IRow> row = next(cursor)) {
        ASSERT_EQ(row->put_Value(0, CComVariant(-rows)), S_OK);
        ASSERT_EQ(cursor->UpdateRow(row), S_OK);
        if (++rows == 50000) early = heapKilobytes();
    }
    EXPECT_EQ(rows, 300002);
    EXPECT_LT(heapKilobytes(), early + 4096);  // the texts alone are 60 megabytes
    cursor.Release();
    workspace_->commit();
}

}  // namespace
}  // namespace host_test
