// The engine alone, on tables in memory: loading documents, and rows against 10, 50, 200 and 1,000 conditions of three
// rules.
#include "allocation_count.h"
#include "workload.h"

#include "memhost/messages.h"
#include "symbology/symbology_manager.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

constexpr std::size_t rowCount = 2000;

/// A rule document in a file that goes with the object.
class DocumentFile {
public:
    explicit DocumentFile(int conditions)
        : path_(std::filesystem::temp_directory_path() / ("bench-" + std::to_string(conditions) + ".cxml")) {
        std::ofstream(path_) << ruleDocument(conditions);
    }
    ~DocumentFile() { std::filesystem::remove(path_); }
    DocumentFile(const DocumentFile&) = delete;
    DocumentFile& operator=(const DocumentFile&) = delete;

    void load(SymbologyManager& manager) const {
        if (manager.loadCXML(memhost::bstr(path_.string()), nullptr)) return;
        std::fprintf(stderr, "the document was not loaded: %s\n", path_.c_str());
        std::exit(1);
    }

private:
    std::filesystem::path path_;
};

void run(SymbologyManager& manager, memhost::TableObject& table) {
    if (!manager.symbolize(table.featureClass(), nullptr, nullptr)) {
        std::fprintf(stderr, "a run failed\n");
        std::exit(1);
    }
}

bool isAnswer(const memhost::TableObject& table, std::size_t row, const Feature& feature) {
    const CComVariant& symbol = table.value(row, "SYMBOL_C");
    if (feature.symbol.empty()) return symbol.vt == VT_NULL;
    if (symbol.vt != VT_BSTR || memhost::utf8(symbol.bstrVal) != feature.symbol) return false;
    const CComVariant& angle = table.value(row, "Rotate_C");
    return feature.angle == 0 ? angle.vt == VT_NULL : angle.vt == VT_R8 && angle.dblVal == feature.angle;
}

/// Every row's answer, against plain comparisons; and that rows which change nothing allocate nothing.
void check(int conditions) {
    const std::vector<Feature> features = makeFeatures(rowCount, conditions);
    const auto table = makeTable(features, false);
    SymbologyManager manager;
    DocumentFile(conditions).load(manager);
    run(manager, *table);
    std::size_t answered = 0;
    for (std::size_t row = 0; row < features.size(); ++row) {
        if (!isAnswer(*table, row, features[row])) {
            std::fprintf(stderr, "wrong answer: %d conditions, row %zu, %s\n", conditions, row,
                         table->text(row, "SYMBOL_C").c_str());
            std::exit(1);
        }
        if (!features[row].symbol.empty()) ++answered;
    }
    // A run over twice the rows may allocate no more than one over the rows: what it needs is of the run, not of rows.
    const auto twice = makeTable(makeFeatures(rowCount * 2, conditions), true);
    const auto once = makeTable(features, true);
    const auto allocationsOf = [&](memhost::TableObject& rows) {
        run(manager, rows);
        const std::int64_t before = allocationCount();
        run(manager, rows);
        return allocationCount() - before;
    };
    const std::int64_t perRow = allocationsOf(*twice) - allocationsOf(*once);
    if (perRow > 64) {  // collections of ids that double as they grow
        std::fprintf(stderr, "rows that change nothing allocate: %lld for %zu rows\n", static_cast<long long>(perRow),
                     rowCount);
        std::exit(1);
    }
    std::printf("checked: %d conditions, %zu rows, %zu with a symbol, %lld allocations for %zu rows more\n", conditions,
                features.size(), answered, static_cast<long long>(perRow), rowCount);
}

void loadDocument(benchmark::State& state) {
    const DocumentFile document(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        SymbologyManager manager;
        document.load(manager);
    }
}
BENCHMARK(loadDocument)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

/// Rows that hold their symbols already, or that get them.
void symbolizeRows(benchmark::State& state, bool symbolized) {
    const int conditions = static_cast<int>(state.range(0));
    const DocumentFile document(conditions);
    SymbologyManager manager;
    document.load(manager);
    const std::vector<Feature> features = makeFeatures(rowCount, conditions);
    auto table = makeTable(features, symbolized);
    for (auto _ : state) {
        if (!symbolized) {
            state.PauseTiming();
            table = makeTable(features, false);
            state.ResumeTiming();
        }
        run(manager, *table);
    }
    state.counters["row"] = benchmark::Counter(
        static_cast<double>(rowCount), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK_CAPTURE(symbolizeRows, unchanged, true)->Arg(10)->Arg(50)->Arg(200)->Arg(1000)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(symbolizeRows, changed, false)->Arg(10)->Arg(50)->Arg(200)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
    for (const int conditions : {10, 50, 200, 1000}) check(conditions);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
