// cxml check: what loading a document says, what in it nothing reads, and what a run would trip over.
#include "commands.h"
#include "document_findings.h"
#include "finding_json.h"
#include "finding_text.h"
#include "host/geodatabase/gdal_workspace.h"
#include "host/host_error.h"
#include "interrupt.h"
#include "layer_options.h"
#include "out_of_memory.h"
#include "services.h"
#include "tools/check/suppressions.h"
#include "tools/draw/symbol_set.h"
#include "tools/runs/layer_choice.h"
#include "tools/runs/subtype_fields.h"

#include <fmt/format.h>
#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <optional>

namespace cxml {
namespace {

using embedded_host::GdalWorkspace;
using embedded_host::RunMonitor;

enum class Format : std::uint8_t { Text, Annotations };

struct Arguments {
    std::string document;
    std::optional<std::string> dataset;
    bool json = false;
    Format format = Format::Text;
    std::optional<std::string> sarif;
    Severity failLevel = Severity::Error;
    std::vector<std::string> ignored;  // kinds
    std::optional<std::string> baseline;
    std::optional<std::string> symbols;  // a folder
    bool order = false;
    std::vector<std::string> subtypeOptions;
    SubtypeFields subtypeFields;
    ServiceOptions services;
};

// In the order in which they are shown, with what is to be ignored marked or left out.
std::vector<Finding> findAll(const Arguments& arguments, Document& document, const CheckScope& scope,
                             Sources& sources) {
    document.map.reset();  // the checks make a model of their own; two at once would be too much of a big one
    std::vector<Finding> findings = findingsOf(document, scope, sources, arguments.ignored);
    if (arguments.baseline) applyBaseline(readBaseline(*arguments.baseline), document.path, findings);
    return findings;
}

// By layer, those that --subtype-field names.
std::map<std::string, std::string> subtypeFieldsOf(const Arguments& arguments, GdalWorkspace& workspace) {
    const SubtypeFields& named = arguments.subtypeFields;
    std::map<std::string, std::string> fields;
    if (!named.ofAll && named.byLayer.empty()) return fields;
    const std::vector<embedded_host::LayerInfo> layers = workspace.layers();
    for (const auto& [layer, field] : named.byLayer)
        fields[findLayer(layers, workspace.layerName(layer), workspace.name()).name] = field;
    if (!named.ofAll) return fields;
    bool isFound = false;
    for (const embedded_host::LayerInfo& layer : layers) {
        if (fields.contains(layer.name) || !workspace.fieldType(layer.name, *named.ofAll)) continue;
        fields[layer.name] = *named.ofAll;
        isFound = true;
    }
    if (!isFound)
        throw embedded_host::HostError(fmt::format("{}: no layer has a field '{}'", workspace.name(), *named.ofAll));
    return fields;
}

std::optional<CheckedSymbols> symbolsOf(const Arguments& arguments) {
    if (!arguments.symbols) return std::nullopt;
    try {
        return CheckedSymbols{*arguments.symbols, SymbolSet(*arguments.symbols, "day").names()};
    } catch (const DrawError& error) {
        throw embedded_host::HostError(error.what());
    }
}

// What --json writes of a check that did not come to its end.
constexpr const char* interrupted =
    R"({"document": {"loaded": false, "error": "interrupted", "messages": []}, "findings": []})"
    "\n";

void show(const Arguments& arguments, const std::vector<Finding>& findings, Sources& sources, Console& console) {
    for (const Finding& finding : findings) {
        if (finding.ignored) continue;
        if (arguments.format == Format::Annotations)
            console.result(annotationOf(finding));
        else
            for (const std::string& line : linesOf(finding, sources)) console.result(line);
    }
    if (!findings.empty() && arguments.format == Format::Text) console.result(summaryOf(findings));
}

void saveSarif(const std::string& path, const Document& document, const std::vector<Finding>& findings) {
    std::ofstream file(path);
    if (file) writeSarif(file, document.path, findings);
    file.close();
    if (!file) throw embedded_host::HostError(fmt::format("{}: the findings cannot be written", path));
}

bool isClean(const Arguments& arguments, const std::vector<Finding>& findings) {
    return std::ranges::none_of(
        findings, [&](const Finding& finding) { return !finding.ignored && finding.severity >= arguments.failLevel; });
}

// \param nothing is released when there is something to lose.
ExitStatus checkDocument(const Arguments& arguments, Console& console, std::optional<NothingToLose>& nothing) {
    Document document(console, arguments.document, arguments.json ? MessageLog::Keep::All : MessageLog::Keep::Counts,
                      MessageLog::Show::Never);
    load(document);
    RunMonitor monitor;  // outlives the workspace
    std::shared_ptr<GdalWorkspace> workspace;
    if (arguments.dataset)
        workspace = GdalWorkspace::open(*arguments.dataset, GdalWorkspace::Access::Read,
                                        {.lockTimeout = std::nullopt, .stop = &stopRequested()});
    if (workspace && workspace->type() == workspaceRemoteDatabase) nothing.reset();
    if (workspace) workspace->watch(&monitor);
    Sources sources;
    const std::optional<CheckedSymbols> symbols = symbolsOf(arguments);
    std::optional<CheckedDataset> dataset;
    if (workspace) dataset = {workspace.get(), workspace->name(), subtypeFieldsOf(arguments, *workspace)};
    const std::vector<Finding> findings = findAll(arguments, document,
                                                  {.dataset = dataset ? &*dataset : nullptr,
                                                   .symbols = symbols ? &*symbols : nullptr,
                                                   .neighbours = arguments.order},
                                                  sources);
    nothing.reset();  // what is said now is said whole
    // What could not be asked is not what is not there.
    if (!monitor.failure.empty()) throw embedded_host::HostError(monitor.failure);
    if (arguments.sarif) saveSarif(*arguments.sarif, document, findings);
    if (arguments.json)
        writeJson(std::cout, document, findings);
    else
        show(arguments, findings, sources, console);
    return document.loaded && isClean(arguments, findings) ? ExitStatus::Good : ExitStatus::Failed;
}

ExitStatus check(const Arguments& arguments) {
    Console console(Console::Bar::Never);
    try {
        // Of a file that is only read; a server has to be told to stop.
        std::optional<NothingToLose> nothing(std::in_place, arguments.json ? interrupted : "");
        const Services services(arguments.services, console);
        return orEndOutOfMemory([&] { return checkDocument(arguments, console, nothing); });
    } catch (const embedded_host::HostError& e) {
        if (stopRequested()) {
            console.complain("interrupted");
            return ExitStatus::Interrupted;
        }
        console.complain(e.what());
        return ExitStatus::Unusable;
    }
}

void addFindingOptions(CLI::App& command, Arguments& arguments) {
    const std::map<std::string, Format> formats{{"text", Format::Text}, {"github", Format::Annotations}};
    const std::map<std::string, Severity> levels{
        {"error", Severity::Error}, {"warning", Severity::Warning}, {"note", Severity::Note}};
    command.add_option("--format", arguments.format, "text, or github: commands for the log of a build")
        ->transform(CLI::CheckedTransformer(formats).description(""))
        ->type_name("FORMAT");
    command.add_option("--sarif", arguments.sarif, "write the findings to this file as SARIF, too")->type_name("FILE");
    command.add_option("--fail-level", arguments.failLevel, "what ends with status 1: error, warning or note")
        ->transform(CLI::CheckedTransformer(levels).description(""))
        ->type_name("LEVEL");
    command.add_option("--ignore", arguments.ignored, "leave out findings of this kind; may be repeated")
        ->allow_extra_args(false)
        ->check([](const std::string& kind) { return findKind(kind) ? "" : "there is no kind '" + kind + "'"; })
        ->type_name("KIND");
    command
        .add_option("--baseline", arguments.baseline, "ignore the findings that are in this file of --sarif or --json")
        ->type_name("FILE");
}

}  // namespace

void addCheck(CLI::App& app, Command& chosen) {
    CLI::App* command =
        app.add_subcommand("check", "Load a document and report what loading says and what a run would trip over");
    const auto arguments = std::make_shared<Arguments>();
    addDocumentOption(*command, arguments->document);
    command->add_option("DATASET", arguments->dataset, "the dataset that the document is for")->type_name("");
    command->add_flag("--json", arguments->json, "write one JSON object to standard output");
    addFindingOptions(*command, *arguments);
    command
        ->add_option("--symbols", arguments->symbols,
                     "a folder with pictures, NAME.svg, as for draw: symbols without one are found")
        ->type_name("DIR");
    command->add_flag("--order", arguments->order, "also say of each two neighbours whether their order matters");
    addSubtypeOption(*command, arguments->subtypeOptions);
    addServiceOptions(*command, arguments->services);
    command->footer(
        "Checked: the document loads, without messages; every element and attribute is read; no rule or condition is\n"
        "discarded; operators, operands, queries and their parameters; Python compiles and Generate takes the "
        "arguments\n"
        "that it gets; no condition is without effect. With DATASET, which is only read: layers, fields, tables, and\n"
        "whether operands convert to the types of their fields. Nothing is run.\n"
        "An XML comment of cxml: expect KIND \"why\" above an element ignores a finding there.\n"
        "Exit status: 0 no errors, 1 errors, findings of the level that was asked for, or a document that does not\n"
        "load, 2 wrong usage or a dataset that cannot be opened.");
    command->callback([&chosen, arguments] {
        arguments->subtypeFields = subtypeFieldsOf(arguments->subtypeOptions);
        if (!arguments->subtypeOptions.empty() && !arguments->dataset)
            throw CLI::RequiresError("--subtype-field", "DATASET");
        chosen = [arguments] { return check(*arguments); };
    });
}

}  // namespace cxml
