#include "new_chart.h"

#include "host/geodatabase/copy_dataset.h"
#include "host/host_error.h"
#include "interrupt.h"
#include "tools/text/text.h"

#include <fmt/format.h>

namespace cxml {

using embedded_host::GdalWorkspace;
using embedded_host::HostError;
using embedded_host::NewFile;

void addNewChart(CLI::App& command, NewChartOptions& options) {
    command
        .add_option("-o,--output", options.file,
                    "write a symbolized copy of DATASET, which may then be anything that GDAL reads, an S-57 cell too")
        ->type_name("FILE.gpkg");
    command.add_option("--oo", options.openOptions, "an option of GDAL's for opening DATASET with -o; may be repeated")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false)
        ->needs(command.get_option("--output"));
}

std::shared_ptr<GdalWorkspace> openInPlace(const std::string& dataset, const embedded_host::WorkspaceOptions& options) {
    try {
        return GdalWorkspace::open(dataset, GdalWorkspace::Access::Update, options);
    } catch (const embedded_host::ReadOnlyError& error) {
        throw HostError(std::string(error.what()) + "; or write a symbolized copy: --output chart.gpkg");
    }
}

void NewChart::begin() {
    OutputPlace{{arguments_.document, arguments_.dataset}, overwrite_}.expectFree(*options_.file);
    file_.emplace(*options_.file, overwrite_ ? NewFile::WhenThere::Replace : NewFile::WhenThere::Refuse);
}

std::shared_ptr<GdalWorkspace> NewChart::open(Console& console, embedded_host::WorkspaceOptions options) {
    console.progress().startShare("copying");
    embedded_host::copyDataset(
        arguments_.dataset, options_.openOptions, file_->path(),
        [&](double share) {
            if (stopped()) throw HostError("interrupted");
            console.progress().share(share);
        },
        [&](const std::string& text) { console.complain(text); });
    options.name = *options_.file;
    std::shared_ptr<GdalWorkspace> workspace =
        GdalWorkspace::open(file_->path(), GdalWorkspace::Access::Update, options);
    layers_ = workspace->layers().size();
    return workspace;
}

ExitStatus NewChart::end(Console& console, ExitStatus status) {
    if (!file_ || layers_ == 0 || status == ExitStatus::Unusable || status == ExitStatus::Interrupted) return status;
    try {
        file_->finish();
    } catch (const HostError& error) {
        console.complain(error.what());
        return ExitStatus::Unusable;
    }
    if (!arguments_.json)
        console.result(fmt::format("{}: {}", *options_.file, plural(static_cast<std::int64_t>(layers_), "layer")));
    return status;
}

}  // namespace cxml
