#include "layer_options.h"

namespace cxml {

void addLayerOptions(CLI::App& command, LayerArguments& arguments) {
    command.add_option("DOCUMENT", arguments.document, "the CXML document")->required()->type_name("");
    command.add_option("DATASET", arguments.dataset, "a GeoPackage file or a GDAL connection string")
        ->required()
        ->type_name("");
    command
        .add_option("LAYER", arguments.layers,
                    "layers to run over; without any, all that the document has a configuration for")
        ->type_name("");
    command.add_flag("--json", arguments.json, "write one JSON object to standard output, with every message");
    command.add_flag("--quiet", arguments.quiet, "show no progress bar");
    addServiceOptions(command, arguments.services);
}

}  // namespace cxml
