#include "document_run.h"

#include "layer_choice.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <new>
#include <utility>

namespace cxml {

using embedded_host::GdalWorkspace;
using embedded_host::HostError;
using embedded_host::LayerInfo;
using embedded_host::RunMonitor;

namespace {

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

std::int64_t rowsToVisit(const LayerInfo& layer, ISelectionSet* selection) {
    LONG count = 0;
    if (!selection) return layer.rowCount;
    return SUCCEEDED(selection->get_Count(&count)) ? count : -1;
}

}  // namespace

DocumentRun::DocumentRun(const RunArguments& arguments, const LayerWork& work, Console& console, Document& document,
                         GdalWorkspace& workspace, std::vector<LayerResult>& results, const std::atomic<bool>& stop)
    : arguments_(arguments),
      work_(work),
      keep_(arguments.json ? MessageLog::Keep::All : MessageLog::Keep::Counts),
      console_(console),
      document_(document),
      workspace_(workspace),
      results_(results),
      stop_(stop) {}

void DocumentRun::prepare() {
    const ConditionalXml::ConditionMap& map = *document_.map;
    document_.dom.Release();
    std::vector<std::string> names;
    names.reserve(arguments_.layers.size());
    for (const std::string& name : arguments_.layers) names.push_back(workspace_.layerName(name));
    const std::vector<LayerInfo> available = workspace_.layers();
    layers_ = chooseLayers(available, names, map, workspace_.name());
    if (work_.passesOverUnconfigured)
        std::erase_if(layers_, [&](const LayerInfo& layer) { return !findConfiguration(map, layer.alias); });
    if (layers_.empty())
        console_.complain(fmt::format("{}: no layer has a configuration in {}", workspace_.name(), document_.path));
    chooseSubtypeFields(available);
    for (const LayerInfo& layer : layers_) openLayer(layer);
    for (const LayerInfo& layer : layers_) {
        const auto configuration = findConfiguration(map, layer.alias);
        if (work_.prepare && configuration && !stopped()) work_.prepare(workspace_, layer.name, *configuration);
    }
}

ExitStatus DocumentRun::run() {
    ExitStatus status = ExitStatus::Good;
    for (const LayerInfo& layer : layers_) {
        if (stopped()) return ExitStatus::Interrupted;
        status = graver(status, runLayer(layer));
        if (status == ExitStatus::Interrupted) break;
    }
    return status;
}

void DocumentRun::chooseSubtypeFields(const std::vector<LayerInfo>& available) {
    for (const auto& [layer, field] : work_.subtypeFields.byLayer)
        subtypeFields_[findLayer(available, workspace_.layerName(layer), workspace_.name()).name] = field;
    const std::optional<std::string>& field = work_.subtypeFields.ofAll;
    if (!field) return;
    std::vector<std::string> lacking;
    bool found = false;
    for (const LayerInfo& layer : layers_) {
        if (subtypeFields_.contains(layer.name)) continue;
        if (workspace_.fieldType(layer.name, *field)) {
            subtypeFields_[layer.name] = *field;
            found = true;
        } else {
            lacking.push_back(layer.name);
        }
    }
    if (!found && !lacking.empty())
        throw HostError(fmt::format("{}: none of the layers that run ({}) has a field '{}'", workspace_.name(),
                                    listOf(lacking), *field));
    for (const std::string& layer : lacking)
        console_.complain(
            fmt::format("{}: there is no field '{}'; the layer runs without --subtype-field", layer, *field));
}

std::optional<std::string> DocumentRun::subtypeField(const LayerInfo& layer) const {
    const auto field = subtypeFields_.find(layer.name);
    return field == subtypeFields_.end() ? std::nullopt : std::optional(field->second);
}

CComPtr<IFeatureClass> DocumentRun::openLayer(const LayerInfo& layer) const {
    return workspace_.openFeatureClass(layer.name, subtypeField(layer));
}

ExitStatus DocumentRun::runLayer(const LayerInfo& layer) {
    const std::string source = work_.namesDocument ? fmt::format("{}: {}", document_.path, layer.name) : layer.name;
    LayerResult& result = results_.emplace_back(
        LayerResult{.layer = layer.name, .messages = MessageLog(console_, source, keep_, work_.showsMessages)});
    ExitStatus status = ExitStatus::Unusable;
    try {
        status = runInTransaction(layer, result);
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
        tellWhy(layer, result);
    }
    if (!arguments_.json && work_.showsLayers) console_.result(summaryLine(result));
    return status;
}

void DocumentRun::tellWhy(const LayerInfo& layer, LayerResult& result) {
    if (result.interrupted) {
        result.failure = "interrupted";
    } else if (!result.messages.empty()) {
        result.failure = oneLine(result.messages.last());
    } else {
        result.failure = fmt::format("no configuration in {} for the class '{}'", document_.path, layer.alias);
        console_.complain(fmt::format("{}: {}", layer.name, result.failure));
    }
}

ExitStatus DocumentRun::runInTransaction(const LayerInfo& layer, LayerResult& result) {
    // A file is locked before anything of it is read; a server's selection needs no transaction.
    std::optional<Transaction> transaction;
    if (!work_.inTransaction && workspace_.type() != workspaceRemoteDatabase) transaction.emplace(workspace_);
    const CComPtr<IFeatureClass> featureClass = openLayer(layer);
    const CComPtr<ISelectionSet> selection =
        work_.select ? work_.select(workspace_, layer.name) : CComPtr<ISelectionSet>();
    console_.progress().startRows(layer.name, rowsToVisit(layer, selection));
    if (!work_.inTransaction && !transaction) transaction.emplace(workspace_);
    try {
        const ExitStatus status = runRows(featureClass, selection, result);
        if (status == ExitStatus::Good && transaction && work_.access == embedded_host::Access::Update)
            transaction->commit();
        return status;
    } catch (const HostError& e) {
        // A file that cannot be written is unusable; a server that ends a run in its middle has failed that run.
        if (workspace_.type() != workspaceRemoteDatabase || stopped()) throw;
        result.messages.add(MessageKind::Error, oneLine(e.what()));
        return ExitStatus::Failed;
    }
}

ExitStatus DocumentRun::runRows(IFeatureClass* featureClass, ISelectionSet* selection, LayerResult& result) {
    RunMonitor monitor;
    monitor.stop = &stop_;
    monitor.onProgress = [this](std::int64_t rows) { console_.progress().rows(rows); };
    monitor.onRow = work_.onRow;
    const Watch watch(workspace_, monitor);
    const bool succeeded =
        callLibrary({document_, featureClass, selection, collectInto(result.messages), monitor, result});
    if (result.messages.isIncomplete()) throw std::bad_alloc();
    result.rows = monitor.rows;
    result.unreadable = std::move(monitor.unreadable);
    result.refused = std::move(monitor.refused);
    if (stopped()) return ExitStatus::Interrupted;
    if (!monitor.failure.empty()) throw HostError(monitor.failure);
    if (!succeeded) return ExitStatus::Failed;
    if (const std::string why = result.rows > 0 && work_.whyFailed ? work_.whyFailed(workspace_, result.layer) : "";
        !why.empty()) {
        result.messages.add(MessageKind::Error, why);
        return ExitStatus::Failed;
    }
    result.changed = monitor.changed;
    return ExitStatus::Good;
}

bool DocumentRun::callLibrary(const LayerRun& run) const {
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

}  // namespace cxml
