// Datasets other than GeoPackages: what is read through GDAL's features, and what may be written.
#include "host/chart.h"

#include <gdal_priv.h>
#include <ogrsf_frmts.h>

#include <array>
#include <fstream>
#include <iterator>

namespace host_test {
namespace {

class FileFormats : public ChartTest {
protected:
    void write(const std::string& name, const std::string& text) {
        path_ = folder_.file(name);
        FILE* file = std::fopen(path_.c_str(), "w");
        std::fwrite(text.data(), 1, text.size(), file);
        std::fclose(file);
    }
};

constexpr const char* buoysJson = R"({"type":"FeatureCollection","name":"buoys","features":[
{"type":"Feature","id":3,"geometry":{"type":"Point","coordinates":[1,2]},"properties":{"name":"Größe","codes":[3,4,3],
 "depths":[0.5,2],"words":["a","b"],"flag":true,"count":7,"depth":1.5,"day":"2024-02-29","moment":"2024-02-29T12:00:00"}},
{"type":"Feature","id":1,"geometry":null,"properties":{"name":null}}]})";

TEST_F(FileFormats, GeoJsonIsReadWithItsLists) {
    write("buoys.geojson", buoysJson);
    workspace_ = GdalWorkspace::open(path_, Access::Read);
    const CComPtr<IRow> third = row(3, "buoys");
    EXPECT_EQ(value(third, "name"), "BSTR:Größe");
    EXPECT_EQ(value(third, "codes"), "BSTR:3,4,3");
    EXPECT_EQ(value(third, "depths"), "BSTR:0.5,2");
    EXPECT_EQ(value(third, "words"), "BSTR:a,b");
    EXPECT_EQ(value(third, "flag"), "BOOL:true");
    EXPECT_EQ(value(third, "count"), "I4:7");
    EXPECT_EQ(value(third, "depth"), "R8:1.5");
    EXPECT_EQ(value(third, "day"), "DATE:45351");
    EXPECT_EQ(value(third, "moment"), "DATE:45351.5");
    EXPECT_EQ(value(row(1, "buoys"), "name"), "NULL");
    EXPECT_EQ(value(row(1, "buoys"), "codes"), "NULL");
}

TEST_F(FileFormats, AClauseOnAFileIsGdals) {
    write("buoys.geojson", buoysJson);
    workspace_ = GdalWorkspace::open(path_, Access::Read);
    using Ids = std::vector<ObjectId>;
    EXPECT_EQ(idsOf(workspace_->select("buoys", std::nullopt, std::nullopt)), (Ids{1, 3}));
    EXPECT_EQ(idsOf(workspace_->select("buoys", "count = 7", std::nullopt)), Ids{3});
    EXPECT_EQ(idsOf(workspace_->select("buoys", "count = 7", Ids{1, 3, 5})), Ids{3});
    EXPECT_EQ(idsOf(workspace_->select("buoys", std::nullopt, Ids{1, 5})), Ids{1});
    try {
        workspace_->select("buoys", "nowhere = 7", std::nullopt);
        ADD_FAILURE();
    } catch (const HostError& error) {
        const std::string text = error.what();
        EXPECT_TRUE(text.starts_with(path_ + ", layer buoys: where clause \"nowhere = 7\": ")) << text;
        EXPECT_NE(text.find("nowhere"), std::string::npos);
    }
    CComPtr<IRow> missing;
    EXPECT_EQ(openTable("buoys")->GetRow(99, &missing), E_FAIL);
}

TEST_F(FileFormats, WithoutTransactionsThereIsNoUpdate) {
    write("buoys.geojson", buoysJson);
    for (const char* driver : {"GeoJSON", "ESRI Shapefile"}) {
        if (std::string(driver) != "GeoJSON") {
            path_ = folder_.file("shapes");
            makeChart(path_, 1, driver);
        }
        try {
            GdalWorkspace::open(path_, Access::Update);
            ADD_FAILURE() << driver;
        } catch (const embedded_host::ReadOnlyError& error) {
            EXPECT_EQ(error.what(), path_ + ": cannot be opened for update: " + driver +
                                        " datasets have no transactions; copy it into a GeoPackage: ogr2ogr -f GPKG "
                                        "chart.gpkg " +
                                        path_);
        }
    }
}

