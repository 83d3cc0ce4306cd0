// cxml lookups: look-up tables as a rule document.
#include "commands.h"
#include "host/host_error.h"
#include "interrupt.h"
#include "output_place.h"
#include "s57_tables.h"
#include "tools/lookups/lookup_document.h"
#include "tools/reports/console.h"
#include "tools/reports/document.h"
#include "tools/reports/json_head.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <system_error>

namespace cxml {
namespace {

using embedded_host::HostError;
using nlohmann::ordered_json;

struct Arguments {
    std::string file;
    std::string output;
    std::string points = "paper";
    std::string areas = "plain";
    std::string primitive = "rule";
    std::optional<std::string> procedures;
    bool overwrite = false;
    bool json = false;
};

std::string withoutNumber(std::string name) {
    while (!name.empty() && std::isdigit(static_cast<unsigned char>(name.back())) != 0) name.pop_back();
    return name;
}

// The documents of a folder by their names in small letters: topmrk01.cxml or topmrk.cxml for TOPMRK01.
class Procedures {
public:
    explicit Procedures(const std::optional<std::string>& folder) {
        if (!folder) return;
        std::error_code error;
        for (std::filesystem::directory_iterator entry(*folder, error), end; !error && entry != end;
             entry.increment(error))
            add(entry->path());
        if (error) throw HostError(fmt::format("{}: {}", *folder, error.message()));
    }

    std::string find(const std::string& procedure) const {
        for (const std::string& name : {lowerAscii(procedure), withoutNumber(lowerAscii(procedure))})
            if (const auto found = files_.find(name); found != files_.end()) return found->second;
        return {};
    }

private:
    // Of two that differ in small letters only the first by name, whatever the folder's order.
    void add(const std::filesystem::path& file) {
        if (file.extension() != ".cxml") return;
        const auto [known, isNew] = files_.emplace(lowerAscii(file.stem().string()), file.string());
        if (!isNew) known->second = std::min(known->second, file.string());
    }

    std::map<std::string, std::string> files_;
};

struct LossCount {
    LossKindText kind;
    std::int64_t losses = 0;
    std::int64_t rows = 0;
};

std::vector<LossCount> countsOf(const std::vector<RowReport>& reports) {
    std::vector<LossCount> counts;
    for (const LossKindText& kind : lossKinds()) {
        LossCount count{kind};
        for (const RowReport& report : reports) {
            const auto losses = std::ranges::count(report.losses, kind.kind, &Loss::kind);
            count.losses += losses;
            if (losses != 0) ++count.rows;
        }
        if (count.losses != 0) counts.push_back(count);
    }
    return counts;
}

// Of these rows nobody could say what was meant.
bool isFault(const Loss& loss) {
    return loss.kind == LossKind::RowForm || loss.kind == LossKind::AttributeForm;
}

ordered_json jsonOf(const RowReport& report) {
    ordered_json losses = ordered_json::array();
    for (const Loss& loss : report.losses) {
        ordered_json one = {{"kind", nameOf(loss.kind)}, {"what", loss.what}};
        if (!loss.replacement.empty()) one["replacement"] = loss.replacement;
        losses.push_back(std::move(one));
    }
    return {{"line", report.line},
            {"class", report.className},
            {"primitive", report.primitive},
            {"attributes", report.attributes},
            {"carried", report.isCarried},
            {"symbol", report.symbol.empty() ? ordered_json() : ordered_json(report.symbol)},
            {"losses", std::move(losses)}};
}

class LookupsCommand {
public:
    explicit LookupsCommand(const Arguments& arguments) : arguments_(arguments), console_(Console::Bar::Never) {}

    ExitStatus run() {
        const OutputPlace place{{arguments_.file}, arguments_.overwrite};
        place.expectFree(arguments_.output);
        const Procedures procedures(arguments_.procedures);
        LookupChoice choice;
        choice.points = arguments_.points == "paper" ? LookupTable::Paper : LookupTable::Simplified;
        choice.areas = arguments_.areas == "plain" ? LookupTable::Plain : LookupTable::Symbolized;
        choice.replacementOf = [&](const std::string& procedure) { return procedures.find(procedure); };
        complainOfMissingTables(console_);
        const LookupLists lists = makeLists(readLookupTables(arguments_.file), choice);
        if (lists.classes.empty()) throw HostError(arguments_.file + ": no row of these tables can be carried over");
        if (const std::string why = place.write(arguments_.output, documentOf(lists)); !why.empty())
            throw HostError(why);
        Document document(console_, arguments_.output, MessageLog::Keep::All);
        load(document, Expressions::PassedOver);
        const bool isSound = complainOfFaults(lists);
        if (!document.loaded) console_.complain(notLoaded(document));
        if (arguments_.json)
            std::cout << dumped(json(lists, document)) << '\n';
        else
            print(lists);
        return document.loaded && isSound ? ExitStatus::Good : ExitStatus::Failed;
    }

private:
    std::string documentOf(const LookupLists& lists) const {
        const std::filesystem::path file(arguments_.file);
        const PrimitiveAs primitives = arguments_.primitive == "rule" ? PrimitiveAs::Rule : PrimitiveAs::Subtype;
        return lookupDocument(
            lists, primitives, std::filesystem::path(arguments_.output).stem().string(),
            fmt::format("Made by cxml lookups of {}: {} points, {} areas. What the licence of the tables asks for "
                        "holds for this document, too. Not for navigation.",
                        file.filename().string(), arguments_.points, arguments_.areas));
    }

