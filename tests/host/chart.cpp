// Charts for the host's tests.
#include "host/chart.h"

#include "host/geodatabase/base/text.h"
#include "host/geodatabase/objects/live_objects.h"
#include "host/velcore/class_registry.h"
#include "support/leak_check.h"

#include <gdal_priv.h>
#include <ogrsf_frmts.h>
#include <sqlite3.h>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace host_test {

namespace {

[[maybe_unused]] const bool countersRegistered = [] {
    registerLiveCounter("host objects", embedded_host::liveObjects);
    registerLiveCounter("query filters", VelLiveObjects);
    return true;
}();

void addField(OGRLayer& layer, const char* name, OGRFieldType type, OGRFieldSubType subtype = OFSTNone) {
    OGRFieldDefn field(name, type);
    field.SetSubType(subtype);
    if (layer.CreateField(&field) != OGRERR_NONE) throw std::runtime_error(name);
}

void addFields(OGRLayer& layer, bool withBinary) {
    addField(layer, "number", OFTInteger);
    addField(layer, "small", OFTInteger, OFSTInt16);
    addField(layer, "big", OFTInteger64);
    addField(layer, "ratio", OFTReal);
    addField(layer, "single", OFTReal, OFSTFloat32);
    addField(layer, "name", OFTString);
    addField(layer, "flag", OFTInteger, OFSTBoolean);
    addField(layer, "day", OFTDate);
    addField(layer, "moment", OFTDateTime);
    addField(layer, "SYMBOL_C", OFTString);
    addField(layer, "Xoffset_C", OFTReal);
    if (withBinary) addField(layer, "picture", OFTBinary);
}

void fill(OGRFeature& feature, int n) {
    feature.SetField("number", n);
    feature.SetField("small", n % 30000);
    feature.SetField("big", static_cast<GIntBig>(9007199254740993) + n);
    feature.SetField("ratio", n + 0.5);
    feature.SetField("single", n + 0.25);
    feature.SetField("name", ("Buoy " + std::to_string(n)).c_str());
    feature.SetField("flag", n % 2);
    feature.SetField("day", 2024, 2, 29);
    feature.SetField(feature.GetFieldIndex("moment"), 2024, 2, 29, 12, 30, 15.25F, 100);
    feature.SetField("SYMBOL_C", "old");
    feature.SetField("Xoffset_C", 0.0);
    const std::array<unsigned char, 2> picture{1, 2};
    const int index = feature.GetFieldIndex("picture");
    if (index >= 0) feature.SetField(index, 2, picture.data());
}

void addRow(OGRLayer& layer, int n) {
    OGRFeature feature(layer.GetLayerDefn());
    feature.SetFID(n);
    for (int i = 0; n == 2 && i < feature.GetFieldCount(); ++i) feature.SetFieldNull(i);
    if (n != 2 && n != 3) fill(feature, n);
    const OGRPoint point(n, n);
    feature.SetGeometry(&point);
    if (layer.CreateFeature(&feature) != OGRERR_NONE) throw std::runtime_error("row " + std::to_string(n));
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "host_testXXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("no temporary folder");
    path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void makeChart(const std::string& path, int rows, const char* driver) {
    GDALAllRegister();
    const GDALDatasetUniquePtr dataset(
        GetGDALDriverManager()->GetDriverByName(driver)->Create(path.c_str(), 0, 0, 0, GDT_Unknown, nullptr));
    const std::string kind = driver;
    dataset->StartTransaction();
    CPLStringList options;
    if (kind == "GPKG") options.SetNameValue("IDENTIFIER", "Lateral buoys");
    if (kind == "SQLite") options.SetNameValue("LAUNDER", "NO");
    OGRLayer* layer = dataset->CreateLayer("BOYLAT", nullptr, wkbPoint, options.List());
    const bool shapes = kind == "ESRI Shapefile";
    if (shapes) CPLPushErrorHandler(CPLQuietErrorHandler);  // it warns that it has no date with a time
    addFields(*layer, !shapes);
    if (shapes) CPLPopErrorHandler();
    for (int n = 1; n <= rows; ++n) addRow(*layer, n);
    OGRLayer* notes = dataset->CreateLayer("NOTES", nullptr, wkbNone, nullptr);
    addField(*notes, "code", OFTInteger);
    addField(*notes, "text", OFTString);
    for (int n = 1; n <= 2; ++n) {
        OGRFeature feature(notes->GetLayerDefn());
        feature.SetField("code", n);
        feature.SetField("text", n == 1 ? "first" : "second");
        if (notes->CreateFeature(&feature) != OGRERR_NONE) throw std::runtime_error("note");
    }
    dataset->CommitTransaction();
}

namespace {

// A GeoPackage's triggers name functions that every connection has to bring along.
void addSpatialFunctions(sqlite3* connection) {
    const auto zero = [](sqlite3_context* context, int, sqlite3_value**) { sqlite3_result_int(context, 0); };
    for (const char* name : {"ST_IsEmpty", "ST_MinX", "ST_MaxX", "ST_MinY", "ST_MaxY"})
        sqlite3_create_function(connection, name, 1, SQLITE_UTF8, nullptr, zero, nullptr, nullptr);
}

}  // namespace

std::vector<std::string> sqlite(const std::string& path, const std::string& sql) {
    sqlite3* connection = nullptr;
    std::vector<std::string> rows;
    const auto collect = [](void* all, int, char** values, char**) {
        static_cast<std::vector<std::string>*>(all)->emplace_back(values[0] ? values[0] : "NULL");
        return 0;
    };
    const bool opened = sqlite3_open(path.c_str(), &connection) == SQLITE_OK;
    addSpatialFunctions(connection);
    if (!opened || sqlite3_exec(connection, sql.c_str(), collect, &rows, nullptr) != SQLITE_OK)
        ADD_FAILURE() << sql << ": " << sqlite3_errmsg(connection);
    sqlite3_close(connection);
    return rows;
}

CComBSTR bstr(const std::string& utf8) {
    CComBSTR text;
    text.Attach(embedded_host::toBstr(utf8));
    return text;
}

std::string utf8(BSTR text) {
    return embedded_host::toUtf8(embedded_host::viewOf(text));
}

CComVariant variant(const std::string& text) {
    return {bstr(text)};
}

CComVariant nullVariant() {
    CComVariant null;
    null.vt = VT_NULL;
    return null;
}

std::string shown(const VARIANT& value) {
    std::array<char, 64> buffer{};
    switch (value.vt) {
        case VT_EMPTY:
            return "EMPTY";
        case VT_NULL:
            return "NULL";
        case VT_I2:
            return "I2:" + std::to_string(value.iVal);
        case VT_I4:
            return "I4:" + std::to_string(value.lVal);
        case VT_I8:
            return "I8:" + std::to_string(value.llVal);
        case VT_BOOL:
            return value.boolVal == VARIANT_TRUE ? "BOOL:true" : value.boolVal == 0 ? "BOOL:false" : "BOOL:neither";
        case VT_BSTR:
            return "BSTR:" + utf8(value.bstrVal);
        case VT_R4:
        case VT_R8:
        case VT_DATE:
            std::snprintf(buffer.data(), buffer.size(), "%s:%.15g",
                          value.vt == VT_R4   ? "R4"
                          : value.vt == VT_R8 ? "R8"
                                              : "DATE",
                          value.vt == VT_R4 ? static_cast<double>(value.fltVal) : value.dblVal);
            return buffer.data();
        default:
            return "type " + std::to_string(value.vt);
    }
}

std::string errorText() {
    CComPtr<IErrorInfo> info;
    if (GetErrorInfo(0, &info) != S_OK) return {};
    CComBSTR description;
    EXPECT_EQ(info->GetDescription(&description), S_OK);
    return utf8(description);
}

CComPtr<IQueryFilter> filter(std::initializer_list<const char*> fields, const std::string& where) {
    CComPtr<IQueryFilter> made;
    EXPECT_EQ(VelCreateInstance(CLSID_QueryFilter, nullptr, CLSCTX_ALL, __uuidof(IQueryFilter),
                                reinterpret_cast<void**>(&made)),
              S_OK);
    for (const char* field : fields) EXPECT_EQ(made->AddField(bstr(field)), S_OK);
    if (!where.empty()) {
        EXPECT_EQ(made->put_WhereClause(bstr(where)), S_OK);
    }
    return made;
}

LONG fieldIndex(IRow* row, const char* name) {
    CComPtr<IFields> fields;
    LONG index = -2;
    EXPECT_EQ(row->get_Fields(&fields), S_OK);
    EXPECT_EQ(fields->FindField(bstr(name), &index), S_OK);
    return index;
}

std::string value(IRow* row, const char* field) {
    CComVariant result;
    const HRESULT hr = row->get_Value(fieldIndex(row, field), &result);
    return SUCCEEDED(hr) ? shown(result) : "failed: " + errorText();
}

std::vector<ObjectId> idsOf(ISelectionSet* selection) {
    CComPtr<IEnumIDs> all;
    EXPECT_EQ(selection->get_IDs(&all), S_OK);
    std::vector<ObjectId> ids;
    for (ObjectId id = 0; all->Next(&id) == S_OK;) ids.push_back(id);
    return ids;
}

CComPtr<IRow> next(ICursor* cursor) {
    CComPtr<IRow> row;
    const HRESULT hr = cursor->NextRow(&row);
    EXPECT_EQ(hr, row ? S_OK : S_FALSE) << errorText();
    return row;
}

CComPtr<IRow> rowOf(ITable* table, ObjectId id) {
    CComPtr<IRow> found;
    if (table->GetRow(id, &found) != S_OK) throw std::runtime_error(errorText());
    return found;
}

void ChartTest::open(int rows, Access access, const char* driver) {
    makeChart(path_, rows, driver);
    workspace_ = GdalWorkspace::open(path_, access);
}

CComPtr<IFeatureClass> ChartTest::openClass(const char* layer) {
    return workspace_->openFeatureClass(layer, std::nullopt);
}

CComPtr<ICursor> ChartTest::update(IQueryFilter* filter, bool recycling) {
    CComPtr<ICursor> cursor;
    EXPECT_EQ(openTable()->Update(filter, recycling ? VARIANT_TRUE : VARIANT_FALSE, &cursor), S_OK) << errorText();
    return cursor;
}

}  // namespace host_test
