#include "order_proof.h"

#include "condition_boxes.h"
#include "order_witness.h"

#include <algorithm>
#include <set>

namespace cxml {

using ConditionalXml::Condition;
using ConditionalXml::Rule;

namespace {

constexpr std::size_t mostTogether = 12;  // rules of one axis whose contradiction is told smallest first

class Proving {
public:
    Proving(const std::vector<Condition*>& list, ProofBudget& budget)
        : steps_(stepsOf(list)), space_(rulesOf(steps_)), budget_(budget) {
        budget_.spent += space_.asked();
        addBoxes(steps_, space_);
    }

    OrderProofs run() {
        CoverSearch search(steps_, space_, budget_);
        // Outer conditions come behind what is nested in them, and what is said of them is said of those.
        for (std::size_t step = steps_.size(); step-- > 0 && !budget_.isSpent();) {
            if (std::ranges::any_of(steps_[step].outer, [&](std::size_t outer) { return proved_.contains(outer); }))
                continue;
            if (steps_[step].may.isEmpty())
                addNeverHolds(step);
            else if (onlyChooses(*steps_[step].condition))
                addReplaced(step, search);
        }
        result_.isComplete = !budget_.isSpent();
        result_.rulesLeftOut = space_.leftOut();
        std::ranges::reverse(result_.proofs);
        return std::move(result_);
    }

private:
    void addNeverHolds(std::size_t step) {
        std::vector<const Rule*> rules;
        for (const Box::Part& part : steps_[step].may.parts())
            if (part.second.empty()) {
                std::vector<const Rule*> fewest = contradicting(steps_[step], part.first);
                if (rules.empty() || fewest.size() < rules.size()) rules = std::move(fewest);
            }
        proved_.insert(step);
        result_.proofs.push_back({.kind = OrderProof::Kind::NeverHolds,
                                  .condition = steps_[step].condition,
                                  .rules = rules,
                                  .assumptions = assumptionsOf(space_, rules)});
    }

    // The fewest of its rules over the axis that nothing satisfies: no more than what their values leave to each other.
    std::vector<const Rule*> contradicting(const MatchStep& step, std::size_t axis) const {
        std::vector<const Rule*> rules;
        for (const Rule* rule : step.rules)
            if (const auto* answer = space_.answerOf(*rule); answer && answer->axis == axis) rules.push_back(rule);
        std::vector<const Rule*> chosen;
        if (rules.size() <= mostTogether)
            for (std::size_t count = 1; count < rules.size(); ++count)
                if (choose(rules, 0, count, space_.universe(axis), chosen)) return chosen;
        return rules;
    }

    bool choose(const std::vector<const Rule*>& rules, std::size_t first, std::size_t more, const CellSet& left,
                std::vector<const Rule*>& chosen) const {
        if (more == 0) return left.empty();
        for (std::size_t i = first; i + more <= rules.size(); ++i) {
            chosen.push_back(rules[i]);
            if (choose(rules, i + 1, more - 1, left & space_.answerOf(*rules[i])->may, chosen)) return true;
            chosen.pop_back();
        }
        return false;
    }

    void addReplaced(std::size_t step, CoverSearch& search) {
        // What is nested in it may still be chosen; it is looked at by itself.
        if (!steps_[step].isNamed() && (!steps_[step].isTop() || hasNested(*steps_[step].condition))) return;
        std::vector<std::size_t> by = search.find(step);
        if (by.empty()) return;
        std::ranges::sort(by);
        const bool isByAll = by.size() == 1 && matchesAll(steps_[by.front()], steps_[step]);
        const std::optional<std::string> witness = findWitness(steps_, step, by, space_);
        if (!witness && !isByAll) return;
        std::vector<const Condition*> conditions;
        std::vector<const Rule*> rules(steps_[step].rules.begin(), steps_[step].rules.end());
        for (const std::size_t later : by) {
            conditions.push_back(steps_[later].condition);
            rules.insert(rules.end(), steps_[later].rules.begin(), steps_[later].rules.end());
        }
        proved_.insert(step);
        result_.proofs.push_back({.kind = OrderProof::Kind::Replaced,
                                  .condition = steps_[step].condition,
                                  .by = std::move(conditions),
                                  .isByAll = isByAll,
                                  .witness = witness.value_or(std::string()),
                                  .assumptions = assumptionsOf(space_, rules)});
    }

    static bool hasNested(const Condition& condition) {
        return std::ranges::any_of(condition.rules, [](const auto& rule) { return !rule->nestedConditions.empty(); });
    }

    // Or all that come to where both are nested.
    bool matchesAll(const MatchStep& later, const MatchStep& step) const {
        return (later.condition->rules.empty() && later.outer == step.outer) ||
               std::ranges::all_of(later.must.parts(),
                                   [&](const Box::Part& part) { return part.second == space_.universe(part.first); });
    }

    std::vector<MatchStep> steps_;
    RowSpace space_;
    ProofBudget& budget_;
    std::set<std::size_t> proved_;
    OrderProofs result_;
};

}  // namespace

OrderProofs proveOrder(const std::vector<Condition*>& list, ProofBudget& budget) {
    if (budget.isSpent()) return {{}, list.empty(), 0};
    return Proving(list, budget).run();
}

}  // namespace cxml
