// cxml pin: writes tests from the rows of a dataset.
#include "commands.h"
#include "layer_options.h"
#include "pin_rows.h"
#include "section_run.h"
#include "test_files.h"
#include "tools/reports/json_head.h"
#include "tools/text/output_file.h"
#include "tools/text/text.h"
#include "watched_process.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

namespace cxml {
namespace {

using embedded_host::GdalWorkspace;
using embedded_host::HostError;

struct Arguments : LayerArguments {
    RowArguments rows;
    std::string file;
    std::size_t limit = 0;  // rows of a layer; 0 for none
    bool update = false;
};

// The tests that are there already: what they cover, and those that no longer pass.
class EarlierPins {
public:
    explicit EarlierPins(std::string path) : path_(std::move(path)) {
        if (!isThere(path_)) return;
        try {
            text_ = readTestFile(path_);
            sections_ = readMarkdown(text_);
            for (const MarkdownSection& section : sections_) runs_.push_back(std::make_unique<SectionRun>(section));
        } catch (const MarkdownError& e) {
            throw HostError(fmt::format("{}:{}:{}: {}", path_, e.place.line, e.place.column, e.what()));
        }
    }

    void run(const TestedRules& rules, Occurrences& occurrences, RowCover& cover) {
        for (const auto& run : runs_) {
            const TestedSection tested = run->run(rules, SectionRun::Detail::Everything, [&](TestedRow& row) {
                if (row.isTest()) cover.know(occurrences.of(*row.explanation));
                row.explanation->conditions.clear();
            });
            for (const auto& [line, text] : tested.failures) failed(line, text);
            for (const TestedRow& row : tested.rows)
                if (!row.misses.empty()) change(row);
        }
    }

    /// A line for each test that fails, and what it would have to say.
    const std::vector<std::string>& changes() const noexcept { return changes_; }
    bool allCanChange() const noexcept { return allCanChange_; }
    const std::string& text() const noexcept { return text_; }

    std::string updated() const {
        std::string all;
        std::size_t line = 1;
        for (std::size_t at = 0; at < text_.size(); ++line) {
            const std::size_t end = std::min(text_.find('\n', at), text_.size() - 1) + 1;
            const auto changed = lines_.find(line);
            all += changed == lines_.end() ? text_.substr(at, end - at) : changed->second + '\n';
            at = end;
        }
        return all;
    }

private:
    void failed(std::size_t line, const std::string& text) {
        changes_.push_back(fmt::format("{}:{}: {}", path_, line, text));
        allCanChange_ = false;
    }

    void change(const TestedRow& row) {
        std::vector<std::string> cells;
        std::vector<std::string> what;
        for (const MarkdownCell& cell : row.row->cells) {
            cells.push_back(markdownCell(cell.text));
            for (const Miss& miss : row.misses) {
                if (miss.place.column != cell.place.column) continue;
                what.push_back(miss.got.empty() ? miss.text : fmt::format("{} -> {}", cell.text, miss.got));
                if (miss.got.empty())
                    allCanChange_ = false;
                else
                    cells.back() = markdownCell(miss.got);
            }
        }
        lines_[row.row->line] = fmt::format("| {} |", fmt::join(cells, " | "));
        what.push_back(row.decided);
        what.insert(what.end(), row.reasons.begin(), row.reasons.end());
        changes_.push_back(fmt::format("{}:{}: {}", path_, row.row->line, fmt::join(what, "; ")));
    }

    std::string path_;
    std::string text_;
    std::vector<MarkdownSection> sections_;
    std::vector<std::unique_ptr<SectionRun>> runs_;
    std::map<std::size_t, std::string> lines_;
    std::vector<std::string> changes_;
    bool allCanChange_ = true;
};

class PinCommand {
public:
    explicit PinCommand(const Arguments& arguments) : arguments_(arguments), earlier_(arguments.file) {
        if (const std::string why = whyNotWritable(arguments.file, WhenThere::Replace); !why.empty())
            throw HostError(fmt::format("{}: {}", arguments.file, why));
    }

