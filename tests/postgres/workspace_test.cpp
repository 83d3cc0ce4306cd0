// The library's name search and openings over a real server: every way that they take, and every step that fails.
#include "gdb/workspace_utilities.h"
#include "host/com_object.h"
#include "host/geodatabase/objects/live_objects.h"
#include "postgres/database.h"
#include "support/event_log.h"

#include <functional>
#include <utility>

namespace postgres_test {
namespace {

using namespace GeodatabaseUtilities;
using embedded_host::ComObject;
using embedded_host::HostCounter;
using host_test::as;
using host_test::bstr;
using host_test::errorText;
using host_test::utf8;
using std::string;
using std::vector;

/// The name that a search finds, "S_FALSE", or the failed status in hexadecimal digits.
string found(IWorkspace* workspace, DatasetType type, const string& name) {
    CComBSTR qualified;
    const HRESULT hr = Workspace_FindQualifiedDatasetName(workspace, type, bstr(name), &qualified);
    if (hr == S_OK) return qualified.m_str ? utf8(qualified) : "(null)";
    if (hr == S_FALSE) return "S_FALSE";
    return std::to_string(hr);
}

string nameOf(IUnknown* object) {
    const CComQIPtr<IDataset> dataset(object);
    CComBSTR name;
    return dataset && SUCCEEDED(dataset->get_Name(&name)) ? utf8(name) : "no dataset";
}

string openedTable(IWorkspace* workspace, const string& name) {
    CComPtr<ITable> table;
    const HRESULT hr = Workspace_OpenTable(workspace, bstr(name), &table);
    return hr == S_OK ? nameOf(table) : std::to_string(hr);
}

class WorkspaceTest : public DatabaseTest {
protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        sql("DO $$ BEGIN CREATE ROLE anna LOGIN; CREATE ROLE bert LOGIN; EXCEPTION WHEN duplicate_object "
            "OR unique_violation THEN END $$");
        sql("CREATE SCHEMA anna AUTHORIZATION anna; CREATE SCHEMA bert AUTHORIZATION bert;"
            "CREATE TABLE anna.notes (id int PRIMARY KEY, text text);"
            "CREATE TABLE anna.\"Mixed.Name\" (id int PRIMARY KEY);"
            "CREATE TABLE anna.\"CASE\" (id int PRIMARY KEY); CREATE TABLE anna.\"Case\" (id int PRIMARY KEY);"
            "CREATE TABLE bert.buoys (id int PRIMARY KEY, geom geometry(Point, 4326));"
            "CREATE TABLE bert.lights (id int PRIMARY KEY, geom geometry(Point, 4326));"
            "CREATE TABLE bert.notices (id int PRIMARY KEY);"
            "CREATE VIEW bert.red AS SELECT * FROM bert.buoys;"
            "GRANT USAGE ON SCHEMA bert TO anna; GRANT SELECT ON ALL TABLES IN SCHEMA anna, bert TO anna");
    }
    string here(const string& rest) const { return database_ + '.' + rest; }
};

TEST_F(WorkspaceTest, SaysWhatItIs) {
    const auto opened = open(Access::Read, "anna");
    const CComPtr<IWorkspace> workspace = opened->workspace();
    WorkspaceType type{};
    EXPECT_EQ(workspace->get_Type(&type), S_OK);
    EXPECT_EQ(type, workspaceRemoteDatabase);
    const auto connection = as<IDatabaseConnectionInfo>(workspace);
    CComBSTR database;
    CComBSTR user;
    EXPECT_EQ(connection->get_ConnectedDatabase(&database), S_OK);
    EXPECT_EQ(connection->get_ConnectedUser(&user), S_OK);
    EXPECT_EQ(utf8(database) + ' ' + utf8(user), database_ + " anna");
    EXPECT_EQ(opened->name(), "PG:" + database_);
}

TEST_F(WorkspaceTest, ListsWhatTheRoleMayReadAndNothingOfExtensions) {
    const auto opened = open(Access::Read, "anna");
    vector<string> names;
    for (const auto& layer : opened->layers()) names.push_back(layer.name + (layer.spatial ? "*" : ""));
    EXPECT_EQ(names, (vector<string>{"CASE", "Case", "\"Mixed.Name\"", "notes", "bert.buoys*", "bert.lights*",
                                     "bert.notices", "bert.red*"}));
    EXPECT_TRUE(open(Access::Read, "bert")->layers().empty()) << "its schema, but tables of somebody else";
    const auto narrowed = GdalWorkspace::open(dataset("anna") + " schemas=bert", Access::Read);
    EXPECT_EQ(narrowed->layers().size(), 4U);
    EXPECT_EQ(narrowed->layers().front().alias, "buoys");
}

TEST_F(WorkspaceTest, FindsNames) {
    const auto opened = open(Access::Read, "anna");
    const CComPtr<IWorkspace> workspace = opened->workspace();
    struct Row {
        const char* edge;
        DatasetType type;
        const char* name;
        string result;
    };
    const Row rows[] = {
        {"own table", datasetTable, "notes", here("anna.notes")},
        {"own table in the document's case", datasetTable, "NOTES", here("anna.NOTES")},
        {"database and owner of the request are replaced", datasetTable, "other.bert.notes", here("anna.notes")},
        {"own table with a point, quoted", datasetTable, "\"Mixed.Name\"", here("anna.\"Mixed.Name\"")},
        {"another owner's, by the first feature class", datasetTable, "notices", here("bert.notices")},
        {"another owner's feature class", datasetFeatureClass, "Lights", here("bert.Lights")},
        {"a view", datasetFeatureClass, "red", here("bert.red")},
        {"a feature class is no table", datasetTable, "lights", "S_FALSE"},
        {"the sample path takes the request whole", datasetTable, "bert.notices", "S_FALSE"},
        {"nobody's", datasetTable, "nowhere", "S_FALSE"},
        {"not a name", datasetTable, "a..b", std::to_string(E_INVALIDARG)},
        {"several in other cases", datasetTable, "cAsE", std::to_string(E_INVALIDARG)},
    };
    for (const Row& row : rows) EXPECT_EQ(found(workspace, row.type, row.name), row.result) << row.edge;
}

TEST_F(WorkspaceTest, OpensTables) {
    const auto opened = open(Access::Read, "anna");
    const CComPtr<IWorkspace> workspace = opened->workspace();
    EXPECT_EQ(openedTable(workspace, "Notes"), here("anna.notes"));
    EXPECT_EQ(openedTable(workspace, "\"Mixed.Name\""), here("anna.\"Mixed.Name\""));
    EXPECT_EQ(openedTable(workspace, "notices"), here("bert.notices"));
    EXPECT_EQ(openedTable(workspace, "LIGHTS"), here("bert.lights")) << "a feature class as a table";
    EXPECT_EQ(openedTable(workspace, "red"), here("bert.red"));
    EXPECT_EQ(openedTable(workspace, "nowhere"), std::to_string(E_FAIL));
    EXPECT_EQ(openedTable(workspace, "\"CASE\""), here("anna.CASE"));
    CComPtr<IFeatureClass> featureClass;
    EXPECT_EQ(Workspace_OpenFeatureClass(workspace, bstr("buoys"), &featureClass), S_OK);
    EXPECT_EQ(nameOf(featureClass), here("bert.buoys"));
}

TEST_F(WorkspaceTest, AnEmptyDatabaseLeavesTheNameEmpty) {
    sql("DROP SCHEMA anna, bert CASCADE");
    const auto opened = open(Access::Read, "anna");
    EXPECT_EQ(found(opened->workspace(), datasetTable, "notes"), "(null)");
    EXPECT_EQ(openedTable(opened->workspace(), "notes"), std::to_string(E_INVALIDARG));
}

TEST_F(WorkspaceTest, TablesServeAsSampleWithoutFeatureClasses) {
    sql("DROP TABLE bert.buoys, bert.lights CASCADE; DROP SCHEMA anna CASCADE");
    const auto opened = open(Access::Read, "anna");
    sql("CREATE TABLE bert.more (id int PRIMARY KEY); GRANT SELECT ON bert.more TO anna");
    EXPECT_EQ(found(opened->workspace(), datasetTable, "more"), here("bert.more"));
}

/// The real workspace, and something that happens just before one of its calls is made.
class Disturbed final
    : public ComObject<HostCounter, IWorkspace, IWorkspace2, IFeatureWorkspace, IDatabaseConnectionInfo, ISQLSyntax> {
public:
    using Disturb = std::function<void(const string& call)>;
    Disturbed(CComPtr<IWorkspace> real, Disturb disturb) : real_(std::move(real)), disturb_(std::move(disturb)) {}

    HRESULT STDMETHODCALLTYPE get_Type(WorkspaceType* type) override { return real_->get_Type(type); }
    HRESULT STDMETHODCALLTYPE get_Datasets(DatasetType type, IEnumDataset** datasets) override {
        disturb_(type == datasetFeatureClass ? "list classes" : "list tables");
        CComPtr<IEnumDataset> real;
        const HRESULT hr = real_->get_Datasets(type, &real);
        if (SUCCEEDED(hr)) *datasets = CComPtr<IEnumDataset>(new Datasets(*this, type, real)).Detach();
        return hr;
    }
    HRESULT STDMETHODCALLTYPE get_NameExists(DatasetType type, BSTR name, VARIANT_BOOL* exists) override {
        disturb_("exists");
        return as<IWorkspace2>(real_)->get_NameExists(type, name, exists);
    }
    HRESULT STDMETHODCALLTYPE OpenTable(BSTR name, ITable** table) override {
        return as<IFeatureWorkspace>(real_)->OpenTable(name, table);
    }
    HRESULT STDMETHODCALLTYPE OpenFeatureClass(BSTR name, IFeatureClass** featureClass) override {
        disturb_("open class");
        return as<IFeatureWorkspace>(real_)->OpenFeatureClass(name, featureClass);
    }
    HRESULT STDMETHODCALLTYPE get_ConnectedDatabase(BSTR* database) override {
        disturb_("database");
        return as<IDatabaseConnectionInfo>(real_)->get_ConnectedDatabase(database);
    }
    HRESULT STDMETHODCALLTYPE get_ConnectedUser(BSTR* user) override {
        disturb_("user");
        return as<IDatabaseConnectionInfo>(real_)->get_ConnectedUser(user);
    }
    HRESULT STDMETHODCALLTYPE ParseTableName(BSTR fullName, BSTR* database, BSTR* owner, BSTR* table) override {
        return as<ISQLSyntax>(real_)->ParseTableName(fullName, database, owner, table);
    }
    HRESULT STDMETHODCALLTYPE QualifyTableName(BSTR database, BSTR owner, BSTR table, BSTR* fullName) override {
        return as<ISQLSyntax>(real_)->QualifyTableName(database, owner, table, fullName);
    }

private:
    class Datasets final : public ComObject<HostCounter, IEnumDataset> {
    public:
        Datasets(Disturbed& workspace, DatasetType type, CComPtr<IEnumDataset> real)
            : workspace_(workspace), type_(type), real_(std::move(real)) {}
        HRESULT STDMETHODCALLTYPE Next(IDataset** dataset) override {
            workspace_.disturb_(type_ == datasetFeatureClass ? "next class" : "next table");
            return real_->Next(dataset);
        }

    private:
        Disturbed& workspace_;
        DatasetType type_;
        CComPtr<IEnumDataset> real_;
    };

    CComPtr<IWorkspace> real_;
    Disturb disturb_;
};

struct FailingStep {
    const char* call;  // the connection is cut before it
    int time;          // which of the calls of that kind
    ULONG line;
    bool onlyTables;  // nobody has feature classes
};

TEST_F(WorkspaceTest, EveryStepThatNeedsTheServerFailsUnderItsLine) {
    const FailingStep steps[] = {
        {"database", 1, 823, false},     {"user", 1, 829, false},       {"exists", 1, 834, false},
        {"list classes", 1, 851, false}, {"next class", 1, 853, false}, {"exists", 2, 873, false},
        {"list tables", 1, 857, true},   {"next table", 1, 858, true},
    };
    for (const FailingStep& step : steps) {
        SCOPED_TRACE(string(step.call) + " " + std::to_string(step.line));
        if (step.onlyTables) sql("DROP TABLE IF EXISTS bert.buoys, bert.lights CASCADE");
        const auto opened = open(Access::Read, "anna");
        int calls = 0;
        const CComPtr<IWorkspace> disturbed(new Disturbed(opened->workspace(), [&](const string& call) {
            if (call == step.call && ++calls == step.time) cutConnections();
        }));
        EventLogRecorder log;
        EXPECT_EQ(openedTable(disturbed, "nowhere"), std::to_string(E_FAIL));
        ASSERT_EQ(log.entries.size(), 2U);
        EXPECT_EQ(log.entries[0].text, "SOLVANE: GeodatabaseUtilities Line: " + std::to_string(step.line));
        EXPECT_EQ(log.entries[0].source, "GeodatabaseUtilities::Workspace_FindQualifiedDatasetName");
        EXPECT_EQ(log.entries[1].text, "SOLVANE: GeodatabaseUtilities Line: 702");
        EXPECT_NE(errorText().find("PG:"), string::npos);
    }
}

TEST_F(WorkspaceTest, NamesThatAreNoneFailUnderTheirLines) {
    const auto opened = open(Access::Read, "anna");
    struct Row {
        string name;
        ULONG line;
    };
    const Row rows[] = {
        {"a..b", 828},
        {string(64, 'x'), 830},
        {string(40, 'x') + '.' + string(40, 'y'), 870},  // too long only when it is taken whole
    };
    for (const Row& row : rows) {
        EventLogRecorder log;
        EXPECT_EQ(found(opened->workspace(), datasetTable, row.name), std::to_string(E_INVALIDARG));
        ASSERT_EQ(log.entries.size(), 1U) << row.name;
        EXPECT_EQ(log.entries[0].text, "SOLVANE: GeodatabaseUtilities Line: " + std::to_string(row.line));
    }
}

TEST_F(WorkspaceTest, AFeatureClassThatCannotBeOpenedIsLogged) {
    const auto opened = open(Access::Read, "anna");
    const CComPtr<IWorkspace> disturbed(new Disturbed(opened->workspace(), [&](const string& call) {
        if (call == "open class") sql("DROP VIEW bert.red");
    }));
    EventLogRecorder log;
    CComPtr<IFeatureClass> featureClass;
    EXPECT_EQ(Workspace_OpenFeatureClass(disturbed, bstr("red"), &featureClass), E_FAIL);
    ASSERT_EQ(log.entries.size(), 1U);
    EXPECT_EQ(log.entries[0].text, "SOLVANE: GeodatabaseUtilities Line: 755");
    EXPECT_EQ(errorText(), "PG:" + database_ + ": there is no layer '" + here("bert.red") + "'");
    EXPECT_EQ(Workspace_OpenFeatureClass(disturbed, bstr("notes"), &featureClass), E_FAIL) << "a table is none";
    EXPECT_EQ(log.entries.size(), 1U);
}

TEST_F(WorkspaceTest, ASearchForAClassThatFailsIsLoggedTwice) {
    const auto opened = open(Access::Read, "anna");
    const CComPtr<IWorkspace> disturbed(new Disturbed(opened->workspace(), [&](const string& call) {
        if (call == "database") cutConnections();
    }));
    EventLogRecorder log;
    CComPtr<IFeatureClass> featureClass;
    EXPECT_EQ(Workspace_OpenFeatureClass(disturbed, bstr("red"), &featureClass), E_FAIL);
    ASSERT_EQ(log.entries.size(), 2U);
    EXPECT_EQ(log.entries[0].text, "SOLVANE: GeodatabaseUtilities Line: 823");
    EXPECT_EQ(log.entries[1].text, "SOLVANE: GeodatabaseUtilities Line: 747");
}

}  // namespace
}  // namespace postgres_test
