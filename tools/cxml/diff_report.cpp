#include "diff_report.h"

#include "tools/reports/ledger_report.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

namespace cxml {
namespace {

using embedded_host::RowList;
using nlohmann::ordered_json;

constexpr std::size_t groupsShown = 10;  // of a layer, without --full

std::string nameOf(const ShownValue& value) {
    if (value.text.empty()) return value.isText() ? "\"\"" : "-";
    return oneLine(value.text);
}

std::string lineOf(const ChangeSide& side, const Document* document) {
    if (!side.by || !document) return "-";
    return fmt::format("{}", document->places.lineOf(*side.by));
}

class Text {
public:
    Text(const DatasetDifference& all, bool isFull) : all_(all), isFull_(isFull) {}

    std::string take() {
        head();
        std::size_t same = 0;
        for (const LayerDifference& layer : all_.layers) {
            if (layer.difference.different() == 0 && layer.difference.kept().rows == 0)
                ++same;
            else
                this->layer(layer);
        }
        tail(same);
        return std::move(text_);
    }

private:
    void add(const std::string& line) { text_ += line + '\n'; }

    void head() {
        const std::string from = all_.first ? oneLine(all_.first->path) : "what the dataset holds";
        add(fmt::format("{} -> {} over {}", from, oneLine(all_.second->path), oneLine(all_.dataset)));
        for (const CrossRead& read : all_.crossReads)
            add(fmt::format("  real runs, rolled back: the query of line {} may read {}, which a run writes", read.line,
                            oneLine(read.field)));
    }

    void layer(const LayerDifference& layer) {
        add(fmt::format("{}    {}", oneLine(layer.layer), plural(layer.difference.rows(), "row")));
        std::size_t shown = 0;
        // What was not to change comes first.
        for (const bool isOutside : {true, false}) {
            for (std::size_t i = 0; i < layer.groups.size(); ++i) {
                if ((layer.groups[i].outside != 0) != isOutside) continue;
                if (++shown <= groupsShown || isFull_) group(layer, i);
            }
        }
        if (shown > groupsShown && !isFull_)
            add(fmt::format("  and {} more groups: --full shows them", shown - groupsShown));
        if (const std::int64_t rows = layer.difference.ungrouped(); rows != 0)
            add(fmt::format("  and {} beyond {} groups", plural(rows, "row"), Difference::mostGroups));
        if (const RowList& kept = layer.difference.kept(); kept.rows != 0)
            add(fmt::format("  {} same only because an older symbol stays: one document names none  {}",
                            plural(kept.rows, "row"), firstRows(kept)));
    }

    void group(const LayerDifference& layer, std::size_t i) {
        const ChangeGroup& group = layer.groups[i];
        std::string what;
        if (group.fields != "SYMBOL_C") what = oneLine(group.fields) + ": ";
        std::string line =
            fmt::format("  {:>6}   {}{} -> {}    {} -> {}    {}", group.rows.rows, what, nameOf(group.from.value),
                        nameOf(group.to.value), lineOf(group.from, all_.first), lineOf(group.to, all_.second),
                        all_.isStatic() ? witnessText(layer, group) : firstRows(group.rows));
        if (group.change == RowChange::Error) line += "    an error on one side";
        if (all_.hasIntention && group.outside != 0) line += fmt::format("    {} outside", group.outside);
        add(line);
        if (i >= layer.causes.size()) return;
        for (const Cause& cause : layer.causes[i]) add("           cause: " + causeText(all_, cause));
    }

    std::string witnessText(const LayerDifference& layer, const ChangeGroup& group) const {
        std::vector<std::string> parts;
        for (const auto& [field, value] : all_.witness(layer.layer, group.rows.ids.front()))
            parts.push_back(oneLine(fmt::format("{} = {}", field, value)));
        return fmt::format("for one: {}",
                           parts.empty() ? "no value in any field" : fmt::format("{}", fmt::join(parts, ", ")));
    }

