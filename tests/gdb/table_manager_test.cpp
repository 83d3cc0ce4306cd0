// CXTableManager: opening tables once, attaching the table of a row, and letting go of everything.
#include "gdb/table_manager.h"

#include "memhost/table.h"
#include "memhost/workspace.h"
#include "support/loaded_map.h"

#include <gtest/gtest.h>

namespace {

using ConditionalXml::CXTableManager;
using memhost::bstr;
using memhost::FaultScope;
using memhost::make;
using memhost::Op;
using memhost::Out;
using memhost::Table;
using memhost::TableObject;
using memhost::Workspace;
using std::string;
using std::vector;

class TableManagerTest : public testing::Test {
protected:
    TableManagerTest() {
        workspace->add(datasetTable, lights);
        workspace->add(datasetFeatureClass, buoys);
    }
    /// A manager after the preparation of a run over the buoys.
    void prepare() { manager.prepare(workspace, buoys->table(), bstr("BUOY")); }

    CComPtr<TableObject> lights = Table("Lights").build();
    CComPtr<TableObject> buoys = Table("Boylat").alias("Buoy").symbologyFields().row({}).build();
    CComPtr<Workspace> workspace = make<Workspace>(workspaceFileSystem);
    CXTableManager manager;
};

TEST_F(TableManagerTest, newOneIsEmptyAndReachesNothing) {
    EXPECT_EQ(manager.workspace.p, nullptr);
    EXPECT_TRUE(manager.tables.empty());
    EXPECT_EQ(manager.getTable(bstr("Lights")), nullptr);
    EXPECT_TRUE(manager.tables.empty());
}

TEST_F(TableManagerTest, prepareEntersTheTableUnderItsName) {
    prepare();
    EXPECT_EQ(manager.workspace.p, workspace.p);
    EXPECT_EQ(textsOf(manager.tables), vector<string>{"BUOY"});
    EXPECT_EQ(manager.getTable(bstr("BUOY")), buoys->table());
    EXPECT_TRUE(workspace->opened.empty());
}

TEST_F(TableManagerTest, prepareReplacesWhatStoodThere) {
    prepare();
    const auto other = make<Workspace>(workspaceLocalDatabase);
    manager.prepare(other, lights->table(), bstr("BUOY"));
    EXPECT_EQ(manager.workspace.p, other.p);
    EXPECT_EQ(manager.getTable(bstr("BUOY")), lights->table());
}

TEST_F(TableManagerTest, tableIsOpenedOnce) {
    prepare();
    EXPECT_EQ(manager.getTable(bstr("Lights")), lights->table());
    EXPECT_EQ(manager.getTable(bstr("Lights")), lights->table());
    EXPECT_EQ(workspace->opened, vector<string>{"table Lights"});
    EXPECT_EQ(lights->references(), 3U) << "the test, the workspace and the manager hold it";
}

TEST_F(TableManagerTest, tableThatDoesNotExistIsAskedForEachTime) {
    prepare();
    EXPECT_EQ(manager.getTable(bstr("Wrecks")), nullptr);
    EXPECT_EQ(manager.getTable(bstr("Wrecks")), nullptr);
    EXPECT_EQ(workspace->opened, (vector<string>{"table Wrecks", "table Wrecks"}));
    EXPECT_EQ(textsOf(manager.tables), vector<string>{"BUOY"});
}

TEST_F(TableManagerTest, namesAreCaseSensitive) {
    prepare();
    manager.attach(buoys->row(0));
    EXPECT_EQ(manager.getTable(bstr("BOYLAT")), buoys->table()) << "the symbolized table, known in upper case";
    EXPECT_TRUE(workspace->opened.empty());
    EXPECT_EQ(manager.getTable(bstr("lights")), nullptr);
    EXPECT_EQ(workspace->opened, vector<string>{"table lights"});
}

TEST_F(TableManagerTest, otherSpellingOfTheSymbolizedTableOpensItAgain) {
    const auto again = Table("Boylat").build();
    workspace->add(datasetTable, again);
    prepare();
    manager.attach(buoys->row(0));
    EXPECT_EQ(manager.getTable(bstr("Boylat")), again->table());
    EXPECT_EQ(textsOf(manager.tables), (vector<string>{"Boylat", "BOYLAT", "BUOY"}));
}

TEST_F(TableManagerTest, workspaceWithoutFeaturesOpensNothing) {
    prepare();
    workspace->hide<IFeatureWorkspace>();
    EXPECT_EQ(manager.getTable(bstr("Lights")), nullptr);
    EXPECT_TRUE(workspace->opened.empty());
}

TEST_F(TableManagerTest, failureToOpenIsNull) {
    prepare();
    for (const Out out : {Out::Null, Out::Untouched, Out::Filled}) {
        const FaultScope fault({.op = Op::OpenTable, .out = out});
        EXPECT_EQ(manager.getTable(bstr("Lights")), nullptr);
    }
    {
        const FaultScope fault({.op = Op::OpenTable, .status = S_OK});  // says yes and gives nothing
        EXPECT_EQ(manager.getTable(bstr("Lights")), nullptr);
    }
    EXPECT_EQ(textsOf(manager.tables), vector<string>{"BUOY"});
    EXPECT_EQ(manager.getTable(bstr("Lights")), lights->table());
}

TEST_F(TableManagerTest, attachTakesTheWorkspaceAndTheUpperCaseName) {
    const auto row = buoys->row(0);
    manager.attach(row);
    EXPECT_EQ(manager.workspace.p, workspace.p);
    EXPECT_EQ(textsOf(manager.tables), vector<string>{"BOYLAT"});
    EXPECT_EQ(memhost::utf8(manager.attachedName().m_str), "Boylat");
}

TEST_F(TableManagerTest, attachedNamesInUpperCase) {
    const struct {
        const char* name;
        const char* key;
    } rows[] = {{"w", "W"}, {"wk", "WK"}, {"s\xC3\xB8kort", "S\xC3\x98KORT"}};
    for (const auto& row : rows) {
        manager.reset();
        const auto table = Table(row.name).row({}).build();
        manager.attach(table->row(0));
        EXPECT_EQ(textsOf(manager.tables), vector<string>{row.key});
    }
}

TEST_F(TableManagerTest, attachReplacesATableOfTheSameName) {
    const auto other = Table("BOYLAT").row({}).build();
    manager.attach(buoys->row(0));
    manager.attach(other->row(0));
    EXPECT_EQ(textsOf(manager.tables), vector<string>{"BOYLAT"});
    EXPECT_EQ(manager.getTable(bstr("BOYLAT")), other->table());
    EXPECT_NE(manager.workspace.p, workspace.p);
    EXPECT_EQ(buoys->references(), 2U) << "the manager has let go of it";
}

TEST_F(TableManagerTest, tablesOpenedBeforeStayWhileRowsChange) {
    prepare();
    manager.getTable(bstr("Lights"));
    manager.attach(buoys->row(0));
    manager.attach(buoys->row(0));
    EXPECT_EQ(textsOf(manager.tables), (vector<string>{"BOYLAT", "BUOY", "Lights"}));
}

TEST_F(TableManagerTest, resetReleasesEverything) {
    prepare();
    manager.getTable(bstr("Lights"));
    manager.attach(buoys->row(0));
    manager.reset();
    EXPECT_EQ(manager.attachedName().Length(), 0U);
    EXPECT_EQ(manager.workspace.p, nullptr);
    EXPECT_TRUE(manager.tables.empty());
    EXPECT_EQ(lights->references(), 2U);
    EXPECT_EQ(buoys->references(), 2U);
    EXPECT_EQ(workspace->references(), 1U);
    EXPECT_EQ(manager.getTable(bstr("Lights")), nullptr);
    manager.attach(buoys->row(0));
    EXPECT_EQ(textsOf(manager.tables), vector<string>{"BOYLAT"});
}

TEST_F(TableManagerTest, requestAfterAResetOpensTheTableAnew) {
    prepare();
    manager.getTable(bstr("Lights"));
    manager.reset();
    prepare();
    EXPECT_EQ(manager.getTable(bstr("Lights")), lights->table());
    EXPECT_EQ(workspace->opened, (vector<string>{"table Lights", "table Lights"}));
}

TEST_F(TableManagerTest, rowsOfHostsThatFail) {
    for (const Op op : {Op::RowGetTable, Op::DatasetGetName, Op::DatasetGetWorkspace, Op::QueryInterface})
        for (const Out out : {Out::Null, Out::Untouched, Out::Filled}) {
            const FaultScope fault({.op = op, .everAfter = true, .out = out});
            manager.attach(buoys->row(0));
            EXPECT_TRUE(fault.hit()) << static_cast<int>(op);
            EXPECT_EQ(textsOf(manager.tables),
                      op == Op::DatasetGetWorkspace ? vector<string>{"BOYLAT"} : vector<string>{})
                << static_cast<int>(op);
            manager.reset();
        }
    EXPECT_EQ(buoys->references(), 2U);
}

TEST_F(TableManagerTest, rowsOfHostsThatSucceedOtherwiseThanWithOk) {
    for (const Op op : {Op::RowGetTable, Op::DatasetGetName, Op::DatasetGetWorkspace}) {
        const FaultScope fault({.op = op, .status = S_FALSE, .out = Out::Filled});
        manager.attach(buoys->row(0));
        EXPECT_TRUE(fault.hit()) << static_cast<int>(op);
        EXPECT_EQ(textsOf(manager.tables), vector<string>{"BOYLAT"}) << static_cast<int>(op);
        EXPECT_EQ(manager.workspace.p, workspace.p) << static_cast<int>(op);
        manager.reset();
    }
}

}  // namespace
