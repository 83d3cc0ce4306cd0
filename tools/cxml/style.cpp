// cxml style: how QGIS draws the layers of a dataset, written beside them.
#include "commands.h"
#include "host/host_error.h"
#include "interrupt.h"
#include "layer_options.h"
#include "out_of_memory.h"
#include "services.h"
#include "style_writing.h"
#include "tools/reports/document.h"
#include "tools/runs/layer_choice.h"

#include <fmt/format.h>
#include <algorithm>
#include <iostream>
#include <memory>

namespace cxml {
namespace {

using embedded_host::GdalWorkspace;
using embedded_host::HostError;
using embedded_host::LayerInfo;

struct Arguments {
    std::string dataset;
    std::optional<std::string> document;
    std::vector<std::string> layers;
    StyleOptions style;
    bool json = false;
    ServiceOptions services;
};

// Those that are named, which have to have shapes and symbols; else all.
std::vector<LayerInfo> layersOf(const Arguments& arguments, GdalWorkspace& workspace) {
    std::vector<LayerInfo> available = workspace.layers();
    if (arguments.layers.empty()) return available;
    std::vector<LayerInfo> chosen;
    for (const std::string& name : arguments.layers) {
        const std::string meant = workspace.layerName(name);
        const LayerInfo& layer = findLayer(available, meant, workspace.name());
        if (std::ranges::find(chosen, layer.name, &LayerInfo::name) != chosen.end()) continue;
        if (!layer.spatial) throw HostError(fmt::format("{}: layer {} has no shapes", workspace.name(), layer.name));
        if (!workspace.fieldType(layer.name, "SYMBOL_C"))
            throw HostError(
                fmt::format("{}: layer {} has no field SYMBOL_C; symbolize it first", workspace.name(), layer.name));
        chosen.push_back(layer);
    }
    return chosen;
}

ExitStatus write(const Arguments& arguments, Console& console) {
    StyleWriting styles(arguments.style);
    ServiceOptions options = arguments.services;
    options.withoutPython = !arguments.document;
    const Services services(options, console);
    std::optional<Document> document;
    if (arguments.document) {
        const NothingToLose nothing("");
        document.emplace(console, *arguments.document, MessageLog::Keep::Counts);
        load(*document);
        if (!document->loaded) {
            console.complain(notLoaded(*document));
            return ExitStatus::Failed;
        }
    }
    const std::shared_ptr<GdalWorkspace> workspace = GdalWorkspace::open(
        arguments.dataset, GdalWorkspace::Access::Update, {.lockTimeout = std::nullopt, .stop = &stopRequested()});
    styles.write(*workspace, layersOf(arguments, *workspace), document ? document->map.get() : nullptr);
    styles.complain(console);
    if (arguments.json)
        std::cout << '{' << styles.json() << "}\n";
    else
        styles.report(console);
    return ExitStatus::Good;
}

ExitStatus style(const Arguments& arguments) {
    Console console(Console::Bar::Never);
    try {
        return orEndOutOfMemory([&] { return write(arguments, console); });
    } catch (const HostError& e) {
        if (stopRequested()) {
            console.complain("interrupted");
            return ExitStatus::Interrupted;
        }
        console.complain(e.what());
        return ExitStatus::Unusable;
    }
}

}  // namespace

void addStyle(CLI::App& app, Command& chosen) {
    CLI::App* command = app.add_subcommand("style", "Write how QGIS draws a symbolized dataset into the dataset");
    const auto arguments = std::make_shared<Arguments>();
    command->add_option("DATASET", arguments->dataset, "a GeoPackage file or a connection string (PG:...)")
        ->required()
        ->type_name("");
    command
        ->add_option("DOCUMENT", arguments->document,
                     "the document that symbolizes it: all names that it has, and labels from what it computes")
        ->type_name("");
    command
        ->add_option("-l,--layer", arguments->layers,
                     "this layer; may be repeated; without it all that have shapes and SYMBOL_C")
        ->type_name("LAYER")
        ->allow_extra_args(false);
    addStyleOptions(*command, arguments->style);
    command->add_flag("--json", arguments->json, "write one JSON object to standard output");
    addServiceOptions(*command, arguments->services);
    command->footer(
        "Styles of other names stay, and a layer that opens with one of them goes on doing so.\n"
        "A name in SYMBOL_C that has neither a picture nor a style is drawn as the name in a box, and listed.\n"
        "Exit status: 0 written, 1 DOCUMENT did not load, 2 wrong usage, or a dataset that keeps no styles or cannot "
        "be\n"
        "written.");
    command->callback([&chosen, arguments] { chosen = [arguments] { return style(*arguments); }; });
}

}  // namespace cxml
