// Running an operation of the library over layers of a dataset, each layer in one transaction.
#pragma once

#include "services.h"
#include "tools/runs/layer_work.h"

#include <optional>
#include <string>

namespace cxml {

/// What every command that runs over layers is told.
struct LayerArguments : RunArguments {
    std::string document;
    std::string dataset;
    bool quiet = false;
    std::optional<double> lockTimeout;  // seconds
    ServiceOptions services;
};

/// Loads the document, opens the dataset, runs the work over the layers and reports. Layers are independent: one that
/// fails is rolled back and the next one runs. All usage is checked before the first change.
ExitStatus runLayers(const LayerArguments& arguments, const LayerWork& work);

}  // namespace cxml
