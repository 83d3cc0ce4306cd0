// Running an operation of the library over layers of a dataset, each layer in one transaction.
#pragma once

#include "configurations.h"
#include "exit_status.h"
#include "host/geodatabase/gdal_workspace.h"
#include "services.h"
#include "subtype_fields.h"
#include "symbology/symbology_manager.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace cxml {

/// What every command that runs over layers is told.
struct LayerArguments {
    std::string document;
    std::string dataset;
    std::vector<std::string> layers;  // empty: all that the document configures
    bool json = false;
    bool quiet = false;
    std::optional<double> lockTimeout;  // seconds
    ServiceOptions services;
};

/// What a command does with a layer. Functions may throw embedded_host::HostError.
struct LayerWork {
    SubtypeFields subtypeFields;
    /// Before the first run, for each layer that the document configures and that will run; may be empty.
    std::function<void(embedded_host::GdalWorkspace&, const std::string& layer,
                       const ConditionalXml::FeatureClassRule&)>
        prepare;
    /// Which rows; may be empty or give null: all rows.
    std::function<CComPtr<ISelectionSet>(embedded_host::GdalWorkspace&, const std::string& layer)> select;
    /// The run itself; false when it failed. Exceptions of the library may leave it.
    std::function<bool(SymbologyManager&, IFeatureClass*, ISelectionSet*, IGPMessages*)> run;
    /// With each row before the run gets it; what it puts is written with the row. May be empty.
    std::function<void(IRow*)> onRow;
    /// After a run over some rows that returned true: why it has failed all the same, else the empty text. May be
    /// empty.
    std::function<std::string(embedded_host::GdalWorkspace&, const std::string& layer)> whyFailed;
};

/// Loads the document, opens the dataset, runs the work over the layers and reports. Layers are independent: one that
/// fails is rolled back and the next one runs. All usage is checked before the first change.
ExitStatus runLayers(const LayerArguments& arguments, const LayerWork& work);

}  // namespace cxml
