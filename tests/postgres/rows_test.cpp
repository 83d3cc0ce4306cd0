// Rows on a real server: values of every type, cursors over many blocks, questions in the middle of a run.
#include "host/geodatabase/gdal_workspace.h"
#include "postgres/database.h"

#include <algorithm>
#include <numeric>

namespace postgres_test {
namespace {

using embedded_host::FieldKind;
using embedded_host::HostError;
using embedded_host::RunMonitor;
using host_test::as;
using host_test::errorText;
using host_test::fieldIndex;
using host_test::filter;
using host_test::idsOf;
using host_test::next;
using host_test::nullVariant;
using host_test::value;
using host_test::variant;
using std::string;
using std::vector;

class RowsTest : public DatabaseTest {
protected:
    CComPtr<ITable> table(const string& layer) { return as<ITable>(workspace_->openFeatureClass(layer, std::nullopt)); }
    CComPtr<ICursor> update(const CComPtr<ITable>& table, IQueryFilter* filter) {
        CComPtr<ICursor> cursor;
        EXPECT_EQ(table->Update(filter, VARIANT_FALSE, &cursor), S_OK) << errorText();
        return cursor;
    }
    CComPtr<IRow> row(const string& layer, ObjectId id) {
        CComPtr<IRow> found;
        EXPECT_EQ(table(layer)->GetRow(id, &found), S_OK) << errorText();
        return found;
    }
    static HRESULT put(IRow* row, const char* field, const CComVariant& value) {
        return row->put_Value(fieldIndex(row, field), value);
    }
    vector<ObjectId> selected(const string& layer, const string& where) {
        return idsOf(workspace_->select(layer, where, std::nullopt));
    }
    void makeBuoys(int rows) {
        sql("CREATE TABLE buoys (id serial PRIMARY KEY, catlam int, colour text, symbol_c text, geom geometry)");
        sql("INSERT INTO buoys (catlam, colour) SELECT i % 4, 'colour ' || i FROM generate_series(1, " +
            std::to_string(rows) + ") AS i");
        workspace_ = open();
    }

