// Conditions that have no effect on any row, as far as the document alone makes it certain.
#include "checks.h"
#include "order_proof.h"
#include "rules/attribute_rules.h"
#include "rules/list_attribute_rules.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>
#include <map>
#include <set>
#include <unordered_map>

namespace cxml {
namespace {

using ConditionalXml::Condition;
using ConditionalXml::CXAttributeRule;
using ConditionalXml::CXAttributeRuleBetween;
using ConditionalXml::CXAttributeRuleNotEqual;
using ConditionalXml::ListAttributeRule;
using ConditionalXml::ListAttributeRuleContainsAll;
using ConditionalXml::ListAttributeRuleContainsAny;
using ConditionalXml::ListAttributeRuleContainsNone;
using ConditionalXml::Rule;

// Whether a rule without operands holds for no row; the others hold for some then.
bool needsOperand(const CheckedRule& rule) {
    if (rule.as<ListAttributeRuleContainsNone>()) return false;
    if (rule.as<ListAttributeRule>())
        return rule.as<ListAttributeRuleContainsAny>() || rule.as<ListAttributeRuleContainsAll>();
    return !rule.as<CXAttributeRuleNotEqual>() && !rule.as<CXAttributeRuleBetween>();
}

bool lacksOperand(const CheckedRule& rule) {
    auto* const attribute = rule.as<CXAttributeRule>();
    if (!attribute || !attribute->values.empty() || !needsOperand(rule)) return false;
    // List rules read no other field.
    return attribute->valueFieldName.Length() == 0 || rule.as<ListAttributeRule>();
}

void checkOperands(const CheckedCondition& condition, Findings& findings) {
    for (const CheckedRule& rule : condition.rules) {
        if (!lacksOperand(rule)) continue;
        Finding& finding = findings.add(rule.at, "unreachable",
                                        fmt::format("no row can match {}: the rule has no operand", condition.title()));
        finding.help = "give the rule a value: value=\"...\" or <value> elements";
        finding.within = {rule.at, rule.condition};
    }
}

class OrderCheck {
public:
    OrderCheck(const DocumentModel& model, Findings& findings) : findings_(findings) {
        model.forEachCondition([&](const CheckedCondition& condition) {
            if (condition.condition) conditions_.emplace(condition.condition.get(), &condition);
            for (const CheckedRule& rule : condition.rules)
                if (rule.rule) rules_.emplace(rule.rule.get(), &rule);
        });
        for (const Finding& finding : findings_.all())
            if (finding.kind == "condition-repeated" && finding.other)
                repeated_.insert({finding.other->place.line, finding.other->place.column});
    }

    void add(const CheckedClass& checked) {
        std::map<const Condition*, std::size_t> stands;  // in how many lists
        std::map<const Condition*, std::vector<OrderProof>> proofs;
        std::map<CheckedClass::List, OrderProofs> known;  // codes that share all of their conditions
        for (const CheckedClass::List* list : checked.lists()) {
            auto found = known.find(*list);
            if (found == known.end()) found = known.emplace(*list, prove(*list)).first;
            for (const CheckedCondition* condition : *list) countIn(*condition->condition, stands);
            for (const OrderProof& proof : found->second.proofs) proofs[proof.condition].push_back(proof);
        }
        for (const auto& [list, proved] : known) noteLeftOut(list, proved);
        std::map<std::vector<const Condition*>, Finding*> byReplacers;
        std::map<Spot, const OrderProof*> inOrder;
        for (const auto& [condition, proved] : proofs)
            if (proved.size() == stands[condition]) inOrder.emplace(conditions_.at(condition)->at, &proved.front());
        for (const auto& [at, proof] : inOrder)
            if (proof->kind == OrderProof::Kind::NeverHolds)
                reportNeverHolds(*proof);
            else if (!repeated_.contains(at))
                reportReplaced(*proof, byReplacers);
    }

private:
    OrderProofs prove(const CheckedClass::List& list) {
        std::vector<Condition*> conditions;
        conditions.reserve(list.size());
        for (const CheckedCondition* checked : list) conditions.push_back(checked->condition.get());
        return proveOrder(conditions, budget_);
    }

    static void countIn(const Condition& condition, std::map<const Condition*, std::size_t>& stands) {
        ++stands[&condition];
        for (const auto& rule : condition.rules)
            for (const auto& nested : rule->nestedConditions) countIn(*nested, stands);
    }

    void noteLeftOut(const CheckedClass::List& list, const OrderProofs& proved) {
        if (list.empty()) return;
        if (!proved.isComplete)
            findings_.add(
                list.front()->at, "order-unproved",
                "it was not proved of all conditions of this list that they can have an effect: there are too "
                "many");
        if (proved.rulesLeftOut > 0)
            findings_.add(
                list.front()->at, "order-unproved",
                fmt::format("nothing is proved from {} rule{} of this list: together they name too many codes "
                            "or patterns",
                            proved.rulesLeftOut, proved.rulesLeftOut == 1 ? "" : "s"));
    }

    std::string resting(const OrderProof& proof) const {
        return proof.assumptions.empty() ? "" : fmt::format(" (where {})", proof.assumptions);
    }

    Place placeOf(Spot at) const { return {findings_.document(), at.line, at.column}; }

