// cxml import: S-57 cells into a GeoPackage.
#include "commands.h"
#include "host/geodatabase/import_cells.h"
#include "host/host_error.h"
#include "interrupt.h"
#include "tools/reports/console.h"

#include <fmt/format.h>
#include <memory>

namespace cxml {
namespace {

// Leaves the progress callback, which is how an import is stopped.
struct Stopped {};

// The last path is the dataset, those before it are cells.
ExitStatus importPaths(std::vector<std::string> paths) {
    const std::string dataset = paths.back();
    paths.pop_back();
    Console console(Console::Bar::WhenTerminal);
    console.progress().startShare("importing");
    try {
        const std::vector<embedded_host::LayerInfo> layers = embedded_host::importCells(
            paths, dataset,
            [&](double share) {
                if (stopRequested() && share < 1) throw Stopped();  // a finished dataset stays
                console.progress().share(share);
            },
            [&](const std::string& text) { console.complain(text); });
        for (const embedded_host::LayerInfo& layer : layers)
            console.result(fmt::format("{}: {} row{}", layer.name, layer.rowCount, layer.rowCount == 1 ? "" : "s"));
        return ExitStatus::Good;
    } catch (const Stopped&) {
        console.complain("interrupted");
        return ExitStatus::Interrupted;
    } catch (const embedded_host::HostError& e) {
        console.complain(e.what());
        return ExitStatus::Unusable;
    }
}

}  // namespace

void addImport(CLI::App& app, Command& chosen) {
    CLI::App* command = app.add_subcommand(
        "import", "Bring S-57 ENC cells, with their update files, into a new GeoPackage: a layer per object class");
    const auto paths = std::make_shared<std::vector<std::string>>();
    command->add_option("CELL...DATASET", *paths, "one or more cells (.000), then the GeoPackage to make")
        ->required()
        ->expected(2, CLI::detail::expected_max_vector_size)
        ->type_name("");
    command->callback([&chosen, paths] { chosen = [paths] { return importPaths(*paths); }; });
}

}  // namespace cxml
