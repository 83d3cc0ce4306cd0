// cxml symbolize: decides the symbols of a dataset's rows and writes them.
#include "commands.h"
#include "layer_options.h"
#include "object_ids.h"
#include "watched_process.h"

#include <memory>
#include <stdexcept>

namespace cxml {
namespace {

using embedded_host::FieldKind;
using embedded_host::FieldRequest;
using embedded_host::GdalWorkspace;

struct Arguments : LayerArguments {
    std::optional<std::string> where;
    std::optional<std::string> ids;
    std::vector<std::string> subtypeOptions;
    SubtypeFields subtypeFields;
    bool addFields = false;
};

void addTargetFields(GdalWorkspace& workspace, const std::string& layer,
                     const ConditionalXml::FeatureClassRule& configuration) {
    std::vector<FieldRequest> fields{{"SYMBOL_C", FieldKind::Text},
                                     {"Xoffset_C", FieldKind::Real},
                                     {"Yoffset_C", FieldKind::Real},
                                     {"Rotate_C", FieldKind::Real}};
    for (const std::string& field : resultFields(configuration)) fields.push_back({field, FieldKind::Text});
    workspace.addFields(layer, fields);
}

ExitStatus symbolize(const Arguments& arguments) {
    goOnWatched();  // expressions run in this process, and may end it
    LayerWork work;
    work.subtypeFields = arguments.subtypeFields;
    if (arguments.addFields) work.prepare = addTargetFields;
    if (arguments.where || arguments.ids) {
        const auto ids = arguments.ids ? parseObjectIds(*arguments.ids) : std::nullopt;
        work.select = [&arguments, ids](GdalWorkspace& workspace, const std::string& layer) {
            return workspace.select(layer, arguments.where, ids);
        };
    }
    work.run = [](SymbologyManager& manager, IFeatureClass* featureClass, ISelectionSet* selection,
                  IGPMessages* messages) { return manager.symbolize(featureClass, selection, messages); };
    work.whyFailed = [](GdalWorkspace& workspace, const std::string& layer) -> std::string {
        // The library has said so for each row, which alone is no failure of a run.
        if (workspace.fieldType(layer, "SYMBOL_C")) return {};
        return "no row has got a symbol: the layer has no field SYMBOL_C, which --add-fields adds";
    };
    return runLayers(arguments, work);
}

}  // namespace

void addSymbolize(CLI::App& app, Command& chosen) {
    CLI::App* command = app.add_subcommand("symbolize", "Write the symbols that a document decides into a dataset");
    const auto arguments = std::make_shared<Arguments>();
    addLayerOptions(*command, *arguments);
    command->add_option("--where", arguments->where, "only rows that satisfy this condition")
        ->type_name("SQL")
        // An empty variable of a script must not mean every row.
        ->check([](const std::string& text) -> std::string {
            return text.find_first_not_of(" \t\r\n") == std::string::npos ? "a condition is missing" : "";
        });
    command->add_option("--fids", arguments->ids, "only rows with these ids")
        ->type_name("N,N,...")
        ->check([](const std::string& text) { return whyNotObjectIds(text); });
    command
        ->add_option("--subtype-field", arguments->subtypeOptions,
                     "the field that holds the subtype of a row, of one layer or of all that have it; may be repeated")
        ->type_name("[LAYER=]FIELD")
        ->allow_extra_args(false);
    command->add_flag("--add-fields", arguments->addFields, "first add the fields that are written and missing");
    command->callback([&chosen, arguments] {
        try {
            arguments->subtypeFields = readSubtypeFields(arguments->subtypeOptions);
        } catch (const std::invalid_argument& error) {
            throw CLI::ValidationError("--subtype-field", error.what());
        }
        chosen = [arguments] { return symbolize(*arguments); };
    });
}

}  // namespace cxml
