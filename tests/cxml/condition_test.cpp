// Building conditions: attributes, placement numbers, and what is left when one is discarded.
#include "cxml/condition_reader.h"
#include "support/loaded_map.h"

#include <gtest/gtest.h>
#include <cmath>

namespace {

using ConditionalXml::Condition;
using memhost::utf8;
using std::string;
using std::vector;

constexpr const char* goodRule = "<rule type='A' field='F' operator='equal' value='1'/>";

/// A class named Buoy of that content.
LoadedMap load(std::string_view content) {
    return LoadedMap::ofClass("Buoy", content);
}

/// The class's only condition; a failed expectation when there is not exactly one.
const Condition* only(const LoadedMap& loaded) {
    const auto& conditions = loaded.rule("BUOY").defaultConditions;
    EXPECT_EQ(conditions.size(), 1U);
    return conditions.empty() ? nullptr : conditions.front().get();
}

const Condition* only(LoadedMap&&) = delete;  // the condition would be gone

vector<string> fieldsOf(const LoadedMap& loaded) {
    return textsOf(loaded.rule("BUOY").referencedFields);
}

TEST(ConditionTest, bareElementHasDefaults) {
    const LoadedMap loaded = load("<condition/>");
    const Condition* condition = only(loaded);
    ASSERT_NE(condition, nullptr);
    EXPECT_EQ(condition->conditionMap, loaded.map.get());
    EXPECT_EQ(condition->featureClassRule, &loaded.rule("BUOY"));
    EXPECT_TRUE(condition->rules.empty());
    EXPECT_EQ(condition->xoffset, 0);
    EXPECT_EQ(condition->yoffset, 0);
    EXPECT_EQ(condition->angle, 0);
    EXPECT_FALSE(condition->hasPlacement);
    EXPECT_EQ(condition->type, 1);
    EXPECT_EQ(condition->field.Length(), 0U);
    EXPECT_EQ(condition->rulename.Length(), 0U);
    EXPECT_TRUE(condition->generateArguments.empty());
    EXPECT_TRUE(condition->expressionText.empty());
    EXPECT_EQ(fieldsOf(loaded), vector<string>{"SYMBOL_C"});
}

TEST(ConditionTest, angleAloneIsAPlacement) {
    const LoadedMap loaded = load("<condition rulename='Wreck' angle='45'/>");
    const Condition* condition = only(loaded);
    ASSERT_NE(condition, nullptr);
    EXPECT_EQ(utf8(condition->rulename.m_str), "Wreck");
    EXPECT_TRUE(condition->hasPlacement);
    EXPECT_EQ(condition->xoffset, 0);
    EXPECT_EQ(condition->yoffset, 0);
    EXPECT_EQ(condition->angle, 45);
    EXPECT_EQ(fieldsOf(loaded), (vector<string>{"Rotate_C", "SYMBOL_C"}));
}

TEST(ConditionTest, attributesAreStored) {
    const LoadedMap loaded =
        load("<condition rulename='R' xoffset='1.5' yoffset='-2' angle='0' type='2' field='LABEL'/>");
    const Condition* condition = only(loaded);
    ASSERT_NE(condition, nullptr);
    EXPECT_EQ(condition->xoffset, 1.5);
    EXPECT_EQ(condition->yoffset, -2);
    EXPECT_EQ(condition->angle, 0);
    EXPECT_TRUE(condition->hasPlacement);
    EXPECT_EQ(condition->type, 2);
    EXPECT_EQ(utf8(condition->field.m_str), "LABEL");
    EXPECT_EQ(fieldsOf(loaded), (vector<string>{"Rotate_C", "SYMBOL_C", "Xoffset_C", "Yoffset_C"}))
        << "the field that an expression fills is not fetched for it";
}

TEST(ConditionTest, attributeNamesAreCaseSensitive) {
    const LoadedMap loaded = load("<condition RuleName='R' Xoffset='1' TYPE='2'/>");
    const Condition* condition = only(loaded);
    ASSERT_NE(condition, nullptr);
    EXPECT_EQ(condition->rulename.Length(), 0U);
    EXPECT_FALSE(condition->hasPlacement);
    EXPECT_EQ(condition->type, 1);
}

struct NumberCase {
    const char* name;
    const char* text;
    double value;  // NaN: the condition is discarded
};

const double none = std::nan("");

class PlacementNumbers : public testing::TestWithParam<NumberCase> {};

TEST_P(PlacementNumbers, areReadWithADecimalPointWhateverTheLocale) {
    for (const char* attribute : {"xoffset", "yoffset", "angle"}) {
        const LoadedMap loaded =
            load("<condition rulename='R' " + string(attribute) + "='" + GetParam().text + "'/><condition/>");
        const auto& conditions = loaded.rule("BUOY").defaultConditions;
        EXPECT_TRUE(loaded.messages->entries().empty());
        if (std::isnan(GetParam().value)) {
            EXPECT_EQ(ruleNames(conditions), vector<string>{""}) << attribute;
            EXPECT_EQ(loaded.map->conditions.size(), 1U) << attribute;
        } else {
            ASSERT_EQ(conditions.size(), 2U) << attribute;
            const Condition& condition = *conditions[0];
            EXPECT_EQ(condition.xoffset + condition.yoffset + condition.angle, GetParam().value) << attribute;
        }
        EXPECT_EQ(fieldsOf(loaded).size(), 2U) << "the target field is registered either way";
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, PlacementNumbers,
                         testing::Values(NumberCase{"whole", "3", 3}, NumberCase{"decimal_point", "1.5", 1.5},
                                         NumberCase{"decimal_comma", "1,5", none},
                                         NumberCase{"thousands_comma", "1,000", none},
                                         NumberCase{"comma_alone", ",", none}, NumberCase{"letters", "abc", none},
                                         NumberCase{"empty", "", none}, NumberCase{"blank", " ", none},
                                         NumberCase{"blank_between_digits", "1 5", none},
                                         NumberCase{"blanks_around", " 1.5 ", 1.5}, NumberCase{"exponent", "1e2", 100},
                                         NumberCase{"negative_exponent", "5E-1", 0.5},
                                         NumberCase{"negative", "-0.25", -0.25}, NumberCase{"plus", "+7", 7},
                                         NumberCase{"leading_point", ".5", 0.5}, NumberCase{"trailing_point", "5.", 5},
                                         NumberCase{"unit", "5mm", none}, NumberCase{"two_points", "1.2.3", none},
                                         NumberCase{"boolean_text", "true", none}),
                         [](const auto& entry) { return std::string(entry.param.name); });

/// Texts whose value is up to the platform's conversion under the invariant locale.
TEST(ConditionTest, otherPlacementTextsAreWhatTheConversionSays) {
    for (const char* text : {"&amp;H10", "&amp;O17", "(5)", "5-",
                             "\xC2\xA4"
                             "5",
                             "$5", "1e400", "nan", "inf", "0x10", "1E", "- 5", "&#9;5", "5&#10;", "5%"}) {
        const LoadedMap loaded = load("<condition angle='" + string(text) + "'/>");
        const auto document = parseDocument("<a b='" + string(text) + "'/>");
        CComVariant attribute;
        ASSERT_EQ(selectNode(document, "/a/@b")->get_nodeTypedValue(&attribute), S_OK);
        CComVariant number;
        const HRESULT hr = VariantChangeTypeEx(&number, &attribute, LOCALE_INVARIANT, VARIANT_NOUSEROVERRIDE, VT_R8);
        const auto& conditions = loaded.rule("BUOY").defaultConditions;
        ASSERT_EQ(conditions.size(), SUCCEEDED(hr) ? 1U : 0U) << text;
        if (SUCCEEDED(hr)) {
            EXPECT_EQ(conditions[0]->angle, number.dblVal) << text;
        }
    }
}

TEST(ConditionTest, typeThatIsNoIntegerIsOne) {
    const struct {
        const char* text;
        LONG type;
    } rows[] = {{"1", 1}, {"2", 2},   {"0", 0},   {"-1", -1},         {"17", 17},
                {"", 1},  {"two", 1}, {" 2 ", 2}, {"99999999999", 1}, {"2x", 1}};
    for (const auto& row : rows) {
        const LoadedMap loaded = load("<condition rulename='R' type='" + string(row.text) + "'/>");
        const Condition* condition = only(loaded);
        ASSERT_NE(condition, nullptr) << row.text;
        EXPECT_EQ(condition->type, row.type) << row.text;
        EXPECT_TRUE(loaded.messages->entries().empty()) << row.text;
    }
}

TEST(ConditionTest, rulesAreKeptInDocumentOrder) {
    const LoadedMap loaded = load(
        "<condition><rule type='A' field='A' operator='equal'/>"
        "<rule type='A' field='B' operator='lt'/></condition>"
        "<condition><rule type='A' field='C' operator='gt'/></condition>");
    const auto& conditions = loaded.rule("BUOY").defaultConditions;
    ASSERT_EQ(conditions.size(), 2U);
    ASSERT_EQ(conditions[0]->rules.size(), 2U);
    ASSERT_EQ(loaded.map->rules.size(), 3U);
    EXPECT_EQ(loaded.map->rules[0], conditions[0]->rules[0]);
    EXPECT_EQ(loaded.map->rules[1], conditions[0]->rules[1]);
    EXPECT_EQ(loaded.map->rules[2], conditions[1]->rules[0]);
    EXPECT_EQ(fieldsOf(loaded), (vector<string>{"A", "B", "C", "SYMBOL_C"}));
}

TEST(ConditionTest, onlyDirectChildrenAreRules) {
    const LoadedMap loaded = load("<condition><group><rule type='X'/></group><Rule type='X'/></condition>");
    ASSERT_NE(only(loaded), nullptr);
    EXPECT_TRUE(loaded.map->rules.empty());
}

struct DiscardCase {
    const char* name;
    string condition;
    vector<string> messages;
};

class DiscardedConditions : public testing::TestWithParam<DiscardCase> {};

TEST_P(DiscardedConditions, leaveNothingBehindButFieldNames) {
    const LoadedMap loaded = load("<condition rulename='before'>" + string(goodRule) + "</condition>" +
                                  GetParam().condition + "<condition rulename='after'/>");
    EXPECT_EQ(loaded.messages->messages(), GetParam().messages);
    EXPECT_TRUE(loaded.messages->errors().empty());
    EXPECT_EQ(ruleNames(loaded.rule("BUOY").defaultConditions), (vector<string>{"before", "after"}));
    EXPECT_EQ(ruleNames(loaded.map->conditions), (vector<string>{"before", "after"}));
    EXPECT_EQ(loaded.map->rules.size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, DiscardedConditions,
    testing::Values(
        DiscardCase{"unknown_type_of_the_second_rule",
                    "<condition rulename='Light'>" + string(goodRule) + "<rule type='Z'/></condition>",
                    {"Discarding condition 'Light' due to rule parse failure."}},
        DiscardCase{"unnamed",
                    "<condition>" + string(goodRule) + "<rule type='Z'/></condition>",
                    {"Discarding condition [unnamed] due to rule parse failure."}},
        DiscardCase{"empty_name",
                    "<condition rulename=''><rule type='Z'/></condition>",
                    {"Discarding condition [unnamed] due to rule parse failure."}},
        DiscardCase{"name_beyond_ascii",
                    "<condition rulename='B\xC3\xB8je &apos;1&apos;'><rule/></condition>",
                    {"Discarding condition 'B\xC3\xB8je '1'' due to rule parse failure."}},
        DiscardCase{"unknown_operator_is_reported_first",
                    "<condition rulename='R'><rule type='A' field='F' operator='EQ'/></condition>",
                    {"Operator 'eq' not recognized for attribute rule.",
                     "Discarding condition 'R' due to rule parse failure."}},
        DiscardCase{"rules_after_the_failing_one_are_not_read",
                    "<condition rulename='R'><rule type='Z'/><rule type='A' field='F' operator='eq'/></condition>",
                    {"Discarding condition 'R' due to rule parse failure."}},
        DiscardCase{
            "unknown_operators_of_list_and_query_rules",
            "<condition rulename='L'><rule type='L' field='F' operator='LIKE' value='1'/></condition>"
            "<condition rulename='Q'><rule type='Q' operator='Exists' table='T'/></condition>",
            {"Operator 'like' not recognized for list attribute rule.",
             "Discarding condition 'L' due to rule parse failure.", "Operator 'Exists' not recognized for query rule.",
             "Discarding condition 'Q' due to rule parse failure."}},
        DiscardCase{"placement", "<condition rulename='R' xoffset='abc'>" + string(goodRule) + "</condition>", {}},
        DiscardCase{"nested_conditions_go_with_it",
                    "<condition rulename='R'><rule type='A' field='F' operator='equal'><condition rulename='N'>" +
                        string(goodRule) + "</condition></rule><rule type='Z'/></condition>",
                    {"Discarding condition 'R' due to rule parse failure."}},
        DiscardCase{"nested_two_deep",
                    "<condition rulename='R'><rule type='A' field='F' operator='equal'><condition rulename='N'>"
                    "<rule type='A' field='G' operator='equal'><condition rulename='NN'>" +
                        string(goodRule) + "</condition></rule></condition></rule><rule type='Z'/></condition>",
                    {"Discarding condition 'R' due to rule parse failure."}}),
    [](const auto& entry) { return std::string(entry.param.name); });

TEST(ConditionTest, discardedConditionKeepsItsFieldNamesRegistered) {
    const LoadedMap loaded = load(
        "<condition yoffset='1' xoffset='abc' angle='2'/>"
        "<condition><rule type='A' field='FIRST' operator='equal' fieldValue='OTHER'/>"
        "<rule type='Z' field='SECOND'/><rule type='A' field='THIRD'/></condition>");
    EXPECT_TRUE(loaded.map->conditions.empty());
    EXPECT_TRUE(loaded.map->rules.empty());
    EXPECT_EQ(fieldsOf(loaded), (vector<string>{"FIRST", "OTHER", "SYMBOL_C", "Xoffset_C"}))
        << "reading stops at the number that is none";
}

TEST(ConditionTest, withoutMessagesDiscardingIsSilent) {
    ConditionalXml::ConditionMap map;
    ConditionalXml::FeatureClassRule rule(map);
    const auto document = parseDocument("<condition rulename='R'><rule type='Z'/></condition>");
    EXPECT_EQ(ConditionalXml::readCondition(selectNode(document, "/condition"), rule, {}), nullptr);
}

TEST(ConditionTest, faultsInNestedConditionsAreNotReported) {
    const LoadedMap loaded = load(
        "<condition rulename='R'><rule type='A' field='F' operator='equal' value='1'>"
        "<condition rulename='bad'><rule type='A' field='G' operator='eq'/></condition><condition rulename='good'/>"
        "<condition rulename='alsobad' angle='x'/></rule></condition>");
    EXPECT_TRUE(loaded.messages->entries().empty());
    const Condition* condition = only(loaded);
    ASSERT_NE(condition, nullptr);
    EXPECT_EQ(ruleNames(condition->rules.at(0)->nestedConditions), vector<string>{"good"});
    EXPECT_EQ(ruleNames(loaded.map->conditions), (vector<string>{"good", "R"}));
    EXPECT_EQ(loaded.map->rules.size(), 1U);
}

TEST(ConditionTest, nestedConditionBelongsToTheSameClass) {
    const LoadedMap loaded = load(
        "<condition><rule type='A' field='F' operator='equal'><condition rulename='N' angle='3'/></rule></condition>");
    const Condition* condition = only(loaded);
    ASSERT_NE(condition, nullptr);
    const Condition& nested = *condition->rules.at(0)->nestedConditions.at(0);
    EXPECT_EQ(nested.featureClassRule, &loaded.rule("BUOY"));
    EXPECT_EQ(nested.conditionMap, loaded.map.get());
    EXPECT_EQ(nested.angle, 3);
    EXPECT_FALSE(condition->hasPlacement);
    EXPECT_EQ(fieldsOf(loaded), (vector<string>{"F", "Rotate_C", "SYMBOL_C"}));
}

TEST(ConditionTest, attributeThatIsNotWhatItSeemsIsText) {
    const LoadedMap loaded = load("<condition rulename='&lt;1&gt;&#9;&quot;'/>");
    const Condition* condition = only(loaded);
    ASSERT_NE(condition, nullptr);
    EXPECT_EQ(utf8(condition->rulename.m_str), "<1>\t\"");
}

}  // namespace
