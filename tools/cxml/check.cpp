// cxml check: what loading a document says, what in it nothing reads, and what a run would trip over.
#include "commands.h"
#include "host/geodatabase/gdal_workspace.h"
#include "host/host_error.h"
#include "interrupt.h"
#include "out_of_memory.h"
#include "report.h"
#include "services.h"
#include "tools/check/document_check.h"
#include "unread_nodes.h"

#include <fmt/format.h>
#include <iostream>
#include <memory>
#include <optional>

namespace cxml {
namespace {

using embedded_host::GdalWorkspace;
using embedded_host::RunMonitor;

struct Arguments {
    std::string document;
    std::optional<std::string> dataset;
    bool json = false;
    ServiceOptions services;
};

void addUnread(const Document& document, Findings& findings) {
    for (const UnreadNode& node : findUnread(document.dom))
        findings.add(node.line, node.attribute ? "unread-attribute" : "unread-element",
                     fmt::format("nothing reads the {} '{}' ({})", node.attribute ? "attribute" : "element", node.name,
                                 node.path));
}

// Whether it has a root whose content configures symbology.
bool isConfiguration(IXMLDOMDocument* dom) {
    CComPtr<IXMLDOMNode> root;
    return dom && dom->selectSingleNode(CComBSTR(OLESTR("/conditionMap/@name")), &root) == S_OK && root;
}

// Loading ends at the first failure, the checks go on. What loading itself has not read is asked before the checks
// read the tree too; of a document that did not load, what they have not read is what nothing reads.
std::vector<Finding> findIn(Document& document, GdalWorkspace* workspace) {
    Findings findings(document.path);
    document.map.reset();  // the checks make a model of their own; two at once would be too much of a big one
    if (!document.loaded && !isConfiguration(document.dom)) return {};
    if (document.loaded) addUnread(document, findings);
    const CheckedDataset dataset{workspace, workspace ? workspace->name() : std::string()};
    checkDocument(document.dom, workspace ? &dataset : nullptr, findings);
    if (!document.loaded) addUnread(document, findings);
    return findings.take();
}

void writeJson(std::ostream& out, const Document& document, const std::vector<Finding>& findings) {
    out << "{\"document\": ";
    writeJson(out, document);
    out << ",\n \"findings\": [";
    const char* separator = "\n  ";
    for (const Finding& finding : findings) {
        out << separator << "{\"file\": " << jsonString(finding.file) << ", \"line\": " << finding.line
            << ", \"kind\": " << jsonString(finding.kind) << ", \"text\": " << jsonString(finding.text) << '}';
        separator = ",\n  ";
    }
    out << "]}\n";
}

std::string shown(const Finding& finding) {
    if (finding.line == 0) return fmt::format("{}: {}", finding.file, finding.text);
    return fmt::format("{}:{}: {}", finding.file, finding.line, finding.text);
}

// What --json writes of a check that did not come to its end.
constexpr const char* interrupted =
    R"({"document": {"loaded": false, "error": "interrupted", "messages": []}, "findings": []})"
    "\n";

// \param nothing is released when there is something to lose.
ExitStatus checkDocument(const Arguments& arguments, Console& console, std::optional<NothingToLose>& nothing) {
    Document document(console, arguments.document, arguments.json ? MessageLog::Keep::All : MessageLog::Keep::Counts);
    load(document);
    if (!document.loaded)
        console.complain(fmt::format("{}: {}", document.path,
                                     document.reason.empty() ? "the document did not load" : document.reason));
    RunMonitor monitor;  // outlives the workspace
    std::shared_ptr<GdalWorkspace> workspace;
    if (arguments.dataset)
        workspace = GdalWorkspace::open(*arguments.dataset, GdalWorkspace::Access::Read,
                                        {.lockTimeout = std::nullopt, .stop = &stopRequested()});
    if (workspace && workspace->type() == workspaceRemoteDatabase) nothing.reset();
    if (workspace) workspace->watch(&monitor);
    const std::vector<Finding> findings = findIn(document, workspace.get());
    nothing.reset();  // what is said now is said whole
    // What could not be asked is not what is not there.
    if (!monitor.failure.empty()) throw embedded_host::HostError(monitor.failure);
    if (arguments.json)
        writeJson(std::cout, document, findings);
    else
        for (const Finding& finding : findings) console.result(shown(finding));
    const bool clean = document.loaded && document.messages.empty() && findings.empty();
    return clean ? ExitStatus::Good : ExitStatus::Failed;
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

}  // namespace

void addCheck(CLI::App& app, Command& chosen) {
    CLI::App* command =
        app.add_subcommand("check", "Load a document and report what loading says and what a run would trip over");
    const auto arguments = std::make_shared<Arguments>();
    command->add_option("DOCUMENT", arguments->document, "the CXML document")->required()->type_name("");
    command->add_option("DATASET", arguments->dataset, "the dataset that the document is for")->type_name("");
    command->add_flag("--json", arguments->json, "write one JSON object to standard output");
    addServiceOptions(*command, arguments->services);
    command->footer(
        "Checked: the document loads, without messages; every element and attribute is read; no rule or condition is\n"
        "discarded; operators, operands, queries and their parameters; Python compiles and Generate takes the "
        "arguments\n"
        "that it gets; no condition is without effect. With DATASET, which is only read: layers, fields, tables, and\n"
        "whether operands convert to the types of their fields. Nothing is run.\n"
        "Exit status: 0 nothing found, 1 findings or a document that does not load, 2 wrong usage or a dataset that\n"
        "cannot be opened.");
    command->callback([&chosen, arguments] { chosen = [arguments] { return check(*arguments); }; });
}

}  // namespace cxml
