#include "layer_options.h"

namespace cxml {

void addLayerOptions(CLI::App& command, LayerArguments& arguments) {
    command.add_option("DOCUMENT", arguments.document, "the CXML document")->required()->type_name("");
    command.add_option("DATASET", arguments.dataset, "a GeoPackage file or a connection string (PG:...)")
        ->required()
        ->type_name("");
    command
        .add_option("LAYER", arguments.layers,
                    "layers to run over; without any, all that the document has a configuration for")
        ->type_name("");
    command.add_flag("--json", arguments.json, "write one JSON object to standard output, with every message");
    command.add_flag("--quiet", arguments.quiet, "show no progress bar");
    command
        .add_option("--lock-timeout", arguments.lockTimeout,
                    "how long to wait for rows or a file that someone else has locked")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, 1e6));
    addServiceOptions(command, arguments.services);
}

}  // namespace cxml
