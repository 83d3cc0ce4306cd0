#include "bench_support.h"

#include "memhost/text.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <random>

namespace fs = std::filesystem;

void fail(const std::string& text) {
    std::fprintf(stderr, "%s\n", text.c_str());
    std::exit(1);
}

double processorSeconds() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

Folder::Folder() : path_(fs::temp_directory_path() / ("symbology-bench-" + std::to_string(std::random_device{}()))) {
    fs::create_directory(path_);
}

Folder::~Folder() {
    std::error_code ignored;  // a folder that stays is the next clean-up's business
    fs::remove_all(path_, ignored);
}

std::string Folder::write(const std::string& name, const std::string& content) const {
    std::string path = file(name);
    if (!(std::ofstream(path, std::ios::binary) << content)) fail("cannot write " + path);
    return path;
}

void loadDocument(SymbologyManager& manager, const std::string& path) {
    if (!manager.loadCXML(memhost::bstr(path), nullptr)) fail("the document was not loaded: " + path);
}

std::int64_t symbolizeLayer(SymbologyManager& manager, embedded_host::GdalWorkspace& workspace,
                            const std::string& layer, std::int64_t rows) {
    embedded_host::RunMonitor monitor;
    workspace.watch(&monitor);
    workspace.begin();
    const bool succeeded = manager.symbolize(workspace.openFeatureClass(layer, std::nullopt), nullptr, nullptr);
    workspace.commit();
    workspace.watch(nullptr);
    if (!succeeded || !monitor.failure.empty()) fail("the run failed: " + monitor.failure);
    if (monitor.rows != rows) fail("the run did not visit every row");
    return monitor.changed;
}

void runCommand(const std::string& command) {
    // NOLINTNEXTLINE(cert-env33-c,concurrency-mt-unsafe): a benchmark of one thread runs a fixed command
    if (std::system(command.c_str()) != 0) fail("this command failed: " + command);
}
