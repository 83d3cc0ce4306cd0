// Values that a row stores already, in whatever form: nothing is written, and nothing is counted.
#include "host/chart.h"

namespace host_test {
namespace {

// Which of the host's ways to the rows of an SQLite file a table goes.
enum class Way { Statements, Features };

struct StoredRow {
    const char* name;
    const char* column;      // type as SQL declares it
    const char* stored;      // SQL
    const char* put;         // as a text; null: NULL
    const char* afterwards;  // quote() of the column
    std::int64_t changed;    // rows, by the first put; the second one never changes any
};

const StoredRow storedRows[] = {
    {"ARealAsText", "DOUBLE", "12.5", "12.50", "12.5", 0},
    {"AnotherReal", "DOUBLE", "12.5", "12.75", "12.75", 1},
    {"AWholeNumberAsText", "INTEGER", "7", " 7 ", "7", 0},
    {"AWholeNumberOfAReal", "MEDIUMINT", "7", "7.0", "7", 0},
    {"ASingle", "FLOAT", "0.25", "0.250", "0.25", 0},
    {"TheSameText", "TEXT", "'a'", "a", "'a'", 0},
    {"ATextInAnotherCase", "TEXT COLLATE NOCASE", "'a'", "A", "'A'", 1},
    {"ATextWithBlanksBehind", "TEXT COLLATE RTRIM", "'a'", "a ", "'a '", 1},
    {"ATextThatTheColumnMakesANumberOf", "STRING", "12.5", "12.50", "12.5", 0},
    {"AnotherTextThatTheColumnMakesANumberOf", "STRING", "12.5", "12.75", "12.75", 1},
    {"NullForNull", "TEXT", "NULL", nullptr, "NULL", 0},
    {"NullForText", "TEXT", "''", nullptr, "NULL", 1},
    {"TheEmptyTextForNull", "TEXT", "NULL", "", "''", 1},
    {"ADate", "DATE", "'2024-02-29'", "2024-02-29", "'2024-02-29'", 0},
    {"WhatIsNotOfTheColumnsType", "DOUBLE", "'abc'", "1.5", "1.5", 1},
};

void PrintTo(const StoredRow& row, std::ostream* out) {
    *out << row.name;
}

class StoredValues : public ChartTest, public testing::WithParamInterface<std::tuple<Way, StoredRow>> {
protected:
    static Way way() { return std::get<0>(GetParam()); }
    static const StoredRow& stored() { return std::get<1>(GetParam()); }

    // A table of one row; one with lists is read as GDAL's features.
    void makeTable() {
        path_ = folder_.file("chart.sqlite");
        makeChart(path_, 0, "SQLite");
        sqlite(path_, std::string("CREATE TABLE t (ogc_fid INTEGER PRIMARY KEY, c ") + stored().column +
                          (way() == Way::Features ? ", l JSONINTEGERLIST" : "") + "); INSERT INTO t (c) VALUES (" +
                          stored().stored + ")");
        sqlite(path_,
               "CREATE TABLE writes (n); CREATE TRIGGER noted AFTER UPDATE ON t BEGIN INSERT INTO writes VALUES (1); "
               "END");
        workspace_ = GdalWorkspace::open(path_, Access::Update);
    }

