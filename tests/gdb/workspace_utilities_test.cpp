// Finding and opening datasets by plain names, in files, local databases and on a server, and the diagnostic log's
// entry for every step that can fail.
#include "gdb/workspace_utilities.h"

#include "memhost/workspace.h"
#include "support/event_log.h"

#include <gtest/gtest.h>

namespace {

using namespace GeodatabaseUtilities;
using memhost::bstr;
using memhost::CallCount;
using memhost::FaultScope;
using memhost::make;
using memhost::noSuchDataset;
using memhost::Op;
using memhost::Out;
using memhost::Table;
using memhost::TableObject;
using memhost::utf8;
using memhost::Workspace;
using std::string;
using std::vector;

constexpr HRESULT chosen = static_cast<HRESULT>(0x80041234U);

/// What the name search says, for reading: "S_OK name", "S_OK (null)", "S_FALSE", or the failed status.
string find(IWorkspace* workspace, DatasetType type, std::string_view name) {
    CComBSTR found;
    const HRESULT hr = Workspace_FindQualifiedDatasetName(workspace, type, bstr(name), &found);
    if (hr == S_OK) return found.m_str ? "S_OK " + utf8(found.m_str) : "S_OK (null)";
    EXPECT_EQ(found.m_str, nullptr);
    if (hr == S_FALSE) return "S_FALSE";
    return std::to_string(hr);
}

/// The log entry of a failed step.
LoggedEntry entry(const char* operation, ULONG line, HRESULT status) {
    char details[64];
    std::snprintf(details, sizeof details, "HRESULT = %d (0x%x)", static_cast<int>(status),
                  static_cast<unsigned>(status));
    return {0,
            "SOLVANE: GeodatabaseUtilities Line: " + std::to_string(line),
            string("GeodatabaseUtilities::") + operation,
            details,
            0,
            false};
}

constexpr const char* openTableName = "Workspace_OpenTable";
constexpr const char* openClassName = "Workspace_OpenFeatureClass";
constexpr const char* findName = "Workspace_FindQualifiedDatasetName";

class WorkspaceUtilitiesTest : public testing::Test {
protected:
    EventLogRecorder log;
};

TEST_F(WorkspaceUtilitiesTest, nullArguments) {
    const auto workspace = make<Workspace>(workspaceFileSystem);
    CComBSTR found;
    EXPECT_EQ(Workspace_FindQualifiedDatasetName(nullptr, datasetTable, bstr("T"), &found), E_POINTER);
    EXPECT_EQ(Workspace_FindQualifiedDatasetName(workspace, datasetTable, nullptr, &found), E_POINTER);
    EXPECT_EQ(Workspace_FindQualifiedDatasetName(workspace, datasetTable, bstr("T"), nullptr), E_POINTER);
    CComPtr<ITable> table;
    EXPECT_EQ(Workspace_OpenTable(nullptr, bstr("T"), &table), E_POINTER);
    EXPECT_EQ(Workspace_OpenTable(workspace, nullptr, &table), E_POINTER);
    EXPECT_EQ(Workspace_OpenTable(workspace, bstr("T"), nullptr), E_POINTER);
    CComPtr<IFeatureClass> featureClass;
    EXPECT_EQ(Workspace_OpenFeatureClass(nullptr, bstr("T"), &featureClass), E_POINTER);
    EXPECT_EQ(Workspace_OpenFeatureClass(workspace, nullptr, &featureClass), E_POINTER);
    EXPECT_EQ(Workspace_OpenFeatureClass(workspace, bstr("T"), nullptr), E_POINTER);
    EXPECT_TRUE(log.entries.empty());
}

TEST_F(WorkspaceUtilitiesTest, filesAndLocalDatabasesKeepTheName) {
    for (const WorkspaceType type : {workspaceFileSystem, workspaceLocalDatabase}) {
        const auto workspace = make<Workspace>(type);
        const CallCount existence(Op::NameExists);
        EXPECT_EQ(find(workspace, datasetTable, "No.Such.Name"), "S_OK No.Such.Name");
        EXPECT_EQ(find(workspace, datasetFeatureClass, ""), "S_OK ");
        EXPECT_EQ(existence(), 0);
    }
    EXPECT_TRUE(log.entries.empty());
}

TEST_F(WorkspaceUtilitiesTest, missingNameInAFileFailsInOpenTable) {
    const auto workspace = make<Workspace>(workspaceFileSystem);
    CComPtr<ITable> table;
    EXPECT_EQ(Workspace_OpenTable(workspace, bstr("Wrecks"), &table), noSuchDataset);
    EXPECT_EQ(table.p, nullptr);
    EXPECT_EQ(workspace->opened, vector<string>{"table Wrecks"});
    EXPECT_TRUE(log.entries.empty()) << "a table that cannot be opened is not logged";
}

TEST_F(WorkspaceUtilitiesTest, missingFeatureClassInAFileIsLogged) {
    const auto workspace = make<Workspace>(workspaceLocalDatabase);
    CComPtr<IFeatureClass> featureClass;
    EXPECT_EQ(Workspace_OpenFeatureClass(workspace, bstr("Wrecks"), &featureClass), noSuchDataset);
    EXPECT_EQ(log.entries, vector{entry(openClassName, 755, noSuchDataset)});
}

TEST_F(WorkspaceUtilitiesTest, opensByKind) {
    const auto workspace = make<Workspace>(workspaceFileSystem);
    const auto lights = Table("Lights").build();
    const auto buoys = Table("Buoys").build();
    workspace->add(datasetTable, lights);
    workspace->add(datasetFeatureClass, buoys);
    CComPtr<ITable> table;
    EXPECT_EQ(Workspace_OpenTable(workspace, bstr("Lights"), &table), S_OK);
    EXPECT_EQ(table.p, lights->table());
    CComPtr<IFeatureClass> featureClass;
    EXPECT_EQ(Workspace_OpenFeatureClass(workspace, bstr("Buoys"), &featureClass), S_OK);
    EXPECT_EQ(featureClass.p, buoys->featureClass());
    EXPECT_EQ(workspace->opened, (vector<string>{"table Lights", "class Buoys"}));
}

TEST_F(WorkspaceUtilitiesTest, otherKindsOfWorkspaceHaveNoNames) {
    const auto workspace = make<Workspace>(static_cast<WorkspaceType>(3));
    EXPECT_EQ(find(workspace, datasetTable, "T"), "S_FALSE");
    CComPtr<IFeatureClass> featureClass;
    EXPECT_EQ(Workspace_OpenFeatureClass(workspace, bstr("T"), &featureClass), E_FAIL);
    CComPtr<ITable> table;
    EXPECT_EQ(Workspace_OpenTable(workspace, bstr("T"), &table), E_FAIL);
    EXPECT_TRUE(log.entries.empty());
    EXPECT_TRUE(workspace->opened.empty());
}

TEST_F(WorkspaceUtilitiesTest, outputOfAFeatureClassIsNullFirst) {
    const auto workspace = make<Workspace>(static_cast<WorkspaceType>(3));
    IFeatureClass* featureClass = Table("x").build()->featureClass();  // dangling on purpose: never to be touched
    EXPECT_EQ(Workspace_OpenFeatureClass(workspace, bstr("T"), &featureClass), E_FAIL);
    EXPECT_EQ(featureClass, nullptr);
}

/// A server: CHART.ANNA's tables, seen by a connection as ANNA or BO, or by a workspace that is no connection.
class ServerTest : public WorkspaceUtilitiesTest {
protected:
    void connect(std::string database, std::string user) {
        workspace = make<Workspace>(std::move(database), std::move(user));
        fill();
    }
    void open() {
        workspace = make<Workspace>(workspaceRemoteDatabase);
        fill();
    }
    void fill() {
        workspace->add(datasetTable, lights);
        workspace->add(datasetFeatureClass, buoys);
        workspace->add(datasetFeatureClass, coast);
    }

