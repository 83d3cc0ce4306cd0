#include "explain_report.h"

#include "tools/text/text.h"

#include <nlohmann/json.hpp>

namespace cxml {
namespace {

using ConditionalXml::CXAttributeRule;
using ConditionalXml::QueryRule;
using nlohmann::ordered_json;

ordered_json valueJson(const ShownValue& value) {
    ordered_json json{{"type", value.type}};
    if (value.type == "integer" || value.type == "real" || value.isText() || value.type == "date")
        json["value"] = value.text;
    return json;
}

ordered_json conditionJson(const DocumentPlaces& places, const ExplainedRow& row, const WalkedCondition& walked);

ordered_json ruleJson(const DocumentPlaces& places, const ExplainedRow& row, const WalkedRule& walked) {
    ordered_json json{{"line", places.lineOf(*walked.rule)},
                      {"type", std::string(1, walked.rule->ruleType)},
                      {"operator", places.operatorOf(*walked.rule)},
                      {"answer", !walked.isAsked ? "not reached"
                                 : walked.answer ? "true"
                                                 : "false"}};
    if (const auto* attribute = dynamic_cast<const CXAttributeRule*>(walked.rule)) {
        json["field"] = toUtf8(attribute->fieldName);
        if (walked.isAsked) {
            json["seen"] = valueJson(walked.seen);
            if (const std::string meaning = meaningOf(row, walked); !meaning.empty()) json["meaning"] = meaning;
            if (walked.other) json["other"] = valueJson(*walked.other);
            json["operands"] = ordered_json::array();
            for (const ShownValue& operand : walked.operands) json["operands"].push_back(valueJson(operand));
            json["comparable"] = walked.isComparable;
        }
    } else if (const auto* query = dynamic_cast<const QueryRule*>(walked.rule)) {
        json["table"] = toUtf8(query->tableName);
        if (walked.isAsked) {
            json["clause"] = walked.clause;
            json["outcome"] = nameOf(walked.outcome);
            json["rows"] = walked.rows;
        }
    }
    json["nested"] = ordered_json::array();
    for (const WalkedCondition& nested : walked.nested) json["nested"].push_back(conditionJson(places, row, nested));
    return json;
}

ordered_json conditionJson(const DocumentPlaces& places, const ExplainedRow& row, const WalkedCondition& walked) {
    ordered_json json{{"line", places.lineOf(*walked.condition)},
                      {"address", places.addressOf(*walked.condition)},
                      {"name", toUtf8(walked.condition->rulename)},
                      {"end", nameOf(walked.end)}};
    if (walked.by) json["by"] = places.lineOf(*walked.by);
    json["rules"] = ordered_json::array();
    for (const WalkedRule& rule : walked.rules) json["rules"].push_back(ruleJson(places, row, rule));
    if (walked.generated || !walked.arguments.empty()) {
        for (const auto& [name, values] : walked.arguments) {
            json["arguments"][name] = ordered_json::array();
            for (const ShownValue& value : values) json["arguments"][name].push_back(valueJson(value));
        }
        if (walked.generated == ConditionalXml::Expression::Outcome::Accepted)
            json["generated"] = toUtf8(walked.condition->generatedValue);
    }
    if (walked.isNotRun()) json["notRun"] = true;
    if (!walked.error.empty()) json["error"] = walked.error;
    return json;
}

ordered_json changesJson(const std::vector<Change>& changes) {
    ordered_json json = ordered_json::object();
    for (const Change& change : changes)
        json[change.field] = {{"was", valueJson(shown(&change.before))}, {"value", valueJson(shown(&change.value))}};
    return json;
}

}  // namespace

ordered_json explainedJson(const Document& document, const ExplainedRow& row) {
    const DocumentPlaces& places = document.places;
    const RowExplanation& explanation = row.explanation;
    ordered_json json{{"row",
                       {{"layer", row.layer},
                        {"fid", explanation.row},
                        {"subtype", explanation.subtype ? ordered_json(*explanation.subtype) : ordered_json()},
                        {"set", changesJson(row.set)}}},
                      {"decided", explanation.isDecided}};
    ordered_json& symbol = json["symbol"];
    symbol = {{"value", explanation.named ? ordered_json(toUtf8(explanation.named->rulename)) : ordered_json()},
              {"was", valueJson(explanation.symbol)}};
    if (explanation.named) {
        symbol["line"] = places.lineOf(*explanation.named);
        symbol["address"] = places.addressOf(*explanation.named);
    }
    json["placement"] = explanation.placed ? ordered_json{{"line", places.lineOf(*explanation.placed)},
                                                          {"address", places.addressOf(*explanation.placed)}}
                                           : ordered_json();
    json["fields"] = ordered_json::array();
    for (const RowExplanation::Put& put : explanation.puts)
        json["fields"].push_back({{"field", put.field},
                                  {"was", valueJson(put.before)},
                                  {"value", valueJson(put.value)},
                                  {"taken", put.isTaken}});
    json["conditions"] = ordered_json::array();
    for (const WalkedCondition& walked : explanation.conditions)
        json["conditions"].push_back(conditionJson(places, row, walked));
    json["why_not"] = ordered_json::array();
    for (const WhyNot& answer : row.whyNot) {
        ordered_json& entry = json["why_not"].emplace_back(
            ordered_json{{"line", answer.line}, {"reasons", answer.reasons}, {"detail", answer.detail}});
        if (answer.condition) entry["address"] = places.addressOf(*answer.condition);
        entry["searched"] = answer.isSearched;
        entry["change"] = answer.change ? changesJson(*answer.change) : ordered_json();
        if (answer.evaluated) entry["evaluated"] = toUtf8(answer.evaluated->named->rulename);
    }
    json["messages"] = ordered_json::array();
    for (const RowExplanation::Message& message : explanation.messages)
        json["messages"].push_back({{"text", message.text}, {"line", message.line}});
    return json;
}

}  // namespace cxml
