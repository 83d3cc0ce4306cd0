// Coverage of random documents over random rows, against counts that are made in other ways.
#include "cxml/condition_map.h"
#include "rules/list_attribute_rules.h"
#include "rules/query_rules.h"
#include "symbolize/random_runs.h"
#include "symbolize/reference_runs.h"
#include "symbolize/run_memory.h"
#include "tools/workbench/coverage.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <functional>
#include <map>
#include <random>

namespace {

using ConditionalXml::EvaluationObserver;
using ConditionalXml::FeatureClassRule;
using ConditionalXml::QueryRule;
using ConditionalXml::RowDecision;
using ConditionalXml::RowValueMap;
using cxml::ConditionCounts;
using cxml::Coverage;
using cxml::RuleCounts;
using random_runs::Side;
using std::string;
using std::vector;

/// Counts by the plain reading of conditions.
class PlainCount {
public:
    struct Counts {
        std::int64_t reached = 0;
        std::int64_t held = 0;
        std::int64_t decided = 0;
        std::map<const reference::Condition*, std::int64_t> replacedBy;
        struct Rule {
            std::int64_t held = 0;
            std::int64_t failed = 0;
            std::int64_t alone = 0;
        };
        std::map<std::size_t, Rule> rules;
    };

    void count(const vector<reference::Condition>& list, const reference::Row& row) {
        names_.clear();
        for (const reference::Condition& condition : list) walk(condition, row);
        for (const reference::Condition* condition : names_)
            if (condition == names_.back())
                ++counts[condition].decided;
            else
                ++counts[condition].replacedBy[names_.back()];
    }

    std::map<const reference::Condition*, Counts> counts;

private:
    void walk(const reference::Condition& condition, const reference::Row& row) {
        Counts& here = counts[&condition];
        ++here.reached;
        const auto fails = [&](const reference::Rule& rule) { return !reference::holds(rule, row); };
        const auto failures = std::ranges::count_if(condition.rules, fails);
        for (std::size_t i = 0; i < condition.rules.size(); ++i) {
            if (fails(condition.rules[i])) {
                ++here.rules[i].failed;
                if (failures == 1) ++here.rules[i].alone;
                return;
            }
            ++here.rules[i].held;
            for (const auto& nested : condition.rules[i].nested) walk(*nested, row);
        }
        ++here.held;
        if (!condition.name.empty()) names_.push_back(&condition);
    }