TEST_F(FileFormats, ACommandInAMessageQuotesTheName) {
    write("it's a buoy.geojson", buoysJson);
    try {
        GdalWorkspace::open(path_, Access::Update);
        ADD_FAILURE();
    } catch (const HostError& error) {
        EXPECT_TRUE(std::string(error.what()).ends_with("chart.gpkg '" + folder_.file("it'\\''s a buoy.geojson") + "'"))
            << error.what();
    }
}

// The first bytes of a file of the harbour's cell, as many as there are without a number.
std::string harbourBytes(const std::string& extension, std::size_t count = std::string::npos) {
    std::ifstream from(HARBOUR_CELL "/XX5MERRW." + extension, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(from), std::istreambuf_iterator<char>()};
    return bytes.substr(0, count);
}

std::string withTag(std::string bytes, const std::string& tag) {
    for (std::size_t at = 0; (at = bytes.find("DSID", at)) != std::string::npos;) bytes.replace(at, tag.size(), tag);
    return bytes;
}

TEST_F(FileFormats, ACellIsToBeImported) {
    struct File {
        const char* what;
        std::string bytes;
        bool isCell;
    };
    const std::array files{
        File{"a cell", harbourBytes("000"), true},
        File{"an update", harbourBytes("001"), true},
        File{"a cell that ends in its first record", harbourBytes("000", 300), true},
        File{"a cell that ends in its directory", harbourBytes("000", 60), true},
        File{"a cell that ends before its directory tells", harbourBytes("000", 40), false},
        File{"a leader", harbourBytes("000", 24), false},
        File{"less than a leader", harbourBytes("000", 23), false},
        File{"records of something else", withTag(harbourBytes("000"), "CATD"), false},
        File{"a text", "015763 buoys and beacons, whose DSID is not known", false},
        File{"a text with the leader's letter", "Buoys Lights Beacons, whose DSID is not known", false},
        File{"data that name it", harbourBytes("000", 24) + '\x1e' + "DSID", false},
        File{"nothing", "", false},
    };
    for (const File& file : files) {
        SCOPED_TRACE(file.what);
        write("cell.000", file.bytes);
        try {
            GdalWorkspace::open(path_, Access::Update);
            ADD_FAILURE();
        } catch (const HostError& error) {
            const std::string told = path_ +
                                     ": an S-57 cell, whose rows cannot be written; import it into a GeoPackage: "
                                     "cxml import " +
                                     path_ + " chart.gpkg";
            EXPECT_EQ(error.what() == told, file.isCell) << error.what();
        }
    }
}

TEST_F(FileFormats, ShapefilesAreRead) {
    path_ = folder_.file("shapes");
    open(4, Access::Read, "ESRI Shapefile");
    EXPECT_EQ(value(row(3), "name"), "BSTR:Buoy 4");  // shapefiles count from 0
    EXPECT_EQ(value(row(1), "name"), "NULL");
    EXPECT_EQ(value(row(3), "FID"), "I8:3");
}

// A plain SQLite file whose lists only GDAL's driver can read: rows come as features, updates go as SQL.
class ListTable : public ChartTest {
protected:
    void SetUp() override {
        path_ = folder_.file("chart.sqlite");
        makeChart(path_, 1200, "SQLite");
        {
            const GDALDatasetUniquePtr dataset(GDALDataset::Open(path_.c_str(), GDAL_OF_VECTOR | GDAL_OF_UPDATE));
            OGRFieldDefn codes("codes", OFTIntegerList);
            ASSERT_EQ(dataset->GetLayerByName("BOYLAT")->CreateField(&codes), OGRERR_NONE);
            const OGRFeatureUniquePtr feature(dataset->GetLayerByName("BOYLAT")->GetFeature(1));
            const int values[] = {3, 4, 3};
            feature->SetField("codes", 3, values);
            ASSERT_EQ(dataset->GetLayerByName("BOYLAT")->SetFeature(feature.get()), OGRERR_NONE);
        }
        workspace_ = GdalWorkspace::open(path_, Access::Update);
    }
};

