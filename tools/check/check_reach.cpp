// Conditions that have no effect on any row, as far as the document alone makes it certain.
#include "checks.h"
#include "rules/attribute_rules.h"
#include "rules/list_attribute_rules.h"
#include "rules/query_rules.h"

#include <fmt/format.h>
#include <algorithm>
#include <map>

namespace cxml {
namespace {

using ConditionalXml::CXAttributeRule;
using ConditionalXml::CXAttributeRuleBetween;
using ConditionalXml::CXAttributeRuleNotEqual;
using ConditionalXml::ListAttributeRule;
using ConditionalXml::ListAttributeRuleContainsAll;
using ConditionalXml::ListAttributeRuleContainsAny;
using ConditionalXml::ListAttributeRuleContainsNone;
using ConditionalXml::QueryRuleFetch;

// Whether a rule without operands holds for no row; the others hold for some then.
bool needsOperand(const CheckedRule& rule) {
    if (rule.as<ListAttributeRuleContainsNone>()) return false;
    if (rule.as<ListAttributeRule>())
        return rule.as<ListAttributeRuleContainsAny>() || rule.as<ListAttributeRuleContainsAll>();
    return !rule.as<CXAttributeRuleNotEqual>() && !rule.as<CXAttributeRuleBetween>();
}

void checkOperands(const CheckedCondition& condition, Findings& findings) {
    for (const CheckedRule& rule : condition.rules) {
        auto* const attribute = rule.as<CXAttributeRule>();
        if (!attribute || !attribute->values.empty() || !needsOperand(rule)) continue;
        // List rules read no other field.
        if (attribute->valueFieldName.Length() != 0 && !rule.as<ListAttributeRule>()) continue;
        Finding& finding = findings.add(rule.at, "unreachable",
                                        fmt::format("no row can match {}: the rule has no operand", condition.title()));
        finding.help = "give the rule a value: value=\"...\" or <value> elements";
        finding.within = {rule.at, rule.condition};
    }
}

// Whether evaluating the condition does nothing but choose symbol and placement.
bool onlyChooses(const CheckedCondition& checked) {
    if (checked.condition->callsExpression()) return false;
    return std::ranges::all_of(checked.rules, [](const CheckedRule& rule) {
        return !rule.as<QueryRuleFetch>() && std::ranges::all_of(rule.nested, [](const CheckedCondition& nested) {
            return !nested.isKept || onlyChooses(nested);
        });
    });
}

// Matches every row and replaces whatever symbol and placement was chosen before it.
bool replacesAll(const CheckedCondition& checked) {
    return checked.rules.empty() && checked.condition->rulename.Length() != 0;
}

// By condition, the one that replaces its choice in a list; null when none does.
using Replacements = std::map<const CheckedCondition*, const CheckedCondition*>;

template <class List>
void findReplaced(const List& list, Replacements& replacements) {
    const CheckedCondition* last = nullptr;
    for (auto entry = list.rbegin(); entry != list.rend(); ++entry) {
        const CheckedCondition& checked = **entry;
        // In several lists, each must replace it.
        const auto [known, isNew] = replacements.try_emplace(&checked, last);
        if (!isNew && !last) known->second = nullptr;
        if (!last && replacesAll(checked)) last = &checked;
    }
}

void report(const Replacements& replacements, Findings& findings) {
    for (const auto& [replaced, by] : replacements) {
        if (!by || !onlyChooses(*replaced)) continue;
        Finding& finding = findings.add(replaced->at, "unreachable",
                                        fmt::format("no row can keep the symbol of {}", replaced->title()));
        finding.other = Remark{{findings.document(), by->at.line, by->at.column},
                               {},
                               fmt::format("{} matches every row and comes later", by->title())};
        finding.help = "put the condition that matches every row first: the last match wins";
        finding.within = {replaced->at};
    }
}

void checkNested(const CheckedRule& rule, Findings& findings) {
    CheckedClass::List kept;
    for (const CheckedCondition& nested : rule.nested)
        if (nested.isKept) kept.push_back(&nested);
    // What an expression raises ends the whole condition: what comes later replaces nothing then.
    if (!std::ranges::all_of(kept, [](const CheckedCondition* nested) { return onlyChooses(*nested); })) return;
    Replacements replacements;
    findReplaced(kept, replacements);
    report(replacements, findings);
}

}  // namespace

void checkReach(const DocumentModel& model, Findings& findings) {
    for (const CheckedClass& checked : model.classes()) {
        if (!checked.isKept) continue;
        Replacements replacements;
        for (const CheckedClass::List* list : checked.lists()) findReplaced(*list, replacements);
        report(replacements, findings);
        DocumentModel::forEachIn(checked.conditions, [&](const CheckedCondition& condition) {
            if (!condition.isKept) return;
            checkOperands(condition, findings);
            for (const CheckedRule& rule : condition.rules) checkNested(rule, findings);
        });
    }
}

}  // namespace cxml
