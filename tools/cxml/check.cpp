// cxml check: what loading a document says, and what in it nothing reads.
#include "commands.h"
#include "host/host_error.h"
#include "report.h"
#include "services.h"
#include "unread_nodes.h"

#include <fmt/format.h>
#include <iostream>
#include <memory>

namespace cxml {
namespace {

struct Arguments {
    std::string document;
    bool json = false;
    ServiceOptions services;
};

struct Finding {
    LONG line;
    const char* kind;
    std::string text;
};

std::vector<Finding> unreadFindings(IXMLDOMDocument* dom) {
    std::vector<Finding> findings;
    for (const UnreadNode& node : findUnread(dom))
        findings.push_back({node.line, node.attribute ? "unread-attribute" : "unread-element",
                            fmt::format("nothing reads the {} '{}' ({})", node.attribute ? "attribute" : "element",
                                        node.name, node.path)});
    return findings;
}

void writeJson(std::ostream& out, const Document& document, const std::vector<Finding>& findings) {
    out << "{\"document\": ";
    writeJson(out, document);
    out << ",\n \"findings\": [";
    const char* separator = "\n  ";
    for (const Finding& finding : findings) {
        out << separator << "{\"file\": " << jsonString(document.path) << ", \"line\": " << finding.line
            << ", \"kind\": " << jsonString(finding.kind) << ", \"text\": " << jsonString(finding.text) << '}';
        separator = ",\n  ";
    }
    out << "]}\n";
}

ExitStatus check(const Arguments& arguments) {
    Console console(Console::Bar::Never);
    std::optional<Services> services;
    try {
        services.emplace(arguments.services, console);
    } catch (const embedded_host::HostError& e) {
        console.complain(e.what());
        return ExitStatus::Unusable;
    }
    Document document(console, arguments.document, arguments.json ? MessageLog::Keep::All : MessageLog::Keep::Counts);
    load(document);
    std::vector<Finding> findings;
    if (document.loaded)
        findings = unreadFindings(document.dom);
    else
        console.complain(fmt::format("{}: {}", document.path,
                                     document.reason.empty() ? "the document did not load" : document.reason));
    if (arguments.json)
        writeJson(std::cout, document, findings);
    else
        for (const Finding& finding : findings)
            console.result(fmt::format("{}:{}: {}", document.path, finding.line, finding.text));
    const bool clean = document.loaded && document.messages.empty() && findings.empty();
    return clean ? ExitStatus::Good : ExitStatus::Failed;
}

}  // namespace

void addCheck(CLI::App& app, Command& chosen) {
    CLI::App* command = app.add_subcommand(
        "check", "Load a document and report what loading says and which elements and attributes nothing reads");
    const auto arguments = std::make_shared<Arguments>();
    command->add_option("DOCUMENT", arguments->document, "the CXML document")->required()->type_name("");
    command->add_flag("--json", arguments->json, "write one JSON object to standard output");
    addServiceOptions(*command, arguments->services);
    command->footer(
        "Checked so far: the document loads, without messages; every element and attribute is read.\n"
        "Exit status: 0 nothing found, 1 findings or a document that does not load, 2 wrong usage.");
    command->callback([&chosen, arguments] { chosen = [arguments] { return check(*arguments); }; });
}

}  // namespace cxml
