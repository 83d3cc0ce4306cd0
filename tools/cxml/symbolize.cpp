// cxml symbolize: decides the symbols of a dataset's rows and writes them.
#include "commands.h"
#include "diff.h"
#include "layer_jobs.h"
#include "layer_options.h"
#include "ledger_files.h"
#include "new_chart.h"
#include "observed_run.h"
#include "style_writing.h"
#include "tools/reports/configurations.h"
#include "tools/runs/layer_choice.h"
#include "tools/runs/target_fields.h"
#include "watched_process.h"

#include <iostream>
#include <memory>

namespace cxml {
namespace {

using embedded_host::GdalWorkspace;
using embedded_host::WorkspaceOptions;

struct Arguments : LayerArguments {
    RowArguments rows;
    bool addFields = false;
    bool strict = false;
    int jobs = 1;
    bool dryRun = false;
    LedgerFileOptions files;
    NewChartOptions chart;
    bool styles = false;
    StyleOptions style;
};

// With --strict, what was said counts.
ExitStatus judged(const Arguments& arguments, const Document& document, const std::vector<LayerResult>& results,
                  ExitStatus status) {
    return arguments.strict && status == ExitStatus::Good && !isFlawless(document, results) ? ExitStatus::Failed
                                                                                            : status;
}

ExitStatus symbolizeInJobs(const Arguments& arguments, LayerWork work) {
    const LedgerFileOptions none;
    LedgerFiles files(none, arguments);
    if (arguments.addFields) work.prepare = addTargetFields;
    work.run = [&](const LayerRun& run) { return runWithLedger(run, files); };
    work.whyFailed = whyNoSymbols;
    work.report = [&](Console& /*console*/, const Document& document, const std::vector<LayerResult>& results,
                      ExitStatus status) { return judged(arguments, document, results, status); };
    return runLayersInJobs(arguments, arguments.jobs, std::move(work));
}

ExitStatus symbolize(const Arguments& arguments, LayerWork work) {
    goOnWatched();  // expressions run in this process, and may end it
    LedgerFiles files(arguments.files, arguments);
    NewChart chart(arguments.chart, arguments, arguments.files.overwrite);
    std::optional<StyleWriting> styles;
    work.onLoaded = [&](const Document&) {
        if (arguments.styles) styles.emplace(arguments.style);
        files.begin();
        if (chart) chart.begin();
    };
    work.open = [&](Console& console, const WorkspaceOptions& options) {
        return chart ? chart.open(console, options) : openInPlace(arguments.dataset, options);
    };
    work.prepare = [&, addsFields = arguments.addFields || chart](GdalWorkspace& workspace, const std::string& layer,
                                                                  const ConditionalXml::FeatureClassRule& rules) {
        if (styles) styles->expectPlace(workspace);
        if (addsFields) addTargetFields(workspace, layer, rules);
    };
    if (arguments.styles)
        work.afterwards = [&](GdalWorkspace& workspace, const std::vector<embedded_host::LayerInfo>& layers,
                              const Document& document) { styles->write(workspace, layers, document.map.get()); };
    work.run = [&](const LayerRun& run) { return runWithLedger(run, files); };
    work.whyFailed = whyNoSymbols;
    work.report = [&](Console& console, const Document& document, const std::vector<LayerResult>& results,
                      ExitStatus status) {
        if (styles) styles->complain(console);
        if (arguments.json)
            writeJson(std::cout, document, results, styles ? styles->json() : "");
        else if (styles)
            styles->report(console);
        return judged(arguments, document, results, chart.end(console, files.end(console, document, results, status)));
    };
    return runLayers(arguments, work);
}

}  // namespace

void addSymbolize(CLI::App& app, Command& chosen) {
    CLI::App* command = app.add_subcommand("symbolize", "Write the symbols that a document decides into a dataset");
    const auto arguments = std::make_shared<Arguments>();
    addLayerOptions(*command, *arguments);
    addRowOptions(*command, arguments->rows);
    auto* const addFields =
        command->add_flag("--add-fields", arguments->addFields, "first add the fields that are written and missing");
    auto* const strict = command->add_flag("--strict", arguments->strict,
                                           "status 1 for any message, failed row or query that could not be asked");
    auto* const jobs = command
                           ->add_option("--jobs", arguments->jobs,
                                        "how many layers of a database at a time, each in a process of its own")
                           ->type_name("N")
                           ->check(CLI::Range(1, mostJobs));
    addLedgerFiles(*command, arguments->files);
    addNewChart(*command, arguments->chart);
    auto* const styles =
        command->add_flag("--style", arguments->styles, "write how QGIS draws it, as 'cxml style' does");
    addStyleOptions(*command, arguments->style);
    for (const char* option : {"--ledger", "--rows", "--output", "--log"}) jobs->excludes(command->get_option(option));
    jobs->excludes(styles);
    for (const char* option : {"--symbols", "--palette", "--create-style-table"})
        command->get_option(option)->needs(styles);
    command
        ->add_flag("--dry-run", arguments->dryRun, "only show what would change, as 'cxml diff' does; status 1 if any")
        ->excludes(jobs, addFields, strict, styles, command->get_option("--ledger"), command->get_option("--rows"),
                   command->get_option("--output"));
    command->callback([&chosen, arguments] {
        LayerWork work;
        limitTo(arguments->rows, work);
        if (arguments->dryRun)
            chosen = [arguments, work] { return showDifference({*arguments, {}, {}, {}, {}, {}, {}, {}}, work); };
        else if (arguments->jobs > 1)
            chosen = [arguments, work] { return symbolizeInJobs(*arguments, work); };
        else
            chosen = [arguments, work] { return symbolize(*arguments, work); };
    });
}

}  // namespace cxml
