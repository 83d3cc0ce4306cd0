// Where clauses that mean no good, and tables that go away or are locked while they are asked.
#include "host/chart.h"

#include "symbology/symbology_manager.h"

#include <sqlite3.h>
#include <fstream>
#include <functional>
#include <utility>

namespace host_test {
namespace {

/// Another program's connection to the file.
class Stranger {
public:
    explicit Stranger(const std::string& path) { EXPECT_EQ(sqlite3_open(path.c_str(), &connection_), SQLITE_OK); }
    ~Stranger() { sqlite3_close(connection_); }
    Stranger(const Stranger&) = delete;
    Stranger& operator=(const Stranger&) = delete;

    int run(const std::string& sql) { return sqlite3_exec(connection_, sql.c_str(), nullptr, nullptr, nullptr); }

private:
    sqlite3* connection_ = nullptr;
};

class HostileClauses : public ChartTest {
protected:
    void SetUp() override {
        open(20);
        sqlite(path_,
               "CREATE VIEW RED AS SELECT * FROM BOYLAT; INSERT INTO gpkg_contents (table_name, data_type, "
               "identifier) VALUES ('RED', 'attributes', 'RED')");
        workspace_ = GdalWorkspace::open(path_, Access::Update);
    }
    // The ids, or why there are none.
    std::string select(const char* layer, const std::string& where) {
        const CComPtr<ITable> table = openTable(layer);
        CComPtr<ISelectionSet> selection;
        if (FAILED(table->Select(filter({}, where), selectionIdSet, selectionAll, nullptr, &selection)))
            return errorText();
        return std::to_string(idsOf(selection).size()) + " rows";
    }
    std::string indexTables() {
        return sqlite(path_, "SELECT count(*) FROM sqlite_master WHERE name LIKE 'rtree_BOYLAT%'").front();
    }
    // The host can still do its own work.
    void expectWritable() {
        workspace_->begin();
        const CComPtr<ICursor> cursor = update(filter({"SYMBOL_C"}));
        const CComPtr<IRow> row = next(cursor);
        EXPECT_EQ(row->put_Value(fieldIndex(row, "SYMBOL_C"), variant("NEW")), S_OK) << errorText();
        EXPECT_EQ(cursor->UpdateRow(row), S_OK) << errorText();
        workspace_->commit();
        EXPECT_EQ(sqlite(path_, "SELECT count(*) FROM BOYLAT WHERE SYMBOL_C = 'NEW'").front(), "1");
        EXPECT_EQ(sqlite(path_, "PRAGMA integrity_check").front(), "ok");
    }
};

TEST_F(HostileClauses, FunctionsThatWriteAreRefused) {
    const std::string index = indexTables();
    ASSERT_NE(index, "0");
    const std::string systems = sqlite(path_, "SELECT count(*) FROM gpkg_spatial_ref_sys").front();
    for (const char* layer : {"BOYLAT", "RED"}) {
        for (const std::string function : {"DisableSpatialIndex", "CreateSpatialIndex"}) {
            const std::string said = select(layer, function + "('BOYLAT', 'geom') <> 9");
            EXPECT_EQ(said.find(" rows"), std::string::npos) << said;
            EXPECT_NE(said.find(function), std::string::npos) << said;
        }
        EXPECT_EQ(select(layer, "ImportFromEPSG(3395) <> 9").find(" rows"), std::string::npos);
    }
    expectWritable();
    workspace_.reset();  // GDAL drops indexes as late as this
    EXPECT_EQ(indexTables(), index);
    EXPECT_EQ(sqlite(path_, "SELECT count(*) FROM gpkg_spatial_ref_sys").front(), systems);
}

TEST_F(HostileClauses, ReadingIsAllowed) {
    EXPECT_EQ(select("BOYLAT", "fid IN (SELECT id FROM rtree_BOYLAT_geom WHERE minx > 15)"), "5 rows");
    EXPECT_EQ(select("BOYLAT",
                     "number IN (WITH RECURSIVE n(i) AS (SELECT 4 UNION ALL SELECT i + 1 FROM n WHERE i < 9) "
                     "SELECT i FROM n)"),
              "6 rows");
    EXPECT_EQ(select("RED", "number > (SELECT max(code) FROM NOTES) AND upper(name) LIKE 'BUOY 1%'"), "10 rows");
    expectWritable();
}

TEST_F(HostileClauses, RestrictedIdsAreGuardedToo) {
    const std::string index = indexTables();
    EXPECT_THROW(
        workspace_->select("BOYLAT", "DisableSpatialIndex('BOYLAT', 'geom') <> 9", std::vector<ObjectId>{1, 2}),
        HostError);
    EXPECT_THROW(workspace_->select("RED", "DisableSpatialIndex('BOYLAT', 'geom') <> 9", std::vector<ObjectId>{1, 2}),
                 HostError);
    workspace_.reset();
    EXPECT_EQ(indexTables(), index);
}

TEST_F(HostileClauses, ZeroDoesNotEndAClause) {
    const std::string zero("1)\0 AND 0", 9);
    EXPECT_EQ(select("BOYLAT", zero), path_ + ", layer BOYLAT: a zero character in a where clause");
    EXPECT_EQ(select("RED", zero), path_ + ", layer RED: a zero character in a where clause");
    expectWritable();
}

TEST_F(HostileClauses, SecondStatementIsRefused) {
    const std::string said = select("BOYLAT", "1); DELETE FROM NOTES; --");
    EXPECT_NE(said.find("not one SQL statement"), std::string::npos) << said;
    EXPECT_EQ(select("RED", "1); DELETE FROM NOTES; --").find(" rows"), std::string::npos);
    EXPECT_EQ(sqlite(path_, "SELECT count(*) FROM NOTES").front(), "2");
    expectWritable();
}

TEST_F(HostileClauses, LockedTableSaysSoAndCanBeAskedLater) {
    {
        const CComPtr<ITable> notes = openTable("NOTES");
        Stranger stranger(path_);
        ASSERT_EQ(stranger.run("BEGIN EXCLUSIVE"), SQLITE_OK);
        const std::string said = select("NOTES", "code = 1");
        EXPECT_NE(said.find("database is locked"), std::string::npos) << said;
        ASSERT_EQ(stranger.run("ROLLBACK"), SQLITE_OK);
    }
    EXPECT_EQ(select("NOTES", "code = 1"), "1 rows");
    expectWritable();
}

TEST_F(HostileClauses, TableThatIsGoneSaysSo) {
    const CComPtr<ITable> notes = openTable("NOTES");
    Stranger stranger(path_);
    ASSERT_EQ(stranger.run("DROP TABLE NOTES"), SQLITE_OK);
    CComPtr<ISelectionSet> selection;
    EXPECT_TRUE(FAILED(notes->Select(filter({}, "code = 1"), selectionIdSet, selectionAll, nullptr, &selection)));
    EXPECT_NE(errorText().find("no such table: NOTES"), std::string::npos);
    CComPtr<IRow> row;
    EXPECT_TRUE(FAILED(notes->GetRow(1, &row)));
    expectWritable();
}

/// Does something when the third row has a message.
class AtThirdRow final : public IGPMessages {
public:
    explicit AtThirdRow(std::function<void()> action) : action_(std::move(action)) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }  // it lives where it was declared
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE AddMessage(BSTR text) override {
        if (utf8(text) == "Field 'nowhere' referenced in CXML does not exist on BOYLAT." && ++rows_ == 3) action_();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE AddError(LONG, BSTR) override { return S_OK; }

private:
    std::function<void()> action_;
    int rows_ = 0;
};

/// The library over this host: rows of BOYLAT ask NOTES.
class QueriedTable : public ChartTest {
protected:
    void SetUp() override {
        open(6);
        const std::string path = folder_.file("document.cxml");
        std::ofstream(path) << "<conditionMap name='m'><featureClass name='Lateral buoys'><condition rulename='ALL'/>"
                               "<condition rulename='NOTED'><rule type='Q' operator='fetch' table='NOTES'>"
                               "<query>code = 1</query><fields><field name='text' alias='N.text'/></fields></rule>"
                               "<rule type='A' field='N.text' operator='equal' value='first'/></condition>"
                               "<condition><rule type='A' field='nowhere' operator='equal' value='1'/></condition>"
                               "</featureClass></conditionMap>";
        ASSERT_TRUE(manager_.loadCXML(bstr(path), nullptr));
    }
    // Has a stranger run SQL when two rows are done.
    int runAndMeanwhile(const std::string& sql, ISelectionSet* selection) {
        int status = -1;
        AtThirdRow messages([&] { status = Stranger(path_).run(sql); });
        RunMonitor monitor;
        workspace_->watch(&monitor);
        EXPECT_TRUE(manager_.symbolize(openClass(), selection, &messages));
        workspace_->watch(nullptr);
        EXPECT_EQ(monitor.failure, "");
        return status;
    }
    std::string symbols() {
        return sqlite(path_, "SELECT group_concat(SYMBOL_C, ' ') FROM (SELECT SYMBOL_C FROM BOYLAT ORDER BY fid)")
            .front();
    }
    SymbologyManager manager_;
};

TEST_F(QueriedTable, GoesAwayInMidRun) {
    // Without a transaction, and between two rows of a selection, nothing keeps it from that.
    const CComPtr<ISelectionSet> all = workspace_->select("BOYLAT", std::nullopt, std::nullopt);
    EXPECT_EQ(runAndMeanwhile("DROP TABLE NOTES", all), SQLITE_OK);
    EXPECT_EQ(symbols(), "NOTED NOTED ALL ALL ALL ALL");
    EXPECT_EQ(sqlite(path_, "PRAGMA integrity_check").front(), "ok");
}

TEST_F(QueriedTable, CannotGoAwayWhileTheRunIsATransaction) {
    workspace_->begin();
    EXPECT_EQ(runAndMeanwhile("DROP TABLE NOTES", nullptr), SQLITE_BUSY);
    workspace_->commit();
    EXPECT_EQ(symbols(), "NOTED NOTED NOTED NOTED NOTED NOTED");
    EXPECT_EQ(sqlite(path_, "SELECT count(*) FROM NOTES").front(), "2");
}

}  // namespace
}  // namespace host_test
