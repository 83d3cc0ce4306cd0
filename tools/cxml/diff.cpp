// cxml diff: what another document, or a run, would make of each row.
#include "diff.h"

#include "commands.h"
#include "diff_page.h"
#include "diff_report.h"
#include "diff_rows.h"
#include "interrupt.h"
#include "layer_options.h"
#include "observed_run.h"
#include "out_of_memory.h"
#include "output_place.h"
#include "symbolize/runs.h"
#include "tools/reports/configurations.h"
#include "tools/reports/json_head.h"
#include "tools/runs/document_run.h"
#include "tools/text/text.h"
#include "tools/workbench/outcome_spool.h"
#include "watched_process.h"

#include <fmt/format.h>
#include <algorithm>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace cxml {
namespace {

using embedded_host::Access;
using embedded_host::GdalWorkspace;
using embedded_host::HostError;

constexpr std::size_t groupsExplained = 50;  // of a layer

// What --json writes of documents that were never loaded.
constexpr const char* interruptedWhileLoading =
    R"({"document": {"loaded": false, "error": "interrupted", "messages": []}, "result": "trouble"})"
    "\n";

/// How the document comes to a row as the dataset holds it; nothing when the row would fail.
std::optional<RowExplanation> explain(const Document& document, IFeatureClass* featureClass, ObjectId id) {
    std::optional<RowExplanation> found;
    const CComQIPtr<ITable> table(featureClass);
    CComPtr<IRow> row;
    if (!table || FAILED(table->GetRow(id, &row)) || !row) return found;
    Explainer explainer(document.places, [&](RowExplanation&& explanation) { found = std::move(explanation); });
    try {
        ConditionalXml::symbolizeSingleRow(*document.map, row, &explainer);
    } catch (const std::runtime_error&) {
        found.reset();
    }
    return found;
}

class DiffCommand {
public:
    DiffCommand(const DiffArguments& arguments, LayerWork work)
        : arguments_(arguments),
          work_(std::move(work)),
          console_(arguments.json || arguments.quiet ? Console::Bar::Never : Console::Bar::WhenTerminal),
          second_(console_, arguments.document, MessageLog::Keep::Counts) {
        if (arguments.first) first_.emplace(console_, *arguments.first, MessageLog::Keep::Counts);
        work_.showsLayers = false;
        work_.namesDocument = true;
        work_.passesOverUnconfigured = true;
        work_.inTransaction = true;
    }

    void startServices() { services_.emplace(arguments_.services, console_); }
    /// For who has services already and wants the comparison itself; nothing is shown then.
    void handOverTo(std::function<void(const DatasetDifference&)> onDone) { onDone_ = std::move(onDone); }

    ExitStatus run();

private:
    OutputPlace place() const;
    void expectPlaces() const;
    bool loadDocuments();
    void makeUpDataset();
    void open(Access access);
    void findCrossReads();
    void findIntended();
    ExitStatus runBoth();
    ExitStatus runPass(DocumentRun& run);
    bool runFirst(const LayerRun& run);
    bool runSecond(const LayerRun& run);
    bool observe(const LayerRun& run, std::function<void(RowOutcome&)> onRow) const;
    void explainGroups(const LayerRun& run, LayerDifference& layer) const;
    LayerDifference& differenceOf(const std::string& layer);
    void addRow(const std::string& layer, ObjectId row, const ChangeGroup& change, bool isInside);
    void finishRows();
    bool isIntended(const std::string& layer, ObjectId row) const;
    static bool has(const DocumentRun& run, const std::string& layer);
    ExitStatus report(ExitStatus status);