    vector<const reference::Condition*> names_;  // of the row, in the order of their taking
};

using Pairs = std::map<const ConditionalXml::Condition*, const reference::Condition*>;

void pair(const FeatureClassRule::ConditionList& loaded, const vector<const reference::Condition*>& plain,
          Pairs& pairs) {
    ASSERT_EQ(loaded.size(), plain.size());
    for (std::size_t i = 0; i < loaded.size(); ++i) {
        pairs[loaded[i].get()] = plain[i];
        for (std::size_t rule = 0; rule < loaded[i]->rules.size(); ++rule) {
            vector<const reference::Condition*> nested;
            for (const auto& condition : plain[i]->rules.at(rule).nested) nested.push_back(condition.get());
            pair(loaded[i]->rules[rule]->nestedConditions, nested, pairs);
        }
    }
}

void pair(const FeatureClassRule::ConditionList& loaded, const vector<reference::Condition>& plain, Pairs& pairs) {
    vector<const reference::Condition*> all;
    for (const reference::Condition& condition : plain) all.push_back(&condition);
    pair(loaded, all, pairs);
}

class CoverageOfDocuments : public testing::TestWithParam<unsigned> {};

TEST_P(CoverageOfDocuments, isThatOfThePlainReading) {
    std::int64_t alone = 0;
    for (unsigned seed = GetParam(); seed < GetParam() + 50; ++seed) {
        reference_runs::Generator generator(seed);
        const reference_runs::Document document = makeDocument(generator);
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + document.xml);
        vector<reference::Row> rows;
        for (int i = 0; i < 60; ++i) rows.push_back(generator.row());
        const auto table = reference_runs::tableFor(rows).build();
        const SymbologyManager manager = managerOf(document.xml);
        const FeatureClassRule& rule = ruleOf(manager, "RND");
        Coverage coverage;
        coverage.beginRun(rule);
        ASSERT_TRUE(ConditionalXml::symbolizeFeatureClass(*SymbologyManagerAccess::currentMap(manager),
                                                          memhost::bstr("RND"), table->featureClass(), nullptr, nullptr,
                                                          Side::Answers::Evaluated, &coverage));
        coverage.endRun();
        PlainCount plain;
        for (const reference::Row& row : rows) plain.count(listFor(document, row), row);

        Pairs pairs;
        pair(rule.defaultConditions, document.defaults, pairs);
        for (const auto& [code, conditions] : document.subtypes)
            pair(rule.subtypeConditions.at(code), conditions, pairs);
        for (const auto& [loaded, condition] : pairs) {
            SCOPED_TRACE(condition->name);
            const ConditionCounts& counts = coverage.of(*loaded);
            PlainCount::Counts& expected = plain.counts[condition];
            EXPECT_EQ(counts.reached, expected.reached);
            EXPECT_EQ(counts.held, expected.held);
            EXPECT_EQ(counts.decided, expected.decided);
            std::map<const reference::Condition*, std::int64_t> replacedBy;
            for (const auto& [by, count] : counts.replacedBy) replacedBy[pairs.at(by)] = count;
            EXPECT_EQ(replacedBy, expected.replacedBy);
            EXPECT_EQ(counts.unmeasured + counts.failed, 0);
            for (std::size_t i = 0; i < counts.rules.size(); ++i) {
                SCOPED_TRACE("rule " + std::to_string(i));
                EXPECT_EQ(counts.rules[i].held, expected.rules[i].held);
                EXPECT_EQ(counts.rules[i].failed, expected.rules[i].failed);
                EXPECT_EQ(counts.rules[i].alone, expected.rules[i].alone);
                EXPECT_EQ(counts.rules[i].unattributed + counts.rules[i].unmeasured, 0) << "nothing asks or fetches";
                alone += counts.rules[i].alone;
            }
        }
        if (HasFailure()) return;
    }
    EXPECT_GT(alone, 1000);
}

INSTANTIATE_TEST_SUITE_P(Seeds, CoverageOfDocuments, testing::Range(1U, 401U, 50U));

/// Passes everything on, and learns what was found of each rule that failed.
class Tap : public EvaluationObserver {
public:
    enum class Verdict { Alone, NotAlone, Unknown };
    struct Failure {
        std::size_t row;  // from 0
        const ConditionalXml::Condition* condition;
        std::size_t rule;
        Verdict verdict;
    };

    explicit Tap(Coverage& coverage) : coverage_(coverage), inner_(coverage) {}

    void beginRow(IRow* row, const FeatureClassRule& rule) override {
        ++rows_;
        inner_.beginRow(row, rule);
    }
    void onDecision(const RowDecision& decision) override { inner_.onDecision(decision); }
    void endRow(bool changed, HRESULT status) override { inner_.endRow(changed, status); }
    void beginCondition(const ConditionalXml::Condition& condition) override {
        open_.push_back(&condition);
        inner_.beginCondition(condition);
    }
    void beginRule(const ConditionalXml::Rule& rule, const RowValueMap& values) override {
        inner_.beginRule(rule, values);
    }
    void endRule(const ConditionalXml::Rule& rule, const RowValueMap& values, bool answer) override {
        const ConditionalXml::Condition& condition = *open_.back();
        const auto place = std::ranges::find(condition.rules, &rule, &std::shared_ptr<ConditionalXml::Rule>::get);
        const auto index = static_cast<std::size_t>(place - condition.rules.begin());
        const RuleCounts before = coverage_.of(condition).rules.at(index);
        inner_.endRule(rule, values, answer);
        const RuleCounts& after = coverage_.of(condition).rules.at(index);
        if (after.failed == before.failed) return;
        failures.push_back({rows_ - 1, &condition, index,
                            after.alone != before.alone                 ? Verdict::Alone
                            : after.unattributed != before.unattributed ? Verdict::Unknown
                                                                        : Verdict::NotAlone});
    }
    void beginGenerate(const ConditionalXml::Condition& condition, const RowValueMap& values) override {
        inner_.beginGenerate(condition, values);
    }
    void endGenerate(const ConditionalXml::Condition& condition, ConditionalXml::Expression::Outcome outcome) override {
        inner_.endGenerate(condition, outcome);
    }
    void endCondition(const ConditionalXml::Condition& condition, bool held) override {
        open_.pop_back();
        inner_.endCondition(condition, held);
    }
    void onError(const ConditionalXml::Condition& condition, const char* text) override {
        open_.clear();
        inner_.onError(condition, text);
    }

