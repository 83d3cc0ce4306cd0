// The dataset that symbolize makes instead of writing in place.
#pragma once

#include "host/geodatabase/gdal_workspace.h"
#include "host/geodatabase/new_file.h"
#include "layer_run.h"
#include "output_place.h"
#include "tools/reports/console.h"
#include "tools/runs/exit_status.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace cxml {

struct NewChartOptions {
    std::optional<std::string> file;
    std::vector<std::string> openOptions;  // of the input, NAME=VALUE
};

/// Adds -o and --oo.
void addNewChart(CLI::App& command, NewChartOptions& options);

/// Opens a dataset for writing. \throws HostError, which also names -o of one that is only not written.
std::shared_ptr<embedded_host::GdalWorkspace> openInPlace(const std::string& dataset,
                                                          const embedded_host::WorkspaceOptions& options);

/// A copy of the input under a name of its own beside the file that it will be; gone with this unless it was finished.
class NewChart {
public:
    NewChart(const NewChartOptions& options, const LayerArguments& arguments, bool overwrite)
        : options_(options), arguments_(arguments), overwrite_(overwrite) {}

    explicit operator bool() const noexcept { return options_.file.has_value(); }

    /// Takes the place of the file. \throws HostError when it is the input, or there and not to be replaced.
    void begin();
    /// Copies the input and opens the copy for writing. \throws HostError
    std::shared_ptr<embedded_host::GdalWorkspace> open(Console& console, embedded_host::WorkspaceOptions options);
    /// The file gets its name, unless the command was interrupted or had no answer. \return the status, or a graver
    /// one.
    ExitStatus end(Console& console, ExitStatus status);

private:
    const NewChartOptions& options_;
    const LayerArguments& arguments_;
    bool overwrite_;
    std::optional<embedded_host::NewFile> file_;
    std::size_t layers_ = 0;
};

}  // namespace cxml
