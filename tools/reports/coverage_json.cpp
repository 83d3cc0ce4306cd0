#include "coverage_report.h"
#include "host/host_error.h"
#include "rules/query_rules.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <unordered_map>
#include <utility>

namespace cxml {
namespace {

using ConditionalXml::Condition;
using ConditionalXml::FeatureClassRule;
using ConditionalXml::Rule;
using embedded_host::HostError;
using nlohmann::json;
using nlohmann::ordered_json;

// The numbers of a class, a condition and a rule, by their names.
template <class Counts>
using Members = std::vector<std::pair<const char*, std::int64_t Counts::*>>;

const Members<ClassCounts> classMembers{
    {"runs", &ClassCounts::runs}, {"rows", &ClassCounts::rows}, {"unmeasured", &ClassCounts::unmeasured}};
const Members<ConditionCounts> conditionMembers{{"reached", &ConditionCounts::reached},
                                                {"held", &ConditionCounts::held},
                                                {"decided", &ConditionCounts::decided},
                                                {"unmeasured", &ConditionCounts::unmeasured},
                                                {"failed", &ConditionCounts::failed}};
const Members<RuleCounts> ruleMembers{{"true", &RuleCounts::held},
                                      {"false", &RuleCounts::failed},
                                      {"alone", &RuleCounts::alone},
                                      {"unattributed", &RuleCounts::unattributed},
                                      {"unmeasured", &RuleCounts::unmeasured}};

template <class Counts>
void write(ordered_json& object, const Counts& counts, const Members<Counts>& members) {
    for (const auto& [name, member] : members) object[name] = counts.*member;
}

/// What a rule looks at, in words that do not change with what runs make of its operands.
ordered_json subjectJson(const DocumentPlaces& places, const Rule& rule) {
    ordered_json object{{"line", places.lineOf(rule)}};
    if (const auto* query = dynamic_cast<const ConditionalXml::QueryRule*>(&rule))
        object["table"] = toUtf8(query->tableName);
    else if (const auto* attribute = dynamic_cast<const ConditionalXml::CXAttributeRule*>(&rule))
        object["field"] = toUtf8(attribute->fieldName);
    object["operator"] = places.operatorOf(rule);
    return object;
}

ordered_json conditionJson(const CoverageView& view, const Condition& condition) {
    const DocumentPlaces& places = view.document.places;
    const ConditionCounts& counts = view.coverage.of(condition);
    ordered_json object{{"line", places.lineOf(condition)},
                        {"address", places.addressOf(condition)},
                        {"class", toUtf8(condition.featureClassRule->name)},
                        {"fallback", places.isFallback(condition)}};
    write(object, counts, conditionMembers);
    std::vector<std::pair<const Condition*, std::int64_t>> replaced(counts.replacedBy.begin(), counts.replacedBy.end());
    std::ranges::sort(replaced, {}, [&](const auto& entry) { return places.orderOf(*entry.first); });
    object["replaced_by"] = ordered_json::array();
    for (const auto& [by, rows] : replaced)
        object["replaced_by"].push_back(
            {{"line", places.lineOf(*by)}, {"address", places.addressOf(*by)}, {"rows", rows}});
    object["rules"] = ordered_json::array();
    for (std::size_t i = 0; i < condition.rules.size(); ++i) {
        ordered_json rule = subjectJson(places, *condition.rules[i]);
        write(rule, counts.rules[i], ruleMembers);
        object["rules"].push_back(std::move(rule));
    }
    return object;
}

/// Lines one after the other are one range, as others write coverage.
ordered_json ranges(const std::map<LONG, bool>& lines, bool isCovered) {
    ordered_json all = ordered_json::array();
    LONG last = -1;
    for (const auto& [line, covered] : lines) {
        if (covered != isCovered) continue;
        if (last < 0 || line != last + 1) all.push_back({{"start", {{"row", line}}}, {"end", {{"row", line}}}});
        all.back()["end"]["row"] = last = line;
    }
    return all;
}

/// The lines where conditions and rules begin: covered when all of them have held.
ordered_json filesJson(const CoverageView& view) {
    std::map<LONG, bool> lines;
    const auto add = [&](LONG line, bool isCovered) {
        const auto [entry, isNew] = lines.try_emplace(line, isCovered);
        if (!isNew) entry->second = entry->second && isCovered;
    };
    for (const CoveredClass& covered : view.classes)
        for (const Condition* condition : covered.conditions) {
            const ConditionCounts& counts = view.coverage.of(*condition);
            add(view.document.places.lineOf(*condition), counts.held != 0);
            for (std::size_t i = 0; i < condition->rules.size(); ++i)
                add(view.document.places.lineOf(*condition->rules[i]), counts.rules[i].held != 0);
        }
    const auto seen = std::ranges::count_if(lines, [](const auto& line) { return line.second; });
    const Share share{seen, static_cast<std::int64_t>(lines.size())};
    return {{view.document.path,
             {{"covered", ranges(lines, true)},
              {"not_covered", ranges(lines, false)},
              {"covered_lines", share.seen},
              {"not_covered_lines", share.of - share.seen},
              {"coverage", share.percent()}}}};
}

}  // namespace

ordered_json coverageJson(const CoverageView& view, const std::vector<LayerResult>& results) {
    const DocumentPlaces& places = view.document.places;
    ordered_json all{{"layers", ordered_json::array()}, {"classes", ordered_json::array()}};
    for (const LayerResult& result : results) {
        ordered_json messages = ordered_json::array();
        for (const MessageLog::Text& text : result.messages.texts())
            messages.push_back({{"text", text.text}, {"count", text.count}});
        all["layers"].push_back({{"layer", result.layer},
                                 {"succeeded", result.succeeded},
                                 {"rows", result.rows},
                                 {"messages", std::move(messages)}});
    }
    for (const CoveredClass& covered : view.classes) {
        ordered_json object{{"class", toUtf8(covered.configuration->name)}};
        const bool hasRun = view.coverage.hasRunOf(*covered.configuration);
        write(object, hasRun ? view.coverage.of(*covered.configuration) : ClassCounts{}, classMembers);
        all["classes"].push_back(std::move(object));
    }
    const RowCounts rows = rowsOf(view);
    all["rows"] = rows.rows;
    all["unmeasured"] = rows.unmeasured;
    const Shares shares = sharesOf(places, view.coverage, view.classes);
    for (std::size_t measure = 0; measure < shares.size(); ++measure)
        all["measures"][measureNames[measure]] = {
            {"seen", shares[measure].seen}, {"of", shares[measure].of}, {"percent", shares[measure].percent()}};
    all["floors"] = ordered_json::object();
    all["missed"] = ordered_json::array();
    for (const auto& [measure, floor] : view.floors) {
        const char* name = measureNames[static_cast<std::size_t>(measure)];
        all["floors"][name] = {{"percent", floor}, {"met", !view.isBelow(measure)}};
        if (!view.isBelow(measure)) continue;
        for (const Missed& missed : missedBy(measure, places, view.coverage, view.classes))
            all["missed"].push_back(
                {{"measure", name},
                 {"line", missed.rule ? places.lineOf(*missed.rule) : places.lineOf(*missed.condition)},
                 {"address", places.addressOf(*missed.condition)},
                 {"text", whyMissed(measure, missed)}});
    }
    all["files"] = filesJson(view);
    all["conditions"] = ordered_json::array();
    for (const CoveredClass& covered : view.classes)
        for (const Condition* condition : covered.conditions)
            all["conditions"].push_back(conditionJson(view, *condition));
    return all;
}

namespace {

/// Reads an object of coverageJson() into the counts of a document that must be the same.
class Earlier {
public:
    Earlier(const std::string& path, const Document& document, Coverage& coverage)
        : path_(path), document_(document), coverage_(coverage), classes_(classesOf(document.places, *document.map)) {
        for (const CoveredClass& covered : classes_)
            for (const Condition* condition : covered.conditions)
                conditions_[document_.places.addressOf(*condition)] = condition;
    }

