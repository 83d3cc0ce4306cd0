// Cursors read rows ahead within a transaction. Whatever changes those rows meanwhile must be seen.
#include "host/chart.h"

namespace host_test {
namespace {

class ReadingAhead : public ChartTest {
protected:
    void putName(IRow* row, const std::string& name) {
        EXPECT_EQ(row->put_Value(fieldIndex(row, "name"), variant(name)), S_OK);
    }
    // The names of all rows to come; each row gets a symbol on the way.
    std::string walk(ICursor* cursor) {
        std::string names;
        while (const CComPtr<IRow> row = next(cursor)) {
            names += value(row, "name") + ' ';
            EXPECT_EQ(row->put_Value(fieldIndex(row, "SYMBOL_C"), variant("new")), S_OK);
            EXPECT_EQ(cursor->UpdateRow(row), S_OK) << errorText();
        }
        return names;
    }
};

TEST_F(ReadingAhead, SeesWhatATriggerDoesToTheNextRow) {
    open(6);
    sqlite(path_,
           "CREATE TRIGGER chain AFTER UPDATE OF SYMBOL_C ON BOYLAT BEGIN"
           " UPDATE BOYLAT SET name = NEW.name || '+' WHERE fid = NEW.fid + 1; END");
    workspace_->begin();
    EXPECT_EQ(walk(update(filter({"name", "SYMBOL_C"}))),
              "BSTR:Buoy 1 BSTR:Buoy 1+ BSTR:Buoy 1++ BSTR:Buoy 1+++ BSTR:Buoy 1++++ BSTR:Buoy 1+++++ ");
}

TEST_F(ReadingAhead, SeesRowsThatATriggerDeletesAndAdds) {
    open(6);
    sqlite(path_,
           "CREATE TRIGGER moves AFTER UPDATE OF SYMBOL_C ON BOYLAT WHEN NEW.fid < 10 BEGIN"
           " DELETE FROM BOYLAT WHERE fid = NEW.fid + 1; INSERT INTO BOYLAT (fid, name) VALUES (NEW.fid + 10, 'late'); "
           "END");
    workspace_->begin();
    EXPECT_EQ(walk(update(filter({"name", "SYMBOL_C"}))),
              "BSTR:Buoy 1 NULL BSTR:Buoy 5 BSTR:late BSTR:late BSTR:late ");
}

TEST_F(ReadingAhead, SeesWhatIsStoredInRowsToCome) {
    open(6);
    workspace_->begin();
    const CComPtr<ICursor> cursor = update(filter({"name"}));
    EXPECT_EQ(value(next(cursor), "name"), "BSTR:Buoy 1");
    const CComPtr<IRow> ahead = row(4);
    putName(ahead, "stored");
    EXPECT_EQ(ahead->Store(), S_OK) << errorText();
    for (int i = 2; i <= 3; ++i) EXPECT_EQ(value(next(cursor), "name"), "NULL");
    EXPECT_EQ(value(next(cursor), "name"), "BSTR:stored");
    EXPECT_EQ(value(next(cursor), "name"), "BSTR:Buoy 5");
}

TEST_F(ReadingAhead, SeesWhatAnotherCursorWritesAheadOfIt) {
    open(6);
    workspace_->begin();
    const CComPtr<ICursor> slow = update(filter({"name"}));
    EXPECT_EQ(value(next(slow), "name"), "BSTR:Buoy 1");
    const CComPtr<ICursor> fast = update(filter({"name"}));
    for (int i = 1; i <= 5; ++i) {
        const CComPtr<IRow> row = next(fast);
        putName(row, "fast");
        EXPECT_EQ(fast->UpdateRow(row), S_OK) << errorText();
    }
    for (int i = 2; i <= 5; ++i) EXPECT_EQ(value(next(slow), "name"), "BSTR:fast");
    EXPECT_EQ(value(next(slow), "name"), "BSTR:Buoy 6");
}

TEST_F(ReadingAhead, GoesOnWhenARowThatIsHeldIsWrittenLate) {
    open(6);
    workspace_->begin();
    const CComPtr<ICursor> cursor = update(filter({"name"}));
    const CComPtr<IRow> first = next(cursor);
    const CComPtr<IRow> second = next(cursor);
    putName(first, "late");
    EXPECT_EQ(cursor->UpdateRow(first), S_OK) << errorText();
    EXPECT_EQ(value(next(cursor), "name"), "NULL");
    EXPECT_EQ(value(next(cursor), "name"), "BSTR:Buoy 4");
    workspace_->commit();
    EXPECT_EQ(sqlite(path_, "SELECT group_concat(name) FROM BOYLAT").front(), "late,Buoy 4,Buoy 5,Buoy 6");
}

TEST_F(ReadingAhead, SeesThatATransactionWasRolledBack) {
    open(6);
    workspace_->begin();
    const CComPtr<IRow> ahead = row(4);
    putName(ahead, "undone");
    EXPECT_EQ(ahead->Store(), S_OK) << errorText();
    const CComPtr<ICursor> cursor = update(filter({"name"}));
    EXPECT_EQ(value(next(cursor), "name"), "BSTR:Buoy 1");
    workspace_->rollback();
    for (int i = 2; i <= 3; ++i) EXPECT_EQ(value(next(cursor), "name"), "NULL");
    EXPECT_EQ(value(next(cursor), "name"), "BSTR:Buoy 4");
}

TEST_F(ReadingAhead, AFieldThatIsMissedIsReadForTheSameRows) {
    open(70);
    workspace_->begin();
    const CComPtr<ICursor> cursor = update(filter({"name"}));
    for (int i = 1; i <= 70; ++i) {
        const CComPtr<IRow> row = next(cursor);
        const std::string number = std::to_string(i);
        const bool empty = i == 2 || i == 3;
        EXPECT_EQ(value(row, "name"), empty ? "NULL" : "BSTR:Buoy " + number);
        if (i % 20 == 0) {
            EXPECT_EQ(value(row, "number"), "I4:" + number);
        }
        if (i % 50 == 0) {
            EXPECT_EQ(value(row, "ratio"), "R8:" + number + ".5");
        }
    }
    EXPECT_FALSE(next(cursor));
}

}  // namespace
}  // namespace host_test
