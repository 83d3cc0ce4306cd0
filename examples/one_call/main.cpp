// Symbolizes a dataset with one call, and prints what was said and what became of each layer:
//   symbology_one_call DOCUMENT DATASET [LAYER...]
#include <symbology/geodatabase.h>

#include <cinttypes>
#include <cstdio>
#include <exception>

namespace {

void show(std::string_view source, std::string_view text) {
    std::fprintf(stderr, "%.*s: %.*s\n", static_cast<int>(source.size()), source.data(), static_cast<int>(text.size()),
                 text.data());
}

bool run(const char* document, const char* dataset, const symbology::SymbolizeOptions& options) {
    const symbology::Outcome outcome = symbology::symbolize(dataset, document, options, show);
    for (const symbology::LayerOutcome& layer : outcome.layers)
        std::printf("%s: %" PRId64 " rows, %" PRId64 " changed%s%s\n", layer.layer.c_str(), layer.rows, layer.changed,
                    layer.failed ? "; failed: " : "", layer.why.c_str());
    return !outcome.failed();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fputs("usage: symbology_one_call DOCUMENT DATASET [LAYER...]\n", stderr);
        return 2;
    }
    try {
        symbology::SymbolizeOptions options;
        options.layers.assign(argv + 3, argv + argc);
        options.addMissingFields = true;
        return run(argv[1], argv[2], options) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 2;
    }
}
