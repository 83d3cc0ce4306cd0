#include "report_content.h"

#include "tools/reports/coverage_report.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <unordered_map>
#include <utility>

namespace cxml {
namespace {

using ConditionalXml::Condition;
using embedded_host::RowList;
using nlohmann::ordered_json;

// Findings after which no row can come to show a condition's name.
constexpr std::array deadKinds{"always-replaced", "contradiction", "never-holds", "unreachable"};

struct LayerRows {
    std::string layer;
    const RowList* rows;
};

// Which layers' rows each condition decides.
using Deciders = std::unordered_map<const Condition*, std::vector<LayerRows>>;

Deciders decidersOf(const std::vector<LayerResult>& results) {
    Deciders deciders;
    for (const LayerResult& result : results) {
        if (!result.ledger) continue;
        for (const auto& [condition, rows] : result.ledger->decided())
            deciders[condition].push_back({result.layer, rows});
    }
    return deciders;
}

std::vector<CoveredClass> classesThatRan(const ReportedRun& run) {
    std::vector<CoveredClass> classes = classesOf(run.document.places, *run.document.map);
    std::erase_if(classes, [&](const CoveredClass& one) { return !run.coverage.hasRunOf(*one.configuration); });
    return classes;
}

class Classes {
public:
    explicit Classes(const ReportedRun& run)
        : run_(run), places_(run.document.places), deciders_(decidersOf(run.results)) {
        for (const Finding& finding : run.findings) addFinding(finding);
        for (const CoveredClass& covered : classesOf(places_, *run.document.map))
            for (const Condition* condition : covered.conditions) countLines(*condition);
    }

    ordered_json all() {
        ordered_json classes = ordered_json::array();
        for (const CoveredClass& covered : classesThatRan(run_)) {
            const ClassCounts& counts = run_.coverage.of(*covered.configuration);
            ordered_json object{{"class", toUtf8(covered.configuration->name)},
                                {"rows", counts.rows},
                                {"unmeasured", counts.unmeasured}};
            const Shares shares = sharesOf(places_, run_.coverage, covered);
            for (std::size_t measure = 0; measure < shares.size(); ++measure)
                object["measures"][measureNames[measure]] = {{"seen", shares[measure].seen},
                                                             {"of", shares[measure].of}};
            object["conditions"] = ordered_json::array();
            for (const Condition* condition : covered.conditions)
                object["conditions"].push_back(conditionJson(*condition));
            classes.push_back(std::move(object));
        }
        return classes;
    }

private:
    void addFinding(const Finding& finding) {
        if (std::ranges::find(deadKinds, std::string_view(finding.kind)) == deadKinds.end()) return;
        const auto add = [&](const Place& place) {
            if (place.file == run_.document.path && place.line > 0) dead_.try_emplace(place.line, finding.text);
        };
        if (finding.address.empty())
            add(finding.place);
        else
            deadAddresses_.try_emplace(finding.address, finding.text);
        for (const Place& place : finding.alsoAt) add(place);
    }

    // What stands on lines of several conditions may be about each of them.
    void countLines(const Condition& condition) {
        std::set<LONG> lines{places_.lineOf(condition)};
        for (const auto& rule : condition.rules) lines.insert(places_.lineOf(*rule));
        for (const LONG line : lines) ++conditionsAt_[line];
    }

    std::string whyDead(const Condition& condition) const {
        if (const auto found = deadAddresses_.find(places_.addressOf(condition)); found != deadAddresses_.end())
            return found->second;
        const auto at = [this](LONG line) {
            const auto found = dead_.find(line);
            return found == dead_.end() || conditionsAt_.at(line) != 1 ? std::string() : found->second;
        };
        std::string why = at(places_.lineOf(condition));
        for (const auto& rule : condition.rules)
            if (why.empty()) why = at(places_.lineOf(*rule));
        return why;
    }

    static const char* stateOf(const Condition& condition, const ConditionCounts& counts) {
        if (counts.decided != 0) return "decides";
        if (counts.reached == 0) return "not-reached";
        if (counts.held == 0) return counts.unmeasured != 0 ? "not-measured" : "not-held";
        return condition.rulename.Length() == 0 ? "held" : "replaced";
    }

