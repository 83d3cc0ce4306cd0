// cxml ledger: how each row would end, without writing.
#include "commands.h"
#include "layer_options.h"
#include "ledger_files.h"
#include "observed_run.h"
#include "tools/reports/json_head.h"
#include "tools/reports/ledger_report.h"
#include "watched_process.h"

#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

namespace cxml {
namespace {

struct Arguments : LayerArguments {
    RowArguments rows;
    std::vector<std::string> failOn;
    LedgerFileOptions files;
};

bool hasOne(const LayerResult& result, const std::string& what) {
    if (!result.ledger) return false;
    if (what == "message") return result.ledger->messageCount() != 0;
    if (what == "question") return !result.ledger->unanswered().empty();
    for (std::size_t end = 0; end < rowEndNames.size(); ++end)
        if (what == rowEndNames[end]) return result.ledger->count(static_cast<RowEnd>(end)) != 0;
    return false;
}

ExitStatus report(const Arguments& arguments, LedgerFiles& files, Console& console, const Document& document,
                  const std::vector<LayerResult>& results, ExitStatus status) {
    if (arguments.json) {
        nlohmann::ordered_json object = jsonHead("ledger", document);
        object.update(ledgersJson(document, results));
        std::cout << dumped(object) << '\n';
    } else if (document.loaded && (!results.empty() || status == ExitStatus::Good)) {
        writeLedgers(std::cout, document, results);
    }
    status = files.end(console, document, results, status);
    for (const LayerResult& result : results) {
        if (!result.ledger || !result.succeeded) continue;
        if (!result.ledger->isBalanced() || result.ledger->rows() != result.rows) {
            console.complain(result.layer + ": not every row is accounted for");
            status = graver(status, ExitStatus::Failed);
        }
        for (const std::string& what : arguments.failOn)
            if (hasOne(result, what)) status = graver(status, ExitStatus::Failed);
    }
    return status;
}

bool runAndLookAround(const LayerRun& run, LedgerFiles& files) {
    const bool succeeded = runWithLedger(run, files);
    findNearest(run);
    return succeeded;
}

ExitStatus showLedger(const Arguments& arguments, LayerWork work) {
    goOnWatched();
    LedgerFiles files(arguments.files, arguments);
    work.onLoaded = [&](const Document&) { files.begin(); };
    work.access = embedded_host::Access::Rehearse;
    work.showsLayers = false;
    work.notLoaded = ExitStatus::Unusable;
    work.run = [&](const LayerRun& run) { return runAndLookAround(run, files); };
    work.report = [&](Console& console, const Document& document, const std::vector<LayerResult>& results,
                      ExitStatus status) { return report(arguments, files, console, document, results, status); };
    return runLayers(arguments, work);
}

}  // namespace

void addLedger(CLI::App& app, Command& chosen) {
    CLI::App* command = app.add_subcommand("ledger", "Tell how each row would get its symbol, without writing");
    const auto arguments = std::make_shared<Arguments>();
    addLayerOptions(*command, *arguments);
    addRowOptions(*command, arguments->rows);
    command->add_option("--fail-on", arguments->failOn, "status 1 when there is one of these")
        ->type_name("kept,none,failed,message,question")
        ->delimiter(',')
        ->check(CLI::IsMember({"rule", "default", "kept", "none", "failed", "message", "question"}))
        ->allow_extra_args(false);
    addLedgerFiles(*command, arguments->files);
    command->footer("Example: cxml ledger rules.cxml chart.gpkg --fail-on kept,failed");
    command->callback([&chosen, arguments] {
        LayerWork work;
        limitTo(arguments->rows, work);
        chosen = [arguments, work] { return showLedger(*arguments, work); };
    });
}

}  // namespace cxml
