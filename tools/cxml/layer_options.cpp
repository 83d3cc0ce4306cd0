#include "layer_options.h"

#include "object_ids.h"

#include <stdexcept>

namespace cxml {

void addDocumentOption(CLI::App& command, std::string& document) {
    command.add_option("DOCUMENT", document, "the CXML document; - is standard input")
        ->required()
        ->type_name("")
        ->transform([](const std::string& name) { return name == "-" ? "/dev/stdin" : name; });
}

void addDatasetOptions(CLI::App& command, LayerArguments& arguments) {
    addDocumentOption(command, arguments.document);
    command.add_option("DATASET", arguments.dataset, "a GeoPackage file or a connection string (PG:...)")
        ->required()
        ->type_name("");
}

void addLayerOptions(CLI::App& command, LayerArguments& arguments) {
    addDatasetOptions(command, arguments);
    command
        .add_option("LAYER", arguments.layers,
                    "layers to run over; without any, all that the document has a configuration for")
        ->type_name("");
    addOutputOptions(command, arguments);
}

void addOutputOptions(CLI::App& command, LayerArguments& arguments) {
    command.add_flag("--json", arguments.json, "write one JSON object to standard output, with every message");
    command.add_flag("-q,--quiet", arguments.quiet, "show no progress bar");
    command
        .add_option("--lock-timeout", arguments.lockTimeout,
                    "how long to wait for rows or a file that someone else has locked")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, 1e6));
    addServiceOptions(command, arguments.services);
}

std::string whyNoCondition(const std::string& text) {
    return text.find_first_not_of(" \t\r\n") == std::string::npos ? "a condition is missing" : "";
}

void addWhereOption(CLI::App& command, std::optional<std::string>& where) {
    command.add_option("--where", where, "only rows that satisfy this condition")
        ->type_name("SQL")
        ->check(whyNoCondition);
}

void addRowOptions(CLI::App& command, RowArguments& arguments) {
    addWhereOption(command, arguments.where);
    command.add_option("--fids", arguments.ids, "only rows with these ids")
        ->type_name("N,N,...")
        ->check([](const std::string& text) { return whyNotObjectIds(text); });
    command
        .add_option("--subtype-field", arguments.subtypeOptions,
                    "the field that holds the subtype of a row, of one layer or of all that have it; may be repeated")
        ->type_name("[LAYER=]FIELD")
        ->allow_extra_args(false);
}

void limitTo(const RowArguments& arguments, LayerWork& work) {
    try {
        work.subtypeFields = readSubtypeFields(arguments.subtypeOptions);
    } catch (const std::invalid_argument& error) {
        throw CLI::ValidationError("--subtype-field", error.what());
    }
    if (!arguments.where && !arguments.ids) return;
    work.select = [where = arguments.where, ids = arguments.ids ? parseObjectIds(*arguments.ids) : std::nullopt](
                      embedded_host::GdalWorkspace& workspace, const std::string& layer) {
        return workspace.select(layer, where, ids);
    };
}

}  // namespace cxml