    // Puts the value into the row. \return how many rows that changed.
    std::int64_t put() {
        RunMonitor monitor;
        workspace_->watch(&monitor);
        workspace_->begin();
        {
            const CComPtr<ITable> table = openTable("t");
            CComPtr<ICursor> cursor;
            EXPECT_EQ(table->Update(nullptr, VARIANT_FALSE, &cursor), S_OK) << errorText();
            const CComPtr<IRow> row = next(cursor);
            if (!row) return -1;
            EXPECT_EQ(row->put_Value(fieldIndex(row, "c"), stored().put ? variant(stored().put) : nullVariant()), S_OK)
                << errorText();
            EXPECT_EQ(cursor->UpdateRow(row), S_OK) << errorText();
        }
        workspace_->commit();
        workspace_->watch(nullptr);
        EXPECT_EQ(monitor.failure, "");
        return monitor.changed;
    }
};

TEST_P(StoredValues, AreWrittenOnceAndCountedOnce) {
    makeTable();
    EXPECT_EQ(put(), stored().changed);
    EXPECT_EQ(sqlite(path_, "SELECT quote(c) FROM t").front(), stored().afterwards);
    EXPECT_EQ(put(), 0) << "again";
    EXPECT_EQ(sqlite(path_, "SELECT quote(c) FROM t").front(), stored().afterwards);
    EXPECT_EQ(sqlite(path_, "SELECT count(*) FROM writes").front(), std::to_string(stored().changed));
}

INSTANTIATE_TEST_SUITE_P(Sqlite, StoredValues,
                         testing::Combine(testing::Values(Way::Statements, Way::Features),
                                          testing::ValuesIn(storedRows)),
                         [](const auto& tested) {
                             return std::string(std::get<1>(tested.param).name) +
                                    (std::get<0>(tested.param) == Way::Features ? "AsFeature" : "");
                         });

class StoredRows : public ChartTest {};

TEST_F(StoredRows, OnlyTheRowsThatDifferAreChanged) {
    open(10);
    RunMonitor monitor;
    workspace_->watch(&monitor);
    workspace_->begin();
    {
        const CComPtr<ICursor> cursor = update(filter({"number"}));
        while (const CComPtr<IRow> row = next(cursor)) {
            EXPECT_EQ(row->put_Value(fieldIndex(row, "SYMBOL_C"), variant("old")), S_OK);  // rows 2 and 3 have none
            EXPECT_EQ(row->put_Value(fieldIndex(row, "Xoffset_C"), CComVariant(0.0)), S_OK);
            EXPECT_EQ(cursor->UpdateRow(row), S_OK) << errorText();
        }
    }
    workspace_->commit();
    workspace_->watch(nullptr);
    EXPECT_EQ(monitor.rows, 10);
    EXPECT_EQ(monitor.changed, 2);
    EXPECT_EQ(sqlite(path_, "SELECT count(*) FROM BOYLAT WHERE SYMBOL_C = 'old' AND Xoffset_C = 0").front(), "10");
}

TEST_F(StoredRows, AValueThatIsPutBackIsNoChange) {
    open(1);
    const CComPtr<IRow> first = row(1);
    EXPECT_EQ(first->put_Value(fieldIndex(first, "SYMBOL_C"), variant("new")), S_OK);
    EXPECT_EQ(first->put_Value(fieldIndex(first, "SYMBOL_C"), variant("old")), S_OK);
    sqlite(path_, "CREATE TRIGGER guard BEFORE UPDATE ON BOYLAT BEGIN SELECT RAISE(ABORT, 'guarded'); END");
    EXPECT_EQ(first->Store(), S_OK) << errorText();
    EXPECT_EQ(first->put_Value(fieldIndex(first, "SYMBOL_C"), variant("new")), S_OK);
    EXPECT_EQ(first->Store(), E_FAIL);
}

TEST_F(StoredRows, ARowThatATriggerKeepsIsNotGone) {
    open(2);
    sqlite(path_, "CREATE TRIGGER kept BEFORE UPDATE ON BOYLAT WHEN OLD.fid = 1 BEGIN SELECT RAISE(IGNORE); END");
    const CComPtr<IRow> first = row(1);
    EXPECT_EQ(first->put_Value(fieldIndex(first, "SYMBOL_C"), variant("new")), S_OK);
    EXPECT_EQ(first->Store(), E_FAIL);
    EXPECT_EQ(errorText(), path_ + ", layer BOYLAT: row 1 cannot be written: a trigger of the table keeps it as it is");
    const CComPtr<IRow> second = row(2);
    EXPECT_EQ(second->put_Value(fieldIndex(second, "SYMBOL_C"), variant("new")), S_OK);
    sqlite(path_, "DELETE FROM BOYLAT WHERE fid = 2");
    EXPECT_EQ(second->Store(), E_FAIL);
    EXPECT_EQ(errorText(), path_ + ", layer BOYLAT: row 2 cannot be written: it is gone");
}

}  // namespace
}  // namespace host_test
