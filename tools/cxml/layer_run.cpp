#include "layer_run.h"

#include "interrupt.h"
#include "layer_choice.h"
#include "out_of_memory.h"
#include "report.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <iostream>
#include <map>
#include <new>
#include <optional>
#include <utility>

namespace cxml {
namespace {

using embedded_host::GdalWorkspace;
using embedded_host::HostError;
using embedded_host::LayerInfo;
using embedded_host::RunMonitor;

// One transaction: what is not committed is rolled back.
class Transaction {
public:
    explicit Transaction(GdalWorkspace& workspace) : workspace_(workspace) { workspace_.begin(); }
    ~Transaction() {
        if (!committed_) workspace_.rollback();
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void commit() {
        workspace_.commit();
        committed_ = true;
    }

private:
    GdalWorkspace& workspace_;
    bool committed_ = false;
};

// Has the workspace's cursors report to a monitor while it lives.
class Watch {
public:
    Watch(GdalWorkspace& workspace, RunMonitor& monitor) : workspace_(workspace) { workspace_.watch(&monitor); }
    ~Watch() { workspace_.watch(nullptr); }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

private:
    GdalWorkspace& workspace_;
};

// What --json writes of a document that was never loaded.
constexpr const char* interruptedWhileLoading =
    R"({"document": {"loaded": false, "error": "interrupted", "messages": []}, "layers": []})"
    "\n";

bool stopped() noexcept {
    return stopRequested().load(std::memory_order_relaxed);
}

std::int64_t rowsToVisit(const LayerInfo& layer, ISelectionSet* selection) {
    LONG count = 0;
    if (!selection) return layer.rowCount;
    return SUCCEEDED(selection->get_Count(&count)) ? count : -1;
}

class LayerCommand {
public:
    LayerCommand(const LayerArguments& arguments, const LayerWork& work)
        : arguments_(arguments),
          work_(work),
          keep_(arguments.json ? MessageLog::Keep::All : MessageLog::Keep::Counts),
          console_(arguments.json || arguments.quiet ? Console::Bar::Never : Console::Bar::WhenTerminal),
          services_(arguments.services, console_),
          document_(console_, arguments.document, keep_) {}

    ExitStatus run();

private:
    ExitStatus runAll();
    std::vector<LayerInfo> prepareLayers(GdalWorkspace& workspace);
    void chooseSubtypeFields(GdalWorkspace& workspace, const std::vector<LayerInfo>& available,
                             const std::vector<LayerInfo>& layers);
    CComPtr<IFeatureClass> openLayer(GdalWorkspace& workspace, const LayerInfo& layer) const;
    ExitStatus runLayer(GdalWorkspace& workspace, const LayerInfo& layer);
    ExitStatus runInTransaction(GdalWorkspace& workspace, const LayerInfo& layer, LayerResult& result);
    ExitStatus runRows(GdalWorkspace& workspace, IFeatureClass* featureClass, ISelectionSet* selection,
                       LayerResult& result);
    bool callLibrary(const LayerRun& run) const;

