// The workspace object.
#include "host/chart.h"

namespace host_test {
namespace {

class Workspaces : public ChartTest {
protected:
    std::vector<std::string> listed(DatasetType type) {
        CComPtr<IEnumDataset> datasets;
        EXPECT_EQ(workspace_->workspace()->get_Datasets(type, &datasets), S_OK);
        std::vector<std::string> names;
        for (;;) {
            CComPtr<IDataset> dataset;
            if (datasets->Next(&dataset) != S_OK) {
                EXPECT_FALSE(dataset);
                return names;
            }
            CComBSTR name;
            EXPECT_EQ(dataset->get_Name(&name), S_OK);
            names.push_back(utf8(name));
        }
    }
    bool exists(DatasetType type, const char* name) {
        const CComPtr<IWorkspace2> workspace = as<IWorkspace2>(workspace_->workspace());
        VARIANT_BOOL answer = 5;
        EXPECT_EQ(workspace->get_NameExists(type, bstr(name), &answer), S_OK);
        EXPECT_TRUE(answer == VARIANT_TRUE || answer == VARIANT_FALSE);
        return answer == VARIANT_TRUE;
    }
    WorkspaceType type() {
        WorkspaceType type{};
        EXPECT_EQ(workspace_->workspace()->get_Type(&type), S_OK);
        return type;
    }
};

TEST_F(Workspaces, AreOfTheKindOfTheirDataset) {
    open(1);
    EXPECT_EQ(type(), workspaceLocalDatabase);
    path_ = folder_.file("chart.sqlite");
    open(1, Access::Update, "SQLite");
    EXPECT_EQ(type(), workspaceLocalDatabase);
    path_ = folder_.file("chart");
    open(1, Access::Read, "ESRI Shapefile");
    EXPECT_EQ(type(), workspaceFileSystem);
}

TEST_F(Workspaces, ListTheirDatasetsByType) {
    open(1);
    EXPECT_EQ(listed(datasetFeatureClass), std::vector<std::string>{"BOYLAT"});
    EXPECT_EQ(listed(datasetTable), std::vector<std::string>{"NOTES"});
    CComPtr<IEnumDataset> datasets;
    EXPECT_EQ(workspace_->workspace()->get_Datasets(static_cast<DatasetType>(99), &datasets), E_INVALIDARG);
    EXPECT_EQ(workspace_->workspace()->get_Datasets(datasetTable, nullptr), E_POINTER);
}

TEST_F(Workspaces, KnowTheNamesOfEachType) {
    open(1);
    EXPECT_TRUE(exists(datasetFeatureClass, "BOYLAT"));
    EXPECT_TRUE(exists(datasetFeatureClass, "boylat"));
    EXPECT_FALSE(exists(datasetTable, "BOYLAT"));
    EXPECT_TRUE(exists(datasetTable, "NOTES"));
    EXPECT_FALSE(exists(datasetTable, "nowhere"));
    EXPECT_FALSE(exists(datasetTable, ""));
    VARIANT_BOOL answer = VARIANT_TRUE;
    EXPECT_EQ(
        as<IWorkspace2>(workspace_->workspace())->get_NameExists(static_cast<DatasetType>(99), bstr("NOTES"), &answer),
        E_INVALIDARG);
    EXPECT_EQ(answer, VARIANT_FALSE);
}

TEST_F(Workspaces, OpenTablesAndFeatureClasses) {
    open(1);
    const CComPtr<IFeatureWorkspace> workspace = as<IFeatureWorkspace>(workspace_->workspace());
    CComPtr<ITable> notes;
    CComPtr<ITable> buoysAsTable;
    CComPtr<IFeatureClass> buoys;
    EXPECT_EQ(workspace->OpenTable(bstr("NOTES"), &notes), S_OK);
    EXPECT_EQ(workspace->OpenTable(bstr("BOYLAT"), &buoysAsTable), S_OK);
    EXPECT_EQ(workspace->OpenFeatureClass(bstr("BOYLAT"), &buoys), S_OK);
    EXPECT_TRUE(notes && buoysAsTable && buoys);

    CComPtr<IFeatureClass> none;
    EXPECT_EQ(workspace->OpenFeatureClass(bstr("NOTES"), &none), E_FAIL);
    EXPECT_FALSE(none);
    EXPECT_EQ(errorText(), path_ + ", layer NOTES: a table without geometry, not a feature class");
    CComPtr<ITable> nowhere;
    EXPECT_EQ(workspace->OpenTable(bstr("nowhere"), &nowhere), E_FAIL);
    EXPECT_EQ(errorText(), path_ + ": there is no layer 'nowhere'");
    EXPECT_EQ(workspace->OpenTable(nullptr, &nowhere), E_FAIL);
    EXPECT_EQ(errorText(), path_ + ": there is no layer ''");
    EXPECT_FALSE(nowhere);
}

TEST_F(Workspaces, AreOneObjectForAllTheirDatasets) {
    open(1);
    CComPtr<IWorkspace> ofBuoys;
    CComPtr<IWorkspace> ofNotes;
    EXPECT_EQ(as<IDataset>(openClass())->get_Workspace(&ofBuoys), S_OK);
    EXPECT_EQ(as<IDataset>(openClass("NOTES"))->get_Workspace(&ofNotes), S_OK);
    EXPECT_TRUE(ofBuoys.IsEqualObject(ofNotes));
    EXPECT_TRUE(ofBuoys.IsEqualObject(workspace_->workspace()));
}

TEST_F(Workspaces, TablesThatAGeoPackageDoesNotListAreThereToo) {
    makeChart(path_, 1);
    sqlite(path_, "CREATE TABLE lookup (code TEXT, name TEXT); INSERT INTO lookup VALUES ('1', 'one')");
    workspace_ = GdalWorkspace::open(path_, Access::Read);
    EXPECT_EQ(listed(datasetTable), (std::vector<std::string>{"NOTES", "lookup"}));
    EXPECT_EQ(value(row(1, "lookup"), "name"), "BSTR:one");
}

}  // namespace
}  // namespace host_test