    void tail(std::size_t same) {
        const auto count = [this](RowChange change) { return all_.sum(change); };
        add(fmt::format(
            "{} without a difference.    {}: {} same, {} other symbol, {} symbol lost, {} gained, "
            "{} placement, {} fields, {} only by an error",
            plural(static_cast<std::int64_t>(same), "layer"), plural(all_.sum(&Difference::rows), "row"),
            count(RowChange::Same), count(RowChange::Symbol), count(RowChange::Lost), count(RowChange::Gained),
            count(RowChange::Placement), count(RowChange::Fields), count(RowChange::Error)));
        if (const std::int64_t failed = all_.sum(&Difference::failed); failed != 0)
            add(fmt::format("{} failed{}", plural(failed, "row"), all_.first ? " with both" : ""));
        for (const std::string& line : all_.undecided()) add(oneLine(line));
        if (all_.hasIntention)
            add(fmt::format("{} outside of what was to change", plural(all_.sum(&Difference::outside), "row")));
    }

    const DatasetDifference& all_;
    bool isFull_;
    std::string text_;
};

ordered_json sideJson(const ChangeSide& side, const Document* document, bool isSymbol) {
    ordered_json json;
    const bool isThere = !side.value.text.empty() || side.value.isText();
    json[isSymbol ? "symbol" : "value"] = isThere ? ordered_json(side.value.text) : ordered_json();
    if (!side.by || !document) return json;
    json["line"] = document->places.lineOf(*side.by);
    json["address"] = document->places.addressOf(*side.by);
    return json;
}

ordered_json causeJson(const Cause& cause) {
    const auto place = [](const Cause::Place& which) {
        return ordered_json{{"line", which.line}, {"text", which.text}};
    };
    ordered_json json;
    switch (cause.kind) {
        case Cause::Kind::Rule:
            return {{"kind", "rule"},
                    {"line", cause.second.line},
                    {"from", place(cause.first)},
                    {"to", place(cause.second)},
                    {"was", cause.first.answer ? "true" : "false"},
                    {"is", cause.second.answer ? "true" : "false"}};
        case Cause::Kind::OnlyInFirst:
            return {{"kind", "only-in-first"}, {"from", place(cause.first)}};
        case Cause::Kind::OnlyInSecond:
            return {{"kind", "only-in-second"}, {"to", place(cause.second)}};
        case Cause::Kind::Order:
            break;
    }
    return {{"kind", "order"}, {"from", place(cause.first)}, {"to", place(cause.second)}};
}

ordered_json groupJson(const DatasetDifference& all, const LayerDifference& layer, std::size_t i) {
    const ChangeGroup& group = layer.groups[i];
    const bool isSymbol = group.fields == "SYMBOL_C";
    ordered_json json{{"layer", layer.layer},
                      {"change", rowChangeNames[static_cast<std::size_t>(group.change)]},
                      {"fields", group.fields},
                      {"from", sideJson(group.from, all.first, isSymbol)},
                      {"to", sideJson(group.to, all.second, isSymbol)},
                      {"cause", ordered_json::array()},
                      {"rows", group.rows.rows},
                      {"sample", group.rows.ids},
                      {"outside", all.hasIntention ? group.outside : 0}};
    if (all.isStatic()) {
        json["witness"] = ordered_json::object();
        for (const auto& [field, value] : all.witness(layer.layer, group.rows.ids.front()))
            json["witness"][field] = value;
    }
    if (i < layer.causes.size())
        for (const Cause& cause : layer.causes[i]) json["cause"].push_back(causeJson(cause));
    return json;
}

}  // namespace

std::vector<std::pair<std::string, std::string>> DatasetDifference::witness(const std::string& layer,
                                                                            ObjectId row) const {
    std::vector<std::pair<std::string, std::string>> values;
    const auto made = std::ranges::find(madeUp, layer, [](const MadeUpRows& rows) { return rows.table.name; });
    if (made == madeUp.end()) return values;
    const auto& cells = made->table.rows.at(static_cast<std::size_t>(row) - 1);
    for (std::size_t i = 0; i < made->given; ++i) {
        if (std::holds_alternative<std::monostate>(cells[i])) continue;
        const auto* const text = std::get_if<std::string>(&cells[i]);
        const auto* const integer = std::get_if<std::int64_t>(&cells[i]);
        values.emplace_back(made->table.fields[i].name, text      ? '"' + *text + '"'
                                                        : integer ? std::to_string(*integer)
                                                                  : fmt::format("{}", std::get<double>(cells[i])));
    }
    return values;
}

std::vector<std::string> DatasetDifference::undecided() const {
    std::vector<std::string> lines;
    for (const MadeUpRows& made : madeUp) {
        std::string why;
        if (!made.isComplete)
            why = fmt::format("{} rows were tried, not every combination of the values", made.table.rows.size());
        if (made.hasQueries) why += std::string(why.empty() ? "" : "; ") + "no table answers its queries";
        if (made.hasExpressions) why += std::string(why.empty() ? "" : "; ") + "its expressions are not run";
        if (!why.empty()) lines.push_back(fmt::format("{}: not decided for every row: {}", made.table.name, why));
    }
    return lines;
}

std::string causeText(const DatasetDifference& all, const Cause& cause) {
    const std::string first = oneLine(all.first->path);
    const std::string second = oneLine(all.second->path);
    const auto word = [](bool answer) { return answer ? "true" : "false"; };
    switch (cause.kind) {
        case Cause::Kind::Rule:
            return fmt::format("{}:{}  {}  ({}:{}  {}): {} -> {}", second, cause.second.line,
                               oneLine(cause.second.text), first, cause.first.line, oneLine(cause.first.text),
                               word(cause.first.answer), word(cause.second.answer));
        case Cause::Kind::OnlyInFirst:
            return fmt::format("{} is only in {}:{}", oneLine(cause.first.text), first, cause.first.line);
        case Cause::Kind::OnlyInSecond:
            return fmt::format("{} is only in {}:{}", oneLine(cause.second.text), second, cause.second.line);
        case Cause::Kind::Order:
            break;
    }
    return fmt::format("both hold in both documents; the later one counts: {}:{}, {}:{}", first, cause.first.line,
                       second, cause.second.line);
}

std::int64_t DatasetDifference::sum(std::int64_t (Difference::*count)() const noexcept) const {
    std::int64_t sum = 0;
    for (const LayerDifference& layer : layers) sum += (layer.difference.*count)();
    return sum;
}

std::int64_t DatasetDifference::sum(RowChange change) const {
    std::int64_t sum = 0;
    for (const LayerDifference& layer : layers) sum += layer.difference.count(change);
    return sum;
}

std::string differenceText(const DatasetDifference& all, bool isFull) {
    return Text(all, isFull).take();
}

ordered_json differenceJson(const DatasetDifference& all) {
    ordered_json json{{"result", all.sum(&Difference::different) == 0 ? "same" : "different"},
                      {"against", all.first ? ordered_json(all.first->path) : ordered_json()},
                      {"rows", all.sum(&Difference::rows)}};
    for (std::size_t i = 0; i < rowChangeNames.size(); ++i) {
        const std::int64_t count = all.sum(static_cast<RowChange>(i));
        if (i == 0)
            json["same"] = count;
        else
            json["changes"][rowChangeNames[i]] = count;
    }
    std::int64_t kept = 0;
    for (const LayerDifference& layer : all.layers) kept += layer.difference.kept().rows;
    json["kept"] = kept;
    json["failed"] = all.sum(&Difference::failed);
    json["outside"] = all.hasIntention ? all.sum(&Difference::outside) : 0;
    json["real_runs"] = ordered_json::array();
    for (const CrossRead& read : all.crossReads)
        json["real_runs"].push_back({{"line", read.line}, {"table", read.table}, {"field", read.field}});
    if (all.isStatic()) json["undecided"] = all.undecided();
    json["groups"] = ordered_json::array();
    for (const LayerDifference& layer : all.layers)
        for (std::size_t i = 0; i < layer.groups.size(); ++i) json["groups"].push_back(groupJson(all, layer, i));
    return json;
}

}  // namespace cxml
