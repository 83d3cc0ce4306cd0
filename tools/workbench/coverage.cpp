#include "coverage.h"

#include "unasked_rules.h"

#include "rules/query_rules.h"

#include <utility>

namespace cxml {

using ConditionalXml::Condition;
using ConditionalXml::Expression;
using ConditionalXml::QueryRule;
using ConditionalXml::RowDecision;
using ConditionalXml::RowValueMap;
using ConditionalXml::Rule;

namespace {

/// Whether the rules behind the one that failed would all hold for the row; nothing where that cannot be told.
std::optional<bool> restHolds(const Condition& condition, std::size_t failed, const RowValueMap& values) {
    bool isKnown = true;
    const bool isComplete = askBehind(condition, failed, values, [&](std::optional<bool> answer) {
        isKnown = isKnown && answer.has_value();
        return answer != false;
    });
    if (!isComplete) return false;
    return isKnown ? std::optional(true) : std::nullopt;
}

bool isUnanswered(const Rule& rule) {
    if (rule.ruleType != 'Q') return false;
    const QueryRule::Outcome outcome = static_cast<const QueryRule&>(rule).outcome();
    return outcome != QueryRule::Outcome::Answered && outcome != QueryRule::Outcome::NotAsked;
}

}  // namespace

ConditionCounts& Coverage::of(const Condition& condition) {
    const auto [entry, isNew] = conditions_.try_emplace(&condition);
    if (isNew) entry->second.rules.resize(condition.rules.size());
    return entry->second;
}

void Coverage::beginRun(const FeatureClassRule& configuration) {
    class_ = &of(configuration);
    ++class_->runs;
}

void Coverage::endRun() {
    if (isInRow_) {
        breakOff();
        endRow(false, E_FAIL);
    }
    class_ = nullptr;
}

void Coverage::beginRow(IRow* /*row*/, const FeatureClassRule& /*rule*/) {
    isInRow_ = true;
    isMeasured_ = true;
    isDecided_ = false;
    named_.clear();
}

void Coverage::onDecision(const RowDecision& decision) {
    isDecided_ = true;
    for (const auto& [condition, counts] : named_)
        if (condition == decision.named)
            ++counts->decided;
        else
            ++counts->replacedBy[decision.named];
}

void Coverage::endRow(bool /*changed*/, HRESULT /*status*/) {
    isInRow_ = false;
    ++class_->rows;
    if (!isMeasured_ || !isDecided_) ++class_->unmeasured;
}

void Coverage::beginCondition(const Condition& condition) {
    ConditionCounts& counts = of(condition);
    ++counts.reached;
    open_.push_back({&condition, &counts});
}

void Coverage::beginRule(const Rule& /*rule*/, const RowValueMap& /*values*/) {
    open_.back().isAsking = true;
}

void Coverage::endRule(const Rule& rule, const RowValueMap& values, bool answer) {
    Open& open = open_.back();
    open.isAsking = false;
    const std::size_t index = open.rule++;
    RuleCounts& counts = open.counts->rules[index];
    if (answer) {
        ++counts.held;
    } else if (isUnanswered(rule)) {
        ++counts.unmeasured;
        open.hasNoAnswer = true;
    } else {
        ++counts.failed;
        const std::optional<bool> isAlone = restHolds(*open.condition, index, values);
        if (!isAlone)
            ++counts.unattributed;
        else if (*isAlone)
            ++counts.alone;
    }
}

void Coverage::settle(Open& open) {
    if (open.isSettled) return;
    open.isSettled = true;
    ++open.counts->held;
    if (open.condition->rulename.Length() != 0) named_.emplace_back(open.condition, open.counts);
}

void Coverage::beginGenerate(const Condition& /*condition*/, const RowValueMap& /*values*/) {
    settle(open_.back());
}

void Coverage::endGenerate(const Condition& /*condition*/, Expression::Outcome outcome) {
    // Without a value for an argument there is nothing to compute: that is the language's, and no failure.
    if (outcome == Expression::Outcome::Accepted || outcome == Expression::Outcome::NoArgument) return;
    ++open_.back().counts->failed;
    isMeasured_ = false;
}

void Coverage::endCondition(const Condition& /*condition*/, bool held) {
    Open& open = open_.back();
    if (held) {
        settle(open);
    } else if (open.hasNoAnswer) {
        ++open.counts->unmeasured;
        isMeasured_ = false;
    }
    open_.pop_back();
}

void Coverage::onError(const Condition& /*condition*/, const char* /*text*/) {
    breakOff();
}

void Coverage::breakOff() {
    isMeasured_ = false;
    for (const Open& open : open_) {
        if (open.isAsking) ++open.counts->rules[open.rule].unmeasured;
        ++(open.isSettled ? open.counts->failed : open.counts->unmeasured);
    }
    open_.clear();
}

}  // namespace cxml
