// cxml test: holds a document to the tables of rows that are written beside it.
#include "commands.h"
#include "coverage_floors.h"
#include "interrupt.h"
#include "layer_options.h"
#include "out_of_memory.h"
#include "output_place.h"
#include "services.h"
#include "test_files.h"
#include "test_report.h"
#include "tools/reports/coverage_report.h"
#include "tools/reports/json_head.h"
#include "tools/text/text.h"
#include "watched_process.h"

#include <fmt/format.h>
#include <filesystem>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

namespace cxml {
namespace {

struct Arguments {
    std::string document;
    std::vector<std::string> files;
    std::string filter;
    bool allowEmpty = false;
    bool coverage = false;
    std::vector<std::string> floors;
    bool mutate = false;
    std::size_t limit = 0;
    std::optional<std::string> junit;
    bool overwrite = false;
    bool json = false;
    ServiceOptions services;
};

// "harbour.tests.md" beside "harbour.cxml".
std::string fileBeside(const std::string& document) {
    return std::filesystem::path(document).replace_extension(".tests.md").string();
}

class TestCommand {
public:
    explicit TestCommand(const Arguments& arguments)
        : arguments_(arguments),
          console_(Console::Bar::Never),
          services_(arguments.services, console_),
          document_(console_, arguments.document, MessageLog::Keep::Counts) {}

    ExitStatus run() {
        ExitStatus status = ExitStatus::Unusable;
        try {
            status = runAll();
        } catch (const embedded_host::HostError& e) {
            if (stopped())
                status = ExitStatus::Interrupted;
            else
                console_.complain(e.what());
        }
        if (status == ExitStatus::Interrupted) console_.complain("interrupted");
        if (arguments_.json) {
            nlohmann::ordered_json object = jsonHead("test", document_);
            object.update(testsJson(document_, files_, mutants_));
            if (coverage_) object["coverage"] = coverageJson(coverageView(), {});
            std::cout << dumped(object) << '\n';
        }
        return status;
    }

private:
    ExitStatus runAll();
    bool read(const std::string& path);
    OutputPlace place() const {
        std::vector<std::string> inputs = arguments_.files;
        inputs.push_back(arguments_.document);
        inputs.push_back(fileBeside(arguments_.document));
        return {std::move(inputs), arguments_.overwrite};
    }
    bool runSections(TestFile& file);
    ExitStatus cover();
    CoverageView coverageView() {
        return {document_, *coverage_, classesOf(document_.places, *document_.map), floorsOf(arguments_.floors)};
    }
    ExitStatus mutate();

