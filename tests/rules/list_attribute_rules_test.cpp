// List attribute rules: a field of comma-separated codes against a set of codes.
#include "rules/list_attribute_rules.h"
#include "cxml/rule_reader.h"

#include "memhost/table.h"
#include "support/loaded_map.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <cctype>
#include <typeinfo>

namespace {

using ConditionalXml::ListAttributeRule;
using ConditionalXml::RowValueMap;
using ConditionalXml::Rule;
using memhost::bstr;
using memhost::Cell;
using memhost::describe;
using memhost::make;
using memhost::Messages;
using memhost::utf8;
using std::string;
using std::vector;

/// Builds the list rule of one element for a class named Wreck, and values of rows for it.
class ListRuleTest : public testing::Test {
protected:
    std::shared_ptr<Rule> create(std::string_view element) {
        const auto document = parseDocument(element);
        return ConditionalXml::createRule(selectNode(document, "/rule"), owner, messages);
    }
    /// A rule over F. Operands are separated by blanks; "-" stands for none.
    std::shared_ptr<ListAttributeRule> listRule(std::string_view keyword, std::string_view operands) {
        string element = "<rule type='L' field='F' operator='" + string(keyword) + "'>";
        if (operands != "-")
            for (std::size_t at = 0; at <= operands.size();) {
                const std::size_t end = std::min(operands.find(' ', at), operands.size());
                element += "<value>" + string(operands.substr(at, end - at)) + "</value>";
                at = end + 1;
            }
        return std::dynamic_pointer_cast<ListAttributeRule>(create(element + "</rule>"));
    }
    RowValueMap rowWith(const Cell& value) const {
        RowValueMap values(owner.fieldNames);
        values.append(bstr("F"), value.value);
        return values;
    }
    bool holds(Rule& rule, const Cell& value) {
        RowValueMap values = rowWith(value);
        return rule.evaluate(values, messages);
    }

