// cxml reset: clears what symbolize wrote.
#include "commands.h"
#include "layer_options.h"

#include <memory>

namespace cxml {

void addReset(CLI::App& app, Command& chosen) {
    CLI::App* command =
        app.add_subcommand("reset", "Set SYMBOL_C and the computed fields of every row to NULL; placement fields stay");
    const auto arguments = std::make_shared<LayerArguments>();
    addLayerOptions(*command, *arguments);
    command->callback([&chosen, arguments] {
        chosen = [arguments] {
            LayerWork work;
            work.run = [](SymbologyManager& manager, IFeatureClass* featureClass, ISelectionSet* /*selection*/,
                          IGPMessages* /*messages*/) { return manager.resetReps(featureClass); };
            return runLayers(*arguments, work);
        };
    });
}

}  // namespace cxml
