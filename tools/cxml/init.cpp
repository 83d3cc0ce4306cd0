// cxml init: a document to begin with.
#include "commands.h"
#include "first_document.h"
#include "host/geodatabase/gdal_workspace.h"
#include "host/host_error.h"
#include "interrupt.h"
#include "layer_options.h"
#include "layer_survey.h"
#include "out_of_memory.h"
#include "output_place.h"
#include "s57_tables.h"
#include "tools/reports/console.h"
#include "tools/runs/layer_choice.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>

namespace cxml {
namespace {

using embedded_host::GdalWorkspace;
using embedded_host::HostError;
using embedded_host::LayerInfo;

struct Arguments {
    std::string dataset;
    std::vector<std::string> layers;
    std::optional<std::string> output;
    bool overwrite = false;

    OutputPlace place() const { return {{dataset}, overwrite}; }
};

// Those that are named; else all with shapes, the others told apart.
std::vector<LayerInfo> layersOf(const Arguments& arguments, GdalWorkspace& workspace,
                                std::vector<std::string>& others) {
    const std::vector<LayerInfo> available = workspace.layers();
    std::vector<LayerInfo> chosen;
    for (const std::string& name : arguments.layers) {
        const std::string meant = workspace.layerName(name);
        const LayerInfo& layer = findLayer(available, meant, workspace.name());
        if (std::ranges::find(chosen, layer.name, &LayerInfo::name) == chosen.end()) chosen.push_back(layer);
    }
    if (!arguments.layers.empty()) return chosen;
    for (const LayerInfo& layer : available) {
        if (layer.spatial)
            chosen.push_back(layer);
        else
            others.push_back(layer.name);
    }
    if (chosen.empty())
        throw HostError(workspace.name() + ": no layer has shapes; name those that are to be symbolized");
    return chosen;
}

void complainOfTables(const std::vector<LayerInfo>& layers, Console& console) {
    if (std::ranges::any_of(layers, [](const LayerInfo& layer) { return looksLikeS57(layer.name); }))
        complainOfMissingTables(console);
}

ExitStatus write(const Arguments& arguments, Console& console) {
    if (arguments.output) arguments.place().expectFree(*arguments.output);
    const std::shared_ptr<GdalWorkspace> workspace = GdalWorkspace::open(
        arguments.dataset, GdalWorkspace::Access::Read, {.lockTimeout = std::nullopt, .stop = &stopRequested()});
    std::vector<std::string> others;
    const std::vector<LayerInfo> layers = layersOf(arguments, *workspace, others);
    complainOfTables(layers, console);
    std::vector<LayerSurvey> surveys;
    surveys.reserve(layers.size());
    for (const LayerInfo& layer : layers) surveys.push_back(survey(*workspace, layer));
    const std::string text = firstDocument(workspace->name(), surveys, others);
    if (!arguments.output) {
        std::cout << text;
        return ExitStatus::Good;
    }
    if (const std::string why = arguments.place().write(*arguments.output, text); !why.empty()) throw HostError(why);
    console.result(
        fmt::format("{}: {}", *arguments.output, plural(static_cast<std::int64_t>(surveys.size()), "layer")));
    return ExitStatus::Good;
}

ExitStatus init(const Arguments& arguments) {
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

void addInit(CLI::App& app, Command& chosen) {
    CLI::App* command = app.add_subcommand("init", "Write a document to begin with, from what a dataset holds");
    const auto arguments = std::make_shared<Arguments>();
    command->add_option("DATASET", arguments->dataset, "the dataset, which is only read")->required()->type_name("");
    command->add_option("LAYER", arguments->layers, "these layers; without it all that have shapes")->type_name("");
    addLayerOption(*command, arguments->layers);
    command->add_option("-o,--output", arguments->output, "the document's file; without it standard output")
        ->type_name("FILE");
    command->add_flag("--overwrite", arguments->overwrite, "replace the file if it is there");
    command->footer(
        "The document has a class for each layer with a default symbol; its fields, the values that occur, how often "
        "and\n"
        "what they mean stand in comments, and examples of rules over them.\n"
        "Example: cxml init chart.gpkg -o chart.cxml && cxml check chart.cxml chart.gpkg");
    command->callback([&chosen, arguments] { chosen = [arguments] { return init(*arguments); }; });
}

}  // namespace cxml
