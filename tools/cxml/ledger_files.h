// The files that a run's ledger can be written to.
#pragma once

#include "host/geodatabase/row_table.h"
#include "layer_run.h"
#include "output_place.h"
#include "tools/workbench/ledger.h"

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

namespace cxml {

struct LedgerFileOptions {
    std::optional<std::string> ledger;  // JSON
    std::optional<std::string> rows;    // a GeoPackage with a table of all rows
    bool overwrite = false;
};

void addLedgerFiles(CLI::App& command, LedgerFileOptions& options);

class LedgerFiles {
public:
    /// \param options must outlive this.
    LedgerFiles(const LedgerFileOptions& options, const LayerArguments& arguments)
        : options_(options), place_{{arguments.document, arguments.dataset}, options.overwrite} {}

    /// Before the first row. \throws HostError when a file cannot be written.
    void begin();
    /// To be attached to the ledger of each layer before its run. \param layer, places must outlive the run.
    void attach(Ledger& ledger, const std::string& layer, const DocumentPlaces& places);
    /// Writes the files, unless there is no answer. \return what they make of the status; trouble is said.
    ExitStatus end(Console& console, const Document& document, const std::vector<LayerResult>& results,
                   ExitStatus status);

private:
    void add(const std::string& layer, const DocumentPlaces& places, const RowReport& report);
    ExitStatus writeLedger(Console& console, const Document& document, const std::vector<LayerResult>& results) const;

    const LedgerFileOptions& options_;
    OutputPlace place_;
    std::optional<embedded_host::RowTable> rows_;
    std::string failure_;  // of the table of rows; a run goes on without it
};

}  // namespace cxml
