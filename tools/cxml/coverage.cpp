// cxml coverage: what the rows of a dataset put to the test of a document.
#include "commands.h"
#include "coverage_floors.h"
#include "layer_options.h"
#include "observed_run.h"
#include "output_place.h"
#include "symbolize/runs.h"
#include "test_files.h"
#include "tools/reports/coverage_report.h"
#include "tools/reports/json_head.h"
#include "watched_process.h"

#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

namespace cxml {
namespace {

using Answers = ConditionalXml::RowSymbolization::Answers;

struct Arguments : LayerArguments {
    RowArguments rows;
    std::vector<std::string> earlier;
    std::vector<std::string> tests;
    std::vector<std::string> floors;
    std::optional<std::string> lcov;
    bool overwrite = false;

    OutputPlace place() const { return {{document, dataset}, overwrite}; }
};

bool runCovered(const LayerRun& run, Coverage& coverage) {
    CComBSTR name;
    ConditionalXml::upperAliasName(run.featureClass, name);
    const auto configuration = run.document.map->find(name);
    if (!configuration) return symbolizeLayer(run, nullptr);  // which says so
    coverage.beginRun(*configuration);
    const struct End {
        Coverage& coverage;
        ~End() { coverage.endRun(); }
    } end{coverage};
    return symbolizeLayer(run, &coverage, Answers::Evaluated);
}

CoverageView viewOf(const Arguments& arguments, const Document& document, Coverage& coverage) {
    CoverageView view{document, coverage, {}, floorsOf(arguments.floors)};
    if (document.loaded) view.classes = classesOf(document.places, *document.map);
    // Who names layers asks for theirs.
    if (!arguments.layers.empty())
        std::erase_if(view.classes, [&](const CoveredClass& one) { return !coverage.hasRunOf(*one.configuration); });
    return view;
}

// What cannot be done is said before the first row is visited.
void beginCounting(const Arguments& arguments, const Document& document, Coverage& coverage) {
    if (arguments.lcov) arguments.place().expectFree(*arguments.lcov);
    for (const std::string& path : arguments.earlier) addEarlier(path, document, coverage);
    OperandState operands(*document.map);
    const TestedRules rules{*document.map, document.places, document.path, operands};
    for (const std::string& path : arguments.tests) {
        const TestFile file = readTests(path, {});
        for (const auto& run : file.runs) run->cover(rules, coverage);
    }
    operands.restore();
}

ExitStatus writeLcov(const Arguments& arguments, Console& console, const CoverageView& view) {
    const std::string why = arguments.place().write(*arguments.lcov, coverageLcov(view));
    if (why.empty()) return ExitStatus::Good;
    console.complain(why);
    return ExitStatus::Unusable;
}

ExitStatus report(const Arguments& arguments, Coverage& coverage, Console& console, const Document& document,
                  const std::vector<LayerResult>& results, ExitStatus status) {
    const CoverageView view = viewOf(arguments, document, coverage);
    // A layer that could not be run to its end has not been measured: that is no answer.
    if (status == ExitStatus::Failed) status = ExitStatus::Unusable;
    // Without a run there is nothing to tell of it: why has been said.
    const bool hasRun = document.loaded && (!results.empty() || status == ExitStatus::Good);
    if (arguments.json) {
        nlohmann::ordered_json object = jsonHead("coverage", document);
        object["layers"] = nlohmann::ordered_json::array();
        if (hasRun) object.update(coverageJson(view, results));
        std::cout << dumped(object) << '\n';
    } else if (hasRun) {
        writeCoverage(std::cout, view);
    }
    // A file of half a run would be taken for a whole one.
    if (arguments.lcov && status == ExitStatus::Good) status = writeLcov(arguments, console, view);
    for (const auto& [measure, floor] : view.floors)
        if (view.isBelow(measure)) status = graver(status, ExitStatus::Failed);
    return status;
}

ExitStatus showCoverage(const Arguments& arguments, LayerWork work) {
    goOnWatched();
    Coverage coverage;
    work.access = embedded_host::Access::Rehearse;
    work.showsLayers = false;
    work.notLoaded = ExitStatus::Unusable;
    work.onLoaded = [&](const Document& document) { beginCounting(arguments, document, coverage); };
    work.run = [&](const LayerRun& run) { return runCovered(run, coverage); };
    work.report = [&](Console& console, const Document& document, const std::vector<LayerResult>& results,
                      ExitStatus status) { return report(arguments, coverage, console, document, results, status); };
    return runLayers(arguments, work);
}

}  // namespace

void addCoverage(CLI::App& app, Command& chosen) {
    CLI::App* command =
        app.add_subcommand("coverage", "Count which conditions and rules a dataset's rows put to the test");
    const auto arguments = std::make_shared<Arguments>();
    addLayerOptions(*command, *arguments);
    addRowOptions(*command, arguments->rows);
    command->add_option("--add", arguments->earlier, "add what --json gave for other rows; may be repeated")
        ->type_name("FILE")
        ->allow_extra_args(false);
    command->add_option("--tests", arguments->tests, "add the rows of tests; may be repeated")
        ->type_name("FILE")
        ->allow_extra_args(false);
    addFloors(*command, arguments->floors);
    command->add_option("--lcov", arguments->lcov, "write a tracefile for tools that show coverage beside lines")
        ->type_name("FILE");
    command->add_flag("--overwrite", arguments->overwrite, "files that are there may be written anew");
    command->footer("Example: cxml coverage rules.cxml chart.gpkg --fail-under decided=80,rules=60");
    command->callback([&chosen, arguments] {
        LayerWork work;
        limitTo(arguments->rows, work);
        chosen = [arguments, work] { return showCoverage(*arguments, work); };
    });
}

}  // namespace cxml
