// Charts for the host's tests: small datasets made through GDAL in a temporary folder, and short words for COM calls.
#pragma once

#include "host/geodatabase/gdal_workspace.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace host_test {

using embedded_host::FieldKind;
using embedded_host::GdalWorkspace;
using embedded_host::HostError;
using embedded_host::RunMonitor;
using Access = GdalWorkspace::Access;

/// A folder that is removed with all that it holds.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    std::string file(const std::string& name) const { return path_ + "/" + name; }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

/// Makes a dataset with the point layer BOYLAT of `rows` rows (object ids from 1) and the plain table NOTES of 2.
/// Row 2 of BOYLAT holds only NULLs, in row 3 nothing was ever set; row n else holds
///   number n, small n, big 9007199254740993 + n, ratio n + 0.5, single n + 0.25, name "Buoy n", flag n is odd,
///   day 2024-02-29, moment 2024-02-29T12:30:15.250, SYMBOL_C "old", Xoffset_C 0, picture two bytes.
/// In a GeoPackage BOYLAT has the title "Lateral buoys".
void makeChart(const std::string& path, int rows, const char* driver = "GPKG");

/// Runs SQL behind the host's back, on a connection of its own.
/// \return the first column of the rows, NULL as "NULL".
std::vector<std::string> sqlite(const std::string& path, const std::string& sql);

CComBSTR bstr(const std::string& utf8);
std::string utf8(BSTR text);
CComVariant variant(const std::string& text);
CComVariant nullVariant();
/// Type and value in one text: "I4:7", "BSTR:Buoy 1", "NULL".
std::string shown(const VARIANT& value);
/// Takes the thread's COM error text; "" when there is none.
std::string errorText();

CComPtr<IQueryFilter> filter(std::initializer_list<const char*> fields, const std::string& where = {});

template <class Interface, class Object>
CComPtr<Interface> as(const CComPtr<Object>& object) {
    const CComQIPtr<Interface> other(static_cast<IUnknown*>(object.p));
    return other;
}

LONG fieldIndex(IRow* row, const char* name);
std::string value(IRow* row, const char* field);
std::vector<ObjectId> idsOf(ISelectionSet* selection);
/// The next row; null at the end. Any other status fails the test.
CComPtr<IRow> next(ICursor* cursor);
/// The row with the id. \throws std::runtime_error with the host's text, which fails the test.
CComPtr<IRow> rowOf(ITable* table, ObjectId id);

/// A chart that is open for update.
class ChartTest : public testing::Test {
protected:
    void open(int rows, Access access = Access::Update, const char* driver = "GPKG");
    CComPtr<IFeatureClass> openClass(const char* layer = "BOYLAT");
    CComPtr<ITable> openTable(const char* layer = "BOYLAT") { return as<ITable>(openClass(layer)); }
    CComPtr<ICursor> update(IQueryFilter* filter = nullptr, bool recycling = false);
    CComPtr<IRow> row(ObjectId id, const char* layer = "BOYLAT") { return rowOf(openTable(layer), id); }

    TemporaryFolder folder_;
    std::string path_ = folder_.file("chart.gpkg");
    std::shared_ptr<GdalWorkspace> workspace_;
};

}  // namespace host_test