    bool complainOfFaults(const LookupLists& lists) {
        bool isSound = true;
        for (const RowReport& report : lists.reports)
            for (const Loss& loss : report.losses) {
                if (!isFault(loss)) continue;
                isSound = false;
                console_.complain(fmt::format("{}:{}: {}", arguments_.file, report.line,
                                              loss.kind == LossKind::RowForm
                                                  ? loss.what
                                                  : fmt::format("the attribute test '{}' begins with no acronym of six "
                                                                "letters",
                                                                loss.what)));
            }
        return isSound;
    }

    void print(const LookupLists& lists) {
        for (const RowReport& report : lists.reports)
            console_.result(fmt::format("{}:{}: {}", arguments_.file, report.line, lineOf(report)));
        console_.result("");
        console_.result(
            fmt::format("{}: {}, {}; {} of tables that were not asked for", arguments_.output,
                        lists.classes.size() == 1 ? "1 class" : fmt::format("{} classes", lists.classes.size()),
                        plural(static_cast<std::int64_t>(lists.conditions()), "condition"),
                        plural(static_cast<std::int64_t>(lists.otherRows), "row")));
        for (const LossCount& count : countsOf(lists.reports))
            console_.result(fmt::format("  {:<16} {:>5} in {}: {}", count.kind.name, count.losses,
                                        plural(count.rows, "row"), count.kind.meaning));
    }

    ordered_json json(const LookupLists& lists, const Document& document) const {
        ordered_json object = jsonHead("lookups", document);
        ordered_json losses = ordered_json::array();
        for (const LossCount& count : countsOf(lists.reports))
            losses.push_back({{"kind", count.kind.name}, {"losses", count.losses}, {"rows", count.rows}});
        ordered_json rows = ordered_json::array();
        for (const RowReport& report : lists.reports) rows.push_back(jsonOf(report));
        object["tables"] = {{"file", arguments_.file},
                            {"points", arguments_.points},
                            {"areas", arguments_.areas},
                            {"otherRows", lists.otherRows}};
        object["classes"] = lists.classes.size();
        object["conditions"] = lists.conditions();
        object["losses"] = std::move(losses);
        object["rows"] = std::move(rows);
        return object;
    }

    const Arguments& arguments_;
    Console console_;
};

ExitStatus lookups(const Arguments& arguments) {
    try {
        const NothingToLose nothing("");
        return LookupsCommand(arguments).run();
    } catch (const LookupError& e) {
        Console(Console::Bar::Never).complain(e.what());
    } catch (const HostError& e) {
        Console(Console::Bar::Never).complain(e.what());
    }
    return ExitStatus::Unusable;
}

}  // namespace

void addLookups(CLI::App& app, Command& chosen) {
    CLI::App* command = app.add_subcommand("lookups", "Write a document from look-up tables that you have");
    const auto arguments = std::make_shared<Arguments>();
    command->add_option("FILE", arguments->file, "the tables, which are only read")->required()->type_name("");
    command->add_option("-o,--output", arguments->output, "the document to write")->required()->type_name("DOCUMENT");
    command->add_option("--points", arguments->points, "paper or simplified; paper without it")
        ->type_name("TABLE")
        ->check(CLI::IsMember({"paper", "simplified"}));
    command->add_option("--areas", arguments->areas, "plain or symbolized; plain without it")
        ->type_name("TABLE")
        ->check(CLI::IsMember({"plain", "symbolized"}));
    command
        ->add_option("--primitive", arguments->primitive,
                     "rule: points, lines and areas are told apart by rules over PRIM; subtype: by subtypes")
        ->type_name("HOW")
        ->check(CLI::IsMember({"rule", "subtype"}));
    command->add_option("--procedures", arguments->procedures, "a folder with documents for conditional procedures")
        ->type_name("DIR");
    command->add_flag("--overwrite", arguments->overwrite, "replace DOCUMENT where it exists");
    command->add_flag("--json", arguments->json, "one JSON object on standard output");
    command->footer(
        "Row by row is told what does not come into the document.\n"
        "Example: cxml lookups chartsymbols.xml -o chart.cxml > losses.txt\n"
        "Exit status: 0 written, 1 written without rows that cannot be read, 2 the tables or the document are none.");
    command->callback([&chosen, arguments] { chosen = [arguments] { return lookups(*arguments); }; });
}

}  // namespace cxml
