// Rules and conditions that loading discards, operands, and what conditions of type 2 lack.
#include "checks.h"
#include "rules/attribute_rules.h"
#include "rules/list_attribute_rules.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>

namespace cxml {
namespace {

using ConditionalXml::CXAttributeRuleBetween;
using ConditionalXml::ListAttributeRule;
using ConditionalXml::ListAttributeRuleHasMultiple;

const char* familyOf(const std::string& type) {
    return type == "A" ? "attribute" : type == "L" ? "list attribute" : type == "Q" ? "query" : nullptr;
}

void explainDiscarded(const CheckedRule& rule, Findings& findings) {
    const std::optional<std::string> type = attributeOf(rule.element, OLESTR("type"));
    const std::optional<std::string> keyword = attributeOf(rule.element, OLESTR("operator"));
    const char* const family = type ? familyOf(*type) : nullptr;
    const auto discarded = [&](const std::string& why) {
        findings.add(rule.line, "rule-discarded", "the rule is discarded: " + why);
    };
    if (!type) return discarded("it has no attribute 'type'");
    if (!family) return discarded(fmt::format("there is no type '{}'", *type));
    if (!keyword) return discarded("it has no attribute 'operator'");
    if (*type != "Q" && !attributeOf(rule.element, OLESTR("field"))) return discarded("it has no attribute 'field'");
    findings.add(rule.line, "operator-unknown",
                 fmt::format("the rule is discarded: no {} rule has the operator '{}'", family, *keyword));
}

bool isCode(const CComVariant& operand) {
    CComVariant code;
    return operand.vt == VT_NULL || SUCCEEDED(code.ChangeType(VT_I4, &operand));
}

void checkOperands(const CheckedRule& rule, Findings& findings) {
    if (auto* const between = rule.as<CXAttributeRuleBetween>()) {
        if (between->values.size() != 2)
            findings.add(rule.line, "between-operands",
                         fmt::format("between needs two operands and has {}: the rule holds for no row",
                                     between->valueFieldName.Length() != 0 ? "a field instead"
                                                                           : std::to_string(between->values.size())));
        return;
    }
    auto* const list = rule.as<ListAttributeRule>();
    if (!list || rule.as<ListAttributeRuleHasMultiple>()) return;
    for (const CComVariant& operand : list->values)
        if (!isCode(operand))
            findings.add(
                rule.line, "operand-type",
                fmt::format("the operand '{}' of a list attribute rule is no code", toUtf8(CComBSTR(operand.bstrVal))));
}

void checkRule(const CheckedRule& rule, Findings& findings) {
    if (!rule.rule)
        explainDiscarded(rule, findings);
    else
        checkOperands(rule, findings);
}

void checkCondition(const CheckedCondition& checked, Findings& findings) {
    for (const CheckedRule& rule : checked.rules) checkRule(rule, findings);
    if (!checked.attributesAreGood) {
        findings.add(checked.line, "condition-discarded",
                     checked.title() + " is discarded: its xoffset, yoffset or angle is not a number");
        return;
    }
    const auto bad = std::ranges::find_if(checked.rules, [](const CheckedRule& rule) { return !rule.rule; });
    if (bad != checked.rules.end())
        findings.add(checked.line, "condition-discarded",
                     fmt::format("{} is discarded: its rule in line {} makes no rule", checked.title(), bad->line));
    if (!checked.condition->callsExpression()) return;
    if (checked.condition->field.Length() == 0)
        findings.add(checked.line, "type2-without-field",
                     checked.title() + " is of type 2 and has no field: what Generate returns is written nowhere");
    if (checked.expression.source.empty())
        findings.add(checked.line, "generate-missing",
                     checked.title() + " is of type 2 and has no expression: there is no Generate to call");
}

}  // namespace

void checkConditions(const DocumentModel& model, Findings& findings) {
    model.forEachCondition([&](const CheckedCondition& condition) { checkCondition(condition, findings); });
}

}  // namespace cxml
