#include "report_run.h"

#include "chart_order.h"
#include "explained_run.h"
#include "finding_json.h"
#include "host/geodatabase/shapes.h"
#include "host/host_error.h"
#include "interrupt.h"
#include "observed_run.h"
#include "out_of_memory.h"
#include "report_additions.h"
#include "report_content.h"
#include "symbolize/runs.h"
#include "tools/reports/json_head.h"
#include "tools/reports/ledger_report.h"
#include "tools/runs/document_run.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <set>
#include <utility>

namespace cxml {
namespace {

using embedded_host::Access;
using embedded_host::GdalWorkspace;
using embedded_host::HostError;
using nlohmann::ordered_json;

constexpr std::size_t mostExplained = 1000;            // rows
constexpr std::size_t mostExplainedBytes = 8'000'000;  // of their explanations

embedded_host::WorkspaceOptions workspaceOptions(const LayerArguments& arguments) {
    return {.lockTimeout = arguments.lockTimeout, .stop = &stopRequested()};
}

std::vector<ObjectId> samplesOf(const Ledger& ledger, std::size_t samples) {
    std::set<ObjectId> ids;
    const auto add = [&](const embedded_host::RowList& rows) {
        for (std::size_t i = 0; i < std::min(samples, rows.ids.size()); ++i) ids.insert(rows.ids[i]);
    };
    for (const auto& [condition, rows] : ledger.decided()) add(*rows);
    for (const RowEnd end : {RowEnd::Kept, RowEnd::None, RowEnd::Failed}) add(ledger.of(end));
    return {ids.begin(), ids.end()};
}

}  // namespace

ReportRun::ReportRun(const ReportArguments& arguments, const LayerWork& work, Console& console)
    : arguments_(arguments),
      rowsOnly_(work),
      work_(work),
      console_(console),
      document_(console, arguments.document, MessageLog::Keep::Counts),
      decided_(static_cast<bool>(work.select)) {
    work_.access = Access::Rehearse;
    work_.showsLayers = false;
}

bool ReportRun::loadDocument() {
    const NothingToLose nothing("");
    load(document_, arguments_.services.withoutPython ? Expressions::PassedOver : Expressions::Compiled);
    if (!document_.loaded) console_.complain(notLoaded(document_));
    return document_.loaded;
}

/// While the tree is there, which a run lets go.
void ReportRun::findFindings() {
    embedded_host::RunMonitor monitor;  // outlives the workspace
    const std::shared_ptr<GdalWorkspace> workspace =
        GdalWorkspace::open(arguments_.dataset, Access::Read, workspaceOptions(arguments_));
    workspace->watch(&monitor);
    Sources sources;
    const CheckedDataset dataset{workspace.get(), workspace->name()};
    findings_ = findingsOf(document_, {.dataset = &dataset}, sources);
    // What could not be asked is not what is not there.
    if (!monitor.failure.empty()) throw HostError(monitor.failure);
}

bool ReportRun::runLayer(const LayerRun& run) {
    CComBSTR name;
    ConditionalXml::upperAliasName(run.featureClass, name);
    const auto configuration = document_.map->find(name);
    if (!configuration) return symbolizeLayer(run, nullptr);  // which says so
    const LedgerFileOptions none;
    LedgerFiles files(none, arguments_);
    decided_.beginLayer(run.result.layer, resultFields(*configuration));
    OutcomeObserver outcomes(run.monitor.row, [&](RowOutcome& outcome) { decided_.add(outcome); });
    coverage_.beginRun(*configuration);
    const struct End {
        Coverage& coverage;
        ~End() { coverage.endRun(); }
    } end{coverage_};
    const bool succeeded =
        runWithLedger(run, files, {&coverage_, &outcomes}, ConditionalXml::RowSymbolization::Answers::Evaluated);
    findNearest(run);
    return succeeded;
}

ExitStatus ReportRun::runRows() {
    workspace_ = GdalWorkspace::open(arguments_.dataset, Access::Rehearse, workspaceOptions(arguments_));
    dataset_ = workspace_->name();
    work_.run = [this](const LayerRun& run) { return runLayer(run); };
    DocumentRun run(arguments_, work_, console_, document_, *workspace_, results_, stopRequested());
    run.prepare();
    return run.run();
}

void ReportRun::addExplanation(const ExplainedRow& row) {
    std::string text = explained(document_, row, Detail::Usual, false);
    if (explanations_.size() == mostExplained || explainedBytes_ + text.size() > mostExplainedBytes) {
        ++notExplained_;
        return;
    }
    explainedBytes_ += text.size();
    explanations_.push_back({{"layer", row.layer},
                             {"fid", row.explanation.row},
                             {"values", std::move(values_)},
                             {"text", std::move(text)},
                             {"explain", explainedJson(document_, row)}});
}

ordered_json ReportRun::valuesOf(IRow* row) const {
    ordered_json values = ordered_json::array();
    CComPtr<IFields> fields;
    if (FAILED(row->get_Fields(&fields)) || !fields) return values;
    for (const std::string& field : fields_) {
        LONG position = -1;
        CComVariant value;
        if (FAILED(fields->FindField(toBstr(field), &position)) || position < 0 ||
            FAILED(row->get_Value(position, &value)))
            continue;
        values.push_back({{"field", field}, {"value", inWords(shown(&value))}});
    }
    return values;
}

/// Of layers that have come to their end; the same run as that of cxml explain.
void ReportRun::explainSamples() {
    std::map<std::string, std::vector<ObjectId>> samples;
    auto arguments = static_cast<const LayerArguments&>(arguments_);
    arguments.layers.clear();
    for (const LayerResult& result : results_) {
        if (!result.succeeded || !result.ledger) continue;
        std::vector<ObjectId> ids = samplesOf(*result.ledger, arguments_.samples);
        if (ids.empty()) continue;
        arguments.layers.push_back(result.layer);
        samples[result.layer] = std::move(ids);
    }
    if (arguments.layers.empty()) return;
    LayerWork work = work_;
    work.showsMessages = MessageLog::Show::Never;  // they were shown
    work.select = [&](GdalWorkspace& workspace, const std::string& layer) {
        fields_ = workspace.fieldNames(layer);
        return workspace.select(layer, std::nullopt, samples.at(layer));
    };
    work.onRow = [this](IRow* row) {
        operands_->restore();  // as if the row were the only one
        values_ = valuesOf(row);
    };
    work.run = [this](const LayerRun& run) {
        return runExplained(run, [this](const ExplainedRow& row) { addExplanation(row); });
    };
    std::vector<LayerResult> results;
    DocumentRun run(arguments, work, console_, document_, *workspace_, results, stopRequested());
    run.prepare();
    run.run();
}

void ReportRun::addMap(Report& report) {
    ordered_json& content = report.content["map"];
    if (!arguments_.hasMap) return;
    const auto source = embedded_host::ShapeSource::open(arguments_.dataset, workspaceOptions(arguments_));
    FeatureQuery query;
    for (const LayerResult& result : results_) query.layers.push_back(result.layer);
    query.classes = chartOrderOf(*document_.map);
    query.where = arguments_.rows.where;
    const ReportMap map = drawReportMap(*source, std::move(query), decided_, *report.symbols);
    if (!map.picture) {
        if (arguments_.needsMap) throw HostError(fmt::format("{}: no map: {}", dataset_, map.whyNone));
        content = {{"features", 0}, {"why", map.whyNone}};
        return;
    }
    content = {{"features", map.features},
               {"scale", map.scale},
               {"complete", map.cutIn.empty() && !decided_.isCut()},
               {"layers", ordered_json::array()},
               {"withoutPicture", ordered_json::array()}};
    for (const auto& [layer, features] : map.layers)
        content["layers"].push_back({{"layer", layer}, {"features", features}});
    for (const auto& [symbol, features] : map.picture->withoutPicture)
        content["withoutPicture"].push_back({{"symbol", symbol}, {"features", features}});
    report.map = map.picture->svg;
}

ExitStatus ReportRun::statusOf(ExitStatus status) {
    for (const LayerResult& result : results_) {
        if (!result.ledger || !result.succeeded) continue;
        if (result.ledger->isBalanced() && result.ledger->rows() == result.rows) continue;
        console_.complain(result.layer + ": not every row is accounted for");
        status = graver(status, ExitStatus::Failed);
    }
    return status;
}

ExitStatus ReportRun::run(Report& report) {
    report.symbols.emplace(arguments_.symbols.value_or(ownSymbolsFolder()), "day");
    if (!loadDocument()) return ExitStatus::Unusable;
    operands_.emplace(*document_.map);
    findFindings();
    ExitStatus status = runRows();
    if (status == ExitStatus::Unusable && results_.empty()) return status;
    if (status != ExitStatus::Interrupted) {
        status = statusOf(status);
        explainSamples();
        if (stopped()) status = ExitStatus::Interrupted;
    }
    if (status == ExitStatus::Interrupted) {
        console_.complain("interrupted");
        return status;
    }
    report.content = jsonHead("report", document_);
    report.content["dataset"] = dataset_;
    report.content["stamp"] = arguments_.stamp;
    report.content["ledger"] = ledgersJson(document_, results_);
    const ReportedRun reported{document_, coverage_, results_, findings_, arguments_.samples};
    report.content["classes"] = reportedClasses(reported);
    report.content["symbols"] = reportedSymbols(reported, *report.symbols);
    report.content["findings"] = findingsJson(document_.path, findings_);
    if (!arguments_.tests.empty()) report.content["tests"] = testsOf(arguments_.tests, document_);
    if (arguments_.against) {
        const ExitStatus compared =
            compareWith(*arguments_.against, arguments_, rowsOnly_, report.content["difference"]);
        if (compared != ExitStatus::Good) {
            report.content = nullptr;  // half a report would be taken for a whole one
            return compared;
        }
    }
    addMap(report);
    report.content["explained"] = std::move(explanations_);
    report.content["notExplained"] = notExplained_;
    return status;
}

}  // namespace cxml