    vector<Failure> failures;

private:
    Coverage& coverage_;
    EvaluationObserver& inner_;
    std::size_t rows_ = 0;
    vector<const ConditionalXml::Condition*> open_;
};

/// Holds for every row; what is nested in the rule that it stands for is left out.
class AlwaysHolds : public ConditionalXml::Rule {
public:
    explicit AlwaysHolds(FeatureClassRule& owner) : Rule(owner.ruleOwner()) {}
    bool evaluate(RowValueMap& /*values*/, IGPMessages* /*messages*/) override { return true; }
};

/// Puts such a rule into a condition when a row begins, and sees what becomes of the condition then.
class Replacement : public EvaluationObserver {
public:
    explicit Replacement(std::size_t row) : row_(row) {}

    void place(ConditionalXml::Condition& condition, std::size_t rule) {
        condition_ = &condition;
        rule_ = rule;
    }
    void beginRow(IRow* /*row*/, const FeatureClassRule& /*rule*/) override {
        if (rows_++ == row_) condition_->rules.at(rule_) = std::make_shared<AlwaysHolds>(*condition_->featureClassRule);
    }
    void endCondition(const ConditionalXml::Condition& condition, bool isHeld) override {
        if (&condition == condition_ && rows_ == row_ + 1) held = isHeld;
    }

    std::optional<bool> held;  // nothing when an error broke it off

private:
    std::size_t row_;
    std::size_t rows_ = 0;
    ConditionalXml::Condition* condition_ = nullptr;
    std::size_t rule_ = 0;
};

std::size_t indexOf(const ConditionalXml::ConditionMap& map, const ConditionalXml::Condition* condition) {
    const auto place = std::ranges::find(map.conditions, condition, &std::shared_ptr<ConditionalXml::Condition>::get);
    return static_cast<std::size_t>(place - map.conditions.begin());
}

bool fetches(const ConditionalXml::Rule& rule) {
    return dynamic_cast<const QueryRule*>(&rule) || !rule.nestedConditions.empty();
}

class CoverageOfRuns : public testing::TestWithParam<unsigned> {};