    DiffArguments arguments_;
    LayerWork work_;
    Console console_;
    std::optional<Services> services_;  // outlives the documents, whose expressions need Python to the end
    std::function<void(const DatasetDifference&)> onDone_;
    std::optional<Document> first_;
    Document second_;
    std::optional<embedded_host::MemoryDataset> madeUp_;
    std::shared_ptr<GdalWorkspace> workspace_;
    std::vector<LayerResult> results_;
    std::optional<DocumentRun> firstRun_;
    std::optional<DocumentRun> secondRun_;
    OutcomeSpool spool_;                           // of the layers that both documents configure, in their order
    std::map<std::string, std::int64_t> spooled_;  // rows by layer
    std::map<std::string, std::vector<ObjectId>> intended_;
    std::map<std::string, std::string> notApplied_;  // why --only did not, by layer
    DatasetDifference all_;
    std::optional<DiffRows> rows_;
    std::string rowsFailure_;  // the comparison goes on without the file
};

embedded_host::WorkspaceOptions workspaceOptions(const LayerArguments& arguments) {
    return {.lockTimeout = arguments.lockTimeout, .stop = &stopRequested()};
}

OutputPlace DiffCommand::place() const {
    return {{arguments_.document, arguments_.dataset, arguments_.first.value_or("")}, arguments_.overwrite};
}

void DiffCommand::expectPlaces() const {
    for (const std::optional<std::string>& file : {arguments_.rowsFile, arguments_.page})
        if (file) place().expectFree(*file);
}

bool DiffCommand::loadDocuments() {
    const NothingToLose nothing(arguments_.json ? interruptedWhileLoading : "");
    bool all = true;
    const auto loadOne = [&](Document& document) {
        load(document, arguments_.isStatic ? Expressions::PassedOver : Expressions::Compiled);
        if (!document.loaded) console_.complain(notLoaded(document));
        all = all && document.loaded;
    };
    if (first_) loadOne(*first_);
    loadOne(second_);
    return all;
}

void DiffCommand::makeUpDataset() {
    all_.madeUp = makeUpRows(*first_->map, *second_.map);
    if (all_.madeUp.empty()) throw HostError("neither document has a class");
    std::vector<embedded_host::MemoryDataset::Table> tables;
    tables.reserve(all_.madeUp.size());
    for (const MadeUpRows& made : all_.madeUp) {
        tables.push_back(made.table);
        if (!made.subtypeField.empty()) work_.subtypeFields.byLayer[made.table.name] = made.subtypeField;
    }
    arguments_.dataset = madeUp_.emplace(tables).name();
}

void DiffCommand::open(Access access) {
    firstRun_.reset();
    secondRun_.reset();
    workspace_.reset();
    workspace_ = GdalWorkspace::open(arguments_.dataset, access, workspaceOptions(arguments_));
    work_.access = access;
    if (first_)
        firstRun_.emplace(arguments_, work_, console_, *first_, *workspace_, results_, stopRequested()).prepare();
    secondRun_.emplace(arguments_, work_, console_, second_, *workspace_, results_, stopRequested()).prepare();
}

void DiffCommand::findCrossReads() {
    const auto add = [&](const Document& document, const DocumentRun& run) {
        std::vector<WrittenLayer> layers;
        for (const embedded_host::LayerInfo& layer : run.layers()) {
            const auto configuration = findConfiguration(*document.map, layer.alias);
            layers.push_back({layer.name, writtenFields(*configuration), configuration.get()});
        }
        const std::vector<CrossRead> found = crossReads(layers, document.places);
        all_.crossReads.insert(all_.crossReads.end(), found.begin(), found.end());
    };
    if (firstRun_) add(*first_, *firstRun_);
    add(second_, *secondRun_);
}

/// A layer that does not understand the condition has no rows that were to change; the report says so where it counts.
void DiffCommand::findIntended() {
    if (!arguments_.only) return;
    bool isUnderstood = false;
    for (const LayerDifference& layer : all_.layers) {
        std::vector<ObjectId>& ids = intended_[layer.layer];
        try {
            const CComPtr<ISelectionSet> selection = workspace_->select(layer.layer, arguments_.only, std::nullopt);
            CComPtr<IEnumIDs> all;
            if (FAILED(selection->get_IDs(&all)) || !all || FAILED(all->Reset()))
                throw std::runtime_error("the rows of --only cannot be listed");
            for (ObjectId id = 0; all->Next(&id) == S_OK;) ids.push_back(id);
            std::ranges::sort(ids);
            isUnderstood = true;
        } catch (const HostError& error) {
            if (stopped()) throw;
            notApplied_[layer.layer] = fmt::format("{}: --only does not apply: {}", layer.layer, error.what());
        }
    }
    if (!isUnderstood && !notApplied_.empty()) throw HostError(notApplied_.begin()->second);
}

bool DiffCommand::has(const DocumentRun& run, const std::string& layer) {
    return std::ranges::any_of(run.layers(), [&](const auto& info) { return info.name == layer; });
}

LayerDifference& DiffCommand::differenceOf(const std::string& layer) {
    const auto found = std::ranges::find(all_.layers, layer, &LayerDifference::layer);
    if (found != all_.layers.end()) return *found;
    LayerDifference& added = all_.layers.emplace_back();
    added.layer = layer;
    if (rows_)
        added.difference.onChange = [this, layer](ObjectId row, const ChangeGroup& change, bool isInside) {
            addRow(layer, row, change, isInside);
        };
    return added;
}

void DiffCommand::addRow(const std::string& layer, ObjectId row, const ChangeGroup& change, bool isInside) {
    if (!rowsFailure_.empty()) return;
    try {
        rows_->add(layer, row, change, isInside, first_ ? &*first_ : nullptr, second_);
    } catch (const HostError& error) {
        rowsFailure_ = error.what();
    }
}

/// Behind the runs, whose transactions could keep others from reading.
void DiffCommand::finishRows() {
    if (!rows_) return;
    if (!rowsFailure_.empty()) throw HostError(rowsFailure_);
    firstRun_.reset();
    secondRun_.reset();
    rows_->finish(arguments_.dataset, workspaceOptions(arguments_));
}

bool DiffCommand::isIntended(const std::string& layer, ObjectId row) const {
    return !arguments_.only || std::ranges::binary_search(intended_.at(layer), row);
}

bool DiffCommand::observe(const LayerRun& run, std::function<void(RowOutcome&)> onRow) const {
    OutcomeObserver observer(run.monitor.row, std::move(onRow));
    return symbolizeLayer(run, &observer);
}

bool DiffCommand::runFirst(const LayerRun& run) {
    const std::string& layer = run.result.layer;
    if (has(*secondRun_, layer))
        return observe(run, [&, &count = spooled_[layer]](RowOutcome& outcome) {
            spool_.write(outcome);
            ++count;
        });
    LayerDifference& difference = differenceOf(layer);
    const bool succeeded = observe(run, [&](RowOutcome& outcome) {
        difference.difference.compare(&outcome, nullptr, isIntended(layer, outcome.row));
    });
    difference.groups = difference.difference.groups();
    return succeeded;
}

bool DiffCommand::runSecond(const LayerRun& run) {
    const std::string& layer = run.result.layer;
    LayerDifference& difference = differenceOf(layer);
    const bool isInBoth = firstRun_ && has(*firstRun_, layer);
    std::int64_t left = isInBoth ? spooled_[layer] : 0;
    RowOutcome before;
    const bool succeeded = observe(run, [&](RowOutcome& outcome) {
        const bool isThere = isInBoth && left-- > 0 && spool_.read(before);
        if (isInBoth && !isThere) throw std::runtime_error("the dataset has got rows while it was compared");
        difference.difference.compare(isThere ? &before : nullptr, &outcome, isIntended(layer, outcome.row));
    });
    if (succeeded && left > 0) throw std::runtime_error("the dataset has lost rows while it was compared");
    difference.groups = difference.difference.groups();
    if (succeeded && isInBoth && all_.crossReads.empty()) explainGroups(run, difference);
    return succeeded;
}

void DiffCommand::explainGroups(const LayerRun& run, LayerDifference& layer) const {
    for (const ChangeGroup& group : layer.groups) {
        if (layer.causes.size() == groupsExplained || stopped()) return;
        const ObjectId row = group.rows.ids.front();
        const auto first = explain(*first_, run.featureClass, row);
        const auto second = explain(second_, run.featureClass, row);
        std::vector<Cause>& causes = layer.causes.emplace_back();
        if (first && second) causes = causesOf(group, {*first, first_->places}, {*second, second_.places});
    }
}

ExitStatus DiffCommand::runPass(DocumentRun& run) {
    work_.run = [this, isFirst = firstRun_ && &run == &*firstRun_](const LayerRun& layer) {
        return isFirst ? runFirst(layer) : runSecond(layer);
    };
    return run.run();
}

/// Everything happens in transactions that are rolled back, in one where nothing is written.
ExitStatus DiffCommand::runBoth() {
    const struct Rollback {
        GdalWorkspace& workspace;
        ~Rollback() { workspace.rollback(); }
    } rollback{*workspace_};
    workspace_->begin();
    if (firstRun_) {
        const ExitStatus status = runPass(*firstRun_);
        if (status != ExitStatus::Good) return status;
        spool_.rewind();
        if (work_.access == Access::Update) {
            workspace_->rollback();
            workspace_->begin();
        }
    }
    return runPass(*secondRun_);
}

ExitStatus DiffCommand::run() {
    ExitStatus status = ExitStatus::Unusable;
    try {
        expectPlaces();
        if (!loadDocuments()) return report(status);
        if (arguments_.isStatic) makeUpDataset();
        open(Access::Rehearse);
        findCrossReads();
        if (!all_.crossReads.empty()) open(Access::Update);
        if (arguments_.rowsFile) rows_.emplace(*arguments_.rowsFile, arguments_.overwrite);
        for (const DocumentRun* run : {firstRun_ ? &*firstRun_ : nullptr, &*secondRun_})
            if (run)
                for (const embedded_host::LayerInfo& layer : run->layers()) differenceOf(layer.name);
        findIntended();
        status = runBoth();
        if (status == ExitStatus::Good) finishRows();
    } catch (const HostError& error) {
        status = stopped() ? ExitStatus::Interrupted : ExitStatus::Unusable;
        if (!stopped()) console_.complain(error.what());
    }
    return report(status);
}

ExitStatus DiffCommand::report(ExitStatus status) {
    if (status == ExitStatus::Interrupted) console_.complain("interrupted");
    if (status == ExitStatus::Failed) status = ExitStatus::Unusable;
    if (status != ExitStatus::Good) {  // half a comparison would be taken for a whole one
        nlohmann::ordered_json object = jsonHead("diff", second_);
        object["result"] = "trouble";
        if (arguments_.json) std::cout << dumped(object) << '\n';
        return status;
    }
    all_.first = first_ ? &*first_ : nullptr;
    all_.second = &second_;
    all_.dataset = arguments_.isStatic ? "rows that are made up" : workspace_->name();
    all_.hasIntention = arguments_.only.has_value();
    if (onDone_) {
        onDone_(all_);
        return status;
    }
    if (arguments_.json) {
        nlohmann::ordered_json object = jsonHead("diff", second_);
        object.update(differenceJson(all_));
        std::cout << dumped(object) << '\n';
    } else {
        std::cout << differenceText(all_, arguments_.isFull);
    }
    if (arguments_.page) {
        if (const std::string why = place().write(*arguments_.page, differencePage(all_)); !why.empty()) {
            console_.complain(why);
            return ExitStatus::Unusable;
        }
    }
    for (const LayerDifference& layer : all_.layers)
        if (const auto why = notApplied_.find(layer.layer); why != notApplied_.end() && layer.difference.outside() != 0)
            console_.complain(why->second);
    const std::int64_t wrong = all_.sum(arguments_.only ? &Difference::outside : &Difference::different);
    return wrong == 0 ? ExitStatus::Good : ExitStatus::Failed;
}

/// Whether an argument is a document rather than a dataset: by its first character, or, where it cannot be read, by its
/// name.
bool isDocument(const std::string& name) {
    const std::string lower = lowerAscii(name);
    if (lower.ends_with(".cxml") || lower.ends_with(".xml")) return true;
    std::ifstream file(name, std::ios::binary);
    char first = 0;
    while (file.get(first) && std::string_view(" \t\r\n\xEF\xBB\xBF").find(first) != std::string_view::npos) {
    }
    return file && (first == '<' || first == '\xFF' || first == '\xFE');
}

struct Arguments : DiffArguments {
    RowArguments rows;
};

}  // namespace

