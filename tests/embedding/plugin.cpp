#include "plugin.h"

#include "host_objects.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

void* pluginLoad(const OLECHAR* path) {
    auto manager = std::make_unique<SymbologyManager>();
    try {
        return manager->loadCXML(path, nullptr) ? manager.release() : nullptr;
    } catch (const std::runtime_error&) {
        return nullptr;
    }
}

int pluginRun(void* document, int rows, char* label, unsigned capacity) {
    auto& manager = *static_cast<SymbologyManager*>(document);
    Buoys buoys;
    for (int row = 1; row <= rows; ++row) {
        Buoy buoy(buoys);
        bool changed = false;
        if (!manager.symbolize(&buoy, &changed, nullptr) || !changed || buoy.symbol() != "BUOY") return row;
        const std::string text = buoy.label().substr(0, capacity - 1);
        *std::ranges::copy(text, label).out = '\0';
    }
    return 0;
}

void pluginRelease(void* document) {
    delete static_cast<SymbologyManager*>(document);
}
