// The rule factory, and the reading of a rule's operands and field.
#include "cxml/rule_reader.h"
#include "rules/attribute_rules.h"
#include "rules/query_rules.h"
#include "support/loaded_map.h"

#include <gtest/gtest.h>
#include <array>
#include <bit>
#include <cstddef>
#include <typeinfo>

namespace {

using ConditionalXml::CXAttributeRule;
using ConditionalXml::Rule;
using memhost::describe;
using memhost::make;
using memhost::Messages;
using memhost::utf8;
using std::string;
using std::vector;

/// Builds the rule of one element for a class named Buoy.
class RuleTest : public testing::Test {
protected:
    std::shared_ptr<Rule> create(std::string_view element) {
        const auto document = parseDocument(element);
        return ConditionalXml::createRule(selectNode(document, "/rule"), owner, messages);
    }
    std::shared_ptr<CXAttributeRule> createAttribute(std::string_view element) {
        return std::dynamic_pointer_cast<CXAttributeRule>(create(element));
    }
    /// The operands of a rule with that inside, for reading.
    vector<string> operands(std::string_view attributes, std::string_view children = "") {
        const auto rule = createAttribute("<rule type='A' operator='equal' field='F' " + string(attributes) + ">" +
                                          string(children) + "</rule>");
        if (!rule) return {"(no rule)"};
        vector<string> texts;
        for (const CComVariant& value : rule->values) texts.push_back(describe(value));
        return texts;
    }