TEST_F(ListTable, GivesListsAndTypedValues) {
    const CComPtr<IRow> first = row(1);
    EXPECT_EQ(value(first, "codes"), "BSTR:3,4,3");
    EXPECT_EQ(value(first, "number"), "I4:1");
    EXPECT_EQ(value(first, "big"), "I8:9007199254740994");
    EXPECT_EQ(value(first, "day"), "DATE:45351");
    EXPECT_EQ(value(row(2), "codes"), "NULL");
    EXPECT_EQ(first->put_Value(fieldIndex(first, "codes"), variant("1,2")), S_OK);
    EXPECT_EQ(first->Store(), E_FAIL);
    EXPECT_NE(errorText().find("field codes: lists cannot be written"), std::string::npos);
}

TEST_F(ListTable, EveryRowIsGivenOnceAndWritten) {
    workspace_->begin();
    CComPtr<ICursor> cursor = update(filter({"number", "SYMBOL_C"}, "SYMBOL_C = 'old' OR number IS NULL"));
    ObjectId expected = 0;
    while (const CComPtr<IRow> row = next(cursor)) {
        ASSERT_EQ(value(row, "ogc_fid"), "I8:" + std::to_string(++expected));
        ASSERT_EQ(row->put_Value(fieldIndex(row, "SYMBOL_C"), variant("it's \"⚓\"")), S_OK);
        ASSERT_EQ(row->put_Value(fieldIndex(row, "ratio"), CComVariant(0.1)), S_OK);
        ASSERT_EQ(row->put_Value(fieldIndex(row, "number"), nullVariant()), S_OK);
        ASSERT_EQ(row->put_Value(fieldIndex(row, "moment"), CComVariant(45352.25, VT_DATE)), S_OK);
        ASSERT_EQ(cursor->UpdateRow(row), S_OK) << errorText();
    }
    EXPECT_EQ(expected, 1200);
    cursor.Release();
    workspace_->commit();
    EXPECT_EQ(sqlite(path_,
                     "SELECT count(*) FROM BOYLAT WHERE SYMBOL_C = 'it''s \"⚓\"' AND ratio = 0.1 AND number "
                     "IS NULL AND GEOMETRY IS NOT NULL")
                  .front(),
              "1200");
    EXPECT_EQ(value(row(7), "moment"), "DATE:45352.25");
}

TEST_F(ListTable, AFailingWriteHasTheDatabasesWords) {
    const CComPtr<IRow> first = row(1);
    EXPECT_EQ(first->put_Value(fieldIndex(first, "name"), variant(std::string("a\0b", 3))), S_OK);
    EXPECT_EQ(first->Store(), E_FAIL);
    EXPECT_NE(errorText().find("cannot hold a text with a zero character"), std::string::npos);
    sqlite(path_, "CREATE TRIGGER guard BEFORE UPDATE ON BOYLAT BEGIN SELECT RAISE(ABORT, 'guarded'); END");
    EXPECT_EQ(first->put_Value(fieldIndex(first, "name"), variant("x")), S_OK);
    EXPECT_EQ(first->Store(), E_FAIL);
    EXPECT_NE(errorText().find("guarded"), std::string::npos);
}

TEST_F(ListTable, ALateFieldMakesTheRestOfTheBlockReadAgain) {
    const CComPtr<ICursor> cursor = update(filter({"number"}));
    for (int n = 1; n <= 1200; ++n) {
        const CComPtr<IRow> row = next(cursor);
        ASSERT_TRUE(row);
        if (n == 700) {
            ASSERT_EQ(value(row, "name"), "BSTR:Buoy 700");
        }
        if (n > 1190) {
            ASSERT_EQ(value(row, "name"), "BSTR:Buoy " + std::to_string(n));
        }
    }
    EXPECT_FALSE(next(cursor));
}

}  // namespace
}  // namespace host_test