    const LayerArguments& arguments_;
    const LayerWork& work_;
    MessageLog::Keep keep_;
    Console console_;
    Services services_;  // outlives the document, whose expressions need Python to the end
    Document document_;
    std::map<std::string, std::string> subtypeFields_;  // by layer, where an option names one
    std::vector<LayerResult> results_;
};

ExitStatus LayerCommand::run() {
    ExitStatus status = ExitStatus::Unusable;
    try {
        status = runAll();
    } catch (const HostError& e) {
        if (stopped())
            status = ExitStatus::Interrupted;
        else
            console_.complain(e.what());
    }
    if (status == ExitStatus::Interrupted) console_.complain("interrupted");
    if (work_.report) return work_.report(console_, document_, results_, status);
    if (arguments_.json) writeJson(std::cout, document_, results_);
    return status;
}

ExitStatus LayerCommand::runAll() {
    {
        const NothingToLose nothing(arguments_.json ? interruptedWhileLoading : "");
        load(document_);
    }
    if (!document_.loaded) {
        console_.complain(notLoaded(document_));
        return work_.notLoaded;
    }
    const std::shared_ptr<GdalWorkspace> workspace = GdalWorkspace::open(
        arguments_.dataset, work_.access, {.lockTimeout = arguments_.lockTimeout, .stop = &stopRequested()});
    const std::vector<LayerInfo> layers = prepareLayers(*workspace);
    ExitStatus status = ExitStatus::Good;
    for (const LayerInfo& layer : layers) {
        if (stopped()) return ExitStatus::Interrupted;
        status = graver(status, runLayer(*workspace, layer));
        if (status == ExitStatus::Interrupted) break;
    }
    return status;
}

// Everything that can be refused is refused here, before a layer changes.
std::vector<LayerInfo> LayerCommand::prepareLayers(GdalWorkspace& workspace) {
    const ConditionalXml::ConditionMap& map = *document_.map;
    document_.dom.Release();
    std::vector<std::string> names;
    names.reserve(arguments_.layers.size());
    for (const std::string& name : arguments_.layers) names.push_back(workspace.layerName(name));
    const std::vector<LayerInfo> available = workspace.layers();
    std::vector<LayerInfo> layers = chooseLayers(available, names, map, workspace.name());
    if (layers.empty())
        console_.complain(fmt::format("{}: no layer has a configuration in {}", workspace.name(), document_.path));
    chooseSubtypeFields(workspace, available, layers);
    for (const LayerInfo& layer : layers) openLayer(workspace, layer);
    for (const LayerInfo& layer : layers) {
        const auto configuration = findConfiguration(map, layer.alias);
        if (work_.prepare && configuration && !stopped()) work_.prepare(workspace, layer.name, *configuration);
    }
    return layers;
}

void LayerCommand::chooseSubtypeFields(GdalWorkspace& workspace, const std::vector<LayerInfo>& available,
                                       const std::vector<LayerInfo>& layers) {
    for (const auto& [layer, field] : work_.subtypeFields.byLayer)
        subtypeFields_[findLayer(available, workspace.layerName(layer), workspace.name()).name] = field;
    const std::optional<std::string>& field = work_.subtypeFields.ofAll;
    if (!field) return;
    std::vector<std::string> lacking;
    bool found = false;
    for (const LayerInfo& layer : layers) {
        if (subtypeFields_.contains(layer.name)) continue;
        if (workspace.fieldType(layer.name, *field)) {
            subtypeFields_[layer.name] = *field;
            found = true;
        } else {
            lacking.push_back(layer.name);
        }
    }
    if (!found && !lacking.empty())
        throw HostError(fmt::format("{}: none of the layers that run ({}) has a field '{}'", workspace.name(),
                                    listOf(lacking), *field));
    for (const std::string& layer : lacking)
        console_.complain(
            fmt::format("{}: there is no field '{}'; the layer runs without --subtype-field", layer, *field));
}

CComPtr<IFeatureClass> LayerCommand::openLayer(GdalWorkspace& workspace, const LayerInfo& layer) const {
    const auto field = subtypeFields_.find(layer.name);
    return workspace.openFeatureClass(
        layer.name, field == subtypeFields_.end() ? std::nullopt : std::optional<std::string>(field->second));
}

ExitStatus LayerCommand::runLayer(GdalWorkspace& workspace, const LayerInfo& layer) {
    LayerResult& result =
        results_.emplace_back(LayerResult{.layer = layer.name, .messages = MessageLog(console_, layer.name, keep_)});
    ExitStatus status = ExitStatus::Unusable;
    try {
        status = runInTransaction(workspace, layer, result);
    } catch (const HostError& e) {
        if (stopped())
            status = ExitStatus::Interrupted;
        else
            result.messages.add(MessageKind::Error, oneLine(e.what()));
    }
    console_.progress().finish();
    result.succeeded = status == ExitStatus::Good;
    result.interrupted = status == ExitStatus::Interrupted;
    if (!result.succeeded) {
        result.changed = 0;
        if (result.messages.empty() && !result.interrupted)
            console_.complain(
                fmt::format("{}: no configuration in {} for the class '{}'", layer.name, document_.path, layer.alias));
    }
    if (!arguments_.json && work_.showsLayers) console_.result(summaryLine(result));
    return status;
}

ExitStatus LayerCommand::runInTransaction(GdalWorkspace& workspace, const LayerInfo& layer, LayerResult& result) {
    // A file is locked before anything of it is read; a server's selection needs no transaction.
    std::optional<Transaction> transaction;
    if (workspace.type() != workspaceRemoteDatabase) transaction.emplace(workspace);
    const CComPtr<IFeatureClass> featureClass = openLayer(workspace, layer);
    const CComPtr<ISelectionSet> selection =
        work_.select ? work_.select(workspace, layer.name) : CComPtr<ISelectionSet>();
    console_.progress().startRows(layer.name, rowsToVisit(layer, selection));
    if (!transaction) transaction.emplace(workspace);
    try {
        const ExitStatus status = runRows(workspace, featureClass, selection, result);
        if (status == ExitStatus::Good && work_.access == embedded_host::Access::Update) transaction->commit();
        return status;
    } catch (const HostError& e) {
        // A file that cannot be written is unusable; a server that ends a run in its middle has failed that run.
        if (workspace.type() != workspaceRemoteDatabase || stopped()) throw;
        result.messages.add(MessageKind::Error, oneLine(e.what()));
        return ExitStatus::Failed;
    }
}

ExitStatus LayerCommand::runRows(GdalWorkspace& workspace, IFeatureClass* featureClass, ISelectionSet* selection,
                                 LayerResult& result) {
    RunMonitor monitor;
    monitor.stop = &stopRequested();
    monitor.onProgress = [this](std::int64_t rows) { console_.progress().rows(rows); };
    monitor.onRow = work_.onRow;
    const Watch watch(workspace, monitor);
    const bool succeeded =
        callLibrary({document_, featureClass, selection, collectInto(result.messages), monitor, result});
    if (result.messages.isIncomplete()) throw std::bad_alloc();
    result.rows = monitor.rows;
    result.unreadable = std::move(monitor.unreadable);
    result.refused = std::move(monitor.refused);
    if (stopped()) return ExitStatus::Interrupted;
    if (!monitor.failure.empty()) throw HostError(monitor.failure);
    if (!succeeded) return ExitStatus::Failed;
    if (const std::string why = result.rows > 0 && work_.whyFailed ? work_.whyFailed(workspace, result.layer) : "";
        !why.empty()) {
        result.messages.add(MessageKind::Error, why);
        return ExitStatus::Failed;
    }
    result.changed = monitor.changed;
    return ExitStatus::Good;
}

bool LayerCommand::callLibrary(const LayerRun& run) const {
    std::string text;
    try {
        return work_.run(run);
    } catch (const CAtlException& e) {
        if (e.m_hr == E_OUTOFMEMORY) throw;
        text = describe(e);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& e) {
        text = e.what();
    }
    run.result.messages.add(MessageKind::Error, text);
    return false;
}

}  // namespace

ExitStatus runLayers(const LayerArguments& arguments, const LayerWork& work) {
    try {
        LayerCommand command(arguments, work);
        return orEndOutOfMemory([&] { return command.run(); });
    } catch (const HostError& e) {  // of the services: nothing has begun
        Console(Console::Bar::Never).complain(e.what());
        return ExitStatus::Unusable;
    }
}

}  // namespace cxml