ExitStatus showDifference(const DiffArguments& arguments, const LayerWork& work) {
    goOnWatched();
    try {
        DiffCommand command(arguments, work);
        command.startServices();
        return orEndOutOfMemory([&] { return command.run(); });
    } catch (const HostError& error) {  // of the services: nothing has begun
        Console(Console::Bar::Never).complain(error.what());
        return ExitStatus::Unusable;
    }
}

ExitStatus compareDocuments(const DiffArguments& arguments, const LayerWork& work,
                            std::function<void(const DatasetDifference&)> onDone) {
    DiffCommand command(arguments, work);
    command.handOverTo(std::move(onDone));
    return command.run();
}

void addDiff(CLI::App& app, Command& chosen) {
    CLI::App* command = app.add_subcommand("diff", "Tell what another document, or a run, would make of each row");
    const auto arguments = std::make_shared<Arguments>();
    addDocumentOption(*command, arguments->document);
    command
        ->add_option("DATASET", arguments->dataset,
                     "[DOCUMENT_B] DATASET: another document to compare with, and a GeoPackage file or a connection "
                     "string (PG:...); without DOCUMENT_B, what a run would change")
        ->required()
        ->type_name("");
    command
        ->add_option("LAYER", arguments->layers,
                     "layers to compare; without any, all that a document has a configuration for")
        ->type_name("");
    addLayerOption(*command, arguments->layers);
    addOutputOptions(*command, *arguments);
    addRowOptions(*command, arguments->rows);
    command->add_option("--only", arguments->only, "the rows that are to change: status 1 for others only")
        ->type_name("SQL")
        ->check(whyNoCondition);
    command->add_flag("--full", arguments->isFull, "every group of rows, not only the first of each layer");
    command
        ->add_option("--rows", arguments->rowsFile,
                     "write a GeoPackage with the rows that are otherwise, a map of them")
        ->type_name("FILE.gpkg");
    command->add_option("--html", arguments->page, "write all groups as a page that opens from disk")
        ->type_name("FILE");
    command->add_flag("--overwrite", arguments->overwrite, "a file that is there may be written anew");
    auto* const isStatic = command->add_flag(
        "--static", arguments->isStatic, "without DATASET: over rows that are made up from what both documents say");
    for (const char* option : {"--only", "--rows", "--html", "--where", "--fids", "--subtype-field"})
        isStatic->excludes(command->get_option(option));
    command->footer("Example: cxml diff rules.cxml edited.cxml chart.gpkg --only \"BOYSHP = 5\"");
    command->callback([&chosen, arguments] {
        if (arguments->isStatic) {
            arguments->services.withoutPython = true;  // values that are made up would only make expressions fail
            if (!arguments->layers.empty()) throw CLI::ValidationError("diff", "--static takes two documents only");
            arguments->first = std::exchange(arguments->document, arguments->dataset);
            arguments->dataset.clear();
        } else if (isDocument(arguments->dataset)) {
            if (arguments->layers.empty()) throw CLI::ValidationError("diff", "DATASET is missing");
            arguments->first = std::exchange(arguments->document, arguments->dataset);
            arguments->dataset = arguments->layers.front();
            arguments->layers.erase(arguments->layers.begin());
        }
        LayerWork work;
        limitTo(arguments->rows, work);
        chosen = [arguments, work] { return showDifference(*arguments, work); };
    });
}

}  // namespace cxml
