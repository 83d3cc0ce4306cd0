#include "first_document.h"
#include "tools/text/text.h"
#include "tools/text/xml_text.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <cctype>
#include <functional>

namespace cxml {
namespace {

using Value = std::pair<std::string, std::int64_t>;

// A field that a rule can name as it is written, and whose values a run reads.
bool isUsable(const FieldSurvey& field) {
    const std::string& name = field.name();
    return (field.isText() || field.isNumber()) && field.foreign() == 0 && !name.empty() && isXml(name) &&
           name.find_first_of(".%'\"\t\r\n") == std::string::npos && name.front() != ' ' && name.back() != ' ';
}

// What most people look at comes first: fields of S-57, then others, those with values before those without.
const FieldSurvey* choose(const LayerSurvey& layer, const std::function<int(const FieldSurvey&)>& rank) {
    const FieldSurvey* best = nullptr;
    int highest = 0;
    for (const FieldSurvey& field : layer.fields) {
        if (!isUsable(field)) continue;
        int points = rank(field);
        if (points > 0) points += (field.attribute() ? 100 : 0) + (field.filled() != 0 ? 10 : 0);
        if (points <= highest) continue;
        highest = points;
        best = &field;
    }
    return best;
}

// An operand that reads as this value: not as NULL, and with its apostrophes.
std::string operandOf(const std::string& value) {
    const bool isSpecial = value == "NULL" || value == "null" || value.starts_with('\'');
    return xmlText(isSpecial ? '\'' + value + '\'' : value);
}

// The value to ask for in an example: one that means something, where codes do. Null when none can be written.
const Value* askedFor(const FieldSurvey& field, const std::vector<Value>& values) {
    const auto isGood = [&](const Value& value) {
        if (!isXml(value.first) || value.first.find_first_of(",\t\r\n") != std::string::npos) return false;
        if (value.first.front() == ' ' || value.first.back() == ' ') return false;
        const S57Attribute* const attribute = field.attribute();
        return !attribute || !attribute->hasCodes() || !attribute->meaningOf(std::string_view(value.first)).empty();
    };
    const auto found = std::ranges::find_if(values, isGood);
    return found == values.end() ? nullptr : &*found;
}

std::string meaningOf(const FieldSurvey& field, std::string_view code) {
    const std::string meaning = field.attribute() ? field.attribute()->meaningOf(code) : std::string();
    return meaning.empty() ? meaning : " (" + xmlText(meaning) + ")";
}

std::string example(std::string_view kind, std::string_view what, std::string_view condition) {
    return fmt::format("\n    <!-- {}: {}\n{}    -->\n", kind, what, condition);
}

std::string noExample(std::string_view kind) {
    return fmt::format("\n    <!-- {}: no field of this layer fits. -->\n", kind);
}

constexpr const char* attributeRule = "Attribute rule";
constexpr const char* listRule = "List attribute rule";
constexpr const char* queryRule = "Query rule";
constexpr const char* expressionName = "Expression";

std::string attributeExample(const LayerSurvey& layer) {
    const auto withRule = [](const std::string& what, const FieldSurvey& field, std::string_view asked) {
        return example(attributeRule, what,
                       fmt::format("    <condition rulename=\"EXAMPLE\">\n"
                                   "      <rule type=\"A\" field=\"{}\" {}/>\n"
                                   "    </condition>\n",
                                   xmlText(field.name()), asked));
    };
    const FieldSurvey* const field = choose(layer, [](const FieldSurvey& one) {
        if (one.isList() || (one.attribute() && one.attribute()->type == 'L')) return 0;
        const auto values = one.values();
        if (!values || !askedFor(one, *values)) return 0;
        const bool isCategory = one.attribute() && one.attribute()->hasCodes() && one.name().starts_with("CAT");
        return isCategory ? 4 : one.attribute() && one.attribute()->hasCodes() ? 3 : one.isText() ? 1 : 2;
    });
    if (field) {
        const std::vector<Value> values = field->values().value_or(std::vector<Value>());
        const std::string& value = askedFor(*field, values)->first;
        return withRule(fmt::format("{} is {}{}", xmlText(field->name()), xmlText(value), meaningOf(*field, value)),
                        *field, fmt::format(R"(operator="equal" value="{}")", operandOf(value)));
    }
    const FieldSurvey* const number = choose(layer, [](const FieldSurvey& one) { return one.range() ? 1 : 0; });
    if (number) {
        const std::string least = number->range()->first;
        return withRule(fmt::format("{} is {} or more", xmlText(number->name()), least), *number,
                        fmt::format(R"(operator="gte" value="{}")", least));
    }
    const FieldSurvey* const any = choose(layer, [](const FieldSurvey& /*one*/) { return 1; });
    if (!any) return noExample(attributeRule);
    return withRule(fmt::format("{} has a value", xmlText(any->name())), *any, R"(operator="notequal" value="NULL")");
}

std::string listExample(const LayerSurvey& layer) {
    const auto codeOf = [](const FieldSurvey& field) -> std::string {
        const auto values = field.values();
        const Value* const value = values ? askedFor(field, *values) : nullptr;
        if (value && field.isList()) return value->first;
        const bool isListOfCodes = field.attribute() && field.attribute()->type == 'L' && field.attribute()->hasCodes();
        return isListOfCodes ? std::to_string(field.attribute()->meanings.begin()->first) : std::string();
    };
    const FieldSurvey* const field =
        choose(layer, [&](const FieldSurvey& one) { return one.isText() && !codeOf(one).empty() ? 1 : 0; });
    if (!field) return noExample(listRule);
    const std::string code = codeOf(*field);
    return example(listRule,
                   fmt::format("{} is among the codes of {}{}", code, xmlText(field->name()), meaningOf(*field, code)),
                   fmt::format("    <condition rulename=\"EXAMPLE\">\n"
                               "      <rule type=\"L\" field=\"{}\" operator=\"containsany\">\n"
                               "        <value>{}</value>\n"
                               "      </rule>\n"
                               "    </condition>\n",
                               xmlText(field->name()), code));
}

// The table whose rows are asked for one with the same value: lights first, then any other, at last the layer itself.
const LayerSurvey& askedTable(const LayerSurvey& layer, const FieldSurvey& field,
                              const std::vector<LayerSurvey>& layers) {
    const LayerSurvey* best = &layer;
    for (const LayerSurvey& other : layers) {
        if (&other == &layer || !isXml(other.layer.name) || best->layer.name == "LIGHTS") continue;
        const bool hasField = std::ranges::any_of(other.fields, [&](const FieldSurvey& one) {
            return one.name() == field.name() && one.isText() == field.isText() && one.filled() != 0 && isUsable(one);
        });
        if (hasField && (best == &layer || other.layer.name == "LIGHTS")) best = &other;
    }
    return *best;
}

std::string queryExample(const LayerSurvey& layer, const std::vector<LayerSurvey>& layers) {
    const FieldSurvey* const field = choose(layer, [](const FieldSurvey& one) {
        return one.name() == "OBJNAM" ? 3 : one.isText() && !one.isList() ? 2 : 1;
    });
    if (!field || !isXml(layer.layer.name)) return noExample(queryRule);
    const LayerSurvey& table = askedTable(layer, *field, layers);
    const std::string name = xmlText(field->name());
    const char* const quote = field->isText() ? "'" : "";
    return example(queryRule, fmt::format("{} has a row with the same {}", xmlText(table.layer.name), name),
                   fmt::format("    <condition rulename=\"EXAMPLE\">\n"
                               "      <rule type=\"Q\" operator=\"exists\" table=\"{}\">\n"
                               "        <query>\"{}\" = {}%s{}</query>\n"
                               "        <params><param value=\"{}\"/></params>\n"
                               "      </rule>\n"
                               "    </condition>\n",
                               xmlText(table.layer.name), name, quote, quote, name));
}

bool isPythonName(const std::string& name) {
    static constexpr std::array<std::string_view, 36> keywords{
        "False", "None",     "True",  "and",    "as",   "assert", "async",  "await",    "break",
        "class", "continue", "def",   "del",    "elif", "else",   "except", "finally",  "for",
        "from",  "global",   "if",    "import", "in",   "is",     "lambda", "nonlocal", "not",
        "or",    "pass",     "raise", "return", "try",  "while",  "with",   "yield",    "str"};
    return std::isdigit(static_cast<unsigned char>(name.front())) == 0 &&
           std::ranges::all_of(name, [](unsigned char c) { return c < 0x80 && (c == '_' || std::isalnum(c) != 0); }) &&
           std::ranges::find(keywords, name) == keywords.end() && name != "Generate";
}

std::string expressionExample(const LayerSurvey& layer) {
    const FieldSurvey* const field = choose(layer, [](const FieldSurvey& one) {
        if (!isPythonName(one.name())) return 0;
        return one.name() == "OBJNAM" ? 3 : one.isText() && !one.isList() ? 2 : 1;
    });
    if (!field) return noExample(expressionName);
    return example(expressionName, fmt::format("a label from {}, in a field LABEL_C", field->name()),
                   fmt::format("    <condition type=\"2\" field=\"LABEL_C\">\n"
                               "      <rule type=\"A\" field=\"{0}\" operator=\"notequal\" value=\"NULL\"/>\n"
                               "      <expression><![CDATA[\n"
                               "def Generate({0}):\n"
                               "    return {1}\n"
                               "]]></expression>\n"
                               "    </condition>\n",
                               field->name(), field->isText() ? field->name() : "str(" + field->name() + ")"));
}

}  // namespace

std::string exampleConditions(const LayerSurvey& layer, const std::vector<LayerSurvey>& layers) {
    return attributeExample(layer) + listExample(layer) + queryExample(layer, layers) + expressionExample(layer);
}

}  // namespace cxml