    void reportNeverHolds(const OrderProof& proof) {
        const CheckedCondition& condition = *conditions_.at(proof.condition);
        const CheckedRule& first = *rules_.at(proof.rules.front());
        if (proof.rules.size() == 1) {
            auto* const between = first.as<CXAttributeRuleBetween>();
            if (lacksOperand(first) || (between && between->values.size() != 2)) return;  // is said already
            Finding& finding = findings_.add(
                first.at, "never-holds",
                fmt::format("no row can match {}: no value satisfies the rule{}", condition.title(), resting(proof)));
            if (between) finding.help = "write the smaller value first";
            if (first.as<ListAttributeRuleContainsAll>())
                finding.help =
                    "containsall wants more values than the field has codes; for several codes write a rule "
                    "containsany for each";
            finding.condition = proof.condition;
            finding.within = {first.at, first.condition};
            return;
        }
        const CheckedRule& last = *rules_.at(proof.rules.back());
        Finding& finding = findings_.add(
            last.at, "contradiction",
            fmt::format("no row can match {}: no value of '{}' satisfies {} of its rules{}", condition.title(),
                        toUtf8(last.as<CXAttributeRule>()->fieldName),
                        proof.rules.size() == 2 ? "both" : fmt::format("all {}", proof.rules.size()), resting(proof)));
        std::vector<LONG> more;
        for (std::size_t i = 1; i + 1 < proof.rules.size(); ++i) more.push_back(rules_.at(proof.rules[i])->at.line);
        finding.other = Remark{placeOf(first.at),
                               {},
                               more.empty() ? "the other rule"
                                            : fmt::format("the other rules, also in line{} {}",
                                                          more.size() == 1 ? "" : "s", fmt::join(more, ", "))};
        finding.help =
            "write the values into one rule when any of them will do; a list attribute rule (type L) asks "
            "whether a list has several";
        finding.condition = proof.condition;
        finding.within = {last.at, last.condition};
    }

    // "the conditions 'A', 'B' take", "a later condition takes".
    std::string takers(const OrderProof& proof) const {
        if (proof.by.size() == 1)
            return proof.by.front()->rulename.Length() == 0 ? "a later condition takes"
                                                            : conditions_.at(proof.by.front())->title() + " takes";
        std::vector<std::string> names;
        for (const Condition* later : proof.by) {
            std::string name = fmt::format("'{}'", toUtf8(later->rulename));
            if (later->rulename.Length() != 0 && std::ranges::find(names, name) == names.end())
                names.push_back(std::move(name));
        }
        if (names.empty()) return "later conditions take";
        return fmt::format("the condition{} {} take{}", names.size() == 1 ? "" : "s", fmt::join(names, ", "),
                           names.size() == 1 ? "s" : "");
    }

    // What the same conditions replace is one mistake.
    void reportReplaced(const OrderProof& proof, std::map<std::vector<const Condition*>, Finding*>& byReplacers) {
        const CheckedCondition& replaced = *conditions_.at(proof.condition);
        Finding*& known = byReplacers[proof.by];
        if (known) {
            known->alsoAt.push_back(placeOf(replaced.at));
            return;
        }
        const CheckedCondition& by = *conditions_.at(proof.by.front());
        const char* const what = replaced.condition->rulename.Length() != 0 ? "symbol" : "placement";
        std::string text = fmt::format("no row can keep the {} of {}", what, replaced.title());
        if (!proof.isByAll)
            text += fmt::format(": {} its place for every row that it matches{}; {}, for example", takers(proof),
                                resting(proof), proof.witness);
        Finding& finding = findings_.add(replaced.at, proof.isByAll ? "unreachable" : "always-replaced", text);
        known = &finding;
        std::vector<LONG> also;
        for (const Condition* later : proof.by)
            if (later != proof.by.front()) also.push_back(conditions_.at(later)->at.line);
        std::string how = fmt::format("{} {}comes later", by.title(), proof.isByAll ? "matches every row and " : "");
        if (!also.empty())
            how += fmt::format(", and so do{} in line{} {}", also.size() == 1 ? "es another" : " others",
                               also.size() == 1 ? "" : "s", fmt::join(also, ", "));
        finding.other = Remark{placeOf(by.at), {}, std::move(how)};
        finding.help = proof.isByAll ? "put the condition that matches every row first: the last match wins"
                                     : "put the condition that matches more rows first: the last match wins";
        finding.condition = proof.isByAll ? nullptr : proof.condition;
        finding.within = {replaced.at};
    }

    Findings& findings_;
    ProofBudget budget_;
    std::unordered_map<const Condition*, const CheckedCondition*> conditions_;
    std::unordered_map<const Rule*, const CheckedRule*> rules_;
    std::set<Spot> repeated_;
};

}  // namespace

void checkReach(const DocumentModel& model, Findings& findings) {
    OrderCheck order(model, findings);
    for (const CheckedClass& checked : model.classes()) {
        if (!checked.isKept) continue;
        DocumentModel::forEachIn(checked.conditions, [&](const CheckedCondition& condition) {
            if (condition.isKept) checkOperands(condition, findings);
        });
        order.add(checked);
    }
}

}  // namespace cxml