    void add(const json& object) {
        for (const json& layer : object.at("layers"))
            if (!layer.at("succeeded").get<bool>())
                throw HostError(fmt::format("{}: not all rows were counted: the run of '{}' did not come to its end",
                                            path_, layer.at("layer").get<std::string>()));
        for (const json& one : object.at("classes")) addClass(one);
        for (const json& one : object.at("conditions")) addCondition(one);
        for (const CoveredClass& covered : classes_) {
            if (!added_.contains(covered.configuration)) continue;
            for (const Condition* condition : covered.conditions)
                if (!counted_.contains(condition))
                    refuse(document_.places.addressOf(*condition), "it does not have it");
        }
    }

private:
    [[noreturn]] void refuse(const std::string& address, const std::string& why) const {
        throw HostError(
            fmt::format("{}: counts another document than {}: {}: {}", path_, document_.path, address, why));
    }

    template <class Counts>
    void addTo(Counts& counts, const json& object, const Members<Counts>& members) const {
        for (const auto& [name, member] : members) counts.*member += countOf(object, name);
    }

    /// So large that no sum of what can be counted comes near to it.
    static std::int64_t countOf(const json& object, const char* name) {
        constexpr std::int64_t most = 1'000'000'000'000'000;
        const json& value = object.at(name);
        if (!value.is_number_integer() || value < 0 || value > most)
            throw std::invalid_argument(fmt::format("{} is no count", name));
        return value.get<std::int64_t>();
    }

