// The feature class object: names, fields, subtypes, rows by id.
#include "host/chart.h"

#include <gdal_priv.h>
#include <ogrsf_frmts.h>

namespace host_test {
namespace {

class FeatureClasses : public ChartTest {
protected:
    static std::string aliasOf(const CComPtr<IFeatureClass>& featureClass) {
        CComBSTR alias;
        EXPECT_EQ(featureClass->get_AliasName(&alias), S_OK);
        return utf8(alias);
    }
    static LONG find(const CComPtr<IFeatureClass>& featureClass, const std::string& name) {
        LONG index = -2;
        EXPECT_EQ(featureClass->FindField(bstr(name), &index), S_OK);
        return index;
    }
    // "has, name, index"
    static std::string subtypes(const CComPtr<IFeatureClass>& featureClass) {
        const CComPtr<ISubtypes> all = as<ISubtypes>(featureClass);
        VARIANT_BOOL has = 5;
        CComBSTR name;
        LONG index = -2;
        EXPECT_EQ(all->get_HasSubtype(&has), S_OK);
        EXPECT_EQ(all->get_SubtypeFieldName(&name), S_OK);
        EXPECT_EQ(all->get_SubtypeFieldIndex(&index), S_OK);
        return std::to_string(has) + ", " + utf8(name) + ", " + std::to_string(index);
    }
};

TEST_F(FeatureClasses, TheAliasIsTheTitleElseTheTablesName) {
    open(1);
    EXPECT_EQ(aliasOf(openClass()), "Lateral buoys");
    EXPECT_EQ(aliasOf(openClass("NOTES")), "NOTES");
    const CComPtr<IDataset> dataset = as<IDataset>(openClass());
    CComBSTR name;
    EXPECT_EQ(dataset->get_Name(&name), S_OK);
    EXPECT_EQ(utf8(name), "BOYLAT");
}

TEST_F(FeatureClasses, FieldsAreFoundByTheExactNameFirstThenInAnyCase) {
    makeChart(path_, 1);
    sqlite(path_, "CREATE TABLE cases (fid INTEGER PRIMARY KEY, Tiefe TEXT, größe TEXT)");
    workspace_ = GdalWorkspace::open(path_, Access::Read);
    const CComPtr<IFeatureClass> cases = openClass("cases");
    EXPECT_EQ(find(cases, "Tiefe"), 0);
    EXPECT_EQ(find(cases, "TIEFE"), 0);
    EXPECT_EQ(find(cases, "GRÖßE"), 1);
    EXPECT_EQ(find(cases, "fid"), 2);
    EXPECT_EQ(find(cases, "geom"), -1);
    EXPECT_EQ(find(cases, "Tief"), -1);
    EXPECT_EQ(find(cases, ""), -1);
    EXPECT_EQ(find(openClass(), "symbol_c"), 9);
}

TEST_F(FeatureClasses, ExactNamesWinInASource) {
    // SQLite keeps no two names that differ in case only; a file of features does.
    path_ = folder_.file("cases.geojson");
    FILE* file = std::fopen(path_.c_str(), "w");
    std::fputs(R"({"type":"FeatureCollection","features":[{"type":"Feature","geometry":null,)"
               R"("properties":{"depth":1,"DEPTH":2}}]})",
               file);
    std::fclose(file);
    workspace_ = GdalWorkspace::open(path_, Access::Read);
    const CComPtr<IFeatureClass> cases = openClass("cases");
    EXPECT_EQ(find(cases, "depth"), 0);
    EXPECT_EQ(find(cases, "DEPTH"), 1);
    EXPECT_EQ(find(cases, "Depth"), 0);
}

TEST_F(FeatureClasses, AnswersForAllItsInterfacesAsOneObject) {
    open(1);
    const CComPtr<IFeatureClass> featureClass = openClass();
    EXPECT_TRUE(featureClass.IsEqualObject(as<IObjectClass>(featureClass)));
    EXPECT_TRUE(featureClass.IsEqualObject(as<ITable>(featureClass)));
    EXPECT_TRUE(featureClass.IsEqualObject(as<IDataset>(featureClass)));
    EXPECT_TRUE(featureClass.IsEqualObject(as<ISubtypes>(featureClass)));
    EXPECT_FALSE(as<ICursor>(featureClass));
    EXPECT_TRUE(as<IObjectClass>(openClass("NOTES")));
    void* object = reinterpret_cast<void*>(1);
    EXPECT_EQ(featureClass->QueryInterface(__uuidof(ICursor), &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(featureClass->QueryInterface(__uuidof(ITable), nullptr), E_POINTER);
}

TEST_F(FeatureClasses, SubtypesComeFromTheOptionThenFromTheMetadata) {
    makeChart(path_, 1);
    {
        const GDALDatasetUniquePtr dataset(GDALDataset::Open(path_.c_str(), GDAL_OF_VECTOR | GDAL_OF_UPDATE));
        dataset->GetLayerByName("BOYLAT")->SetMetadataItem("SUBTYPE_FIELD", "NUMBER");
        dataset->GetLayerByName("NOTES")->SetMetadataItem("SUBTYPE_FIELD", "nowhere");
    }
    workspace_ = GdalWorkspace::open(path_, Access::Update);
    EXPECT_EQ(subtypes(openClass()), "-1, number, 0");
    EXPECT_EQ(subtypes(workspace_->openFeatureClass("BOYLAT", "small")), "-1, small, 1");
    EXPECT_EQ(subtypes(workspace_->openFeatureClass("NOTES", "CODE")), "-1, code, 0");
    EXPECT_THROW(openClass("NOTES"), HostError);
    try {
        workspace_->openFeatureClass("BOYLAT", "depth");
        ADD_FAILURE();
    } catch (const HostError& error) {
        EXPECT_EQ(error.what(), path_ + ", layer BOYLAT: there is no subtype field 'depth'");
    }
}

TEST_F(FeatureClasses, WithoutSubtypesTheyAnswerSo) {
    open(1);
    EXPECT_EQ(subtypes(openClass()), "0, , -1");
}

TEST_F(FeatureClasses, TheFieldsCollectionIsStableWhileHeldAndAnotherAfterAChange) {
    open(1);
    const CComPtr<ITable> table = openTable();
    CComPtr<IFields> before, again, after, ofRow;
    ASSERT_EQ(table->get_Fields(&before), S_OK);
    ASSERT_EQ(table->get_Fields(&again), S_OK);
    EXPECT_TRUE(before.IsEqualObject(again));
    const CComPtr<IRow> first = row(1);
    EXPECT_EQ(workspace_->addFields("BOYLAT", {{"Rotate_C", FieldKind::Real}}), 1U);
    ASSERT_EQ(table->get_Fields(&after), S_OK);
    EXPECT_FALSE(before.IsEqualObject(after));
    LONG index = -2;
    EXPECT_EQ(before->FindField(bstr("Rotate_C"), &index), S_OK);
    EXPECT_EQ(index, -1);
    EXPECT_EQ(after->FindField(bstr("Rotate_C"), &index), S_OK);
    EXPECT_EQ(index, 12);
    EXPECT_EQ(fieldIndex(first, "Rotate_C"), -1);
    EXPECT_EQ(value(first, "fid"), "I8:1");
    EXPECT_EQ(value(row(1), "Rotate_C"), "NULL");
}

TEST_F(FeatureClasses, RowsByIdAreReadAndStored) {
    open(3);
    const CComPtr<IRow> first = row(1);
    ASSERT_EQ(first->put_Value(fieldIndex(first, "SYMBOL_C"), variant("new")), S_OK);
    EXPECT_EQ(value(row(1), "SYMBOL_C"), "BSTR:old");
    EXPECT_EQ(first->Store(), S_OK);
    EXPECT_EQ(value(row(1), "SYMBOL_C"), "BSTR:new");
    CComPtr<ITable> table;
    EXPECT_EQ(first->get_Table(&table), S_OK);
    EXPECT_TRUE(as<IObjectClass>(table));
}

TEST_F(FeatureClasses, LaterRowsByIdHaveEveryFieldWhateverTheEarlierWereAskedFor) {
    open(4);
    const CComPtr<ITable> table = openTable();
    const CComPtr<IRow> unasked = rowOf(table, 4);
    EXPECT_TRUE(unasked);
    const CComPtr<IRow> first = rowOf(table, 1);
    EXPECT_EQ(value(first, "name"), "BSTR:Buoy 1");
    const CComPtr<IRow> second = rowOf(table, 4);
    EXPECT_EQ(value(second, "number"), "I4:4");
    EXPECT_EQ(value(second, "name"), "BSTR:Buoy 4");
    EXPECT_EQ(value(second, "fid"), "I8:4");
    EXPECT_EQ(value(first, "number"), "I4:1");
    EXPECT_EQ(workspace_->addFields("BOYLAT", {{"Rotate_C", FieldKind::Real}}), 1U);
    const CComPtr<IRow> wider = rowOf(table, 4);
    EXPECT_EQ(value(wider, "Rotate_C"), "NULL");
    EXPECT_EQ(value(wider, "fid"), "I8:4");
    EXPECT_EQ(value(second, "ratio"), "R8:4.5");
}

TEST_F(FeatureClasses, FieldThatTakesTheKeysFormerPlaceIsReadAsItself) {
    open(4);
    const CComPtr<ITable> table = openTable();
    for (const ObjectId id : {1, 4})
        EXPECT_EQ(value(rowOf(table, id), "fid"), "I8:" + std::to_string(id)) << "the key, and nothing else";
    EXPECT_EQ(workspace_->addFields("BOYLAT", {{"Rotate_C", FieldKind::Real}}), 1U);
    for (const ObjectId id : {1, 4}) EXPECT_EQ(value(rowOf(table, id), "Rotate_C"), "NULL") << id;
    EXPECT_EQ(value(rowOf(table, 4), "fid"), "I8:4");
}

TEST_F(FeatureClasses, RowsThatASelectionReadAheadAreTheRowsOfTheTable) {
    open(4);
    const CComPtr<ITable> table = openTable();
    const auto select = [&] {
        CComPtr<ISelectionSet> found;
        EXPECT_EQ(table->Select(filter({"name"}, "number = 4"), selectionIdSet, selectionAll, nullptr, &found), S_OK);
    };
    EXPECT_EQ(value(rowOf(table, 1), "name"), "BSTR:Buoy 1") << "from now on names are what rows are asked for";

    workspace_->begin();
    select();
    const CComPtr<IRow> row = rowOf(table, 4);
    EXPECT_EQ(value(row, "name"), "BSTR:Buoy 4");
    EXPECT_EQ(row->put_Value(fieldIndex(row, "name"), variant("changed")), S_OK);
    EXPECT_EQ(row->Store(), S_OK) << errorText();
    EXPECT_EQ(value(rowOf(table, 4), "name"), "BSTR:changed") << "changed since it was read ahead";
    select();
    EXPECT_EQ(value(rowOf(table, 4), "name"), "BSTR:changed");
    EXPECT_EQ(value(rowOf(table, 1), "name"), "BSTR:Buoy 1") << "not among the rows that were found";
    workspace_->rollback();
    EXPECT_EQ(value(rowOf(table, 4), "name"), "BSTR:Buoy 4");

    workspace_->begin();
    select();
    workspace_->rollback();
    sqlite(path_, "UPDATE BOYLAT SET name = 'between' WHERE fid = 4");
    workspace_->begin();
    EXPECT_EQ(value(rowOf(table, 4), "name"), "BSTR:between") << "what was read ahead went with its transaction";
    workspace_->rollback();

    select();
    sqlite(path_, "UPDATE BOYLAT SET name = 'elsewhere' WHERE fid = 4");
    EXPECT_EQ(value(rowOf(table, 4), "name"), "BSTR:elsewhere") << "without a transaction others can change it";
}

TEST_F(FeatureClasses, ARowThatIsNotThereIsAFailureWithAText) {
    open(1);
    CComPtr<IRow> missing;
    EXPECT_EQ(openTable()->GetRow(99, &missing), E_FAIL);
    EXPECT_FALSE(missing);
    EXPECT_EQ(errorText(), path_ + ", layer BOYLAT: there is no row 99");
    EXPECT_EQ(openTable()->GetRow(1, nullptr), E_POINTER);
}

TEST_F(FeatureClasses, ObjectIdsHave64Bits) {
    open(1);
    sqlite(path_, "UPDATE BOYLAT SET fid = 5000000000 WHERE fid = 1");
    const CComPtr<IRow> big = row(5000000000);
    EXPECT_EQ(value(big, "fid"), "I8:5000000000");
    EXPECT_EQ(big->put_Value(fieldIndex(big, "name"), variant("far")), S_OK);
    EXPECT_EQ(big->Store(), S_OK);
    EXPECT_EQ(sqlite(path_, "SELECT name FROM BOYLAT WHERE fid = 5000000000").front(), "far");
}

TEST_F(FeatureClasses, AKeyThatIsNotTheRowIdIsStillTheKey) {
    makeChart(path_, 1);
    sqlite(path_, "CREATE TABLE odd (id INT PRIMARY KEY, name TEXT); INSERT INTO odd VALUES (70, 'a'), (50, 'b')");
    workspace_ = GdalWorkspace::open(path_, Access::Update);
    const CComPtr<ITable> table = openTable("odd");
    for (const ObjectId id : idsOf(workspace_->select("odd", "name = 'b'", std::nullopt))) {
        CComPtr<IRow> found;
        ASSERT_EQ(table->GetRow(id, &found), S_OK);
        EXPECT_EQ(value(found, "name"), "BSTR:b");
        EXPECT_EQ(found->put_Value(fieldIndex(found, "name"), variant("changed")), S_OK);
        EXPECT_EQ(found->Store(), S_OK) << errorText();
    }
    EXPECT_EQ(sqlite(path_, "SELECT name FROM odd ORDER BY id"), (std::vector<std::string>{"changed", "a"}));
}

TEST_F(FeatureClasses, NamesAreUnicode) {
    makeChart(path_, 1);
    sqlite(path_,
           "CREATE TABLE \"Küste \"\"1\"\" ⚓\" (fid INTEGER PRIMARY KEY, \"Größe 'm'\" TEXT);"
           "INSERT INTO \"Küste \"\"1\"\" ⚓\" VALUES (1, 'groß')");
    workspace_ = GdalWorkspace::open(path_, Access::Update);
    const char* name = "Küste \"1\" ⚓";
    const CComPtr<IRow> first = row(1, name);
    EXPECT_EQ(value(first, "Größe 'm'"), "BSTR:groß");
    EXPECT_EQ(first->put_Value(0, variant("größer")), S_OK);
    EXPECT_EQ(first->Store(), S_OK) << errorText();
    EXPECT_EQ(value(row(1, name), "GRÖßE 'M'"), "BSTR:größer");
}

TEST_F(FeatureClasses, ObjectsKeepTheDatasetOpenAfterItsWorkspace) {
    open(1);
    const CComPtr<IRow> first = row(1);
    workspace_.reset();
    CComPtr<ITable> table;
    ASSERT_EQ(first->get_Table(&table), S_OK);
    CComPtr<IRow> again;
    EXPECT_EQ(table->GetRow(1, &again), S_OK);
    EXPECT_EQ(value(again, "name"), "BSTR:Buoy 1");
}

}  // namespace
}  // namespace host_test
