// A run of the library over a GeoPackage of 100,000 rows, through the embedded host: what a whole row costs.
#include "bench_support.h"
#include "workload.h"

#include "host/geodatabase/gdal_workspace.h"
#include "symbology/symbology_manager.h"

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>

namespace {

namespace fs = std::filesystem;
using embedded_host::GdalWorkspace;

constexpr std::size_t rowCount = 100'000;
constexpr int conditions = 50;
constexpr const char* layer = "NAVPNT";

/// The features as points of a GeoPackage with a spatial index, made by GDAL's own tool.
void makeDataset(const Folder& folder, const std::vector<Feature>& features) {
    std::ofstream csv(folder.file("NAVPNT.csv"));
    csv << "x,y,SYMBOL_C,Xoffset_C,Yoffset_C,Rotate_C,OBJL,CATLAM,VALSOU,OBJNAM\n";
    std::size_t number = 0;
    for (const Feature& feature : features) {
        constexpr std::size_t pointsInLine = 1000;
        const auto column = static_cast<double>(number % pointsInLine);
        const double line = std::floor(static_cast<double>(number) / pointsInLine);
        csv << column / 100 << ',' << line / 100 << ",,,,," << feature.objectClass << ',';
        if (feature.category != 0) csv << feature.category;
        csv << ',';
        if (feature.depth >= 0) csv << feature.depth;
        csv << ',' << feature.name << '\n';
        ++number;
    }
    csv.close();
    std::ofstream(folder.file("NAVPNT.csvt")) << "CoordX,CoordY,String,Real,Real,Real,Integer,Integer,Real,String\n";
    runCommand("ogr2ogr -q -f GPKG -nln NAVPNT -a_srs EPSG:4326 '" + folder.file("base.gpkg") + "' '" +
               folder.file("NAVPNT.csv") + "' -oo EMPTY_STRING_AS_NULL=YES -oo KEEP_GEOM_COLUMNS=NO");
}

/// One transaction over the layer, as the tool does it. \return how many rows were written.
std::int64_t symbolize(SymbologyManager& manager, const std::string& dataset) {
    const auto workspace = GdalWorkspace::open(dataset, GdalWorkspace::Access::Update);
    return symbolizeLayer(manager, *workspace, layer, rowCount);
}

std::string shown(const CComVariant& value) {
    return value.vt == VT_BSTR ? memhost::utf8(value.bstrVal) : std::string();
}

/// Compares every row with its answer.
void check(const std::string& dataset, const std::vector<Feature>& features) {
    const auto workspace = GdalWorkspace::open(dataset, GdalWorkspace::Access::Read);
    const CComPtr<IFeatureClass> featureClass = workspace->openFeatureClass(layer, std::nullopt);
    const CComQIPtr<ITable> table(static_cast<IUnknown*>(featureClass));
    CComPtr<IFields> fields;
    LONG symbol = -1;
    LONG angle = -1;
    table->get_Fields(&fields);
    fields->FindField(memhost::bstr("SYMBOL_C"), &symbol);
    fields->FindField(memhost::bstr("Rotate_C"), &angle);
    ObjectId id = 0;
    for (const Feature& feature : features) {
        CComPtr<IRow> row;
        CComVariant symbolValue;
        CComVariant angleValue;
        if (FAILED(table->GetRow(++id, &row)) || FAILED(row->get_Value(symbol, &symbolValue)) ||
            FAILED(row->get_Value(angle, &angleValue)))
            fail("row " + std::to_string(id) + " cannot be read");
        const double written = angleValue.vt == VT_R8 ? angleValue.dblVal : 0;
        if (shown(symbolValue) != feature.symbol || written != feature.angle)
            fail("wrong answer in row " + std::to_string(id) + ": " + shown(symbolValue));
    }
}

struct Case {
    Folder folder;
    std::vector<Feature> features = makeFeatures(rowCount, conditions);
    SymbologyManager manager;

    Case() {
        makeDataset(folder, features);
        loadDocument(manager, folder.write("rules.cxml", ruleDocument(conditions)));
    }

    /// A fresh copy of the dataset whose target fields are NULL.
    std::string copy() const {
        const std::string target = folder.file("run.gpkg");
        fs::copy_file(folder.file("base.gpkg"), target, fs::copy_options::overwrite_existing);
        return target;
    }
};

Case& theCase() {
    static Case one;
    return one;
}

void count(benchmark::State& state, std::int64_t changed) {
    state.counters["changed"] = static_cast<double>(changed);
    state.counters["row"] = benchmark::Counter(
        static_cast<double>(rowCount), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void targetsNull(benchmark::State& state) {
    std::int64_t changed = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const std::string dataset = theCase().copy();
        state.ResumeTiming();
        changed = symbolize(theCase().manager, dataset);
    }
    count(state, changed);
}
BENCHMARK(targetsNull)->Unit(benchmark::kMillisecond);

void nothingToWrite(benchmark::State& state) {
    const std::string dataset = theCase().copy();
    symbolize(theCase().manager, dataset);
    std::int64_t changed = 0;
    for (auto _ : state) changed = symbolize(theCase().manager, dataset);
    count(state, changed);
}
BENCHMARK(nothingToWrite)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    const std::string dataset = theCase().copy();
    const std::int64_t changed = symbolize(theCase().manager, dataset);
    check(dataset, theCase().features);
    if (symbolize(theCase().manager, dataset) != 0) fail("a second run changed rows");
    std::printf("checked: %zu rows of a GeoPackage, %lld changed, none by a second run\n", rowCount,
                static_cast<long long>(changed));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
