// What is done with layers of a dataset, one after the other.
#pragma once

#include "exit_status.h"
#include "host/geodatabase/gdal_workspace.h"
#include "subtype_fields.h"
#include "tools/reports/configurations.h"
#include "tools/reports/report.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace cxml {

/// Which layers, and how much is kept of what is said.
struct RunArguments {
    std::vector<std::string> layers;  // empty: all that the document configures
    bool json = false;                // every message is kept, with its row and line
};

class DocumentRun;

/// The run of one layer.
struct LayerRun {
    const Document& document;
    IFeatureClass* featureClass;
    ISelectionSet* selection;  // null: all rows
    IGPMessages* messages;
    const embedded_host::RunMonitor& monitor;
    LayerResult& result;
};

/// What a command does with a layer. Functions may throw embedded_host::HostError.
struct LayerWork {
    embedded_host::Access access = embedded_host::Access::Update;
    SubtypeFields subtypeFields;
    /// When the document has loaded, before the dataset is opened; may be empty.
    std::function<void(const Document&)> onLoaded;
    /// Opens the dataset; empty: that of the arguments.
    std::function<std::shared_ptr<embedded_host::GdalWorkspace>(Console&, const embedded_host::WorkspaceOptions&)> open;
    /// Before the first run, for each layer that the document configures and that will run; may be empty.
    std::function<void(embedded_host::GdalWorkspace&, const std::string& layer,
                       const ConditionalXml::FeatureClassRule&)>
        prepare;
    /// Which rows; may be empty or give null: all rows.
    std::function<CComPtr<ISelectionSet>(embedded_host::GdalWorkspace&, const std::string& layer)> select;
    /// The run itself; false when it failed. Exceptions of the library may leave it.
    std::function<bool(const LayerRun&)> run;
    /// With each row before the run gets it; what it puts is written with the row. May be empty.
    std::function<void(IRow*)> onRow;
    /// After a run over some rows that returned true: why it has failed all the same, else the empty text. May be
    /// empty.
    std::function<std::string(embedded_host::GdalWorkspace&, const std::string& layer)> whyFailed;
    /// In the place of all runs, when everything has been checked and prepared; may be empty.
    std::function<void(const DocumentRun&)> inPlaceOfRuns;
    /// After the last run, unless it was interrupted; may be empty.
    std::function<void(embedded_host::GdalWorkspace&, const std::vector<embedded_host::LayerInfo>&, const Document&)>
        afterwards;
    /// The status of a command whose document did not load.
    ExitStatus notLoaded = ExitStatus::Failed;
    /// Whether a line for each layer is shown when its run has ended.
    bool showsLayers = true;
    /// Whether it is one of several runs of a command: what concerns all of them is said elsewhere.
    bool isPart = false;
    /// Whether messages are shown as they come.
    MessageLog::Show showsMessages = MessageLog::Show::AsTheyCome;
    /// Whether the lead of messages names the document besides the layer.
    bool namesDocument = false;
    /// Whether layers that are named and have no configuration are left out.
    bool passesOverUnconfigured = false;
    /// Whether the caller has begun a transaction, which it ends; else each layer gets one.
    bool inTransaction = false;
    /// What the command shows at the end, and the status that this makes of the runs' own; empty: the JSON of runs,
    /// where it is asked for.
    std::function<ExitStatus(Console&, const Document&, const std::vector<LayerResult>&, ExitStatus)> report;
};

}  // namespace cxml
