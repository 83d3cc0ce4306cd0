// Evaluating one condition: the order of its rules, nested conditions, and what reaches the outputs.
#include "support/calling_rule.h"
#include "support/loaded_map.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace {

using ConditionalXml::Condition;
using ConditionalXml::RowValueMap;
using memhost::bstr;
using memhost::utf8;
using std::string;
using std::vector;

/// A document of one condition, and rows of number fields for it.
class ConditionEvaluateTest : public testing::Test {
protected:
    void load(std::string_view condition) {
        loaded = std::make_unique<LoadedMap>(LoadedMap::ofClass("Buoy", condition));
        values = std::make_unique<RowValueMap>(loaded->rule("BUOY").fieldNames);
    }
    void put(std::string_view field, int number) { values->append(bstr(field), CComVariant(number)); }

    bool evaluate() {
        return loaded->rule("BUOY").defaultConditions.at(0)->evaluate(*values, ruleName, matched, loaded->messages);
    }
    string name() const { return utf8(ruleName); }
    string matchedName() const { return matched ? utf8(matched->rulename.m_str) : "(none)"; }

    std::unique_ptr<LoadedMap> loaded;
    std::unique_ptr<RowValueMap> values;
    CComBSTR former = bstr("former");
    BSTR ruleName = former;
    const Condition* matched = nullptr;
};

string rule(std::string_view field, std::string_view value, std::string_view nested = "") {
    return "<rule type='A' operator='equal' field='" + string(field) + "' value='" + string(value) + "'>" +
           string(nested) + "</rule>";
}

string condition(std::string_view name, std::string_view content = "") {
    return "<condition rulename='" + string(name) + "'>" + string(content) + "</condition>";
}

TEST_F(ConditionEvaluateTest, withoutRulesEveryRowMatches) {
    load(condition("A"));
    EXPECT_TRUE(evaluate());
    EXPECT_EQ(name(), "A");
    EXPECT_EQ(matchedName(), "A");
}

TEST_F(ConditionEvaluateTest, nameThatIsEmptyLeavesTheFormer) {
    load("<condition/>");
    EXPECT_TRUE(evaluate());
    EXPECT_EQ(name(), "former");
    EXPECT_EQ(matched, loaded->map->conditions.at(0).get());
}

TEST_F(ConditionEvaluateTest, everyRuleMustHold) {
    load(condition("A", rule("F", "1") + rule("G", "2")));
    put("F", 1);
    put("G", 2);
    EXPECT_TRUE(evaluate());
    values->clear();
    put("F", 1);
    put("G", 3);
    ruleName = former;
    matched = nullptr;
    EXPECT_FALSE(evaluate());
    EXPECT_EQ(name(), "former");
    EXPECT_EQ(matched, nullptr);
}

TEST_F(ConditionEvaluateTest, rulesAfterAFailingOneAreNotEvaluated) {
    load(condition("A", rule("F", "1") + rule("ABSENT", "2")));
    put("F", 2);
    EXPECT_FALSE(evaluate());
    EXPECT_TRUE(loaded->messages->entries().empty());
    values->clear();
    put("F", 1);
    EXPECT_FALSE(evaluate());
    EXPECT_EQ(loaded->messages->messages(), vector<string>{"Rule referenced field 'ABSENT' not found on 'Buoy'"});
}

TEST_F(ConditionEvaluateTest, matchingNestedConditionDecidesThePlacement) {
    load(condition("A", rule("F", "1", condition("N1", rule("G", "1")) + condition("N2", rule("G", "2")))));
    put("F", 1);
    put("G", 2);
    EXPECT_TRUE(evaluate());
    EXPECT_EQ(name(), "A") << "the outer name replaces the nested one";
    EXPECT_EQ(matchedName(), "N2");
}

TEST_F(ConditionEvaluateTest, lastMatchingNestedConditionWins) {
    load(condition("", rule("F", "1", condition("N1") + condition("N2") + condition("N3", rule("F", "2"))) +
                           rule("F", "1", condition("M1"))));
    put("F", 1);
    EXPECT_TRUE(evaluate());
    EXPECT_EQ(name(), "M1");
    EXPECT_EQ(matchedName(), "M1");
}

TEST_F(ConditionEvaluateTest, nestedNameStandsWhenTheOuterHasNone) {
    load(condition("", rule("F", "1", condition("N1") + "<condition angle='3'/>")));
    put("F", 1);
    EXPECT_TRUE(evaluate());
    EXPECT_EQ(name(), "N1");
    ASSERT_NE(matched, nullptr);
    EXPECT_EQ(matched->angle, 3) << "the last match places, with a name or without";
}

TEST_F(ConditionEvaluateTest, nestedConditionThatDoesNotMatchChangesNothing) {
    load(condition("A", rule("F", "1", condition("N", rule("F", "2")))));
    put("F", 1);
    EXPECT_TRUE(evaluate());
    EXPECT_EQ(name(), "A");
    EXPECT_EQ(matchedName(), "A");
}

TEST_F(ConditionEvaluateTest, nestedConditionsOfAFailingRuleAreNotEvaluated) {
    load(condition("A", rule("F", "1", condition("N"))));
    put("F", 2);
    EXPECT_FALSE(evaluate());
    EXPECT_EQ(name(), "former");
}

TEST_F(ConditionEvaluateTest, nestedNameStandsWhenALaterRuleFails) {
    load(condition("A", rule("F", "1", condition("N")) + rule("F", "2")));
    put("F", 1);
    const Condition* before = loaded->map->conditions.at(0).get();
    matched = before;
    EXPECT_FALSE(evaluate());
    EXPECT_EQ(name(), "N");
    EXPECT_EQ(matched, before);
}

TEST_F(ConditionEvaluateTest, deeperCandidateComesUp) {
    load(condition("", rule("F", "1", condition("", rule("F", "1", condition("DEEP", rule("F", "1")))))));
    put("F", 1);
    EXPECT_TRUE(evaluate());
    EXPECT_EQ(name(), "DEEP");
    EXPECT_EQ(matchedName(), "DEEP");
}

TEST_F(ConditionEvaluateTest, deepNameStandsWhenTheMiddleFailsLater) {
    load(condition("", rule("F", "1", condition("MIDDLE", rule("F", "1", condition("DEEP")) + rule("F", "2")))));
    put("F", 1);
    EXPECT_TRUE(evaluate());
    EXPECT_EQ(name(), "DEEP");
    ASSERT_NE(matched, nullptr);
    EXPECT_EQ(matched, loaded->rule("BUOY").defaultConditions.at(0).get())
        << "a nested condition that failed is no candidate";
}

TEST_F(ConditionEvaluateTest, nestedConditionsReportNoMissingFields) {
    load(condition("A", rule("F", "1", condition("N", rule("ABSENT", "1")))));
    put("F", 1);
    EXPECT_TRUE(evaluate());
    EXPECT_TRUE(loaded->messages->entries().empty());
}

TEST_F(ConditionEvaluateTest, exceptionOfARuleLeavesTheEvaluation) {
    load(condition("A"));
    CallingRule::enter(loaded->rule("BUOY"), [](auto&, auto*) -> bool { throw std::runtime_error("broken"); });
    EXPECT_THROW(evaluate(), std::runtime_error);
    EXPECT_EQ(name(), "former");
    EXPECT_EQ(matched, nullptr);
}

TEST_F(ConditionEvaluateTest, typeTwoWithoutExpressionCallsNothing) {
    load("<condition rulename='A' type='2' field='LABEL'/>");
    EXPECT_TRUE(evaluate());
    EXPECT_EQ(name(), "A");
}

}  // namespace
