#include "order_witness.h"

#include "cxml/feature_class_rule.h"
#include "tried_rows.h"

#include <algorithm>

namespace cxml {

using ConditionalXml::Condition;
using ConditionalXml::CXAttributeRule;
using ConditionalXml::RowValueMap;
using ConditionalXml::Rule;

namespace {

class Witness {
public:
    Witness(const std::vector<MatchStep>& steps, std::size_t step, const std::vector<std::size_t>& by)
        : steps_(steps), number_(step), step_(steps[step]), by_(by) {
        addTop(step);
        for (const std::size_t later : by) addTop(later);
        for (const Condition* top : tops_) isClosed_ = isClosed_ && collectRules(*top, rules_);
    }

    std::optional<std::string> find(const RowSpace& space) const {
        if (!isClosed_) return std::nullopt;
        const KeptOperands operands(rules_);
        TriedRows rows(space, rules_, rules_, step_.may);
        while (rows.next()) {
            RowValueMap values(step_.condition->featureClassRule->fieldNames);
            rows.fill(values);
            const bool isConfirmed = confirms(values);
            operands.putBack();
            if (isConfirmed) return rows.inWords();
        }
        return std::nullopt;
    }

private:
    void addTop(std::size_t step) {
        if (std::ranges::find(tops_, steps_[step].top) == tops_.end()) tops_.push_back(steps_[step].top);
    }

    // It holds, one of those that come in its place holds, and in the end another one's name or placement counts that
    // comes later: of conditions that are nested together, what comes behind those may decide.
    bool confirms(RowValueMap& values) const {
        const auto holds = [&](const MatchStep& step) {
            return std::ranges::all_of(step.rules, [&](Rule* rule) { return rule->evaluate(values, nullptr); });
        };
        return holds(step_) && std::ranges::any_of(by_, [&](std::size_t later) { return holds(steps_[later]); }) &&
               isReplaced(values);
    }

    bool isReplaced(RowValueMap& values) const {
        BSTR name = nullptr;
        const Condition* matched = nullptr;
        for (Condition* top : tops_) top->evaluate(values, name, matched, nullptr);
        if (!step_.isNamed()) return matched && matched != step_.condition;
        const auto later = steps_.begin() + static_cast<std::ptrdiff_t>(number_) + 1;
        return std::any_of(later, steps_.end(),
                           [&](const MatchStep& other) { return name == other.condition->rulename.m_str; });
    }

    const std::vector<MatchStep>& steps_;
    std::size_t number_;
    const MatchStep& step_;
    const std::vector<std::size_t>& by_;
    std::vector<Condition*> tops_;  // in the order of the list
    std::vector<CXAttributeRule*> rules_;
    bool isClosed_ = true;
};

}  // namespace

std::optional<std::string> findWitness(const std::vector<MatchStep>& steps, std::size_t step,
                                       const std::vector<std::size_t>& by, const RowSpace& space) {
    return Witness(steps, step, by).find(space);
}

}  // namespace cxml
