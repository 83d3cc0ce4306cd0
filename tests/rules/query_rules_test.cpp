// Query rules: what they ask of other tables of the workspace, and what they make of the answers.
#include "rules/query_rule_fixture.h"
#include "symbolize/row_symbolization.h"

#include <gtest/gtest.h>
#include <typeinfo>

namespace {

using ConditionalXml::QueryRule;
using ConditionalXml::QueryRuleExists;
using ConditionalXml::QueryRuleFetch;
using ConditionalXml::Rule;
using memhost::describe;
using memhost::FaultScope;
using memhost::Op;
using memhost::Out;
using memhost::Table;
using memhost::utf8;
using std::string;
using std::vector;

// ---- building ----

TEST_F(QueryRuleTest, operatorPicksTheClass) {
    const struct {
        const char* keyword;
        const std::type_info& type;
    } rows[] = {
        {"exists", typeid(QueryRuleExists)}, {"exist", typeid(QueryRuleExists)}, {"fetch", typeid(QueryRuleFetch)}};
    for (const auto& row : rows) {
        const auto rule = create("<rule type='Q' table='T' operator='" + string(row.keyword) + "'/>");
        ASSERT_NE(rule, nullptr) << row.keyword;
        const Rule& made = *rule;
        EXPECT_EQ(typeid(made), row.type) << row.keyword;
        EXPECT_EQ(rule->ruleType, 'Q');
    }
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(QueryRuleTest, unknownOperatorIsReportedAsWritten) {
    for (const char* keyword : {"Exists", "EXIST", "Fetch", "equal", "", "exists "}) {
        messages->clear();
        EXPECT_EQ(create("<rule type='Q' table='T' operator='" + string(keyword) + "'/>"), nullptr);
        EXPECT_EQ(messages->messages(),
                  vector<string>{"Operator '" + string(keyword) + "' not recognized for query rule."});
    }
}

TEST_F(QueryRuleTest, elementIsReadWhole) {
    const auto rule = std::dynamic_pointer_cast<QueryRule>(create(existsElement));
    ASSERT_NE(rule, nullptr);
    EXPECT_EQ(utf8(rule->tableName.m_str), "LIGHTS");
    EXPECT_EQ(utf8(rule->queryText.m_str), "NAME = '%s' AND KIND = %s");
    ASSERT_EQ(rule->where.pieces().size(), 2U);
    EXPECT_EQ(textsOf(owner.referencedFields), (vector<string>{"CAT", "SYMBOL_C"})) << "constants are no fields";
}

TEST_F(QueryRuleTest, qualifiedParameterIsNotRegistered) {
    create(
        "<rule type='Q' operator='exists' table='T'><query>A = %s</query><params><param value='T.C'/></params></rule>");
    EXPECT_EQ(textsOf(owner.referencedFields), vector<string>{"SYMBOL_C"});
}

TEST_F(QueryRuleTest, constantLosesItsFirstAndLastCharacter) {
    const struct {
        const char* value;
        const char* clause;
    } rows[] = {{"'X'", "A = X"}, {"'Xy", "A = X"}, {"'", "A = "}, {"''", "A = "}, {"'O'Neill'", "A = O'Neill"}};
    for (const auto& row : rows) {
        lights->selects.clear();
        holds("<rule type='Q' operator='exists' table='LIGHTS'><query>A = %s</query><params><param value=\"" +
              string(row.value) + "\"/></params></rule>");
        ASSERT_EQ(lights->selects.size(), 1U) << row.value;
        EXPECT_EQ(lights->selects[0].where, row.clause) << row.value;
    }
}

TEST_F(QueryRuleTest, onlyParamsInsideParamsCount) {
    holds(
        "<rule type='Q' operator='exists' table='LIGHTS'><query>A = %s</query><param value=\"'no'\"/>"
        "<params><other value=\"'no'\"/><param value=\"'yes'\"/></params></rule>");
    ASSERT_EQ(lights->selects.size(), 1U);
    EXPECT_EQ(lights->selects[0].where, "A = yes");
}

TEST_F(QueryRuleTest, fetchReadsItsFieldsAndOption) {
    const struct {
        const char* attributes;
        SelectionOption option;
    } rows[] = {{"", selectionOnlyOne},
                {"selectOption='multiple'", selectionAll},
                {"selectOption='Multiple'", selectionOnlyOne},
                {"selectOption='one'", selectionOnlyOne},
                {"selectOption=''", selectionOnlyOne}};
    for (const auto& row : rows) {
        const auto rule = std::dynamic_pointer_cast<QueryRuleFetch>(create(fetchElement(row.attributes)));
        ASSERT_NE(rule, nullptr);
        EXPECT_EQ(rule->selectOption, row.option) << row.attributes;
        EXPECT_EQ(textsOf(rule->fetchFields), (vector<string>{"HEIGHT", "LITCHR"}));
    }
    EXPECT_EQ(textsOf(owner.referencedFields), (vector<string>{"CAT", "SYMBOL_C"})) << "aliases are not fetched";
}

TEST_F(QueryRuleTest, lastAliasOfAFieldStands) {
    const auto rule = std::dynamic_pointer_cast<QueryRuleFetch>(
        create("<rule type='Q' operator='fetch' table='T'><query>A</query><fields><field name='H' alias='one'/>"
               "<field name='H' alias='two'/></fields></rule>"));
    ASSERT_EQ(rule->fetchFields.size(), 1U);
    EXPECT_EQ(utf8(rule->fetchFields.begin()->second.m_str), "two");
}

TEST_F(QueryRuleTest, nestedConditionsBelongToIt) {
    const auto rule =
        create("<rule type='Q' operator='exists' table='T'><query>A</query><condition rulename='N'/></rule>");
    ASSERT_NE(rule, nullptr);
    EXPECT_EQ(ruleNames(rule->nestedConditions), vector<string>{"N"});
}

// ---- exists ----

TEST_F(QueryRuleTest, existsAsksForOneRowAndNoFields) {
    found = {2, 3};
    EXPECT_TRUE(holds(existsElement));
    ASSERT_EQ(lights->selects.size(), 1U);
    EXPECT_TRUE(lights->selects[0].hasFilter);
    EXPECT_EQ(lights->selects[0].where, "NAME = 'X' AND KIND = 3");
    EXPECT_EQ(lights->selects[0].option, selectionOnlyOne);
    EXPECT_TRUE(lights->selects[0].fields.empty());
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(QueryRuleTest, existsIsFalseWithoutARow) {
    EXPECT_FALSE(holds(existsElement));
    EXPECT_EQ(lights->selects.size(), 1U);
}

TEST_F(QueryRuleTest, tableIsOpenedOnce) {
    const auto rule = create(existsElement);
    for (int i = 0; i < 3; ++i) rule->evaluate(values, messages);
    EXPECT_EQ(workspace->opened, vector<string>{"table LIGHTS"});
    EXPECT_EQ(lights->selects.size(), 3U);
}

TEST_F(QueryRuleTest, incompleteElementsHoldForNoRow) {
    found = {1};
    for (const char* element :
         {"<rule type='Q' operator='exists'><query>A</query></rule>",
          "<rule type='Q' operator='exists' table='LIGHTS'/>", "<rule type='Q' operator='fetch' table='LIGHTS'/>",
          "<rule type='Q' operator='fetch'/>", "<rule type='Q' operator='exists' table=''><query>A</query></rule>"})
        EXPECT_FALSE(holds(element)) << element;
    EXPECT_TRUE(lights->selects.empty());
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(QueryRuleTest, emptyQuerySelectsAll) {
    EXPECT_TRUE(holds("<rule type='Q' operator='exists' table='LIGHTS'><query/></rule>"));
    ASSERT_EQ(lights->selects.size(), 1U);
    EXPECT_EQ(lights->selects[0].where, "");
}

TEST_F(QueryRuleTest, unknownTableIsFalse) {
    EXPECT_FALSE(holds("<rule type='Q' operator='exists' table='NONE'><query>A</query></rule>"));
    EXPECT_FALSE(holds("<rule type='Q' operator='fetch' table='NONE'><query>A</query></rule>"));
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(QueryRuleTest, missingParameterNamesTheQueriedTable) {
    found = {1};
    values.clear();
    EXPECT_FALSE(holds(existsElement));
    EXPECT_FALSE(holds(fetchElement()));
    EXPECT_EQ(messages->messages(), (vector<string>{"Rule referenced field 'CAT' not found on 'LIGHTS'",
                                                    "Rule referenced field 'CAT' not found on 'LIGHTS'"}));
    EXPECT_TRUE(lights->selects.empty()) << "no query runs with a clause that is not whole";
    EXPECT_FALSE(create(existsElement)->evaluate(values, nullptr));
}

TEST_F(QueryRuleTest, severalValuesJoinInTheClause) {
    put("CAT", 4);
    holds(
        "<rule type='Q' operator='exists' table='LIGHTS'><query>A IN ('%s') OR B IN (%s)</query>"
        "<params><param value='CAT'/><param value='CAT'/></params></rule>");
    ASSERT_EQ(lights->selects.size(), 1U);
    EXPECT_EQ(lights->selects[0].where, "A IN ('3','4') OR B IN (3,4)");
}

// ---- fetch ----

TEST_F(QueryRuleTest, fetchStoresTheValuesOfOneRow) {
    found = {2, 3};
    EXPECT_TRUE(holds(fetchElement()));
    EXPECT_EQ(valuesOf("LightHeight"), vector<string>{"R8 2.5"});
    EXPECT_EQ(valuesOf("LightChar"), vector<string>{"\"Fl\""});
    ASSERT_EQ(lights->selects.size(), 1U);
    EXPECT_EQ(lights->selects[0].option, selectionOnlyOne);
    EXPECT_EQ(lights->selects[0].fields, (vector<string>{"HEIGHT", "LITCHR"}));
    EXPECT_EQ(lights->selects[0].where, "OWNER = 3");
}

TEST_F(QueryRuleTest, fetchMultipleStoresThemAllInTheOrderOfTheIds) {
    found = {3, 1};
    EXPECT_TRUE(holds(fetchElement("selectOption='multiple'")));
    EXPECT_EQ(valuesOf("LightHeight"), (vector<string>{"NULL", "R8 1.5"}));
    EXPECT_EQ(valuesOf("LightChar"), (vector<string>{"\"Oc\"", "\"F\""}));
}

TEST_F(QueryRuleTest, fetchWithoutARowIsFalseAndChangesNothing) {
    EXPECT_FALSE(holds(fetchElement("selectOption='multiple'")));
    EXPECT_TRUE(valuesOf("LightHeight").empty());
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(QueryRuleTest, fetchAgainAccumulates) {
    found = {1};
    const auto rule = create(fetchElement());
    EXPECT_TRUE(rule->evaluate(values, messages));
    found = {2};
    EXPECT_TRUE(rule->evaluate(values, messages));
    EXPECT_EQ(valuesOf("LightHeight"), (vector<string>{"R8 1.5", "R8 2.5"}));
}

TEST_F(QueryRuleTest, aliasOfARowsFieldAppendsToIt) {
    found = {2};
    EXPECT_TRUE(
        holds("<rule type='Q' operator='fetch' table='LIGHTS'><query>A</query>"
              "<fields><field name='HEIGHT' alias='CAT'/></fields></rule>"));
    EXPECT_EQ(valuesOf("CAT"), (vector<string>{"I4 3", "R8 2.5"}));
}

TEST_F(QueryRuleTest, twoFieldsMayShareAnAlias) {
    found = {2};
    EXPECT_TRUE(
        holds("<rule type='Q' operator='fetch' table='LIGHTS'><query>A</query><fields>"
              "<field name='LITCHR' alias='x'/><field name='HEIGHT' alias='x'/></fields></rule>"));
    EXPECT_EQ(valuesOf("x"), (vector<string>{"R8 2.5", "\"Fl\""})) << "in the order of the fields' names";
}

TEST_F(QueryRuleTest, fieldThatIsFoundWithAnotherSuccessIsRead) {
    found = {1};
    const char* const element =
        "<rule type='Q' operator='fetch' table='LIGHTS'><query>A</query><fields>"
        "<field name='HEIGHT' alias='height'/></fields></rule>";
    {
        const FaultScope fault({.op = Op::FieldsFindField, .status = S_FALSE, .everAfter = true, .out = Out::Filled});
        EXPECT_TRUE(holds(element));
        EXPECT_TRUE(fault.hit());
    }
    EXPECT_EQ(valuesOf("height"), vector<string>{"R8 1.5"});
    EXPECT_TRUE(messages->entries().empty());
    const FaultScope fault({.op = Op::FieldsFindField, .status = S_OK, .everAfter = true, .out = Out::Untouched});
    EXPECT_TRUE(holds(element));
    EXPECT_EQ(valuesOf("height"), vector<string>{"R8 1.5"}) << "found, and nobody says where";
    EXPECT_EQ(messages->messages().size(), 1U);
}

TEST_F(QueryRuleTest, missingFieldsOfTheTableAreToldRowByRow) {
    found = {1, 2};
    EXPECT_TRUE(
        holds("<rule type='Q' operator='fetch' table='LIGHTS' selectOption='multiple'><query>A</query><fields>"
              "<field name='height' alias='no'/><field name='LITCHR' alias='yes'/></fields></rule>"));
    EXPECT_EQ(valuesOf("yes"), (vector<string>{"\"F\"", "\"Fl\""}));
    const string text = "Field 'height' referenced by query fetch rule in CXML does not exist on LIGHTS.";
    EXPECT_EQ(messages->messages(), (vector<string>{text, text}));
}

TEST_F(QueryRuleTest, rowsThatCannotBeReadAreLeftOut) {
    found = {1, 99, 2};
    EXPECT_TRUE(holds(fetchElement("selectOption='multiple'")));
    EXPECT_EQ(valuesOf("LightChar"), (vector<string>{"\"F\"", "\"Fl\""}));
}

TEST_F(QueryRuleTest, everythingAskedForIsGivenBack) {
    found = {1, 2, 3};
    const std::size_t before = memhost::liveObjects();
    const auto rule = create(fetchElement("selectOption='multiple'"));
    rule->evaluate(values, messages);
    values.clear();
    EXPECT_EQ(memhost::liveObjects(), before) << "but for the table, which was there before";
}

// ---- in a document ----

TEST_F(QueryRuleTest, fetchedValuesReachLaterRulesAndNestedConditions) {
    const LoadedMap loaded = LoadedMap::ofClass(
        "Buoy",
        "<condition rulename='OUTER'>" + fetchElement() +
            "<rule type='A' field='LightChar' operator='equal' value='Fl'>"
            "<condition rulename='HIGH' angle='1'><rule type='A' field='LightHeight' operator='gt' "
            "value='2'/></condition>"
            "</rule></condition>"
            "<condition rulename='LATER'><rule type='A' field='LightChar' operator='equal' value='Oc'/></condition>");
    ASSERT_TRUE(loaded.result);
    const auto boat = Table("BUOY").symbologyFields().field("CAT", VT_I4).row({nullptr, 0.0, 0.0, 0.0, 7}).build();
    workspace->add(datasetFeatureClass, boat);
    found = {2};
    ConditionalXml::RowSymbolization rows(loaded.rule("BUOY"));
    const auto row = boat->row(0);
    EXPECT_TRUE(rows.symbolize(row, -1, nullptr));
    EXPECT_EQ(describe(row->value("SYMBOL_C")), "\"OUTER\"");
    EXPECT_EQ(describe(row->value("Rotate_C")), "R8 1") << "the nested condition matched";
    EXPECT_EQ(lights->selects.back().where, "OWNER = 7");
    found = {};
    const auto again = boat->row(0);
    EXPECT_FALSE(rows.symbolize(again, -1, nullptr)) << "what a row fetched is gone with it";
}

TEST_F(QueryRuleTest, tableThatDisappearsInMidRunIsFalse) {
    found = {1};
    const auto rule = create(existsElement);
    EXPECT_TRUE(rule->evaluate(values, messages));
    {
        const FaultScope gone({.op = Op::TableSelect, .everAfter = true, .description = "no such table: LIGHTS"});
        EXPECT_FALSE(rule->evaluate(values, messages));
    }
    EXPECT_TRUE(rule->evaluate(values, messages));
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(QueryRuleTest, otherPiecesHoldDataAsItIs) {
    string huge;
    huge.resize(10'000'000, 'x');
    for (const string& text : {string("O'Neill"), string("a;b"), string("100%"), string("%s%n"), string("line\nline"),
                               string("a\0b", 3), huge}) {
        values.clear();
        put("CAT", text);
        lights->selects.clear();
        holds(
            "<rule type='Q' operator='exists' table='LIGHTS'><query>A = '%s'</query>"
            "<params><param value='CAT'/></params></rule>");
        ASSERT_EQ(lights->selects.size(), 1U);
        EXPECT_EQ(lights->selects[0].where, "A = '" + text + "'");
    }
}

}  // namespace
