#include "neighbours.h"

#include "condition_boxes.h"
#include "cxml/feature_class_rule.h"
#include "text/text.h"
#include "tools/text/text.h"
#include "tried_rows.h"

#include <algorithm>
#include <functional>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace cxml {

using ConditionalXml::Condition;
using ConditionalXml::CXAttributeRule;
using ConditionalXml::RowValueMap;
using ConditionalXml::Rule;

namespace {

auto placementOf(const Condition& condition) {
    return std::tuple(condition.hasPlacement, condition.xoffset, condition.yoffset, condition.angle);
}

std::string symbolOf(const Condition& condition) {
    return oneLine(toUtf8(condition.rulename));
}

// What a run writes of a list.
struct Outcome {
    BSTR name = nullptr;
    const Condition* matched = nullptr;

    std::string symbol() const { return name ? oneLine(toUtf8(ConditionalXml::view(name))) : ""; }
    bool operator==(const Outcome& other) const {
        if (symbol() != other.symbol() || !matched != !other.matched) return false;
        return !matched || placementOf(*matched) == placementOf(*other.matched);
    }
};

class Neighbours {
public:
    Neighbours(const std::vector<Condition*>& list, ProofBudget& budget)
        : list_(list), steps_(stepsOf(list)), space_(rulesOf(steps_)), budget_(budget) {
        budget_.spent += space_.asked();
        addBoxes(steps_, space_);
        for (std::size_t step = 0; step < steps_.size(); ++step) numbers_.emplace(steps_[step].condition, step);
        closedFrom_ = list_.size();
        while (closedFrom_ > 0 && (isClosed(*list_[closedFrom_ - 1]) || onlyComputes(*list_[closedFrom_ - 1])))
            --closedFrom_;
    }

    NeighbourProofs run() {
        for (std::size_t i = 0; i + 1 < list_.size() && !budget_.isSpent(); ++i)
            prove(i, *list_[i], *list_[i + 1], [&] { std::swap(list_[i], list_[i + 1]); });
        for (std::size_t i = 0; i < list_.size(); ++i) proveNested(i, *list_[i]);
        result_.isComplete = !budget_.isSpent();
        return std::move(result_);
    }

private:
    // Asks the row and nothing else.
    static bool isClosed(const Condition& condition) {
        std::vector<CXAttributeRule*> rules;
        return collectRules(condition, rules);
    }

    // Whatever it answers, it names no symbol and fetches nothing.
    static bool onlyComputes(const Condition& condition) {
        return condition.callsExpression() && condition.rulename.Length() == 0 &&
               std::ranges::all_of(condition.rules, [](const auto& rule) {
                   return dynamic_cast<const CXAttributeRule*>(rule.get()) && rule->nestedConditions.empty();
               });
    }

    void proveNested(std::size_t top, const Condition& condition) {
        for (const auto& rule : condition.rules) {
            auto& nested = rule->nestedConditions;
            for (std::size_t i = 0; i + 1 < nested.size() && !budget_.isSpent(); ++i)
                prove(top, *nested[i], *nested[i + 1], [&] { std::swap(nested[i], nested[i + 1]); });
            for (const auto& inner : nested) proveNested(top, *inner);
        }
    }

    // What the condition itself does and what is nested in it, by number.
    std::vector<std::size_t> stepsIn(const Condition& condition) const {
        const std::size_t own = numbers_.at(&condition);
        std::size_t first = own;
        while (first > 0 && std::ranges::find(steps_[first - 1].outer, own) != steps_[first - 1].outer.end()) --first;
        std::vector<std::size_t> steps;
        for (std::size_t step = first; step <= own; ++step) steps.push_back(step);
        return steps;
    }

    // Rows for which something of both matches and the order makes a difference, as far as is known: none when it is
    // certain that there are none.
    std::vector<Box> disputed(std::size_t top, const Condition& first, const Condition& second) {
        std::vector<Box> boxes;
        for (const std::size_t a : stepsIn(first))
            for (const std::size_t b : stepsIn(second)) {
                ++budget_.spent;
                const Condition& one = *steps_[a].condition;
                const Condition& other = *steps_[b].condition;
                const bool names = steps_[a].isNamed() && steps_[b].isNamed() && symbolOf(one) != symbolOf(other);
                const bool places = placementOf(one) != placementOf(other);
                if (!names && !places) continue;
                Box box = steps_[a].may;
                for (const auto& [axis, cells] : steps_[b].may.parts()) box.restrict(axis, cells);
                if (box.isEmpty()) continue;
                const bool isNameTaken = !names || isTaken(box, numbers_.at(&second), nullptr);
                const bool isPlacementTaken = !places || isTaken(box, numbers_.at(&second), list_[top]);
                if (!isNameTaken || !isPlacementTaken) boxes.push_back(std::move(box));
            }
        return boxes;
    }

