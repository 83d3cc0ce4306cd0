// Rules and conditions that loading discards, operands, and what conditions of type 2 lack.
#include "checks.h"
#include "language.h"
#include "rules/attribute_rules.h"
#include "rules/list_attribute_rules.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>
#include <string_view>
#include <utility>

namespace cxml {
namespace {

using ConditionalXml::CXAttributeRuleBetween;
using ConditionalXml::ListAttributeRule;
using ConditionalXml::ListAttributeRuleHasMultiple;

// A rule that is none, and what nothing reads because of it: what it has itself, and what stands behind it.
Finding& addDiscarded(const CheckedRule& rule, Spot at, const char* kind, std::string text, Findings& findings) {
    Finding& finding = findings.add(at, kind, std::move(text));
    finding.within = finding.spoils = {rule.at, rule.condition};
    return finding;
}

std::string operatorList(const std::string& type) {
    return fmt::format("the operators of {} rules are: {}", familyOf(type), fmt::join(operatorsOf(type), ", "));
}

std::string helpForOperator(const std::string& type, const std::string& keyword) {
    const std::string meant = meantOperator(type, keyword);
    if (const std::string other = familyWith(keyword); meant.empty() && !other.empty())
        return fmt::format("'{}' is an operator of {} rules: type=\"{}\"; {}", keyword, familyOf(other), other,
                           operatorList(type));
    if (const std::string inList = meant.empty() ? meantOperator("L", keyword) : ""; !inList.empty())
        return fmt::format(R"(to ask what a list of codes has: type="L" operator="{}"; {})", inList,
                           operatorList(type));
    return meant.empty() ? operatorList(type) : fmt::format("did you mean '{}'? {}", meant, operatorList(type));
}

void explainDiscarded(const CheckedRule& rule, Findings& findings) {
    const std::optional<std::string> type = attributeOf(rule.element, OLESTR("type"));
    const std::optional<std::string> keyword = attributeOf(rule.element, OLESTR("operator"));
    const char* const family = type ? familyOf(*type) : nullptr;
    const auto lacks = [&](const char* attribute) -> Finding& {
        return addDiscarded(rule, rule.at, "rule-discarded",
                            fmt::format("the rule is discarded: it has no attribute '{}'", attribute), findings);
    };
    constexpr const char* types = "A compares a field, L looks into a list of codes, Q asks another table";
    if (!type) {
        lacks("type").help = types;
    } else if (!family) {
        addDiscarded(rule, attributeSpot(rule.element, OLESTR("type")), "rule-discarded",
                     fmt::format("the rule is discarded: there is no type '{}'", *type), findings)
            .help = types;
    } else if (!keyword) {
        lacks("operator").help = operatorList(*type);
    } else if (familyOf(*type) != familyOf("Q") && !attributeOf(rule.element, OLESTR("field"))) {
        lacks("field");
    } else {
        addDiscarded(rule, attributeSpot(rule.element, OLESTR("operator")), "operator-unknown",
                     fmt::format("the rule is discarded: no {} rule has the operator '{}'", family, *keyword), findings)
            .help = helpForOperator(*type, *keyword);
    }
}

bool isCode(const CComVariant& operand) {
    CComVariant code;
    return operand.vt == VT_NULL || SUCCEEDED(code.ChangeType(VT_I4, &operand));
}

void checkOperands(const CheckedRule& rule, Findings& findings) {
    if (auto* const between = rule.as<CXAttributeRuleBetween>()) {
        if (between->values.size() != 2)
            findings
                .add(rule.at, "between-operands",
                     fmt::format("between needs two operands and has {}: the rule holds for no row",
                                 between->valueFieldName.Length() != 0 ? "a field instead"
                                                                       : std::to_string(between->values.size())))
                .within = {rule.at, rule.condition};
        return;
    }
    auto* const list = rule.as<ListAttributeRule>();
    if (!list || rule.as<ListAttributeRuleHasMultiple>()) return;
    for (const CComVariant& operand : list->values)
        if (!isCode(operand))
            findings.add(
                rule.at, "operand-type",
                fmt::format("the operand '{}' of a list attribute rule is no code", toUtf8(CComBSTR(operand.bstrVal))));
}

// As the library reads it.
bool isPlacement(const std::string& text) {
    if (text.find(',') != std::string::npos) return false;
    CComVariant number;
    const CComVariant value(toBstr(text));
    return SUCCEEDED(VariantChangeTypeEx(&number, const_cast<CComVariant*>(&value), LOCALE_INVARIANT,
                                         VARIANT_NOUSEROVERRIDE, VT_R8));
}

void checkRule(const CheckedRule& rule, Findings& findings) {
    if (!rule.rule)
        explainDiscarded(rule, findings);
    else
        checkOperands(rule, findings);
}

// Of a field, perhaps.
bool isName(std::string_view text) {
    constexpr std::string_view characters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_0123456789";
    return text.find_first_not_of(characters) == std::string_view::npos &&
           text.find_first_of(characters.substr(0, characters.find('0'))) == 0;
}

// The first of the attributes that is no number: those behind it are not read.
void reportPlacement(const CheckedCondition& checked, Findings& findings) {
    Spot at = checked.at;
    std::string what = "its xoffset, yoffset or angle is not a number";
    std::string help = "write a number with a decimal point and without a unit";
    static constexpr std::pair<const OLECHAR*, const char*> placements[] = {
        {OLESTR("xoffset"), "Xoffset_C"}, {OLESTR("yoffset"), "Yoffset_C"}, {OLESTR("angle"), "Rotate_C"}};
    for (const auto& [name, field] : placements) {
        const std::optional<std::string> text = attributeOf(checked.element, name);
        if (!text || isPlacement(*text)) continue;
        at = attributeSpot(checked.element, name);
        what = fmt::format("its {} '{}' is not a number", toUtf8(WideView(name)), oneLine(*text));
        if (isName(*text))
            help += fmt::format(R"(; a placement that a field decides is computed: <condition type="2" field="{}">)",
                                field);
        break;
    }
    Finding& finding =
        findings.add(at, "condition-discarded", fmt::format("{} is discarded: {}", checked.title(), what));
    finding.help = help;
    finding.within = finding.spoils = {checked.at};
}

void checkCondition(const CheckedCondition& checked, Findings& findings) {
    for (const CheckedRule& rule : checked.rules) checkRule(rule, findings);
    if (!checked.attributesAreGood) {
        reportPlacement(checked, findings);
        return;
    }
    const auto bad = std::ranges::find_if(checked.rules, [](const CheckedRule& rule) { return !rule.rule; });
    if (bad != checked.rules.end())
        findings
            .add(checked.at, "condition-discarded",
                 fmt::format("{} is discarded: its rule in line {} makes no rule", checked.title(), bad->at.line))
            .within = {checked.at};
    if (!checked.condition->callsExpression()) return;
    if (checked.condition->field.Length() == 0)
        findings
            .add(checked.at, "type2-without-field",
                 checked.title() + " is of type 2 and has no field: what Generate returns is written nowhere")
            .within = {checked.at};
    if (checked.expression.source.empty())
        findings
            .add(checked.at, "generate-missing",
                 checked.title() + " is of type 2 and has no expression: there is no Generate to call")
            .within = {checked.at};
}

}  // namespace

void checkConditions(const DocumentModel& model, Findings& findings) {
    model.forEachCondition([&](const CheckedCondition& condition) { checkCondition(condition, findings); });
}

}  // namespace cxml