    ExitStatus run(LayerWork work) {
        work.access = embedded_host::Access::Rehearse;
        work.showsLayers = false;
        work.notLoaded = ExitStatus::Unusable;
        work.prepare = [this](GdalWorkspace& /*workspace*/, const std::string& /*layer*/,
                              const ConditionalXml::FeatureClassRule& rule) {
            // Nothing has run with the document yet.
            if (!operands_) operands_ = std::make_unique<OperandState>(*rule.owner);
        };
        work.select = [this, select = work.select](GdalWorkspace& workspace, const std::string& layer) {
            workspace_ = &workspace;
            return select ? select(workspace, layer) : CComPtr<ISelectionSet>();
        };
        work.run = [this](const LayerRun& run) { return pin(run); };
        work.report = [this](Console& console, const Document& document, const std::vector<LayerResult>& /*results*/,
                             ExitStatus status) {
            status = write(console, status);
            if (arguments_.json) {
                nlohmann::ordered_json object = jsonHead("pin", document);
                object.update({{"pinned", rows_}, {"changes", earlier_.changes()}, {"remarks", remarks_}});
                std::cout << dumped(object) << '\n';
            }
            return status;
        };
        return runLayers(arguments_, work);
    }

private:
    bool pin(const LayerRun& run) {
        if (!operands_) return false;  // the layer has no configuration
        if (!hasRunEarlier_) {
            const TestedRules rules{*run.document.map, run.document.places, run.document.path, *operands_};
            earlier_.run(rules, occurrences_, cover_);
            hasRunEarlier_ = true;
        }
        operands_->restore();
        const auto section = pinLayer(run, *workspace_, *operands_, occurrences_, cover_, arguments_.limit);
        if (!section) return false;
        for (const std::string& remark : section->remarks) remarks_.push_back(run.result.layer + ": " + remark);
        if (section->text.empty()) return true;
        added_ += '\n' + section->text;
        lines_.push_back(
            fmt::format("{}: {} pinned", run.result.layer, plural(static_cast<std::int64_t>(section->rows), "row")));
        rows_ += section->rows;
        return true;
    }

    void say(Console& console, const std::string& line) const {
        if (!arguments_.json) console.result(line);
    }

    ExitStatus write(Console& console, ExitStatus status) {
        for (const std::string& remark : remarks_) console.complain(remark);
        if (status != ExitStatus::Good) return status == ExitStatus::Failed ? ExitStatus::Unusable : status;
        for (const std::string& change : earlier_.changes()) say(console, change);
        if (!earlier_.changes().empty() && (!arguments_.update || !earlier_.allCanChange())) {
            console.complain(arguments_.update ? "some of these tests cannot be updated; nothing is written"
                                               : "these tests fail; nothing is written (see --update)");
            return ExitStatus::Failed;
        }
        for (const std::string& line : lines_) say(console, line);
        const std::string text =
            earlier_.text().empty()
                ? "# Tests of " + std::filesystem::path(arguments_.document).filename().string() + '\n' + added_
                : earlier_.updated() + added_;
        say(console, fmt::format("{} pinned, {} changed", plural(static_cast<std::int64_t>(rows_), "row"),
                                 plural(static_cast<std::int64_t>(earlier_.changes().size()), "test")));
        if (text == earlier_.text() || (added_.empty() && earlier_.text().empty())) return status;
        const std::string why = writeFile(arguments_.file, text, WhenThere::Replace);
        if (why.empty()) return status;
        console.complain(fmt::format("{}: {}", arguments_.file, why));
        return ExitStatus::Unusable;
    }

    const Arguments& arguments_;
    EarlierPins earlier_;
    GdalWorkspace* workspace_ = nullptr;
    std::unique_ptr<OperandState> operands_;
    Occurrences occurrences_;
    RowCover cover_;
    bool hasRunEarlier_ = false;
    std::string added_;
    std::vector<std::string> lines_;
    std::vector<std::string> remarks_;
    std::size_t rows_ = 0;
};

ExitStatus pin(const Arguments& arguments, const LayerWork& work) {
    goOnWatched();  // expressions run in this process, and may end it
    try {
        return PinCommand(arguments).run(work);
    } catch (const HostError& e) {
        Console(Console::Bar::Never).complain(e.what());
        return ExitStatus::Unusable;
    }
}

}  // namespace

void addPin(CLI::App& app, Command& chosen) {
    CLI::App* command =
        app.add_subcommand("pin", "Write tests: the fewest rows in which all that happens in a dataset happens");
    const auto arguments = std::make_shared<Arguments>();
    addLayerOptions(*command, *arguments);
    addRowOptions(*command, arguments->rows);
    command->add_option("-o,--output", arguments->file, "the file of tests; what it has stays")
        ->required()
        ->type_name("FILE");
    command->add_option("--limit", arguments->limit, "at most so many rows of a layer")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
    command->add_flag("--update", arguments->update, "let tests that fail expect what the document does now");
    command->footer("Example: cxml pin harbour.cxml chart.gpkg -o harbour.tests.md");
    command->callback([&chosen, arguments] {
        LayerWork work;
        limitTo(arguments->rows, work);
        chosen = [arguments, work] { return pin(*arguments, work); };
    });
}

}  // namespace cxml
