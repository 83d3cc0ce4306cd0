// cxml report: what a document makes of a dataset, as one page.
#include "commands.h"
#include "host/host_error.h"
#include "interrupt.h"
#include "out_of_memory.h"
#include "output_place.h"
#include "report_page.h"
#include "tools/reports/json_head.h"
#include "tools/runs/layer_choice.h"
#include "watched_process.h"

#include <fmt/format.h>
#include <iostream>
#include <memory>

namespace cxml {
namespace {

using embedded_host::HostError;
using nlohmann::ordered_json;

std::int64_t endsOf(const ordered_json& ledger, const char* end) {
    std::int64_t rows = 0;
    for (const ordered_json& layer : ledger["layers"]) rows += layer["ends"][end].get<std::int64_t>();
    return rows;
}

// "chart.html: 20 layers, 482 rows; kept 0, none 10, failed 0; findings 0, differences -"
void say(Console& console, const std::string& file, const ordered_json& content) {
    const ordered_json& ledger = content["ledger"];
    std::int64_t findings = 0;
    for (const ordered_json& finding : content["findings"])
        if (!finding.contains("ignored")) ++findings;
    std::string line = fmt::format("{}: {} layers, {} rows; kept {}, none {}, failed {}; findings {}", file,
                                   ledger["layers"].size(), ledger["rows"].dump(), endsOf(ledger, "kept"),
                                   endsOf(ledger, "none"), endsOf(ledger, "failed"), findings);
    if (content.contains("tests")) line += fmt::format(", tests failed {}", content["tests"]["failed"].dump());
    if (content.contains("difference"))
        line += fmt::format(", differences {}", content["difference"]["rows"].get<std::int64_t>() -
                                                    content["difference"]["same"].get<std::int64_t>());
    console.result(line);
    std::vector<std::string> names;
    for (const ordered_json& symbol : content["symbols"])
        if (symbol["picture"] == "none") names.push_back(symbol["symbol"].get<std::string>());
    if (!names.empty()) console.result(fmt::format("no picture: {}", listOf(names)));
    if (content["map"].is_object() && content["map"].contains("why"))
        console.result(fmt::format("no map: {}", content["map"]["why"].get<std::string>()));
}

ExitStatus complained(Console& console, const char* what) {
    console.complain(stopped() ? "interrupted" : what);
    return stopped() ? ExitStatus::Interrupted : ExitStatus::Unusable;
}

ExitStatus fill(Report& report, ReportRun& run, Console& console) {
    std::string why;
    try {
        return run.run(report);
    } catch (const HostError& error) {
        why = error.what();
    } catch (const DrawError& error) {
        why = error.what();
    }
    report.content = nullptr;  // half a report would be taken for a whole one
    return complained(console, why.c_str());
}

ExitStatus runAll(const ReportArguments& arguments, const LayerWork& work, Console& console) {
    const OutputPlace place{{arguments.document, arguments.dataset, arguments.against.value_or("")},
                            arguments.overwrite};
    place.expectFree(arguments.output);
    const Services services(arguments.services, console);
    ReportRun run(arguments, work, console);
    Report report;
    const ExitStatus status = fill(report, run, console);
    if (report.content.is_null()) {  // why has been said
        if (arguments.json) std::cout << dumped(jsonHead("report", run.document())) << '\n';
        return status;
    }
    const std::string page = reportPage(report, arguments);
    for (const std::string& complaint : report.symbols->complaints()) console.complain(complaint);
    if (const std::string why = place.write(arguments.output, page); !why.empty()) throw HostError(why);
    if (arguments.json)
        std::cout << dumped(report.content) << '\n';
    else
        say(console, arguments.output, report.content);
    return status;
}

ExitStatus showReport(const ReportArguments& arguments, const LayerWork& work) {
    goOnWatched();
    Console console(arguments.json || arguments.quiet ? Console::Bar::Never : Console::Bar::WhenTerminal);
    try {
        return orEndOutOfMemory([&] { return runAll(arguments, work, console); });
    } catch (const HostError& error) {
        return complained(console, error.what());
    }
}

}  // namespace

void addReport(CLI::App& app, Command& chosen) {
    CLI::App* command = app.add_subcommand("report", "Write a page of what a document makes of a dataset");
    const auto arguments = std::make_shared<ReportArguments>();
    addLayerOptions(*command, *arguments);
    addRowOptions(*command, arguments->rows);
    command->add_option("-o,--output", arguments->output, "the page, one file that opens from disk")
        ->required()
        ->type_name("FILE.html");
    command->add_option("--against", arguments->against, "what changes against this document, picture beside picture")
        ->type_name("DOCUMENT_B");
    command->add_option("--tests", arguments->tests, "whether these tests pass; may be repeated")
        ->type_name("FILE")
        ->allow_extra_args(false);
    command->add_option("--symbols", arguments->symbols, "a folder with pictures, NAME.svg, instead of our own")
        ->type_name("DIR");
    auto* const map = command->add_flag("--map", arguments->needsMap, "fail when there can be no map");
    command->add_flag("!--no-map", arguments->hasMap, "without a map")->excludes(map);
    command->add_option("--samples", arguments->samples, "how many rows of each condition are explained; 3 without it")
        ->type_name("N")
        ->check(CLI::Range(std::size_t{0}, embedded_host::RowList::mostIds));
    command->add_option("--stamp", arguments->stamp, "a text for the head of the page: a date, who answers for it")
        ->type_name("TEXT");
    command->add_flag("--overwrite", arguments->overwrite, "a file that is there may be written anew");
    command->footer("Example: cxml report rules.cxml chart.gpkg -o chart.html --stamp \"Edition 3, 1 May\"");
    command->callback([&chosen, arguments] {
        LayerWork work;
        limitTo(arguments->rows, work);
        chosen = [arguments, work] { return showReport(*arguments, work); };
    });
}

}  // namespace cxml