    CComPtr<TableObject> lights = Table("CHART.ANNA.Lights").build();
    CComPtr<TableObject> buoys = Table("CHART.ANNA.Buoys").build();
    CComPtr<TableObject> coast = Table("CHART.CARL.Coast").build();
    CComPtr<Workspace> workspace;
};

TEST_F(ServerTest, connectedUserOwnsTheTable) {
    connect("CHART", "ANNA");
    EXPECT_EQ(find(workspace, datasetTable, "Lights"), "S_OK CHART.ANNA.Lights");
    EXPECT_EQ(find(workspace, datasetFeatureClass, "Buoys"), "S_OK CHART.ANNA.Buoys");
    EXPECT_TRUE(log.entries.empty());
}

TEST_F(ServerTest, databaseAndOwnerOfTheRequestAreReplaced) {
    connect("CHART", "ANNA");
    EXPECT_EQ(find(workspace, datasetTable, "OTHER.BO.Lights"), "S_OK CHART.ANNA.Lights");
    EXPECT_EQ(find(workspace, datasetTable, "BO.Lights"), "S_OK CHART.ANNA.Lights");
}

TEST_F(ServerTest, tableOfAnotherUserIsFoundThroughTheFirstFeatureClass) {
    connect("CHART", "BO");
    const CallCount listings(Op::WorkspaceGetDatasets);
    EXPECT_EQ(find(workspace, datasetTable, "Lights"), "S_OK CHART.ANNA.Lights");
    EXPECT_EQ(listings(), 1);
    CComPtr<ITable> table;
    EXPECT_EQ(Workspace_OpenTable(workspace, bstr("Lights"), &table), S_OK);
    EXPECT_EQ(table.p, lights->table());
    EXPECT_EQ(workspace->opened, vector<string>{"table CHART.ANNA.Lights"});
    EXPECT_TRUE(log.entries.empty());
}

TEST_F(ServerTest, ownerOfTheFirstFeatureClassIsTheOnlyOneTried) {
    connect("CHART", "BO");
    EXPECT_EQ(find(workspace, datasetFeatureClass, "Coast"), "S_FALSE") << "CARL's, but the first listed is ANNA's";
}

TEST_F(ServerTest, typeOfTheDatasetCounts) {
    connect("CHART", "ANNA");
    EXPECT_EQ(find(workspace, datasetFeatureClass, "Lights"), "S_FALSE");
    EXPECT_EQ(find(workspace, datasetTable, "Buoys"), "S_FALSE");
}

TEST_F(ServerTest, samplePathTakesTheRequestWhole) {
    open();
    EXPECT_EQ(find(workspace, datasetTable, "Lights"), "S_OK CHART.ANNA.Lights");
    EXPECT_EQ(find(workspace, datasetTable, "ANNA.Lights"), "S_FALSE") << "CHART.ANNA.ANNA.Lights does not exist";
}

TEST_F(ServerTest, workspaceThatIsNoConnectionAsksNobodyForAUser) {
    open();
    const CallCount users(Op::ConnectedUser);
    const CallCount databases(Op::ConnectedDatabase);
    EXPECT_EQ(find(workspace, datasetTable, "Lights"), "S_OK CHART.ANNA.Lights");
    EXPECT_EQ(users() + databases(), 0);
}

TEST_F(ServerTest, tablesServeAsSampleWithoutFeatureClasses) {
    workspace = make<Workspace>("CHART", "BO");
    workspace->add(datasetTable, lights);
    const CallCount listings(Op::WorkspaceGetDatasets);
    EXPECT_EQ(find(workspace, datasetTable, "Lights"), "S_OK CHART.ANNA.Lights");
    EXPECT_EQ(listings(), 2);
}

TEST_F(ServerTest, emptyServerLeavesTheNameEmpty) {
    workspace = make<Workspace>("CHART", "BO");
    EXPECT_EQ(find(workspace, datasetTable, "Lights"), "S_OK (null)");
    CComPtr<ITable> table;
    EXPECT_EQ(Workspace_OpenTable(workspace, bstr("Lights"), &table), noSuchDataset);
    EXPECT_EQ(workspace->opened, vector<string>{"table "}) << "opening is tried with an empty name";
    EXPECT_TRUE(log.entries.empty());
}

TEST_F(ServerTest, featureClassOpensAsATable) {
    connect("CHART", "ANNA");
    CComPtr<ITable> table;
    EXPECT_EQ(Workspace_OpenTable(workspace, bstr("Buoys"), &table), S_OK);
    EXPECT_EQ(table.p, buoys->table());
    EXPECT_EQ(workspace->opened, vector<string>{"class CHART.ANNA.Buoys"});
    EXPECT_TRUE(log.entries.empty());
}

TEST_F(ServerTest, nameThatIsNeitherTableNorClass) {
    connect("CHART", "ANNA");
    CComPtr<ITable> table;
    EXPECT_EQ(Workspace_OpenTable(workspace, bstr("Wrecks"), &table), E_FAIL);
    CComPtr<IFeatureClass> featureClass;
    EXPECT_EQ(Workspace_OpenFeatureClass(workspace, bstr("Wrecks"), &featureClass), E_FAIL);
    EXPECT_TRUE(workspace->opened.empty());
    EXPECT_TRUE(log.entries.empty());
}

TEST_F(ServerTest, featureClassThatIsNoTable) {
    connect("CHART", "ANNA");
    buoys->hide<ITable>();
    CComPtr<ITable> table;
    EXPECT_EQ(Workspace_OpenTable(workspace, bstr("Buoys"), &table), E_NOINTERFACE);
    EXPECT_EQ(table.p, nullptr);
}

/// One step of the name search that can fail: which call of which operation, on which workspace.
struct StepCase {
    const char* name;
    Op op;
    long nth;
    ULONG line;
    enum { Connected, NotFoundOnConnection, TablesOnly } path;
};

const StepCase steps[] = {
    {"connected_database", Op::ConnectedDatabase, 1, 823, StepCase::Connected},
    {"parse_requested_name", Op::ParseTableName, 1, 828, StepCase::Connected},
    {"connected_user", Op::ConnectedUser, 1, 829, StepCase::Connected},
    {"qualify_name", Op::QualifyTableName, 1, 830, StepCase::Connected},
    {"existence_on_the_connection", Op::NameExists, 1, 834, StepCase::Connected},
    {"first_listing", Op::WorkspaceGetDatasets, 1, 851, StepCase::NotFoundOnConnection},
    {"next_feature_class", Op::DatasetsNext, 1, 853, StepCase::NotFoundOnConnection},
    {"listing_of_tables", Op::WorkspaceGetDatasets, 2, 857, StepCase::TablesOnly},
    {"next_table", Op::DatasetsNext, 2, 858, StepCase::TablesOnly},
    {"name_of_the_sample", Op::DatasetGetName, 1, 866, StepCase::NotFoundOnConnection},
    {"parse_sample_name", Op::ParseTableName, 2, 868, StepCase::NotFoundOnConnection},
    {"qualify_like_the_sample", Op::QualifyTableName, 2, 870, StepCase::NotFoundOnConnection},
    {"existence_like_the_sample", Op::NameExists, 2, 873, StepCase::NotFoundOnConnection},
};

class SearchSteps : public ServerTest, public testing::WithParamInterface<StepCase> {
protected:
    void SetUp() override {
        connect("CHART", GetParam().path == StepCase::Connected ? "ANNA" : "BO");
        if (GetParam().path == StepCase::TablesOnly) {
            workspace = make<Workspace>("CHART", "BO");
            workspace->add(datasetTable, lights);
        }
    }
};

TEST_P(SearchSteps, failureIsLoggedWithItsLineAndReturned) {
    const StepCase& step = GetParam();
    for (const Out out : {Out::Null, Out::Untouched, Out::Filled}) {
        log.entries.clear();
        const FaultScope fault({.op = step.op, .status = chosen, .nth = step.nth, .out = out});
        EXPECT_EQ(find(workspace, datasetTable, "Lights"), std::to_string(chosen));
        EXPECT_EQ(log.entries, vector{entry(findName, step.line, chosen)});
    }
}

TEST_P(SearchSteps, openingATableAddsItsOwnEntry) {
    const StepCase& step = GetParam();
    const FaultScope fault({.op = step.op, .status = chosen, .nth = step.nth});
    CComPtr<ITable> table;
    EXPECT_EQ(Workspace_OpenTable(workspace, bstr("Lights"), &table), chosen);
    EXPECT_EQ(table.p, nullptr);
    EXPECT_EQ(log.entries, (vector{entry(findName, step.line, chosen), entry(openTableName, 702, chosen)}));
}

TEST_P(SearchSteps, openingAFeatureClassAddsItsOwnEntry) {
    const StepCase& step = GetParam();
    const FaultScope fault({.op = step.op, .status = chosen, .nth = step.nth});
    CComPtr<IFeatureClass> featureClass;
    EXPECT_EQ(Workspace_OpenFeatureClass(workspace, bstr("Lights"), &featureClass), chosen);
    EXPECT_EQ(log.entries, (vector{entry(findName, step.line, chosen), entry(openClassName, 747, chosen)}));
}

TEST_P(SearchSteps, disabledLogChangesNoResult) {
    const StepCase& step = GetParam();
    const EventLogRecorder disabled(false);
    const FaultScope fault({.op = step.op, .status = chosen, .nth = step.nth});
    EXPECT_EQ(find(workspace, datasetTable, "Lights"), std::to_string(chosen));
    EXPECT_TRUE(log.entries.empty() && disabled.entries.empty());
}

TEST_P(SearchSteps, callThatSaysFalseAndGivesNothingEndsNothingBadly) {
    const StepCase& step = GetParam();
    const FaultScope fault({.op = step.op, .status = S_FALSE, .nth = step.nth});
    find(workspace, datasetTable, "Lights");
    EXPECT_TRUE(fault.hit());
    EXPECT_TRUE(log.entries.empty());
}

INSTANTIATE_TEST_SUITE_P(Rows, SearchSteps, testing::ValuesIn(steps),
                         [](const auto& entry) { return std::string(entry.param.name); });

TEST_F(ServerTest, searchForAFeatureClassInPlaceOfATableThatFails) {
    connect("CHART", "ANNA");
    // The table search ends with the second existence test; the feature-class search fails in its first.
    const FaultScope fault({.op = Op::NameExists, .status = chosen, .nth = 3});
    CComPtr<ITable> table;
    EXPECT_EQ(Workspace_OpenTable(workspace, bstr("Buoys"), &table), chosen);
    EXPECT_EQ(log.entries, (vector{entry(findName, 834, chosen), entry(openClassName, 747, chosen)}));
}

TEST_F(ServerTest, openingTheFeatureClassFails) {
    connect("CHART", "ANNA");
    for (const Out out : {Out::Null, Out::Untouched, Out::Filled}) {
        log.entries.clear();
        const FaultScope fault({.op = Op::OpenFeatureClass, .status = chosen, .out = out});
        CComPtr<ITable> table;
        EXPECT_EQ(Workspace_OpenTable(workspace, bstr("Buoys"), &table), chosen);
        EXPECT_EQ(log.entries, vector{entry(openClassName, 755, chosen)});
    }
}

TEST_F(ServerTest, openingTheTableFailsUnlogged) {
    connect("CHART", "ANNA");
    const FaultScope fault({.op = Op::OpenTable, .status = chosen});
    CComPtr<ITable> table;
    EXPECT_EQ(Workspace_OpenTable(workspace, bstr("Lights"), &table), chosen);
    EXPECT_TRUE(log.entries.empty());
}

TEST_F(ServerTest, statusOfOpenTableIsReturnedUnchanged) {
    connect("CHART", "ANNA");
    const FaultScope fault({.op = Op::OpenTable, .status = S_FALSE});
    CComPtr<ITable> table;
    EXPECT_EQ(Workspace_OpenTable(workspace, bstr("Lights"), &table), S_FALSE);
}

TEST_F(ServerTest, kindOfWorkspaceThatCannotBeReadIsReturned) {
    open();
    const FaultScope fault({.op = Op::WorkspaceGetType, .status = chosen});
    EXPECT_EQ(find(workspace, datasetTable, "Lights"), std::to_string(chosen));
}

TEST_F(ServerTest, interfacesThatAreNotOffered) {
    const auto status = std::to_string(E_NOINTERFACE);
    connect("CHART", "ANNA");
    workspace->hide<ISQLSyntax>();
    EXPECT_EQ(find(workspace, datasetTable, "Lights"), status);
    EXPECT_EQ(log.entries, vector{entry(findName, 828, E_NOINTERFACE)});
    log.entries.clear();
    connect("CHART", "ANNA");
    workspace->hide<IWorkspace2>();
    EXPECT_EQ(find(workspace, datasetTable, "Lights"), status);
    EXPECT_EQ(log.entries, vector{entry(findName, 834, E_NOINTERFACE)});
    connect("CHART", "ANNA");
    workspace->hide<IFeatureWorkspace>();
    CComPtr<ITable> table;
    EXPECT_EQ(Workspace_OpenTable(workspace, bstr("Lights"), &table), E_NOINTERFACE);
    CComPtr<IFeatureClass> featureClass;
    EXPECT_EQ(Workspace_OpenFeatureClass(workspace, bstr("Buoys"), &featureClass), E_NOINTERFACE);
}

}  // namespace