    ordered_json conditionJson(const Condition& condition) {
        const ConditionCounts& counts = run_.coverage.of(condition);
        std::size_t depth = 0;
        for (const Condition* outer = places_.outerOf(condition); outer; outer = places_.outerOf(*outer)) ++depth;
        ordered_json object{{"line", places_.lineOf(condition)},
                            {"address", places_.addressOf(condition)},
                            {"list", places_.listOf(condition)},
                            {"depth", depth},
                            {"name", toUtf8(condition.rulename)},
                            {"fallback", places_.isFallback(condition)},
                            {"state", stateOf(condition, counts)},
                            {"reached", counts.reached},
                            {"held", counts.held},
                            {"decided", counts.decided},
                            {"unmeasured", counts.unmeasured}};
        if (const std::string why = whyDead(condition); !why.empty()) object["dead"] = why;
        object["replaced_by"] = replacedBy(counts);
        object["rules"] = ordered_json::array();
        for (std::size_t i = 0; i < condition.rules.size(); ++i)
            object["rules"].push_back(ruleJson(*condition.rules[i], counts.rules[i]));
        object["sample"] = sampleOf(condition);
        return object;
    }

    ordered_json replacedBy(const ConditionCounts& counts) const {
        std::vector<std::pair<const Condition*, std::int64_t>> all(counts.replacedBy.begin(), counts.replacedBy.end());
        std::ranges::sort(all, {}, [&](const auto& entry) { return places_.orderOf(*entry.first); });
        ordered_json list = ordered_json::array();
        for (const auto& [by, rows] : all)
            list.push_back({{"line", places_.lineOf(*by)}, {"address", places_.addressOf(*by)}, {"rows", rows}});
        return list;
    }

    ordered_json ruleJson(const ConditionalXml::Rule& rule, const RuleCounts& counts) const {
        return {{"line", places_.lineOf(rule)}, {"text", inWords(places_, rule)}, {"true", counts.held},
                {"false", counts.failed},       {"alone", counts.alone},          {"unmeasured", counts.unmeasured}};
    }

    ordered_json sampleOf(const Condition& condition) const {
        ordered_json sample = ordered_json::array();
        const auto found = deciders_.find(&condition);
        if (found == deciders_.end()) return sample;
        for (const auto& [layer, rows] : found->second)
            for (const ObjectId id : rows->ids)
                if (sample.size() < run_.samples) sample.push_back({{"layer", layer}, {"fid", id}});
        return sample;
    }

    const ReportedRun& run_;
    const DocumentPlaces& places_;
    Deciders deciders_;
    std::map<LONG, std::string> dead_;  // by line
    std::map<LONG, int> conditionsAt_;
    std::map<std::string, std::string> deadAddresses_;
};

const char* pictureOf(SymbolSet& symbols, const std::string& name) {
    if (symbols.picture(name)) return "picture";
    const Styles& styles = symbols.styles();
    if (styles.figures.contains(name)) return "figure";
    if (styles.areas.contains(name)) return "area";
    return styles.lines.contains(name) ? "line" : "none";
}

}  // namespace

ordered_json reportedClasses(const ReportedRun& run) {
    return Classes(run).all();
}

ordered_json reportedSymbols(const ReportedRun& run, SymbolSet& symbols) {
    struct Symbol {
        std::int64_t rows = 0;
        ordered_json conditions = ordered_json::array();
    };
    std::map<std::string, Symbol> all;
    const Deciders deciders = decidersOf(run.results);
    for (const CoveredClass& covered : classesThatRan(run))
        for (const Condition* condition : covered.conditions) {
            if (condition->rulename.Length() == 0) continue;
            std::int64_t rows = 0;
            if (const auto found = deciders.find(condition); found != deciders.end())
                for (const LayerRows& one : found->second) rows += one.rows->rows;
            Symbol& symbol = all[toUtf8(condition->rulename)];
            symbol.rows += rows;
            symbol.conditions.push_back({{"line", run.document.places.lineOf(*condition)},
                                         {"address", run.document.places.addressOf(*condition)},
                                         {"rows", rows}});
        }
    ordered_json list = ordered_json::array();
    for (auto& [name, symbol] : all)
        list.push_back({{"symbol", name},
                        {"rows", symbol.rows},
                        {"picture", pictureOf(symbols, name)},
                        {"conditions", std::move(symbol.conditions)}});
    return list;
}

}  // namespace cxml