    ConditionalXml::ConditionMap map;
    ConditionalXml::FeatureClassRule owner{map};
    CComPtr<Messages> messages = make<Messages>();
};

TEST_F(ListRuleTest, isOfTheListFamily) {
    const auto rule = create("<rule type='L' field='COLOUR' operator='containsany' value='3'/>");
    ASSERT_NE(rule, nullptr);
    EXPECT_EQ(rule->ruleType, 'L');
    const auto list = std::dynamic_pointer_cast<ListAttributeRule>(rule);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(utf8(list->fieldName.m_str), "COLOUR");
    EXPECT_TRUE(list->listItems.empty());
    EXPECT_EQ(textsOf(owner.referencedFields), (vector<string>{"COLOUR", "SYMBOL_C"}));
}

TEST_F(ListRuleTest, operatorPicksTheClass) {
    using namespace ConditionalXml;
    const struct {
        const char* text;
        const std::type_info& type;
    } rows[] = {{"equal", typeid(ListAttributeRuleEqual)},
                {"equals", typeid(ListAttributeRuleEqual)},
                {"Equals", typeid(ListAttributeRuleEqual)},
                {"notequal", typeid(ListAttributeRuleNotEqual)},
                {"NOTEQUALS", typeid(ListAttributeRuleNotEqual)},
                {"containsany", typeid(ListAttributeRuleContainsAny)},
                {"ContainsAny", typeid(ListAttributeRuleContainsAny)},
                {"containsall", typeid(ListAttributeRuleContainsAll)},
                {"containsNone", typeid(ListAttributeRuleContainsNone)},
                {"hasmultiple", typeid(ListAttributeRuleHasMultiple)}};
    for (const auto& row : rows) {
        const auto rule = create("<rule type='L' field='F' operator='" + string(row.text) + "'/>");
        ASSERT_NE(rule, nullptr) << row.text;
        const Rule& made = *rule;
        EXPECT_EQ(typeid(made), row.type) << row.text;
    }
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(ListRuleTest, unknownOperatorIsReportedInSmallLetters) {
    for (const char* keyword : {"LIKE", "lt", "between", "contains", "", "containsany "}) {
        messages->clear();
        EXPECT_EQ(create("<rule type='L' field='F' operator='" + string(keyword) + "' value='1'/>"), nullptr);
        string lower = keyword;
        for (char& c : lower) c = static_cast<char>(std::tolower(c));
        EXPECT_EQ(messages->messages(),
                  vector<string>{"Operator '" + lower + "' not recognized for list attribute rule."});
    }
}

TEST_F(ListRuleTest, unknownOperatorWithoutMessagesIsSilent) {
    const auto document = parseDocument("<rule type='L' field='F' operator='x'/>");
    EXPECT_EQ(ConditionalXml::createRule(selectNode(document, "/rule"), owner, nullptr), nullptr);
}

TEST_F(ListRuleTest, fieldAndOperatorAreRequired) {
    EXPECT_EQ(create("<rule type='L' operator='hasmultiple'/>"), nullptr);
    EXPECT_EQ(create("<rule type='L' field='F' value='1'/>"), nullptr);
    EXPECT_TRUE(messages->entries().empty());
}

struct SplitCase {
    const char* name;
    Cell value;
    vector<LONG> items;
};

TEST_F(ListRuleTest, splitsAtCommasAndKeepsEachCodeOnce) {
    const SplitCase rows[] = {
        {"empty items are none", "3,,5,", {3, 5}},
        {"empty text", "", {}},
        {"commas alone", ",,,", {}},
        {"leading comma", ",4", {4}},
        {"one code", "7", {7}},
        {"repeated code", "7,7,7", {7}},
        {"ascending whatever the order", "9,1,5", {1, 5, 9}},
        {"leading zeros are the same code", "7,007", {7}},
        {"negative codes", "-3,3", {-3, 3}},
        {"blanks around a code", " 3 , 5", {3, 5}},
        {"a token that is no number", "3,red,5", {3, 5}},
        {"a blank token is no number", "3, ,5", {3, 5}},
        {"semicolons do not separate", "3;5", {}},
        {"greatest code", "2147483647", {2147483647}},
        {"least code", "-2147483648", {-2147483647 - 1}},
        {"beyond 32 bits", "2147483648,1", {1}},
        {"ten digits that fit", "1000000000", {1000000000}},
        {"a fraction is rounded", "2.6", {3}},
        {"NULL", nullptr, {}},
        {"a number is not a text", 3, {}},
        {"a double is not a text", 3.0, {}},
    };
    const auto rule = listRule("hasmultiple", "-");
    ASSERT_NE(rule, nullptr);
    for (const SplitCase& row : rows) {
        rule->listItems = {99};
        holds(*rule, row.value);
        EXPECT_EQ(rule->listItems, row.items) << row.name;
    }
}

TEST_F(ListRuleTest, nullBstrIsAnEmptyText) {
    const auto rule = listRule("equal", "-");
    VARIANT nothing;
    VariantInit(&nothing);
    nothing.vt = VT_BSTR;
    nothing.bstrVal = nullptr;
    EXPECT_TRUE(holds(*rule, nothing));
}

TEST_F(ListRuleTest, aRowWithoutTheFieldHasNoItemsAndNoMessage) {
    RowValueMap values(owner.fieldNames);
    EXPECT_TRUE(listRule("equal", "NULL")->evaluate(values, messages));
    EXPECT_FALSE(listRule("containsany", "1")->evaluate(values, messages));
    EXPECT_TRUE(listRule("containsnone", "1")->evaluate(values, messages));
    EXPECT_FALSE(listRule("hasmultiple", "-")->evaluate(values, nullptr));
    EXPECT_TRUE(messages->entries().empty());
}

struct ListCase {
    const char* name;
    const char* keyword;
    const char* operands;
    Cell value;
    bool holds;
};

TEST_F(ListRuleTest, truthTable) {
    const ListCase rows[] = {
        {"equal: one code", "equal", "3", "3", true},
        {"equal: another code", "equal", "3", "4", false},
        {"equal: any order", "equal", "3 5", "5,3", true},
        {"equal: a code more", "equal", "3 5", "3,5,6", false},
        {"equal: a code less", "equal", "3 5", "3", false},
        {"equal: repeated codes count once", "equal", "3", "3,3", true},
        {"equal: counts are compared, not sets", "equal", "1 1", "1,2", true},
        {"equal: repeated operands count", "equal", "1 1", "1", false},
        {"equal: NULL and a NULL field", "equal", "NULL", nullptr, true},
        {"equal: null in small letters", "equal", "null", nullptr, true},
        {"equal: NULL and an empty text", "equal", "NULL", "", true},
        {"equal: NULL and commas alone", "equal", "NULL", ",,", true},
        {"equal: NULL and a code", "equal", "NULL", "1", false},
        {"equal: two NULLs and nothing", "equal", "NULL NULL", nullptr, false},
        {"equal: NULL and a number field", "equal", "NULL", 1, true},
        {"equal: an operand and nothing", "equal", "1", nullptr, false},
        {"equal: no operands and nothing", "equal", "-", nullptr, true},
        {"equal: no operands and a code", "equal", "-", "1", false},
        {"equal: NULL among codes is no member", "equal", "1 NULL", "1,2", false},
        {"equal: an operand that is no number", "equal", "red", "1", false},
        {"equal: a quoted number is a number", "equal", "'3'", "3", true},
        {"equal: a quoted NULL is no NULL", "equal", "'NULL'", nullptr, false},
        {"equal: operands with leading zeros", "equals", "003", "3", true},
        {"notequal: one code", "notequal", "3", "3", false},
        {"notequal: another code", "notequals", "3", "4", true},
        {"notequal: no operands and nothing", "notequal", "-", nullptr, false},
        {"notequal: no operands and codes", "notequal", "-", "1", true},
        {"notequal: NULL and a NULL field", "notequal", "NULL", nullptr, false},
        {"containsany: one of two", "containsany", "5 9", "1,9", true},
        {"containsany: none of two", "containsany", "5 9", "1,2", false},
        {"containsany: no operands", "containsany", "-", "1,2", false},
        {"containsany: no operands and nothing", "containsany", "-", nullptr, false},
        {"containsany: NULL and nothing", "containsany", "NULL", nullptr, true},
        {"containsany: NULL or a code, nothing", "containsany", "5 NULL", "", true},
        {"containsany: NULL and a code", "containsany", "NULL", "1", false},
        {"containsany: after an operand that is no number", "containsany", "x 9", "9", true},
        {"containsnone: one of two", "containsnone", "5 9", "1,9", false},
        {"containsnone: none of two", "containsnone", "5 9", "1,2", true},
        {"containsnone: no operands", "containsnone", "-", "1,2", true},
        {"containsnone: NULL and nothing", "containsnone", "NULL", nullptr, false},
        {"containsall: more operands than codes", "containsall", "1 2 2", "1,2", true},
        {"containsall: as many operands as codes", "containsall", "1 2", "1,2", false},
        {"containsall: fewer operands than codes", "containsall", "1 2", "1,2,3", false},
        {"containsall: one operand is missing", "containsall", "1 2 3", "1,2", false},
        {"containsall: two NULLs and nothing", "containsall", "NULL NULL", nullptr, true},
        {"containsall: NULL and nothing", "containsall", "NULL", "", true},
        {"containsall: an operand and nothing", "containsall", "1", nullptr, false},
        {"containsall: no operands and nothing", "containsall", "-", nullptr, false},
        {"hasmultiple: one distinct code", "hasmultiple", "-", "7,7", false},
        {"hasmultiple: two codes", "hasmultiple", "-", "7,8", true},
        {"hasmultiple: operands are not consulted", "hasmultiple", "1 2 3", "7,8", true},
        {"hasmultiple: nothing", "hasmultiple", "-", nullptr, false},
        {"hasmultiple: commas do not count", "hasmultiple", "-", "7,,", false},
    };
    for (const ListCase& row : rows) {
        const auto rule = listRule(row.keyword, row.operands);
        ASSERT_NE(rule, nullptr) << row.name;
        EXPECT_EQ(holds(*rule, row.value), row.holds) << row.name;
        EXPECT_EQ(holds(*rule, row.value), row.holds) << row.name << ", once more";
    }
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(ListRuleTest, operandsBecomeNumbersWhenTheyAreUsed) {
    const auto rule = listRule("containsany", "1 NULL red 5");
    holds(*rule, "1");  // ends at the first member
    EXPECT_EQ(describe(rule->values[0]), "I4 1");
    EXPECT_EQ(describe(rule->values[3]), "\"5\"");
    holds(*rule, "9");
    EXPECT_EQ(describe(rule->values[1]), "NULL");
    EXPECT_EQ(describe(rule->values[2]), "\"red\"");
    EXPECT_EQ(describe(rule->values[3]), "I4 5");
}

TEST_F(ListRuleTest, itemsOfTheLastRowStay) {
    const auto rule = listRule("equal", "1");
    holds(*rule, "4,2");
    EXPECT_EQ(rule->listItems, (vector<LONG>{2, 4}));
    holds(*rule, nullptr);
    EXPECT_TRUE(rule->listItems.empty());
}

TEST_F(ListRuleTest, onlyTheFirstValueOfAnEntryCounts) {
    RowValueMap values = rowWith("1,2");
    values.append(bstr("F"), Cell("3").value);
    const auto rule = listRule("containsany", "3");
    EXPECT_FALSE(rule->evaluate(values, messages));
}

TEST_F(ListRuleTest, operandFieldIsReadButNotConsulted) {
    const auto rule = std::dynamic_pointer_cast<ListAttributeRule>(
        create("<rule type='L' field='F' operator='equal' fieldValue='G'/>"));
    ASSERT_NE(rule, nullptr);
    EXPECT_EQ(utf8(rule->valueFieldName.m_str), "G");
    RowValueMap values = rowWith("3");
    values.append(bstr("G"), Cell("3").value);
    EXPECT_FALSE(rule->evaluate(values, messages)) << "there are no operands";
    EXPECT_TRUE(holds(*rule, ""));
}

TEST_F(ListRuleTest, tenMegabytesOfCodes) {
    string text;
    while (text.size() < 10'000'000) text += "12,";
    const auto rule = listRule("equal", "12");
    EXPECT_TRUE(holds(*rule, text));
}

}  // namespace
