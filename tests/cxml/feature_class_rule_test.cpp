// FeatureClassRule: names and their keys, subtype lists, merging and replacing, referenced fields.
#include "cxml/class_reader.h"
#include "support/loaded_map.h"

#include <gtest/gtest.h>

namespace {

using memhost::bstr;
using memhost::utf8;
using std::string;
using std::vector;

string map(std::string_view content) {
    return "<conditionMap name='m'>" + string(content) + "</conditionMap>";
}

std::shared_ptr<ConditionalXml::FeatureClassRule> loadInto(ConditionalXml::ConditionMap& loaded, const char* element) {
    const auto document = parseDocument(map(element));
    return ConditionalXml::readFeatureClass(selectNode(document, "/conditionMap/featureClass"), loaded, {});
}

vector<LONG> codes(const ConditionalXml::FeatureClassRule& rule) {
    vector<LONG> found;
    for (const auto& [code, conditions] : rule.subtypeConditions) found.push_back(code);
    return found;
}

TEST(FeatureClassRuleTest, emptyElementIsStored) {
    const LoadedMap loaded(map("<featureClass name='Buoy'/>"));
    ASSERT_EQ(textsOf(loaded.map->featureClassRules), vector<string>{"BUOY"});
    const auto& rule = loaded.rule("BUOY");
    EXPECT_EQ(utf8(rule.name.m_str), "Buoy") << "the key is upper-case, the name is as written";
    EXPECT_TRUE(rule.defaultConditions.empty());
    EXPECT_TRUE(rule.subtypeConditions.empty());
    EXPECT_EQ(textsOf(rule.referencedFields), vector<string>{"SYMBOL_C"});
    EXPECT_TRUE(rule.additionalFields.empty());
    EXPECT_TRUE(rule.knownFields.empty());
    EXPECT_TRUE(rule.additionalFieldValues.empty());
    EXPECT_TRUE(rule.enabled);
    EXPECT_FALSE(rule.changed);
    EXPECT_EQ(rule.currentRow, nullptr);
    EXPECT_EQ(rule.owner, loaded.map.get());
    ASSERT_NE(rule.tableManager, nullptr);
    EXPECT_EQ(rule.tableManager->workspace.p, nullptr);
    EXPECT_TRUE(rule.tableManager->tables.empty());
}

TEST(FeatureClassRuleTest, elementWithoutNameIsSkippedSilently) {
    const LoadedMap loaded(map("<featureClass><condition rulename='A'/></featureClass><featureClass name='B'/>"));
    EXPECT_TRUE(loaded.result);
    EXPECT_EQ(textsOf(loaded.map->featureClassRules), vector<string>{"B"});
    EXPECT_TRUE(loaded.map->conditions.empty());
    EXPECT_TRUE(loaded.messages->entries().empty());
}

TEST(FeatureClassRuleTest, emptyNameIsAName) {
    const LoadedMap loaded(map("<featureClass name=''/>"));
    EXPECT_EQ(textsOf(loaded.map->featureClassRules), vector<string>{""});
}

TEST(FeatureClassRuleTest, keyIsUpperCasedBeyondAscii) {
    const LoadedMap loaded(map("<featureClass name='b\xC3\xB8je\xC3\x9F'/>"));
    EXPECT_EQ(textsOf(loaded.map->featureClassRules), vector<string>{"B\xC3\x98JE\xC3\x9F"});
}

TEST(FeatureClassRuleTest, repeatedNameWithSmallLettersReplaces) {
    const LoadedMap loaded(
        map("<featureClass name='Buoy'><condition rulename='A'/></featureClass>"
            "<featureClass name='Buoy'><condition rulename='B'/></featureClass>"));
    EXPECT_EQ(loaded.map->featureClassRules.size(), 1U);
    EXPECT_EQ(ruleNames(loaded.rule("BUOY").defaultConditions), vector<string>{"B"});
}

TEST(FeatureClassRuleTest, repeatedUpperCaseNameMerges) {
    const LoadedMap loaded(
        map("<featureClass name='BUOY'><condition rulename='A'/>"
            "<subtype number='1'><condition rulename='S1'/></subtype></featureClass>"
            "<featureClass name='BUOY'><condition rulename='B'/>"
            "<subtype number='1,2'><condition rulename='S2'/></subtype></featureClass>"));
    EXPECT_EQ(loaded.map->featureClassRules.size(), 1U);
    const auto& rule = loaded.rule("BUOY");
    EXPECT_EQ(ruleNames(rule.defaultConditions), (vector<string>{"A", "B"}));
    EXPECT_EQ(ruleNames(rule.subtypeConditions.at(1)), (vector<string>{"S1", "S2"}));
    EXPECT_EQ(ruleNames(rule.subtypeConditions.at(2)), vector<string>{"S2"});
    EXPECT_EQ(ruleNames(loaded.map->conditions), (vector<string>{"S1", "A", "S2", "B"}));
}

struct MergeCase {
    const char* first;
    const char* second;
    vector<string> conditions;
    const char* name;
};

TEST(FeatureClassRuleTest, mergingDependsOnTheSpellingOfTheSecondName) {
    const MergeCase rows[] = {
        {"Buoy", "BUOY", {"A", "B"}, "Buoy"}, {"BUOY", "Buoy", {"B"}, "Buoy"},      {"buoy", "Buoy", {"B"}, "Buoy"},
        {"BUOY", "BUOY", {"A", "B"}, "BUOY"}, {"1234", "1234", {"A", "B"}, "1234"},
    };
    for (const MergeCase& row : rows) {
        const LoadedMap loaded(map("<featureClass name='" + string(row.first) +
                                   "'><condition rulename='A'/></featureClass><featureClass name='" + row.second +
                                   "'><condition rulename='B'/></featureClass>"));
        ASSERT_EQ(loaded.map->featureClassRules.size(), 1U);
        const auto& rule = *loaded.map->featureClassRules.begin()->second;
        EXPECT_EQ(ruleNames(rule.defaultConditions), row.conditions) << row.first << " then " << row.second;
        EXPECT_EQ(utf8(rule.name.m_str), row.name) << row.first << " then " << row.second;
    }
}

TEST(FeatureClassRuleTest, replacedConfigurationStaysWithItsHolder) {
    const LoadedMap loaded(map("<featureClass name='Buoy'><condition rulename='A'/></featureClass>"));
    const auto held = loaded.map->find(bstr("BUOY"));
    const auto second = loadInto(*loaded.map, "<featureClass name='Buoy'/>");
    EXPECT_NE(second, held);
    EXPECT_EQ(loaded.map->find(bstr("BUOY")), second);
    EXPECT_EQ(ruleNames(held->defaultConditions), vector<string>{"A"});
}

TEST(FeatureClassRuleTest, mergedConfigurationIsTheOneThatWasThere) {
    const LoadedMap loaded(map("<featureClass name='BUOY'><condition rulename='A'/></featureClass>"));
    const auto held = loaded.map->find(bstr("BUOY"));
    const auto second = loadInto(*loaded.map, "<featureClass name='BUOY'><condition rulename='B'/></featureClass>");
    EXPECT_EQ(second, held);
    EXPECT_EQ(ruleNames(held->defaultConditions), (vector<string>{"A", "B"}));
}

struct NumberCase {
    const char* name;
    const char* number;
    vector<LONG> codes;
};

class SubtypeNumbers : public testing::TestWithParam<NumberCase> {};

TEST_P(SubtypeNumbers, areSplitAndConverted) {
    const LoadedMap loaded(map("<featureClass name='B'><subtype number='" + string(GetParam().number) +
                               "'><condition rulename='A'/></subtype></featureClass>"));
    const auto& rule = loaded.rule("B");
    EXPECT_EQ(codes(rule), GetParam().codes);
    for (const auto& [code, conditions] : rule.subtypeConditions)
        EXPECT_EQ(ruleNames(conditions), vector<string>{"A"}) << code;
    EXPECT_TRUE(loaded.messages->entries().empty());
    EXPECT_EQ(loaded.map->conditions.size(), 1U) << "one condition, however many codes share it";
}

INSTANTIATE_TEST_SUITE_P(
    Rows, SubtypeNumbers,
    testing::Values(NumberCase{"one", "7", {7}}, NumberCase{"ascending_order", "30,4,20", {4, 20, 30}},
                    NumberCase{"blanks_and_trailing_commas", "3, 1,3,,", {1, 3}},
                    NumberCase{"leading_and_double_commas", ",,5,,6", {5, 6}}, NumberCase{"only_commas", ",,,", {}},
                    NumberCase{"empty", "", {}}, NumberCase{"negative", "-2,0", {-2, 0}},
                    NumberCase{"limits", "2147483647,-2147483648", {-2147483647 - 1, 2147483647}},
                    NumberCase{"piece_that_is_no_number_is_skipped", "1,x,2", {1, 2}},
                    NumberCase{"blank_piece_is_skipped", "1, ,2", {1, 2}},
                    NumberCase{"piece_too_great_is_skipped", "1,2147483648,99999999999999999999,2", {1, 2}},
                    NumberCase{"nothing_but_text", "abc", {}}, NumberCase{"plus_sign", "+4", {4}},
                    NumberCase{"semicolon_is_no_separator", "1;2", {}}, NumberCase{"zeros", "007", {7}}),
    [](const auto& entry) { return std::string(entry.param.name); });

TEST(SubtypeTest, codesShareTheConditionObjects) {
    const LoadedMap loaded(
        map("<featureClass name='B'><subtype number='3, 1,3,,'><condition rulename='A'/>"
            "<condition rulename='C'/></subtype></featureClass>"));
    const auto& lists = loaded.rule("B").subtypeConditions;
    ASSERT_EQ(lists.size(), 2U);
    EXPECT_EQ(lists.at(1), lists.at(3));
    EXPECT_EQ(ruleNames(lists.at(1)), (vector<string>{"A", "C"}));
    EXPECT_EQ(loaded.map->conditions, lists.at(1));
}

TEST(SubtypeTest, laterElementAppendsToACodeThatIsThere) {
    const LoadedMap loaded(
        map("<featureClass name='B'><subtype number='1,2'><condition rulename='A'/></subtype>"
            "<subtype number='2,3'><condition rulename='C'/></subtype></featureClass>"));
    const auto& lists = loaded.rule("B").subtypeConditions;
    EXPECT_EQ(ruleNames(lists.at(1)), vector<string>{"A"});
    EXPECT_EQ(ruleNames(lists.at(2)), (vector<string>{"A", "C"}));
    EXPECT_EQ(ruleNames(lists.at(3)), vector<string>{"C"});
}

TEST(SubtypeTest, codeWithoutConditionsHasAnEmptyList) {
    const LoadedMap loaded(map("<featureClass name='B'><subtype number='5'/></featureClass>"));
    ASSERT_EQ(codes(loaded.rule("B")), vector<LONG>{5});
    EXPECT_TRUE(loaded.rule("B").subtypeConditions.at(5).empty());
}

TEST(SubtypeTest, conditionsOfASubtypeAreNotDefaults) {
    const LoadedMap loaded(
        map("<featureClass name='B'><condition rulename='D1'/><subtype number='1'>"
            "<condition rulename='S'/></subtype><condition rulename='D2'/></featureClass>"));
    EXPECT_EQ(ruleNames(loaded.rule("B").defaultConditions), (vector<string>{"D1", "D2"}));
    EXPECT_EQ(ruleNames(loaded.map->conditions), (vector<string>{"S", "D1", "D2"})) << "subtypes are read first";
}

TEST(SubtypeTest, missingNumberRejectsANewClass) {
    const LoadedMap loaded(
        map("<featureClass name='B'><subtype number='1'><condition rulename='A'/></subtype>"
            "<subtype><condition rulename='C'/></subtype><condition rulename='D'/></featureClass>"
            "<featureClass name='E'/>"));
    EXPECT_TRUE(loaded.result);
    EXPECT_EQ(textsOf(loaded.map->featureClassRules), vector<string>{"E"});
    EXPECT_TRUE(loaded.messages->entries().empty());
}

TEST(SubtypeTest, missingNumberKeepsWhatAMergingElementAddedBefore) {
    const LoadedMap loaded(
        map("<featureClass name='B'><condition rulename='A'/></featureClass>"
            "<featureClass name='B'><subtype number='1'><condition rulename='S'/></subtype><subtype/>"
            "<subtype number='2'/><condition rulename='D'/></featureClass>"));
    const auto& rule = loaded.rule("B");
    EXPECT_EQ(codes(rule), vector<LONG>{1});
    EXPECT_EQ(ruleNames(rule.subtypeConditions.at(1)), vector<string>{"S"});
    EXPECT_EQ(ruleNames(rule.defaultConditions), vector<string>{"A"});
}

TEST(FeatureClassRuleTest, discardedConditionLeavesAGap) {
    const LoadedMap loaded(
        map("<featureClass name='B'><condition rulename='A'/><condition rulename='X' xoffset='no'/>"
            "<condition rulename='C'/></featureClass>"));
    EXPECT_EQ(ruleNames(loaded.rule("B").defaultConditions), (vector<string>{"A", "C"}));
    EXPECT_EQ(ruleNames(loaded.map->conditions), (vector<string>{"A", "C"}));
}

TEST(FeatureClassRuleTest, onlyDirectChildrenCount) {
    const LoadedMap loaded(
        map("<featureClass name='B'><group><condition rulename='X'/><subtype number='1'/></group>"
            "<condition rulename='A'><condition rulename='Y'/></condition></featureClass>"));
    EXPECT_EQ(ruleNames(loaded.rule("B").defaultConditions), vector<string>{"A"});
    EXPECT_TRUE(loaded.rule("B").subtypeConditions.empty());
    EXPECT_EQ(ruleNames(loaded.map->conditions), vector<string>{"A"});
}

TEST(ReferencedFieldsTest, qualifiedNameBelongsToAnotherTable) {
    const LoadedMap loaded(map("<featureClass name='B'/>"));
    auto& rule = loaded.rule("B");
    for (const char* name : {"OTHER.FIELD", ".", "A.", "db.owner.t"}) rule.registerReferencedField(bstr(name));
    EXPECT_EQ(textsOf(rule.referencedFields), vector<string>{"SYMBOL_C"});
}

TEST(ReferencedFieldsTest, ruleWithAQualifiedFieldRegistersNothing) {
    const LoadedMap loaded(
        map("<featureClass name='B'><condition><rule type='A' field='OTHER.FIELD' operator='equal' "
            "value='1'/></condition></featureClass>"));
    EXPECT_EQ(loaded.map->rules.size(), 1U);
    EXPECT_EQ(textsOf(loaded.rule("B").referencedFields), vector<string>{"SYMBOL_C"});
}

TEST(ReferencedFieldsTest, namesAreCaseSensitiveAndHeldOnce) {
    const LoadedMap loaded(map("<featureClass name='B'/>"));
    auto& rule = loaded.rule("B");
    for (const char* name : {"Symbol_C", "SYMBOL_C", "Symbol_C"}) rule.registerReferencedField(bstr(name));
    EXPECT_EQ(textsOf(rule.referencedFields), (vector<string>{"Symbol_C", "SYMBOL_C"}));
}

TEST(ReferencedFieldsTest, knownFieldIsNotAdded) {
    const LoadedMap loaded(map("<featureClass name='B'/>"));
    auto& rule = loaded.rule("B");
    rule.knownFields[bstr("DEPTH")] = 1;
    rule.additionalFields.insert(bstr("COLOUR"));
    rule.registerReferencedField(bstr("DEPTH"));
    rule.registerReferencedField(bstr("COLOUR"));
    EXPECT_EQ(textsOf(rule.referencedFields), (vector<string>{"COLOUR", "SYMBOL_C"}));
}

TEST(ReferencedFieldsTest, fieldsOfRulesAndOperandsAndPlacementAreRegistered) {
    const LoadedMap loaded(
        map("<featureClass name='B'><subtype number='1'><condition yoffset='1' angle='2'><rule type='A' field='FIRST' "
            "operator='lt' fieldValue='SECOND'><condition xoffset='3'><rule type='A' field='NESTED' operator='equal'/>"
            "</condition></rule></condition></subtype></featureClass>"));
    EXPECT_EQ(textsOf(loaded.rule("B").referencedFields),
              (vector<string>{"FIRST", "NESTED", "Rotate_C", "SECOND", "SYMBOL_C", "Xoffset_C", "Yoffset_C"}));
}

/// Conditions stay in the document's list whatever becomes of their class, and so do the rules: what they point to must
/// stay, too.
TEST(FeatureClassRuleTest, everyConditionAndRuleOfTheDocumentHasItsClass) {
    const struct {
        const char* name;
        const char* content;
        vector<string> classes;  // by condition
    } rows[] = {
        {"kept", "<featureClass name='Buoy'><condition/></featureClass>", {"Buoy"}},
        {"replaced",
         "<featureClass name='Buoy'><condition><rule type='A' field='F' operator='equal' value='1'><condition/></rule>"
         "</condition></featureClass><featureClass name='buoy'><condition/></featureClass>",
         {"Buoy", "Buoy", "buoy"}},
        {"rejected",  // before it got its name
         "<featureClass name='Buoy'><subtype number='1'><condition/></subtype><subtype/></featureClass>",
         {""}},
        {"rejected with a condition for no subtype",
         "<featureClass name='Buoy'><subtype number=''><condition><rule type='A' field='F' operator='equal' value='1'>"
         "<condition/></rule></condition></subtype><subtype/></featureClass><featureClass name='Light'>"
         "<condition/></featureClass>",
         {"", "", "Light"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const LoadedMap loaded(map(row.content));
        vector<string> classes;
        for (const auto& condition : loaded.map->conditions) {
            ASSERT_NE(condition->featureClassRule, nullptr);
            classes.push_back(utf8(condition->featureClassRule->name.m_str));
        }
        EXPECT_EQ(classes, row.classes);
        for (const auto& rule : loaded.map->rules) EXPECT_EQ(rule->featureClassRule->owner, loaded.map.get());
    }
}

TEST(FeatureClassRuleTest, holderKeepsTheConfigurationAlive) {
    std::shared_ptr<ConditionalXml::FeatureClassRule> held;
    {
        const LoadedMap loaded(map("<featureClass name='B'><condition rulename='A'/></featureClass>"));
        held = loaded.map->find(bstr("B"));
    }
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_EQ(ruleNames(held->defaultConditions), vector<string>{"A"});
}

}  // namespace