    ConditionalXml::ConditionMap map;
    ConditionalXml::FeatureClassRule owner{map};
    CComPtr<Messages> messages = make<Messages>();
};

TEST_F(RuleTest, attributeRule) {
    const auto rule = createAttribute("<rule type='A' operator='equal' field='COLOUR' value='3'/>");
    ASSERT_NE(rule, nullptr);
    EXPECT_EQ(rule->ruleType, 'A');
    EXPECT_EQ(rule->conditionMap, &map);
    EXPECT_EQ(rule->featureClassRule, &owner);
    EXPECT_EQ(utf8(rule->fieldName.m_str), "COLOUR");
    EXPECT_EQ(rule->valueFieldName.m_str, nullptr);
    EXPECT_TRUE(rule->nestedConditions.empty());
    EXPECT_EQ(textsOf(owner.referencedFields), (vector<string>{"COLOUR", "SYMBOL_C"}));
}

TEST_F(RuleTest, baseHasNoFamilyYet) {
    struct Plain : Rule {
        using Rule::Rule;
        bool evaluate(ConditionalXml::RowValueMap&, IGPMessages*) override { return true; }
    };
    EXPECT_EQ(Plain(owner.ruleOwner()).ruleType, '_');
}

TEST_F(RuleTest, typesThatMakeNoRule) {
    for (const char* element :
         {"<rule operator='equal' field='F'/>", "<rule type='a' operator='equal' field='F'/>",
          "<rule type='' operator='equal' field='F'/>", "<rule type='A ' operator='equal' field='F'/>",
          "<rule type='AA' operator='equal' field='F'/>", "<rule type='X' operator='equal' field='F'/>",
          "<rule TYPE='A' operator='equal' field='F'/>", "<rule type='l' operator='equal' field='F'/>",
          "<rule type='q' operator='exists' table='T'/>"})
        EXPECT_EQ(create(element), nullptr) << element;
    EXPECT_TRUE(messages->entries().empty());
    EXPECT_EQ(textsOf(owner.referencedFields), vector<string>{"SYMBOL_C"});
}

TEST_F(RuleTest, fieldIsRequired) {
    EXPECT_EQ(create("<rule type='A' operator='equal' value='1'/>"), nullptr);
    EXPECT_EQ(create("<rule type='A' operator='equal' FIELD='F' value='1'/>"), nullptr);
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(RuleTest, operandFieldIsRegisteredThoughTheRuleFails) {
    EXPECT_EQ(create("<rule type='A' operator='equal' fieldValue='OTHER'/>"), nullptr);
    EXPECT_EQ(textsOf(owner.referencedFields), (vector<string>{"OTHER", "SYMBOL_C"}));
}

TEST_F(RuleTest, emptyFieldIsAField) {
    const auto rule = createAttribute("<rule type='A' operator='equal' field='' value='1'/>");
    ASSERT_NE(rule, nullptr);
    EXPECT_EQ(rule->fieldName.Length(), 0U);
}

struct OperatorCase {
    const char* text;
    const std::type_info& type;
};

TEST_F(RuleTest, operatorPicksTheClass) {
    using namespace ConditionalXml;
    const OperatorCase rows[] = {{"equal", typeid(CXAttributeRuleEqual)},
                                 {"equals", typeid(CXAttributeRuleEqual)},
                                 {"EQUALS", typeid(CXAttributeRuleEqual)},
                                 {"Equal", typeid(CXAttributeRuleEqual)},
                                 {"notequal", typeid(CXAttributeRuleNotEqual)},
                                 {"NotEquals", typeid(CXAttributeRuleNotEqual)},
                                 {"lt", typeid(CXAttributeRuleLt)},
                                 {"LTE", typeid(CXAttributeRuleLte)},
                                 {"gT", typeid(CXAttributeRuleGt)},
                                 {"gte", typeid(CXAttributeRuleGte)},
                                 {"Between", typeid(CXAttributeRuleBetween)},
                                 {"LIKE", typeid(CXAttributeRuleLike)},
                                 {"notLike", typeid(CXAttributeRuleNotLike)}};
    for (const OperatorCase& row : rows) {
        const auto rule = create("<rule type='A' field='F' operator='" + string(row.text) + "'/>");
        ASSERT_NE(rule, nullptr) << row.text;
        const Rule& made = *rule;
        EXPECT_EQ(typeid(made), row.type) << row.text;
        EXPECT_EQ(rule->ruleType, 'A') << row.text;
    }
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(RuleTest, unknownOperatorIsReportedInSmallLetters) {
    const struct {
        const char* text;
        const char* message;
    } rows[] = {{"eq", "Operator 'eq' not recognized for attribute rule."},
                {"EQ", "Operator 'eq' not recognized for attribute rule."},
                {"", "Operator '' not recognized for attribute rule."},
                {"equal ", "Operator 'equal ' not recognized for attribute rule."},
                {"\xC3\x98GET", "Operator '\xC3\xB8get' not recognized for attribute rule."},
                {"not equal", "Operator 'not equal' not recognized for attribute rule."}};
    for (const auto& row : rows) {
        messages->clear();
        EXPECT_EQ(create("<rule type='A' field='F' operator='" + string(row.text) + "'/>"), nullptr) << row.text;
        EXPECT_EQ(messages->messages(), vector<string>{row.message});
    }
    EXPECT_EQ(textsOf(owner.referencedFields), vector<string>{"SYMBOL_C"}) << "nothing was read of these rules";
}

TEST_F(RuleTest, missingOperatorIsSilent) {
    EXPECT_EQ(create("<rule type='A' field='F'/>"), nullptr);
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(RuleTest, unknownOperatorWithoutMessages) {
    const auto document = parseDocument("<rule type='A' field='F' operator='eq'/>");
    EXPECT_EQ(ConditionalXml::createRule(selectNode(document, "/rule"), owner, nullptr), nullptr);
}

TEST_F(RuleTest, operandTexts) {
    const struct {
        const char* name;
        const char* text;  // as the attribute is written
        const char* operand;
    } rows[] = {{"plain", "abc", "\"abc\""},
                {"number stays a text", "5", "\"5\""},
                {"empty", "", "\"\""},
                {"blanks stay", " a ", "\" a \""},
                {"quoted", "&apos;abc&apos;", "\"abc\""},
                {"last character is dropped whatever it is", "&apos;abc", "\"ab\""},
                {"lone apostrophe", "&apos;", "\"\""},
                {"two apostrophes", "&apos;&apos;", "\"\""},
                {"apostrophe within", "&apos;it&apos;s&apos;", "\"it's\""},
                {"apostrophe at the end only", "abc&apos;", "\"abc'\""},
                {"double quotes are plain", "&quot;abc&quot;", "\"\"abc\"\""},
                {"NULL", "NULL", "NULL"},
                {"null", "null", "NULL"},
                {"Null", "Null", "\"Null\""},
                {"nULL", "nULL", "\"nULL\""},
                {"NULL with a blank", "NULL ", "\"NULL \""},
                {"quoted NULL", "&apos;NULL&apos;", "\"NULL\""},
                {"quoted null", "&apos;null&apos;", "\"null\""}};
    for (const auto& row : rows) {
        EXPECT_EQ(operands("value='" + string(row.text) + "'"), vector<string>{row.operand}) << row.name;
        const CComPtr<IXMLDOMDocument> document = parseDocument("<v a='" + string(row.text) + "'/>");
        CComBSTR text;
        ASSERT_EQ(selectNode(document, "/v/@a")->get_text(&text), S_OK);
        EXPECT_EQ(describe(ConditionalXml::makeOperand(WideView(text, text.Length()))), row.operand) << row.name;
    }
}

TEST_F(RuleTest, operandsFromChildElements) {
    EXPECT_EQ(operands("", "<value>1</value><value>'b'</value><value>NULL</value><value/>"),
              (vector<string>{"\"1\"", "\"b\"", "NULL", "\"\""}));
    EXPECT_EQ(operands("", "<value><![CDATA[ <x> ]]></value><value>a<i>b</i>c</value>"),
              (vector<string>{"\" <x> \"", "\"abc\""}));
    EXPECT_EQ(operands("", "<group><value>1</value></group><Value>2</Value>"), vector<string>{});
    EXPECT_EQ(operands(""), vector<string>{}) << "no operand at all makes a rule all the same";
}

TEST_F(RuleTest, attributeOperandHidesTheChildren) {
    EXPECT_EQ(operands("value='1'", "<value>2</value>"), vector<string>{"\"1\""});
    EXPECT_EQ(operands("value=''", "<value>2</value>"), vector<string>{"\"\""});
}

TEST_F(RuleTest, operandFieldHidesEveryOperand) {
    const auto rule =
        createAttribute("<rule type='A' operator='equal' field='F' fieldValue='G' value='1'><value>2</value></rule>");
    ASSERT_NE(rule, nullptr);
    EXPECT_EQ(utf8(rule->valueFieldName.m_str), "G");
    EXPECT_TRUE(rule->values.empty());
    EXPECT_EQ(textsOf(owner.referencedFields), (vector<string>{"F", "G", "SYMBOL_C"}));
}

TEST_F(RuleTest, operandFieldOfEmptyName) {
    const auto rule = createAttribute("<rule type='A' operator='equal' field='F' fieldValue='' value='1'/>");
    ASSERT_NE(rule, nullptr);
    EXPECT_EQ(rule->valueFieldName.Length(), 0U);
    EXPECT_TRUE(rule->values.empty());
}

TEST_F(RuleTest, nestedConditionsAreAttachedAndListed) {
    const auto rule = create(
        "<rule type='A' operator='equal' field='F'><condition rulename='N1'/><condition rulename='bad' angle='x'/>"
        "<condition rulename='N2'><rule type='A' operator='eq' field='G'/></condition><condition rulename='N3'/>"
        "<group><condition rulename='deep'/></group></rule>");
    ASSERT_NE(rule, nullptr);
    EXPECT_EQ(ruleNames(rule->nestedConditions), (vector<string>{"N1", "N3"}));
    EXPECT_EQ(ruleNames(map.conditions), (vector<string>{"N1", "N3"}));
    EXPECT_TRUE(messages->entries().empty()) << "faults inside nested conditions are not reported";
}

TEST_F(RuleTest, ruleThatFailsBuildsNoNestedConditions) {
    EXPECT_EQ(create("<rule type='A' operator='equal'><condition angle='1'/></rule>"), nullptr);
    EXPECT_TRUE(map.conditions.empty());
    EXPECT_EQ(textsOf(owner.referencedFields), vector<string>{"SYMBOL_C"});
}

/// The virtual functions that each class promises, in their order and no others before them: of the same shape, so
/// that the compiler gives them the slots that the library's functions must have.
struct RuleSlots {
    virtual ~RuleSlots() = default;
    virtual bool evaluate(ConditionalXml::RowValueMap&, IGPMessages*) = 0;
};
struct AttributeRuleSlots : RuleSlots {
    virtual bool compare(const VARIANT&, const VARIANT&) const = 0;
};
struct QueryRuleSlots : RuleSlots {
    virtual void parse(const ConditionalXml::QueryElement&) = 0;
};

/// A pointer to a virtual function names its slot; both platforms' compilers lay it out alike for such classes.
template <class Function>
std::array<std::byte, sizeof(Function)> slot(Function function) {
    return std::bit_cast<std::array<std::byte, sizeof(Function)>>(function);
}

TEST(RuleSlotsTest, virtualFunctionsStandInTheirOrder) {
    EXPECT_EQ(slot(&Rule::evaluate), slot(&RuleSlots::evaluate));
    EXPECT_EQ(slot(&CXAttributeRule::evaluate), slot(&RuleSlots::evaluate));
    EXPECT_EQ(slot(&CXAttributeRule::compare), slot(&AttributeRuleSlots::compare));
    EXPECT_EQ(slot(&ConditionalXml::QueryRule::parse), slot(&QueryRuleSlots::parse));
    // What tells slots apart at all.
    EXPECT_NE(slot(&RuleSlots::evaluate), slot(&AttributeRuleSlots::compare));
}

}  // namespace
