// What the benchmarks share: a folder for their files, processor time, and giving up.
#pragma once

#include "host/geodatabase/gdal_workspace.h"
#include "symbology/symbology_manager.h"

#include <benchmark/benchmark.h>
#include <cstdint>
#include <filesystem>
#include <string>

/// Ends the process with 1 and says why: an answer is wrong, or nothing can be measured.
[[noreturn]] void fail(const std::string& text);

/// Processor time of this process so far, in seconds.
double processorSeconds();

/// A folder that goes with the object.
class Folder {
public:
    Folder();
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string file(const std::string& name) const { return (path_ / name).string(); }
    /// Writes a file. \return its path.
    std::string write(const std::string& name, const std::string& content) const;

private:
    std::filesystem::path path_;
};

/// Loads a document from a file; ends the process when it does not load.
void loadDocument(SymbologyManager& manager, const std::string& path);

/// One transaction over all rows of a layer, of which there must be `rows`; ends the process when anything fails.
/// \return how many rows were written.
std::int64_t symbolizeLayer(SymbologyManager& manager, embedded_host::GdalWorkspace& workspace,
                            const std::string& layer, std::int64_t rows);

/// Runs a command; ends the process when it fails.
void runCommand(const std::string& command);

/// Measures two ways of doing the same rows, each iteration one after the other, so that whatever else the machine does
/// meets both. The benchmark's time is the library's; the counters say what a row costs either way, and the ratio.
template <class Library, class Bare>
void compare(benchmark::State& state, double rows, Library&& library, Bare&& bare) {
    double libraryTime = 0;
    double bareTime = 0;
    for (auto _ : state) {
        const double start = processorSeconds();
        library();
        const double middle = processorSeconds();
        bare();
        libraryTime += middle - start;
        bareTime += processorSeconds() - middle;
        state.SetIterationTime(middle - start);
    }
    const double runs = rows * static_cast<double>(state.iterations());
    state.counters["row"] = libraryTime / runs;
    state.counters["bareRow"] = bareTime / runs;
    state.counters["ratio"] = libraryTime / bareTime;
}