    const Arguments& arguments_;
    Console console_;
    Services services_;  // outlives the document, whose expressions need Python to the end
    Document document_;
    std::unique_ptr<OperandState> operands_;
    std::vector<TestFile> files_;
    MutationResult mutants_;
    std::optional<Coverage> coverage_;
};

ExitStatus TestCommand::runAll() {
    if (arguments_.junit) place().expectFree(*arguments_.junit);
    {
        const NothingToLose nothing("");
        load(document_);
    }
    if (!document_.loaded) {
        console_.complain(notLoaded(document_));
        return ExitStatus::Unusable;
    }
    operands_ = std::make_unique<OperandState>(*document_.map);
    std::vector<std::string> paths = arguments_.files;
    if (const std::string beside = fileBeside(document_.path); paths.empty() && isThere(beside))
        paths.push_back(beside);
    bool isReadable = true;
    for (const std::string& path : paths) isReadable = read(path) && isReadable;
    if (!isReadable) return ExitStatus::Unusable;
    for (TestFile& file : files_)
        if (!runSections(file)) return ExitStatus::Interrupted;
    if (!arguments_.json) writeTests(console_, files_);
    ExitStatus status = ExitStatus::Good;
    if (arguments_.junit) {
        if (const std::string why = place().write(*arguments_.junit, junitXml(files_)); !why.empty()) {
            console_.complain(why);
            status = ExitStatus::Unusable;
        }
    }
    const TestCounts counts = countsOf(files_);
    if (counts.failed != 0) status = graver(status, ExitStatus::Failed);
    if (counts.failed + counts.passed == 0 && !arguments_.allowEmpty) {
        console_.complain(paths.empty() ? fmt::format("no tests: there is no {}", fileBeside(document_.path))
                                        : std::string("no tests in what was asked for"));
        status = graver(status, ExitStatus::Failed);
    }
    if (arguments_.coverage) status = graver(status, cover());
    if (arguments_.mutate && status != ExitStatus::Interrupted) status = graver(status, mutate());
    return status;
}

// What the tests hold is only known of tests that pass.
ExitStatus TestCommand::mutate() {
    if (countsOf(files_).failed != 0) {
        console_.complain("--mutate needs tests that pass");
        return ExitStatus::Failed;
    }
    std::vector<SectionRun*> sections;
    for (const TestFile& file : files_)
        for (const auto& run : file.runs) sections.push_back(run.get());
    mutants_ = runMutants(readTestFile(document_.path), document_.path, sections, arguments_.limit, stopped);
    if (!arguments_.json) writeMutants(console_, mutants_, document_.path);
    return stopped() ? ExitStatus::Interrupted : ExitStatus::Good;
}

bool TestCommand::read(const std::string& path) {
    try {
        files_.push_back(readTests(path, arguments_.filter));
        return true;
    } catch (const embedded_host::HostError& e) {
        console_.complain(e.what());
        return false;
    }
}

// Not of tables that fail: their rows would count, and nothing holds the document to them.
ExitStatus TestCommand::cover() {
    if (countsOf(files_).failed != 0) {
        console_.complain("--coverage needs tests that pass");
        return ExitStatus::Failed;
    }
    const TestedRules rules{*document_.map, document_.places, document_.path, *operands_};
    coverage_.emplace();
    for (const TestFile& file : files_)
        for (const auto& run : file.runs) {
            if (stopped()) return ExitStatus::Interrupted;
            run->cover(rules, *coverage_);
        }
    const CoverageView view = coverageView();
    if (!arguments_.json) writeCoverage(std::cout, view);
    ExitStatus status = ExitStatus::Good;
    for (const auto& [measure, floor] : view.floors)
        if (view.isBelow(measure)) status = ExitStatus::Failed;
    return status;
}

bool TestCommand::runSections(TestFile& file) {
    const TestedRules rules{*document_.map, document_.places, document_.path, *operands_};
    for (const auto& run : file.runs) {
        if (stopped()) return false;
        file.results.push_back(run->run(rules, SectionRun::Detail::Reasons));
    }
    return true;
}

ExitStatus test(const Arguments& arguments) {
    goOnWatched();  // expressions run in this process, and may end it
    try {
        TestCommand command(arguments);
        return orEndOutOfMemory([&] { return command.run(); });
    } catch (const embedded_host::HostError& e) {
        Console(Console::Bar::Never).complain(e.what());  // of the services: nothing has begun
        return ExitStatus::Unusable;
    }
}

}  // namespace

void addTest(CLI::App& app, Command& chosen) {
    CLI::App* command = app.add_subcommand("test", "Hold a document to tables of rows and the symbols they must get");
    const auto arguments = std::make_shared<Arguments>();
    addDocumentOption(*command, arguments->document);
    command->add_option("FILE", arguments->files, "tables of rows in Markdown; without any: DOCUMENT's .tests.md")
        ->type_name("");
    command->add_option("--filter", arguments->filter, "only sections with this text in their name")->type_name("TEXT");
    command->add_flag("--allow-empty", arguments->allowEmpty, "finding no test is no failure");
    auto* const coverage = command->add_flag("--coverage", arguments->coverage,
                                             "tell which conditions and rules the rows of the tests put to the test");
    addFloors(*command, arguments->floors)->needs(coverage);
    command->add_flag("--mutate", arguments->mutate,
                      "change the document, one rule or condition at a time, and tell what no test notices");
    command
        ->add_option("--limit", arguments->limit, "with --mutate: at most so many changes, from all over the document")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
    command->add_option("--junit", arguments->junit, "write the results as JUnit XML")->type_name("FILE");
    command->add_flag("--overwrite", arguments->overwrite, "let --junit replace a file");
    command->add_flag("--json", arguments->json, "write one JSON object to standard output");
    addServiceOptions(*command, arguments->services);
    command->footer(
        "Example: cxml test harbour.cxml harbour.tests.md\n"
        "Exit status: 0 all passed, 1 a failure, no test or a floor missed, 2 a document or file that cannot be read.");
    command->callback([&chosen, arguments] { chosen = [arguments] { return test(*arguments); }; });
}

}  // namespace cxml