    std::shared_ptr<GdalWorkspace> workspace_;
};

struct TypeRow {
    const char* type;
    const char* stored;   // SQL
    const char* read;     // as the host shows it
    const char* written;  // put as a text
    const char* after;    // the column's text afterwards; null: refused
};

const TypeRow types[] = {
    {"bool", "true", "BOOL:true", "0", "false"},
    {"int2", "-7", "I2:-7", "32767", "32767"},
    {"int4", "2147483647", "I4:2147483647", "-5", "-5"},
    {"int8", "9007199254740993", "I8:9007199254740993", "-1", "-1"},
    {"float4", "0.25", "R4:0.25", "1.5", "1.5"},
    {"float8", "0.1", "R8:0.1", "0.3", "0.3"},
    {"numeric(6,0)", "123456", "I4:123456", "7", "7"},
    {"numeric(12,0)", "123456789012", "I8:123456789012", "7", "7"},
    {"numeric", "12.5", "R8:12.5", "0.25", "0.25"},
    {"text", "'Müller, ''x'''", "BSTR:Müller, 'x'", "a\\b\"c", "a\\b\"c"},
    {"text", "''", "BSTR:", "", ""},
    {"varchar(3)", "'abc'", "BSTR:abc", "äöü", "äöü"},
    {"varchar(3)", "'abc'", "BSTR:abc", "abcd", nullptr},
    {"char(4)", "'ab'", "BSTR:ab  ", "cd", "cd"},  // the text of a char has no trailing blanks
    {"date", "'2024-02-29'", "DATE:45351", "2024-03-01", "2024-03-01"},
    {"time", "'12:00'", "DATE:0.5", "06:00:00", "06:00:00"},
    {"timestamp", "'2024-02-29 12:00'", "DATE:45351.5", "2024-03-01 06:00:00", "2024-03-01 06:00:00"},
    {"timestamptz", "'2024-02-29 12:00+00'", "DATE:45351.5", "2024-03-01 06:00:00", "2024-03-01 06:00:00+00"},
    {"int4[]", "'{3,4,3}'", "BSTR:3,4,3", "1,2", "{1,2}"},
    {"int4[]", "'{}'", "BSTR:", "5", "{5}"},
    {"text[]", "'{a,\"b c\"}'", "BSTR:a,b c", "x,y\"z", "{x,\"y\\\"z\"}"},
    {"float8[]", "'{0.5,2}'", "BSTR:0.5,2", "1.5", "{1.5}"},
    {"uuid", "'00000000-0000-0000-0000-000000000001'", "BSTR:00000000-0000-0000-0000-000000000001",
     "00000000-0000-0000-0000-000000000002", "00000000-0000-0000-0000-000000000002"},
    {"jsonb", "'{\"a\": 1}'", "BSTR:{\"a\": 1}", "[2]", "[2]"},
    {"colour", "'red'", "BSTR:red", "green", "green"},
    {"shortname", "'ab'", "BSTR:ab", "xy", "xy"},
};

TEST_F(RowsTest, ValuesOfEveryType) {
    sql("CREATE TYPE colour AS ENUM ('red', 'green'); CREATE DOMAIN shortname AS varchar(4)");
    string columns;
    string values;
    for (std::size_t i = 0; i < std::size(types); ++i) {
        columns += ", c" + std::to_string(i) + ' ' + types[i].type;
        values += string(", ") + types[i].stored;
    }
    sql("CREATE TABLE kinds (id int PRIMARY KEY" + columns + "); INSERT INTO kinds VALUES (1" + values +
        "); INSERT INTO kinds VALUES (2); SET TimeZone = 'UTC'");
    workspace_ = open();
    for (std::size_t i = 0; i < std::size(types); ++i) {
        const TypeRow& type = types[i];
        const string column = "c" + std::to_string(i);
        SCOPED_TRACE(string(type.type) + " " + type.stored);
        const CComPtr<IRow> full = row("kinds", 1);
        EXPECT_EQ(value(full, column.c_str()), type.read);
        EXPECT_EQ(value(row("kinds", 2), column.c_str()), "NULL");
        const HRESULT put = RowsTest::put(full, column.c_str(), variant(type.written));
        EXPECT_EQ(SUCCEEDED(put), type.after != nullptr) << errorText();
        if (!type.after) continue;
        EXPECT_EQ(full->Store(), S_OK) << errorText();
        EXPECT_EQ(sql("SELECT " + column + "::text FROM kinds WHERE id = 1"), vector<string>{type.after});
        EXPECT_EQ(RowsTest::put(full, column.c_str(), nullVariant()), S_OK);
        EXPECT_EQ(full->Store(), S_OK) << errorText();
        EXPECT_EQ(sql("SELECT " + column + "::text FROM kinds WHERE id = 1"), vector<string>{"-"});
    }
}

TEST_F(RowsTest, BinaryDataIsNeitherReadNorWritten) {
    sql("CREATE TABLE pictures (id int PRIMARY KEY, picture bytea); INSERT INTO pictures VALUES (1, '\\x00ff')");
    workspace_ = open();
    const CComPtr<IRow> found = row("pictures", 1);
    EXPECT_EQ(put(found, "picture", variant("x")), DISP_E_TYPEMISMATCH);
    CComVariant read;
    EXPECT_EQ(found->get_Value(fieldIndex(found, "picture"), &read), DISP_E_TYPEMISMATCH);
}

TEST_F(RowsTest, FoldedNamesAreFoundInTheDocumentsSpelling) {
    makeBuoys(1);
    const CComPtr<IRow> found = row("buoys", 1);
    EXPECT_EQ(fieldIndex(found, "SYMBOL_C"), fieldIndex(found, "symbol_c"));
    EXPECT_EQ(value(found, "CatLam"), "I4:1");
    EXPECT_EQ(workspace_->addFields("buoys", {{"SYMBOL_C", FieldKind::Text}, {"Xoffset_C", FieldKind::Real}}), 1U);
    EXPECT_EQ(sql("SELECT attname, format_type(atttypid, NULL) FROM pg_attribute WHERE attname ILIKE 'xoffset_c'"),
              vector<string>{"xoffset_c|double precision"});
}

TEST_F(RowsTest, ACursorGivesEachRowOnceOverManyBlocks) {
    constexpr int count = 9000;
    makeBuoys(count);
    sql("DELETE FROM buoys WHERE id BETWEEN 500 AND 599");
    workspace_->begin();
    {
        const CComPtr<ICursor> cursor = update(table("buoys"), filter({"catlam"}));
        vector<ObjectId> ids;
        while (const CComPtr<IRow> row = next(cursor)) {
            const string id = value(row, "id").substr(3);
            ids.push_back(std::stoll(id));
            // A column that the filter did not name is asked for from some row on.
            if (ids.size() >= 3000) {
                EXPECT_EQ(value(row, "colour"), "BSTR:colour " + id);
            }
            EXPECT_EQ(put(row, "symbol_c", variant("S" + id)), S_OK);
            EXPECT_EQ(cursor->UpdateRow(row), S_OK) << errorText();
        }
        vector<ObjectId> expected(count);
        std::iota(expected.begin(), expected.end(), 1);
        std::erase_if(expected, [](ObjectId id) { return id >= 500 && id <= 599; });
        EXPECT_EQ(ids, expected);
    }
    EXPECT_EQ(sql("SELECT count(*) FROM buoys WHERE symbol_c IS NOT NULL"), vector<string>{"0"}) << "not yet";
    workspace_->commit();
    EXPECT_EQ(sql("SELECT count(*) FROM buoys WHERE symbol_c = 'S' || id"),
              vector<string>{std::to_string(count - 100)});
}

TEST_F(RowsTest, SelectionsOfAnySize) {
    makeBuoys(25'000);
    EXPECT_EQ(selected("buoys", "").size(), 25'000U);
    EXPECT_EQ(selected("buoys", "CATLAM = 2 -- a comment").size(), 6250U);
    EXPECT_EQ(selected("buoys", "catlam = 9"), vector<ObjectId>{});
    const vector<ObjectId> ids{7, 3, 99'999, 3};
    EXPECT_EQ(idsOf(workspace_->select("buoys", "catlam = 3", ids)), (vector<ObjectId>{3, 7}));
    try {
        selected("buoys", "nothing = 1");
        FAIL();
    } catch (const HostError& error) {
        EXPECT_EQ(string(error.what()), workspace_->name() +
                                            ", layer buoys: where clause \"nothing = 1\": ERROR: column \"nothing\" "
                                            "does not exist");
    }
    EXPECT_EQ(selected("buoys", "id = 1"), vector<ObjectId>{1}) << "after a failure";
    const string cut("id = 1)\0", 8);
    EXPECT_THROW(selected("buoys", cut), HostError);
    EXPECT_THROW(workspace_->select("buoys", cut, ids), HostError);
}

TEST_F(RowsTest, QuestionsInARunSeeWhatWasWrittenAndMayFail) {
    constexpr int count = 150;
    makeBuoys(count);
    RunMonitor monitor;
    workspace_->watch(&monitor);
    workspace_->begin();
    {
        const CComPtr<ITable> buoys = table("buoys");
        const CComPtr<ICursor> cursor = update(buoys, filter({"catlam"}));
        for (int i = 1; i <= count; ++i) {
            const CComPtr<IRow> row = next(cursor);
            ASSERT_TRUE(row);
            EXPECT_EQ(put(row, "symbol_c", variant("done")), S_OK);
            EXPECT_EQ(cursor->UpdateRow(row), S_OK);
            CComPtr<ISelectionSet> written;
            EXPECT_EQ(buoys->Select(filter({}, "SYMBOL_C = 'done'"), selectionIdSet, selectionAll, nullptr, &written),
                      S_OK);
            EXPECT_EQ(idsOf(written).size(), static_cast<std::size_t>(i));
            CComPtr<ISelectionSet> wrong;
            const string clause = i % 2 == 0 ? "colour = 'it's'" : "1 / (catlam - catlam) = 1";
            EXPECT_EQ(buoys->Select(filter({}, clause), selectionIdSet, selectionOnlyOne, nullptr, &wrong), E_FAIL);
        }
        EXPECT_FALSE(next(cursor));
    }
    EXPECT_EQ(monitor.failure, "");
    workspace_->commit();
    workspace_->watch(nullptr);
    EXPECT_EQ(sql("SELECT count(*) FROM buoys WHERE symbol_c = 'done'"), vector<string>{std::to_string(count)});
}

TEST_F(RowsTest, AViewCanBeAskedButNotRunOver) {
    makeBuoys(20);
    sql("CREATE VIEW red AS SELECT catlam, colour AS name FROM buoys WHERE catlam = 1");
    const CComPtr<ITable> red = table("red");
    CComPtr<ISelectionSet> all;
    EXPECT_EQ(red->Select(filter({}, "name <> 'colour 5'"), selectionIdSet, selectionAll, nullptr, &all), S_OK);
    vector<string> names;
    for (const ObjectId id : idsOf(all)) names.push_back(value(row("red", id), "NAME"));
    std::ranges::sort(names);
    EXPECT_EQ(names, (vector<string>{"BSTR:colour 1", "BSTR:colour 13", "BSTR:colour 17", "BSTR:colour 9"}));
    CComPtr<ICursor> cursor;
    EXPECT_EQ(red->Update(nullptr, VARIANT_FALSE, &cursor), E_FAIL);
    EXPECT_EQ(errorText(), workspace_->name() +
                               ", layer red: it has no column of whole numbers that is unique and "
                               "not NULL: its rows cannot be written");
}

TEST_F(RowsTest, RowsInNoOrderAndTheSameRowAgain) {
    makeBuoys(10);
    workspace_->begin();
    for (const int id : {5, 3, 3, 9, 5}) {
        const CComPtr<IRow> found = row("buoys", id);
        EXPECT_EQ(put(found, "symbol_c", variant(value(found, "symbol_c") == "NULL" ? "once" : "again")), S_OK);
        EXPECT_EQ(found->Store(), S_OK) << errorText();
    }
    for (const int id : {9, 4, 9}) {  // nothing is read between these
        const CComPtr<IRow> found = row("buoys", id);
        EXPECT_EQ(put(found, "catlam", variant(std::to_string(100 + id))), S_OK);
        EXPECT_EQ(found->Store(), S_OK) << errorText();
        EXPECT_EQ(put(found, "catlam", variant(std::to_string(200 + id))), S_OK);
        EXPECT_EQ(found->Store(), S_OK) << errorText();
    }
    workspace_->commit();
    EXPECT_EQ(sql("SELECT id, catlam, symbol_c FROM buoys WHERE symbol_c IS NOT NULL OR catlam > 100 ORDER BY id"),
              (vector<string>{"3|3|again", "4|204|-", "5|1|again", "9|209|once"}));
}

TEST_F(RowsTest, RollbackAndClosingLeaveNothing) {
    makeBuoys(5);
    for (const bool rollback : {true, false}) {
        workspace_->begin();
        {
            const CComPtr<IRow> found = row("buoys", 1);
            EXPECT_EQ(put(found, "symbol_c", variant("x")), S_OK);
            EXPECT_EQ(found->Store(), S_OK);
        }
        if (rollback)
            workspace_->rollback();
        else
            workspace_.reset();
        EXPECT_EQ(sql("SELECT count(*) FROM buoys WHERE symbol_c IS NOT NULL"), vector<string>{"0"});
    }
}

TEST_F(RowsTest, AReaderMayNotWrite) {
    makeBuoys(5);
    workspace_ = open(Access::Read);
    EXPECT_THROW(workspace_->begin(), HostError);
    CComPtr<ICursor> cursor;
    EXPECT_EQ(table("buoys")->Update(nullptr, VARIANT_FALSE, &cursor), E_ACCESSDENIED);
    EXPECT_THROW(workspace_->addFields("buoys", {{"more", FieldKind::Text}}), HostError);
}

TEST_F(RowsTest, WithoutATransactionEveryRowIsOne) {
    makeBuoys(200);
    const CComPtr<ICursor> cursor = update(table("buoys"), nullptr);
    for (int i = 1; i <= 200; ++i) {
        const CComPtr<IRow> row = next(cursor);
        ASSERT_TRUE(row);
        EXPECT_EQ(put(row, "symbol_c", variant("x")), S_OK);
        EXPECT_EQ(cursor->UpdateRow(row), S_OK);
        if (i % 50 != 0) continue;
        EXPECT_EQ(sql("SELECT count(*) FROM buoys WHERE symbol_c = 'x'"), vector<string>{std::to_string(i)});
    }
}

TEST_F(RowsTest, ATextWithAZeroIsRefusedAndTheOthersArriveWhole) {
    makeBuoys(3);
    workspace_->begin();
    {
        const CComPtr<ICursor> cursor = update(table("buoys"), nullptr);
        for (int i = 1; i <= 3; ++i) {
            const CComPtr<IRow> row = next(cursor);
            ASSERT_TRUE(row);
            EXPECT_EQ(put(row, "catlam", variant("9")), S_OK);
            EXPECT_EQ(put(row, "symbol_c", variant(i == 2 ? string("a\0b", 3) : "good")), S_OK);
            EXPECT_EQ(cursor->UpdateRow(row), i == 2 ? E_FAIL : S_OK);
        }
    }
    EXPECT_NE(errorText().find("field symbol_c: the server cannot hold a text with a zero character"), string::npos);
    workspace_->commit();
    EXPECT_EQ(sql("SELECT id, catlam, symbol_c FROM buoys ORDER BY id"),
              (vector<string>{"1|9|good", "2|2|-", "3|9|good"}));
}

TEST_F(RowsTest, ACursorThatIsLeftInItsMiddleKeepsNothingAlive) {
    makeBuoys(3000);
    for (const bool inTransaction : {false, true}) {
        if (inTransaction) workspace_->begin();
        const CComPtr<ICursor> cursor = update(table("buoys"), nullptr);
        for (int i = 0; i < 100; ++i) EXPECT_TRUE(next(cursor));
    }
    workspace_.reset();
    const vector<string> connections{"1"};  // the test's own
    const string count = "SELECT count(*) FROM pg_stat_activity WHERE datname = current_database()";
    for (int i = 0; i < 100 && sql(count) != connections; ++i) sql("SELECT pg_sleep(0.02)");
    EXPECT_EQ(sql(count), connections);
}

TEST_F(RowsTest, AConnectionThatIsCutWhileNobodyWaitsForItEndsTheRunWithTheServersWords) {
    makeBuoys(20'000);
    RunMonitor monitor;
    workspace_->watch(&monitor);
    workspace_->begin();
    {
        const CComPtr<ICursor> cursor = update(table("buoys"), nullptr);
        int rows = 0;
        for (CComPtr<IRow> row; cursor->NextRow(&row) == S_OK; row.Release()) {
            EXPECT_EQ(put(row, "symbol_c", variant("x")), S_OK);
            cursor->UpdateRow(row);
            if (++rows == 5000) cutConnections();
        }
        EXPECT_LT(rows, 20'000);
    }
    EXPECT_THROW(workspace_->commit(), HostError);
    workspace_->watch(nullptr);
    const string words = "FATAL: terminating connection due to administrator command";
    EXPECT_NE(monitor.failure.find(", layer buoys: "), string::npos) << monitor.failure;
    EXPECT_NE(monitor.failure.find(words), string::npos) << monitor.failure;
    EXPECT_EQ(sql("SELECT count(*) FROM buoys WHERE symbol_c IS NOT NULL"), vector<string>{"0"});
}

TEST_F(RowsTest, WhatTheServerRefusesEndsTheRun) {
    makeBuoys(100);
    sql("ALTER TABLE buoys ADD CHECK (symbol_c <> 'bad')");
    RunMonitor monitor;
    workspace_->watch(&monitor);
    workspace_->begin();
    {
        const CComPtr<ICursor> cursor = update(table("buoys"), nullptr);
        for (int i = 1; i <= 100; ++i) {
            const CComPtr<IRow> row = next(cursor);
            ASSERT_TRUE(row);
            EXPECT_EQ(put(row, "symbol_c", variant(i == 70 ? "bad" : "good")), S_OK);
            EXPECT_EQ(cursor->UpdateRow(row), S_OK) << "the server has not seen it";
        }
        CComPtr<IRow> none;
        EXPECT_EQ(cursor->NextRow(&none), E_FAIL) << "the end of the rows, when all was sent";
        EXPECT_EQ(errorText(), monitor.failure);
    }
    EXPECT_THROW(workspace_->commit(), HostError);
    workspace_->watch(nullptr);
    const string expected = workspace_->name() +
                            ", layer buoys: rows 1 to 100 cannot be written: ERROR: new row for relation \"buoys\" "
                            "violates check constraint";
    EXPECT_EQ(monitor.failure.substr(0, expected.size()), expected);
    EXPECT_EQ(sql("SELECT count(*) FROM buoys WHERE symbol_c IS NOT NULL"), vector<string>{"0"});
    workspace_->begin();  // the next run is a new one
    workspace_->commit();
}

}  // namespace
}  // namespace postgres_test
