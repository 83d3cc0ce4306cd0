// Triggers that are set aside while rows are written, and those that are not.
#include "host/chart.h"
#include "host/geodatabase/sqlite/sqlite_triggers.h"

#include <sqlite3.h>

namespace host_test {
namespace {

using embedded_host::Column;
using embedded_host::ColumnType;
using embedded_host::TableSchema;
using embedded_host::triggersAreIdle;

struct TriggerCase {
    const char* name;
    const char* sql;  // after CREATE TRIGGER
    bool idle;
};

constexpr TriggerCase triggerCases[] = {
    {"ofTheGeometry", "x AFTER UPDATE OF \"geom\" ON \"t\" WHEN NEW.geom NOTNULL BEGIN SELECT 1; END", true},
    {"ofAColumn", "x AFTER UPDATE OF \"SYMBOL_C\" ON t BEGIN SELECT 1; END", false},
    {"ofAColumnInAnotherCase", "x AFTER UPDATE OF symbol_c ON t BEGIN SELECT 1; END", false},
    {"ofTheGeometryAndAColumn", "x AFTER UPDATE OF geom, SYMBOL_C ON t BEGIN SELECT 1; END", false},
    {"ofAnything", "x AFTER UPDATE ON t BEGIN SELECT 1; END", false},
    {"beforeUpdate", "x BEFORE UPDATE OF geom ON t BEGIN SELECT 1; END", false},
    {"withoutATime", "x UPDATE OF geom ON t BEGIN SELECT 1; END", false},
    {"ofInsertion", "x AFTER INSERT ON t BEGIN SELECT 1; END", true},
    {"ofDeletion", "x AFTER DELETE ON t BEGIN SELECT 1; END", true},
    {"whenTheKeyChanges",
     "x AFTER UPDATE ON t WHEN OLD.\"fid\" != NEW.\"fid\" AND (NEW.geom NOTNULL) BEGIN SELECT 1; END", true},
    {"whenTheKeyChangesInOtherLetters",
     "\"x y\" after\n update on\tT when old.FID != new.fid and (new.geom isnull) begin SELECT 1; END", true},
    {"whenTheKeyChangesOrNot", "x AFTER UPDATE ON t WHEN OLD.fid != NEW.fid AND (1) OR (1) BEGIN SELECT 1; END", false},
    {"whenTheKeyStays", "x AFTER UPDATE ON t WHEN OLD.fid = NEW.fid AND (1) BEGIN SELECT 1; END", false},
    {"whenAnotherColumnChanges", "x AFTER UPDATE ON t WHEN OLD.SYMBOL_C != NEW.SYMBOL_C AND (1) BEGIN SELECT 1; END",
     false},
    {"whenTwoColumnsDiffer", "x AFTER UPDATE ON t WHEN OLD.fid != NEW.SYMBOL_C AND (1) BEGIN SELECT 1; END", false},
    {"withABracketInAString",
     "x AFTER UPDATE ON t WHEN OLD.fid != NEW.fid AND (')' = '') OR ('(' = '(') BEGIN SELECT 1; END", false},
    {"withAComment", "x AFTER UPDATE ON t WHEN OLD.fid != NEW.fid AND (1 /* ) BEGIN ( */) OR 1 BEGIN SELECT 1; END",
     false},
};

class Triggers : public testing::TestWithParam<TriggerCase> {};

TEST_P(Triggers, areIdleOrNot) {
    sqlite3* file = nullptr;
    ASSERT_EQ(sqlite3_open(":memory:", &file), SQLITE_OK);
    const std::string sql =
        std::string("CREATE TABLE t (fid INTEGER PRIMARY KEY, geom BLOB, SYMBOL_C TEXT); CREATE TRIGGER ") +
        GetParam().sql;
    ASSERT_EQ(sqlite3_exec(file, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(file);
    const TableSchema schema({Column{"SYMBOL_C", ColumnType::Text}}, "fid");
    EXPECT_EQ(triggersAreIdle(file, "t", "fid", schema), GetParam().idle);
    sqlite3_close(file);
}

INSTANTIATE_TEST_SUITE_P(All, Triggers, testing::ValuesIn(triggerCases),
                         [](const auto& one) { return std::string(one.param.name); });

TEST(TriggersOfAConnection, countToo) {
    sqlite3* file = nullptr;
    ASSERT_EQ(sqlite3_open(":memory:", &file), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(file,
                           "CREATE TABLE t (fid INTEGER PRIMARY KEY, SYMBOL_C TEXT);"
                           "CREATE TEMP TRIGGER x AFTER UPDATE ON t BEGIN SELECT 1; END",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    EXPECT_FALSE(triggersAreIdle(file, "T", "fid", TableSchema({Column{"SYMBOL_C", ColumnType::Text}}, "fid")));
    sqlite3_close(file);
}

class IdleTriggers : public ChartTest {
protected:
    // Puts `symbol` into every row within a transaction; the status of the last write.
    HRESULT updateAll(const char* symbol) {
        HRESULT status = S_OK;
        workspace_->begin();
        CComPtr<ICursor> cursor = update(filter({"SYMBOL_C"}));
        while (const CComPtr<IRow> row = next(cursor)) {
            EXPECT_EQ(row->put_Value(fieldIndex(row, "SYMBOL_C"), variant(symbol)), S_OK);
            status = cursor->UpdateRow(row);
            if (FAILED(status)) break;
        }
        cursor.Release();
        if (SUCCEEDED(status)) workspace_->commit();
        return status;
    }
    std::string one(const std::string& sql) { return sqlite(path_, sql).front(); }
};

TEST_F(IdleTriggers, AreAsTheyWereAndTheSpatialIndexToo) {
    open(40);
    const std::vector<std::string> triggers = sqlite(path_, "SELECT sql FROM sqlite_master ORDER BY rowid");
    const std::vector<std::string> index =
        sqlite(path_, "SELECT id || ' ' || minx || ' ' || maxy FROM rtree_BOYLAT_geom ORDER BY id");
    ASSERT_FALSE(index.empty());
    EXPECT_EQ(updateAll("new"), S_OK) << errorText();
    EXPECT_EQ(sqlite(path_, "SELECT sql FROM sqlite_master ORDER BY rowid"), triggers);
    EXPECT_EQ(sqlite(path_, "SELECT id || ' ' || minx || ' ' || maxy FROM rtree_BOYLAT_geom ORDER BY id"), index);
    EXPECT_EQ(one("SELECT count(*) FROM BOYLAT WHERE SYMBOL_C = 'new'"), "40");
}

TEST_F(IdleTriggers, TheOwnersTriggerFiresForEveryRow) {
    open(40);
    sqlite(path_,
           "CREATE TABLE journal (line TEXT); CREATE TRIGGER note AFTER UPDATE ON BOYLAT BEGIN"
           " INSERT INTO journal VALUES (OLD.SYMBOL_C || '>' || NEW.SYMBOL_C); END");
    EXPECT_EQ(updateAll("new"), S_OK) << errorText();
    EXPECT_EQ(one("SELECT count(*) || ' ' || count(line) FROM journal"), "40 38");  // two rows held NULL
}

TEST_F(IdleTriggers, ATriggerThatComesBetweenTwoTransactionsFires) {
    open(40);
    const CComPtr<IFeatureClass> held = openClass();  // its statements too
    EXPECT_EQ(updateAll("first"), S_OK) << errorText();
    sqlite(path_,
           "CREATE TABLE journal (line TEXT); CREATE TRIGGER note AFTER UPDATE OF SYMBOL_C ON BOYLAT BEGIN"
           " INSERT INTO journal VALUES (NEW.SYMBOL_C); END");
    EXPECT_EQ(updateAll("second"), S_OK) << errorText();
    EXPECT_EQ(one("SELECT count(*) FROM journal WHERE line = 'second'"), "40");
    sqlite(path_, "DROP TRIGGER note");
    EXPECT_EQ(updateAll("third"), S_OK) << errorText();
    EXPECT_EQ(one("SELECT count(*) FROM journal"), "40");
}

TEST_F(IdleTriggers, OneThatNamesWhatDoesNotExistStopsTheWritingAllTheSame) {
    open(40);
    const CComPtr<IFeatureClass> held = openClass();  // its statements too
    const char* const broken =
        "CREATE TRIGGER broken AFTER UPDATE ON BOYLAT WHEN OLD.fid != NEW.fid AND (1) BEGIN DELETE FROM nowhere; END";
    sqlite(path_, broken);
    EXPECT_EQ(updateAll("first"), E_FAIL);
    EXPECT_NE(errorText().find("no such table: main.nowhere"), std::string::npos);
    workspace_->rollback();
    sqlite(path_, "DROP TRIGGER broken");
    EXPECT_EQ(updateAll("second"), S_OK) << errorText();
    sqlite(path_, broken);
    EXPECT_EQ(updateAll("third"), E_FAIL);
    workspace_->rollback();
    EXPECT_EQ(one("SELECT count(*) FROM BOYLAT WHERE SYMBOL_C = 'second'"), "40");
}

TEST_F(IdleTriggers, AnotherTableOfTheSameTransactionHasItsOwn) {
    open(40);
    sqlite(path_,
           "CREATE TABLE journal (line TEXT); CREATE TRIGGER note AFTER UPDATE ON NOTES BEGIN"
           " INSERT INTO journal VALUES (NEW.fid); END");
    workspace_->begin();
    const CComPtr<ICursor> boys = update(filter({"SYMBOL_C"}));
    for (const ObjectId note : {1, 2}) {
        const CComPtr<IRow> boy = next(boys);
        EXPECT_EQ(boy->put_Value(fieldIndex(boy, "SYMBOL_C"), variant("new")), S_OK);
        EXPECT_EQ(boys->UpdateRow(boy), S_OK) << errorText();
        const CComPtr<IRow> other = row(note, "NOTES");
        EXPECT_EQ(other->put_Value(0, nullVariant()), S_OK);
        EXPECT_EQ(other->Store(), S_OK) << errorText();
    }
    workspace_->commit();
    EXPECT_EQ(one("SELECT group_concat(line) FROM journal"), "1,2");
}

}  // namespace
}  // namespace host_test
