// The engine alone, on tables in memory: loading documents, and rows against 10, 50, 200 and 1,000 conditions of three
// rules.
#include "allocation_count.h"
#include "bench_support.h"
#include "workload.h"

#include "memhost/messages.h"
#include "symbology/symbology_manager.h"

#include <benchmark/benchmark.h>
#include <cstdio>

namespace {

constexpr std::size_t rowCount = 2000;

std::string documentFile(const Folder& folder, int conditions) {
    return folder.write("rules.cxml", ruleDocument(conditions));
}

void run(SymbologyManager& manager, memhost::TableObject& table) {
    if (!manager.symbolize(table.featureClass(), nullptr, nullptr)) fail("a run failed");
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
    const Folder folder;
    loadDocument(manager, documentFile(folder, conditions));
    run(manager, *table);
    std::size_t answered = 0;
    for (std::size_t row = 0; row < features.size(); ++row) {
        if (!isAnswer(*table, row, features[row]))
            fail("wrong answer: " + std::to_string(conditions) + " conditions, row " + std::to_string(row) + ", " +
                 table->text(row, "SYMBOL_C"));
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
    if (perRow > 64)  // collections of ids that double as they grow
        fail("rows that change nothing allocate: " + std::to_string(perRow) + " for " + std::to_string(rowCount) +
             " rows");
    std::printf("checked: %d conditions, %zu rows, %zu with a symbol, %lld allocations for %zu rows more\n", conditions,
                features.size(), answered, static_cast<long long>(perRow), rowCount);
}

void load(benchmark::State& state) {
    const Folder folder;
    const std::string document = documentFile(folder, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        SymbologyManager manager;
        loadDocument(manager, document);
    }
}
BENCHMARK(load)->Name("loadDocument")->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

/// Rows that hold their symbols already, or that get them.
void symbolizeRows(benchmark::State& state, bool symbolized) {
    const int conditions = static_cast<int>(state.range(0));
    const Folder folder;
    SymbologyManager manager;
    loadDocument(manager, documentFile(folder, conditions));
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
