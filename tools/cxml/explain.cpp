// cxml explain: why a row gets its symbol, and why not another.
#include "commands.h"
#include "explained_run.h"
#include "interrupt.h"
#include "layer_options.h"
#include "nearest_rows.h"
#include "object_ids.h"
#include "observed_run.h"
#include "s57_tables.h"
#include "symbolize/runs.h"
#include "tools/reports/explain_report.h"
#include "tools/reports/json_head.h"
#include "tools/runs/layer_choice.h"
#include "tools/s57/catalogue.h"
#include "tools/text/text.h"
#include "watched_process.h"

#include <fmt/format.h>
#include <unistd.h>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

namespace cxml {
namespace {

using embedded_host::HostError;

struct Arguments : LayerArguments {
    RowArguments rows;
    std::string layer;
    std::optional<std::string> near;
    std::optional<std::size_t> limit;
    std::vector<std::string> set;
    std::optional<std::string> whyNot;
    std::optional<std::string> expected;
    bool isShort = false;
    bool isFull = false;

    Detail detail() const noexcept { return isShort ? Detail::Short : isFull ? Detail::Full : Detail::Usual; }
};

/// "FIELD=VALUE"; NULL without quotes is none.
std::vector<Change> readChanges(const std::vector<std::string>& options) {
    std::vector<Change> changes;
    for (const std::string& option : options) {
        const std::size_t equals = option.find('=');
        Change& change = changes.emplace_back();
        change.field = option.substr(0, equals);
        const std::string value = option.substr(equals + 1);
        if (value == "NULL")
            change.value.vt = VT_NULL;
        else
            change.value = CComVariant(toBstr(value));
    }
    return changes;
}

/// Puts the values, which become what the row makes of them. \return null, or the change that the row does not take.
const Change* put(IRow* row, std::vector<Change>& changes) {
    CComPtr<IFields> fields;
    if (FAILED(row->get_Fields(&fields)) || !fields) throw HostError("the fields of a row cannot be had");
    for (Change& change : changes) {
        LONG position = -1;
        if (FAILED(fields->FindField(toBstr(change.field), &position)) || position < 0) return &change;
        change.before.Clear();
        if (FAILED(row->get_Value(position, &change.before)) || FAILED(row->put_Value(position, change.value)))
            return &change;
        change.value.Clear();
        if (FAILED(row->get_Value(position, &change.value))) return &change;
    }
    return nullptr;
}

class ExplainRun {
public:
    ExplainRun(const Arguments& arguments, std::vector<ExplainedRow>& rows)
        : arguments_(arguments), changes_(readChanges(arguments.set)), rows_(rows) {}

    void onRow(IRow* row) {
        set_ = changes_;
        if (const Change* refused = put(row, set_))
            throw HostError(fmt::format("{}: there is no field '{}', or it does not take {}", arguments_.layer,
                                        refused->field, inWords(shown(&refused->value))));
    }

    bool run(const LayerRun& run) {
        const bool succeeded = runExplained(run, [&](ExplainedRow&& row) {
            row.set = set_;
            rows_.push_back(std::move(row));
        });
        if (succeeded && arguments_.whyNot)
            for (ExplainedRow& row : rows_) explainWhyNot(run, row);
        return succeeded;
    }

private:
    void explainWhyNot(const LayerRun& run, ExplainedRow& row) const {
        CComBSTR name;
        ConditionalXml::upperAliasName(run.featureClass, name);
        const CComQIPtr<ITable> table(run.featureClass);
        const Trial trial = [&](std::vector<Change>& more) {
            std::optional<RowExplanation> found;
            CComPtr<IRow> fresh;
            if (FAILED(table->GetRow(row.explanation.row, &fresh)) || !fresh) return found;
            std::vector<Change> set = changes_;
            if (put(fresh, set) || put(fresh, more)) return found;
            Explainer explainer(run.document.places, [&](RowExplanation&& tried) { found = std::move(tried); });
            try {
                ConditionalXml::symbolizeSingleRow(*run.document.map, fresh, &explainer);
            } catch (const std::runtime_error&) {
                return std::optional<RowExplanation>();  // such a row would fail
            }
            return found;
        };
        const TriedRow tried{row.explanation, run.document.map->find(name), row.subtypeField, trial};
        row.wanted = *arguments_.whyNot;
        row.whyNot = whyNot(tried, row.wanted, run.document.places);
    }

