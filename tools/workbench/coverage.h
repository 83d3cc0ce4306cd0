// Coverage: what the rows of runs have put to the test of a document.
#pragma once

#include "cxml/evaluation_observer.h"

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

namespace cxml {

/// How often a rule was asked, and what it answered.
struct RuleCounts {
    std::int64_t held = 0;
    std::int64_t failed = 0;
    std::int64_t alone = 0;         // of `failed`: every other rule of the condition would have held for the row
    std::int64_t unattributed = 0;  // of `failed`: whether that is so cannot be told
    std::int64_t unmeasured = 0;    // asked without an answer: an error, or a query that nobody answered

    /// Whether the rule was seen to let a row pass, and to be the only one that keeps a row away.
    bool isSeenBothWays() const noexcept { return held != 0 && alone != 0; }
};

/// What became of a condition. It was reached as often as it held, did not hold, and could not be measured.
struct ConditionCounts {
    using Condition = ConditionalXml::Condition;

    std::int64_t reached = 0;
    std::int64_t held = 0;
    std::int64_t decided = 0;     // its name became the symbol
    std::int64_t unmeasured = 0;  // an error broke it off, or it does not hold because a query was not answered
    std::int64_t failed = 0;      // of `held`: its expression failed
    // Rows for which it held and another condition's name became the symbol, by that one. Only of conditions with
    // names.
    std::unordered_map<const Condition*, std::int64_t> replacedBy;
    std::vector<RuleCounts> rules;  // as the condition has them
};

/// The runs with one configuration.
struct ClassCounts {
    std::int64_t runs = 0;
    std::int64_t rows = 0;
    std::int64_t unmeasured =
        0;  // rows that were not decided, or with an error, a failed expression, an unanswered query
};

/// Attached to runs that evaluate everything. Memory grows with the document, not with rows; runs go on as without it:
/// rules that a run does not come to are asked for their answers, and get their operands back.
class Coverage : public ConditionalXml::EvaluationObserver {
public:
    using Condition = ConditionalXml::Condition;
    using FeatureClassRule = ConditionalXml::FeatureClassRule;

    /// Before each run.
    void beginRun(const FeatureClassRule& configuration);
    /// After it, also when it ended with an exception in the middle of a row.
    void endRun();

    ClassCounts& of(const FeatureClassRule& configuration) { return classes_[&configuration]; }
    ConditionCounts& of(const Condition& condition);
    bool hasRunOf(const FeatureClassRule& configuration) const { return classes_.contains(&configuration); }

private:
    using Rule = ConditionalXml::Rule;
    using RowValueMap = ConditionalXml::RowValueMap;

    // A condition that has begun.
    struct Open {
        const Condition* condition;
        ConditionCounts* counts;
        std::size_t rule = 0;  // the one that is asked, or will be next
        bool isAsking = false;
        bool isSettled = false;    // it holds
        bool hasNoAnswer = false;  // to one of its rules
    };

    void beginRow(IRow* row, const FeatureClassRule& rule) override;
    void onDecision(const ConditionalXml::RowDecision& decision) override;
    void endRow(bool changed, HRESULT status) override;
    void beginCondition(const Condition& condition) override;
    void beginRule(const Rule& rule, const RowValueMap& values) override;
    void endRule(const Rule& rule, const RowValueMap& values, bool answer) override;
    void beginGenerate(const Condition& condition, const RowValueMap& values) override;
    void endGenerate(const Condition& condition, ConditionalXml::Expression::Outcome outcome) override;
    void endCondition(const Condition& condition, bool held) override;
    void onError(const Condition& condition, const char* text) override;

    void settle(Open& open);
    void breakOff();

    std::unordered_map<const FeatureClassRule*, ClassCounts> classes_;
    std::unordered_map<const Condition*, ConditionCounts> conditions_;

    // Of the run and the row.
    ClassCounts* class_ = nullptr;
    bool isInRow_ = false;
    bool isMeasured_ = true;
    bool isDecided_ = false;
    std::vector<Open> open_;
    std::vector<std::pair<const Condition*, ConditionCounts*>> named_;  // that held
};

}  // namespace cxml