    // Whether a step behind this one names all of the rows; or, where conditions of the list are given, one that is not
    // of the given one and so places them.
    bool isTaken(const Box& box, std::size_t behind, const Condition* placedBy) {
        for (std::size_t later = steps_.size(); --later > behind;) {
            ++budget_.spent;
            const MatchStep& step = steps_[later];
            if (!step.isKnown || (placedBy ? step.top == placedBy : !step.isNamed())) continue;
            if (std::ranges::all_of(step.must.parts(), [&](const Box::Part& part) {
                    const CellSet* const own = box.find(part.first);
                    return ((own ? *own : space_.universe(part.first)) - part.second).empty();
                }))
                return true;
        }
        return false;
    }

    /// \param top in whose place of the list the first one is. \param swap lets them change places, and back.
    void prove(std::size_t top, const Condition& first, const Condition& second, const std::function<void()>& swap) {
        NeighbourProof proof{.kind = NeighbourProof::Kind::Unknown, .first = &first, .second = &second};
        if (onlyChooses(first) && onlyChooses(second)) {
            const std::vector<Box> boxes = disputed(top, first, second);
            if (boxes.empty()) {
                proof.kind = NeighbourProof::Kind::Free;
                proof.assumptions = assumptionsOf(space_, rulesIn(first, second));
            } else if (top >= closedFrom_) {
                for (const Box& box : boxes)
                    if (showDifference(top, first, second, box, swap, proof)) break;
            }
        }
        result_.proofs.push_back(std::move(proof));
    }

    std::vector<const Rule*> rulesIn(const Condition& first, const Condition& second) const {
        std::vector<const Rule*> rules;
        for (const Condition* condition : {&first, &second})
            for (const std::size_t step : stepsIn(*condition))
                rules.insert(rules.end(), steps_[step].rules.begin(), steps_[step].rules.end());
        return rules;
    }

    // A row that the rest of the list treats otherwise when they have changed places. Of what comes before nothing is
    // left where both match.
    bool showDifference(std::size_t top, const Condition& first, const Condition& second, const Box& box,
                        const std::function<void()>& swap, NeighbourProof& proof) {
        std::vector<CXAttributeRule*> own;
        collectRules(first, own);
        collectRules(second, own);
        std::vector<CXAttributeRule*> all;
        bool placesAll = true;  // what is not evaluated may have the last word about the placement
        for (std::size_t i = top; i < list_.size(); ++i)
            if (onlyComputes(*list_[i]))
                placesAll = false;
            else
                collectRules(*list_[i], all);
        const KeptOperands operands(all);
        TriedRows rows(space_, all, own, box);
        while (rows.next() && !budget_.isSpent()) {
            const auto evaluate = [&] {
                budget_.spent += all.size();
                RowValueMap values(first.featureClassRule->fieldNames);
                rows.fill(values);
                Outcome outcome;
                for (std::size_t i = top; i < list_.size(); ++i)
                    if (!onlyComputes(*list_[i])) list_[i]->evaluate(values, outcome.name, outcome.matched, nullptr);
                operands.putBack();
                if (!placesAll) outcome.matched = nullptr;
                return outcome;
            };
            const Outcome now = evaluate();
            swap();
            const Outcome then = evaluate();
            swap();
            if (now == then) continue;
            proof.kind = NeighbourProof::Kind::Matters;
            proof.witness = rows.inWords();
            if (now.symbol() != then.symbol()) {
                proof.now = now.symbol();
                proof.then = then.symbol();
            }
            return true;
        }
        return false;
    }

    std::vector<Condition*> list_;
    std::vector<MatchStep> steps_;
    RowSpace space_;
    ProofBudget& budget_;
    std::unordered_map<const Condition*, std::size_t> numbers_;  // of their steps
    std::size_t closedFrom_;  // from here on symbols depend on the row and on nothing else
    NeighbourProofs result_;
};

}  // namespace

NeighbourProofs proveNeighbours(const std::vector<Condition*>& list, ProofBudget& budget) {
    if (budget.isSpent()) return {{}, list.size() < 2};
    return Neighbours(list, budget).run();
}

}  // namespace cxml