    const Arguments& arguments_;
    std::vector<Change> changes_;
    std::vector<Change> set_;  // the same, as the row that the run is at has taken them
    std::vector<ExplainedRow>& rows_;
};

bool isColoured() {
    const char* noColour = std::getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) != 0 && (!noColour || *noColour == '\0');
}

ExitStatus report(const Arguments& arguments, Console& console, const Document& document,
                  const std::vector<ExplainedRow>& rows, ExitStatus status) {
    if (looksLikeS57(arguments.layer)) complainOfMissingTables(console);
    if (arguments.json) {
        nlohmann::ordered_json object = jsonHead("explain", document);
        object["rows"] = nlohmann::ordered_json::array();
        for (const ExplainedRow& row : rows) object["rows"].push_back(explainedJson(document, row));
        std::cout << dumped(object) << '\n';
    } else {
        for (const ExplainedRow& row : rows) std::cout << explained(document, row, arguments.detail(), isColoured());
    }
    if (status != ExitStatus::Good) return status == ExitStatus::Failed ? ExitStatus::Unusable : status;
    if (rows.empty()) {
        console.complain(fmt::format("{}: no such row", arguments.layer));
        return ExitStatus::Unusable;
    }
    if (!arguments.expected) return status;
    for (const ExplainedRow& row : rows)
        if (!row.explanation.named || toUtf8(row.explanation.named->rulename) != *arguments.expected)
            return ExitStatus::Failed;
    return status;
}

ExitStatus explain(const Arguments& arguments, LayerWork work) {
    goOnWatched();
    std::vector<ExplainedRow> rows;
    ExplainRun explaining(arguments, rows);
    work.access = embedded_host::Access::Rehearse;
    work.showsLayers = false;
    work.notLoaded = ExitStatus::Unusable;
    if (!arguments.set.empty()) work.onRow = [&](IRow* row) { explaining.onRow(row); };
    work.run = [&](const LayerRun& run) { return explaining.run(run); };
    work.whyFailed = whyNoSymbols;
    work.report = [&](Console& console, const Document& document, const std::vector<LayerResult>& /*results*/,
                      ExitStatus status) { return report(arguments, console, document, rows, status); };
    return runLayers(arguments, work);
}

std::vector<ObjectId> nearestTo(const Arguments& arguments, const std::string& layer) {
    return nearestRows(arguments.dataset, {.lockTimeout = arguments.lockTimeout, .stop = &stopRequested()}, layer,
                       arguments.rows.where, *parsePosition(*arguments.near), arguments.limit.value_or(1));
}

void checkUsage(const Arguments& arguments) {
    if (!arguments.rows.ids && !arguments.rows.where && !arguments.near)
        throw CLI::ValidationError("explain", "which row? --fid N, --fids N,N, --where SQL or --near X,Y is missing");
    for (const std::string& set : arguments.set)
        if (set.find('=') == std::string::npos || set.front() == '=')
            throw CLI::ValidationError("--set", fmt::format("'{}' is not FIELD=VALUE", oneLine(set)));
}

}  // namespace

void addExplain(CLI::App& app, Command& chosen) {
    CLI::App* command = app.add_subcommand("explain", "Tell how a row gets its symbol, and why not another");
    const auto arguments = std::make_shared<Arguments>();
    addDatasetOptions(*command, *arguments);
    command->add_option("LAYER", arguments->layer, "the row's layer")->required()->type_name("");
    addOutputOptions(*command, *arguments);
    addRowOptions(*command, arguments->rows);
    command->get_option("--fids")->description("these rows");
    command->add_option("--fid", arguments->rows.ids, "this row")->type_name("N")->check([](const std::string& text) {
        return whyNotObjectIds(text);
    });
    command->add_option("--near", arguments->near, "the row that is nearest, of degrees of longitude and latitude")
        ->type_name("X,Y")
        ->check([](const std::string& text) { return parsePosition(text) ? "" : "it is no position, -81.5,41.9"; })
        ->excludes("--fid")
        ->excludes("--fids");
    command->add_option("--limit", arguments->limit, "at most so many rows: 20 without it, with --near 1")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
    command->add_option("--set", arguments->set, "try another value; NULL is none; may be repeated")
        ->type_name("FIELD=VALUE")
        ->allow_extra_args(false);
    command
        ->add_option("--why-not", arguments->whyNot, "why the row does not get this symbol, and what would change it")
        ->type_name("NAME|LINE|ADDRESS");
    command->add_flag("--no-python", arguments->services.withoutPython,
                      "no expression is run: for documents that you do not trust");
    command->add_option("--expect", arguments->expected, "status 1 when a row gets another symbol")->type_name("NAME");
    auto* isShort =
        command->add_flag("--short", arguments->isShort, "one line a row: file:line:address, layer, id, symbol");
    command->add_flag("--full", arguments->isFull, "every rule, also those that were not reached")->excludes(isShort);
    command->footer("Example: cxml explain rules.cxml chart.gpkg BOYLAT --fid 6 --why-not BOYLAT13");
    command->callback([&chosen, arguments] {
        checkUsage(*arguments);
        arguments->layers = {arguments->layer};
        LayerWork work;
        limitTo(arguments->rows, work);
        work.select = [arguments, all = work.select](embedded_host::GdalWorkspace& workspace,
                                                     const std::string& layer) {
            constexpr std::size_t usual = 20;
            const std::vector<ObjectId> ids = arguments->near
                                                  ? nearestTo(*arguments, layer)
                                                  : firstIds(all(workspace, layer), arguments->limit.value_or(usual));
            return workspace.select(layer, std::nullopt, ids);
        };
        chosen = [arguments, work] { return explain(*arguments, work); };
    });
}

}  // namespace cxml