// The row is run again, behind the same rows, with a rule that always holds in the place of the one that failed.
TEST_P(CoverageOfRuns, blamesWhatKeepsTheConditionFromHolding) {
    constexpr std::size_t count = 25;
    constexpr unsigned samples = 40;
    std::map<Tap::Verdict, int> verdicts;
    for (unsigned seed = GetParam(); seed < GetParam() + 10; ++seed) {
        random_runs::Generator generator(seed);
        const string document = generator.document(false);
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + document);
        const auto mixType = generator.pick<VARTYPE>({VT_I4, VT_R8, VT_BSTR, VT_I2});
        const auto rows = makeRows(generator, count, mixType, generator.pick({count, count / 2}));
        Coverage coverage;
        Tap tap(coverage);
        Side side(document, Side::Answers::Evaluated, &tap);
        coverage.beginRun(*side.map().find(memhost::bstr("RND")));
        side.run(rows, mixType);
        coverage.endRun();
        for (unsigned sample = 0; sample < samples && !tap.failures.empty(); ++sample) {
            const Tap::Failure& failure = tap.failures[generator.below(static_cast<unsigned>(tap.failures.size()))];
            const auto& rules = failure.condition->rules;
            const std::size_t condition = indexOf(side.map(), failure.condition);
            SCOPED_TRACE("row " + std::to_string(failure.row) + ", condition " + std::to_string(condition) + ", rule " +
                         std::to_string(failure.rule));
            ++verdicts[failure.verdict];
            if (failure.verdict == Tap::Verdict::Unknown) {
                EXPECT_TRUE(std::any_of(rules.begin() + static_cast<std::ptrdiff_t>(failure.rule), rules.end(),
                                        [](const auto& rule) { return fetches(*rule); }));
                continue;
            }
            Replacement replacement(failure.row);
            Side again(document, Side::Answers::Evaluated, &replacement);
            replacement.place(*again.map().conditions.at(condition), failure.rule);
            again.run({rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(failure.row) + 1}, mixType);
            EXPECT_EQ(replacement.held.value_or(failure.verdict == Tap::Verdict::Alone),
                      failure.verdict == Tap::Verdict::Alone);
        }
        if (HasFailure()) return;
    }
    EXPECT_GT(verdicts[Tap::Verdict::Alone], 50);
    EXPECT_GT(verdicts[Tap::Verdict::NotAlone], 20);
}

/// The codes that list rules have kept.
vector<vector<LONG>> listItems(const ConditionalXml::ConditionMap& map) {
    vector<vector<LONG>> items;
    for (const auto& rule : map.rules)
        if (const auto* list = dynamic_cast<const ConditionalXml::ListAttributeRule*>(rule.get()))
            items.push_back(list->listItems);
    return items;
}

TEST_P(CoverageOfRuns, changesNothingOfThem) {
    constexpr std::size_t count = ConditionalXml::RunMemory::rowsBefore + 30;
    for (unsigned seed = GetParam(); seed < GetParam() + 20; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        random_runs::Generator generator(seed);
        const string document = generator.document(seed % 8 == 0);
        Coverage coverage;
        Side alone(document, Side::Answers::Evaluated);
        Side remembering(document, Side::Answers::Remembered);
        Side covered(document, Side::Answers::Evaluated, &coverage);
        const FeatureClassRule& rule = *covered.map().find(memhost::bstr("RND"));
        for (int run = 0; run < 2; ++run) {
            const auto mixType = generator.pick<VARTYPE>({VT_I4, VT_R8, VT_BSTR, VT_I2});
            const auto rows =
                makeRows(generator, count, mixType, generator.pick({count, count / 2, count - 2, std::size_t{0}}));
            coverage.beginRun(rule);
            for (Side* side : {&alone, &remembering, &covered}) side->run(rows, mixType);
            coverage.endRun();
            const vector<string> expected = alone.state(count);
            ASSERT_EQ(covered.state(count), expected) << document;
            ASSERT_EQ(remembering.state(count), expected) << document;
            ASSERT_EQ(listItems(covered.map()), listItems(alone.map())) << document;
        }
        // Nothing is lost: the counts of each condition and rule add up.
        for (const auto& condition : covered.map().conditions) {
            const ConditionCounts& counts = coverage.of(*condition);
            std::int64_t failed = 0;
            std::int64_t asked = counts.reached;
            for (const RuleCounts& of : counts.rules) {
                ASSERT_GE(asked, of.held + of.failed + of.unmeasured);
                ASSERT_GE(of.failed, of.alone + of.unattributed);
                asked = of.held;
                failed += of.failed;
            }
            ASSERT_EQ(counts.reached, counts.held + failed + counts.unmeasured) << document;
            std::int64_t named = counts.decided;
            for (const auto& [by, times] : counts.replacedBy) named += times;
            ASSERT_LE(named, condition->rulename.Length() == 0 ? 0 : counts.held);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, CoverageOfRuns, testing::Range(1U, 401U, 40U));

}  // namespace
