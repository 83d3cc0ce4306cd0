// The smallest host: one class with one row, symbolized by a document. Call it with the path of buoys.cxml; it prints
// the symbol.
#include "host_objects.h"

#include <cstdio>
#include <stdexcept>

namespace {

int run(const char* path) {
    SymbologyManager manager;
    const std::string ascii = path;
    if (!manager.loadCXML(WideString(ascii.begin(), ascii.end()).c_str(), nullptr)) {
        std::fputs("The document does not load\n", stderr);
        return 1;
    }
    Buoys buoys;
    Buoy buoy(buoys);
    bool changed = false;
    if (!manager.symbolize(&buoy, &changed, nullptr)) return 1;
    std::printf("%s %s\n", changed ? "changed" : "unchanged", buoy.symbol().c_str());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: symbology_host buoys.cxml\n", stderr);
        return 2;
    }
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED))) return 1;
    int status = 1;
    try {
        status = run(argv[1]);
    } catch (const std::runtime_error& error) {
        std::fprintf(stderr, "%s\n", error.what());
    }
    CoUninitialize();
    return status;
}
