#include "condition_boxes.h"

#include "rules/query_rules.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <set>

namespace cxml {

using ConditionalXml::Condition;
using ConditionalXml::Rule;

namespace {

constexpr std::size_t mostNarrowCells = 24;  // of a step that is found by its cells
constexpr std::size_t mostCovering = 64;     // steps that cover another between them
constexpr std::size_t mostTries = 2000;      // to find fewer

std::uint64_t key(std::size_t axis, CellSet::Cell cell) {
    return static_cast<std::uint64_t>(axis) << 32 | cell;
}

}  // namespace

void Box::restrict(std::size_t axis, const CellSet& cells) {
    const auto place = std::ranges::lower_bound(parts_, axis, {}, &Part::first);
    if (place != parts_.end() && place->first == axis)
        place->second = place->second & cells;
    else
        parts_.insert(place, {axis, cells});
}

bool Box::isEmpty() const noexcept {
    return std::ranges::any_of(parts_, [](const Part& part) { return part.second.empty(); });
}

const CellSet* Box::find(std::size_t axis) const noexcept {
    const auto place = std::ranges::lower_bound(parts_, axis, {}, &Part::first);
    return place != parts_.end() && place->first == axis ? &place->second : nullptr;
}

bool Box::contains(const std::vector<CellSet::Cell>& point) const noexcept {
    return std::ranges::all_of(parts_, [&](const Part& part) { return part.second.contains(point[part.first]); });
}

void Box::subtract(const Box& other, const RowSpace& space, std::vector<Box>& pieces) const {
    const auto cellsOf = [&](std::size_t axis) -> const CellSet& {
        const CellSet* const own = find(axis);
        return own ? *own : space.universe(axis);
    };
    for (const auto& [axis, cells] : other.parts_)
        if ((cellsOf(axis) & cells).empty()) {
            pieces.push_back(*this);
            return;
        }
    Box rest = *this;
    for (const auto& [axis, cells] : other.parts_) {
        CellSet outside = cellsOf(axis) - cells;
        if (outside.empty()) continue;
        Box piece = rest;
        piece.restrict(axis, outside);
        pieces.push_back(std::move(piece));
        rest.restrict(axis, cells);
    }
}

namespace {

void addSteps(Condition& condition, Condition& top, const std::vector<Rule*>& outerRules, std::vector<MatchStep>& steps,
              bool& isCertain) {
    std::vector<Rule*> rules = outerRules;
    const std::size_t first = steps.size();
    for (const auto& rule : condition.rules) {
        rules.push_back(rule.get());
        for (const auto& nested : rule->nestedConditions) addSteps(*nested, top, rules, steps, isCertain);
    }
    for (std::size_t inner = first; inner < steps.size(); ++inner) steps[inner].outer.push_back(steps.size());
    steps.push_back({.condition = &condition, .top = &top, .rules = std::move(rules), .isKnown = isCertain});
    // What an expression raises ends the condition of the list: it is not certain that the others are come to.
    if (condition.callsExpression()) isCertain = false;
}

}  // namespace

std::vector<MatchStep> stepsOf(const std::vector<Condition*>& list) {
    std::vector<MatchStep> steps;
    for (Condition* condition : list) {
        bool isCertain = true;
        addSteps(*condition, *condition, {}, steps, isCertain);
    }
    return steps;
}

void addBoxes(std::vector<MatchStep>& steps, const RowSpace& space) {
    for (MatchStep& step : steps)
        for (const Rule* rule : step.rules) {
            const RowSpace::Answer* const answer = space.answerOf(*rule);
            if (!answer) {
                step.isKnown = false;
                continue;
            }
            step.may.restrict(answer->axis, answer->may);
            step.must.restrict(answer->axis, answer->must);
        }
}

std::vector<Rule*> rulesOf(const std::vector<MatchStep>& steps) {
    std::vector<Rule*> rules;
    std::set<const Rule*> known;
    for (const MatchStep& step : steps)
        for (Rule* rule : step.rules)
            if (known.insert(rule).second) rules.push_back(rule);
    return rules;
}

bool onlyChooses(const Condition& condition) {
    return !condition.callsExpression() && std::ranges::all_of(condition.rules, [](const auto& rule) {
        return !dynamic_cast<const ConditionalXml::QueryRuleFetch*>(rule.get()) &&
               std::ranges::all_of(rule->nestedConditions, [](const auto& nested) { return onlyChooses(*nested); });
    });
}

std::string assumptionsOf(const RowSpace& space, const std::vector<const Rule*>& rules) {
    std::set<std::size_t> axes;
    for (const Rule* rule : rules)
        if (const auto* answer = space.answerOf(*rule)) axes.insert(answer->axis);
    std::string text;
    for (const std::size_t axis : axes) {
        if (*space.assumptionOf(axis) == 0) continue;
        text += fmt::format("{}{} holds {}", text.empty() ? "" : " and ", oneLine(toUtf8(space.fieldOf(axis))),
                            space.assumptionOf(axis));
    }
    return text;
}

CoverSearch::CoverSearch(const std::vector<MatchStep>& steps, const RowSpace& space, ProofBudget& budget)
    : steps_(steps), space_(space), budget_(budget), isNarrowAxis_(space.size()) {
    for (std::size_t i = 0; i < steps.size(); ++i) {
        if (!steps[i].isKnown || steps[i].must.isEmpty()) continue;
        const Box::Part* narrowest = nullptr;
        std::size_t fewest = mostNarrowCells + 1;
        for (const Box::Part& part : steps[i].must.parts())
            if (const std::size_t cells = part.second.count(); cells < fewest) {
                fewest = cells;
                narrowest = &part;
            }
        if (!narrowest) {
            wide_.push_back(i);
            continue;
        }
        isNarrowAxis_[narrowest->first] = true;
        for (const auto& [begin, end] : narrowest->second.runs())
            for (CellSet::Cell cell = begin; cell < end; ++cell) narrow_[key(narrowest->first, cell)].push_back(i);
    }
}

bool CoverSearch::canReplace(std::size_t later) const {
    const MatchStep& step = steps_[step_];
    if (later <= step_ || std::ranges::find(step.outer, later) != step.outer.end()) return false;
    return step.isNamed() ? steps_[later].isNamed() : steps_[later].isTop();
}

// The latest first: it is what decides.
std::vector<std::size_t> CoverSearch::covering(const std::vector<CellSet::Cell>& point) const {
    std::vector<std::size_t> found;
    const auto look = [&](const std::vector<std::size_t>& steps) {
        for (auto later = steps.rbegin(); later != steps.rend() && *later > step_; ++later) {
            ++budget_.spent;
            if (canReplace(*later) && steps_[*later].must.contains(point)) found.push_back(*later);
        }
    };
    look(wide_);
    for (std::size_t axis = 0; axis < isNarrowAxis_.size(); ++axis) {
        if (!isNarrowAxis_[axis]) continue;
        if (const auto known = narrow_.find(key(axis, point[axis])); known != narrow_.end()) look(known->second);
    }
    std::ranges::sort(found, std::greater());
    return found;
}

std::vector<CellSet::Cell> CoverSearch::pointOf(const Box& box) const {
    std::vector<CellSet::Cell> point(space_.size());
    for (std::size_t axis = 0; axis < point.size(); ++axis) {
        const CellSet* const own = box.find(axis);
        const CellSet& cells = own ? *own : space_.universe(axis);
        if (!cells.empty()) point[axis] = cells.runs().front().first;
    }
    return point;
}

std::vector<Box> CoverSearch::without(const std::vector<Box>& boxes, std::size_t step) const {
    std::vector<Box> rest;
    for (const Box& box : boxes) {
        ++budget_.spent;
        box.subtract(steps_[step].must, space_, rest);
    }
    return rest;
}

std::vector<std::size_t> CoverSearch::find(std::size_t step) {
    step_ = step;
    tries_ = 0;
    if (!takeLatest()) return {};
    std::vector<std::size_t> some = chosen_;
    const std::vector<Box> whole{steps_[step].may};
    for (std::size_t count = 1; count < some.size() && tries_ < mostTries; ++count) {
        chosen_.clear();
        if (choose(whole, count)) return chosen_;
    }
    return some;
}

// Whether there is a cover at all: a point that is in none of the later ones says that there is not.
bool CoverSearch::takeLatest() {
    chosen_.clear();
    std::vector<Box> rest{steps_[step_].may};
    while (!rest.empty()) {
        if (chosen_.size() == mostCovering || budget_.isSpent()) return false;
        const std::vector<std::size_t> found = covering(pointOf(rest.front()));
        if (found.empty()) return false;
        chosen_.push_back(found.front());
        rest = without(rest, found.front());
    }
    return true;
}

// A cover of so many more: one of them has to contain this point.
bool CoverSearch::choose(const std::vector<Box>& rest, std::size_t more) {
    if (rest.empty()) return true;
    if (more == 0) return false;
    for (const std::size_t later : covering(pointOf(rest.front()))) {
        if (++tries_ > mostTries || budget_.isSpent()) return false;
        chosen_.push_back(later);
        if (choose(without(rest, later), more - 1)) return true;
        chosen_.pop_back();
    }
    return false;
}

}  // namespace cxml