    void addClass(const json& object) {
        const std::string name = object.at("class").get<std::string>();
        const auto covered =
            std::ranges::find(classes_, name, [](const CoveredClass& one) { return toUtf8(one.configuration->name); });
        if (covered == classes_.end()) refuse(name, "there is no such class");
        if (!added_.insert(covered->configuration).second) throw std::invalid_argument("a class is there twice");
        // A class without runs has been asked for, and stays without.
        if (countOf(object, "runs") != 0) addTo(coverage_.of(*covered->configuration), object, classMembers);
    }

    const Condition& find(const json& object) const {
        const std::string address = object.at("address").get<std::string>();
        const auto known = conditions_.find(address);
        if (known == conditions_.end()) refuse(address, "there is no such condition");
        if (object.at("line") != document_.places.lineOf(*known->second)) refuse(address, "it is on another line");
        return *known->second;
    }

    void addCondition(const json& object) {
        const Condition& condition = find(object);
        if (!added_.contains(condition.featureClassRule)) throw std::invalid_argument("a condition's class is missing");
        if (!counted_.insert(&condition).second) throw std::invalid_argument("a condition is there twice");
        ConditionCounts& counts = coverage_.of(condition);
        addTo(counts, object, conditionMembers);
        for (const json& by : object.at("replaced_by")) counts.replacedBy[&find(by)] += countOf(by, "rows");
        const json& rules = object.at("rules");
        if (rules.size() != condition.rules.size()) refuse(object.at("address"), "it has other rules");
        for (std::size_t i = 0; i < rules.size(); ++i) {
            const ordered_json subject = subjectJson(document_.places, *condition.rules[i]);
            if (rules.at(i).at("line") != json(subject.at("line")))
                refuse(object.at("address"), "its rules are on other lines");
            for (const auto& [name, value] : subject.items())
                if (const auto there = rules.at(i).find(name); there == rules.at(i).end() || *there != json(value))
                    refuse(object.at("address"), fmt::format("another {} in line {}", name, subject.at("line").dump()));
            addTo(counts.rules[i], rules.at(i), ruleMembers);
        }
    }

    const std::string& path_;
    const Document& document_;
    Coverage& coverage_;
    std::vector<CoveredClass> classes_;
    std::unordered_map<std::string, const Condition*> conditions_;
    std::set<const FeatureClassRule*> added_;
    std::set<const Condition*> counted_;
};

std::string readFile(const std::string& path) {
    constexpr std::size_t most = 1'000'000'000;
    constexpr std::size_t step = 65536;
    std::ifstream file(path, std::ios::binary);
    std::string content;
    std::vector<char> buffer(step);
    while (file && content.size() <= most) {
        file.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
        content.append(buffer.data(), static_cast<std::size_t>(file.gcount()));
    }
    if (!file.eof()) throw HostError(path + (content.size() > most ? ": is too long" : ": cannot be read"));
    return content;
}

}  // namespace

void addEarlier(const std::string& path, const Document& document, Coverage& coverage) {
    const json object = json::parse(readFile(path), nullptr, false);
    const auto refuse = [&](const std::string& why) {
        throw HostError(fmt::format("{}: is nothing that 'cxml coverage --json' has written: {}", path, why));
    };
    if (object.is_discarded()) refuse("it is no JSON");
    try {
        if (object.value(json::json_pointer("/cxml/command"), "") != "coverage" ||
            object.value(json::json_pointer("/cxml/format"), 0) != 1)
            refuse("it does not begin so");
        Earlier(path, document, coverage).add(object);
    } catch (const json::exception& error) {
        const std::string_view text = error.what();  // "[json.exception.x] key 'y' not found"
        refuse(std::string(text.substr(std::min(text.find("] ") + 2, text.size()))));
    } catch (const std::invalid_argument& error) {
        refuse(error.what());
    }
}

}  // namespace cxml
