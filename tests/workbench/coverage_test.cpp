// What coverage counts of conditions and rules, row by row and word for word.
#include "tools/workbench/coverage.h"

#include "cxml/condition_map.h"
#include "memhost/faults.h"
#include "memhost/table.h"
#include "memhost/workspace.h"
#include "rules/list_attribute_rules.h"
#include "support/loaded_manager.h"
#include "symbolize/runs.h"
#include "text/text.h"

#include <gtest/gtest.h>
#include <functional>
#include <map>

namespace {

using ConditionalXml::Condition;
using ConditionalXml::FeatureClassRule;
using ConditionalXml::narrow;
using cxml::ClassCounts;
using cxml::ConditionCounts;
using cxml::Coverage;
using cxml::RuleCounts;
using memhost::bstr;
using memhost::Cell;
using memhost::describe;
using memhost::FaultScope;
using memhost::Op;
using memhost::Table;
using std::string;
using std::vector;

string nameOf(const Condition* condition) {
    if (!condition) return "nothing";
    return condition->rulename.Length() == 0 ? "-" : narrow(ConditionalXml::view(condition->rulename));
}

/// What is not zero, a line for the condition and one for each of its rules.
void describe(Coverage& coverage, const FeatureClassRule::ConditionList& conditions, vector<string>& lines) {
    const auto text = [](std::initializer_list<std::pair<const char*, std::int64_t>> counts) {
        string all;
        for (const auto& [name, count] : counts)
            if (count != 0) all += string(" ") + name + ' ' + std::to_string(count);
        return all;
    };
    for (const auto& condition : conditions) {
        const ConditionCounts& counts = coverage.of(*condition);
        string line = nameOf(condition.get()) + ':' +
                      text({{"reached", counts.reached},
                            {"held", counts.held},
                            {"decided", counts.decided},
                            {"unmeasured", counts.unmeasured},
                            {"failed", counts.failed}});
        std::map<string, std::int64_t> replaced;
        for (const auto& [by, rows] : counts.replacedBy) replaced[nameOf(by)] = rows;
        for (const auto& [by, rows] : replaced) line += " by " + by + ' ' + std::to_string(rows);
        lines.push_back(line);
        for (std::size_t i = 0; i < condition->rules.size(); ++i) {
            const RuleCounts& rule = counts.rules.at(i);
            lines.push_back("  rule" + text({{"held", rule.held},
                                             {"failed", rule.failed},
                                             {"alone", rule.alone},
                                             {"unattributed", rule.unattributed},
                                             {"unmeasured", rule.unmeasured}}));
            describe(coverage, condition->rules[i]->nestedConditions, lines);
        }
    }
}

/// A class Buoy with A and B (I4), T (text) and SUB, its subtype; and a table LIGHTS with one row, for N = 1.
class CoverageTest : public testing::Test {
protected:
    using Row = vector<Cell>;  // A, B, T, SUB

    /// Runs the document over the rows. \return all counts of its class; `during` is called before the run.
    vector<string> countsOf(const string& content, const vector<Row>& rows,
                            const std::function<void(memhost::TableObject&)>& during = {}) {
        const SymbologyManager manager =
            managerOf("<conditionMap name='m'><featureClass name='Buoy'>" + content + "</featureClass></conditionMap>");
        Table builder("Buoy");
        builder.symbologyFields().field("A", VT_I4).field("B", VT_I4).field("T", VT_BSTR).field("SUB", VT_I4);
        builder.field("LABEL", VT_BSTR).subtypes("SUB");
        for (const Row& row : rows) {
            vector<Cell> cells{nullptr, nullptr, nullptr, nullptr};
            cells.insert(cells.end(), row.begin(), row.end());
            cells.resize(9, nullptr);
            builder.row(cells);
        }
        const auto table = builder.build();
        const auto lights = Table("LIGHTS").field("HEIGHT", VT_I4).row({2}).build();
        lights->answerWhere = [this](const string& where) {
            ++questions;
            return where == "N = 1" ? vector<ObjectId>{1} : vector<ObjectId>{};
        };
        const auto workspace = memhost::make<memhost::Workspace>(workspaceFileSystem);
        workspace->add(datasetFeatureClass, table);
        workspace->add(datasetTable, lights);
        if (during) during(*table);
        const FeatureClassRule& rule = ruleOf(manager, "BUOY");
        Coverage coverage;
        EXPECT_FALSE(coverage.hasRunOf(rule));
        coverage.beginRun(rule);
        try {
            ConditionalXml::symbolizeFeatureClass(*SymbologyManagerAccess::currentMap(manager), bstr("BUOY"),
                                                  table->featureClass(), nullptr, nullptr,
                                                  ConditionalXml::RowSymbolization::Answers::Evaluated, &coverage);
        } catch (const CAtlException&) {
            endedEarly = true;
        }
        coverage.endRun();
        EXPECT_TRUE(coverage.hasRunOf(rule));
        counts = coverage.of(rule);
        vector<string> lines;
        describe(coverage, rule.defaultConditions, lines);
        for (const auto& [code, conditions] : rule.subtypeConditions) describe(coverage, conditions, lines);
        return lines;
    }

    ClassCounts counts;
    bool endedEarly = false;
    int questions = 0;
};

string equal(const char* field, const char* value, const string& nested = {}) {
    return string("<rule type='A' operator='equal' field='") + field + "' value='" + value + "'>" + nested + "</rule>";
}

string named(const char* name, const string& content) {
    return string("<condition rulename='") + name + "'>" + content + "</condition>";
}

string query(const char* op, const char* table = "LIGHTS", const char* alias = "H") {
    return string("<rule type='Q' operator='") + op + "' table='" + table +
           "'><query>N = %s</query><params><param value='A'/></params><fields><field name='HEIGHT' alias='" + alias +
           "'/></fields></rule>";
}

TEST_F(CoverageTest, whichRuleIsAloneToBlame) {
    const string content = named("C", equal("A", "1") + equal("B", "1") + equal("T", "x"));
    const vector<Row> rows{{1, 1, "x"}, {2, 1, "x"}, {2, 2, "x"}, {1, 2, "x"}, {1, 2, "y"}, {1, 1, "y"}};
    EXPECT_EQ(countsOf(content, rows),
              (vector<string>{"C: reached 6 held 1 decided 1", "  rule held 4 failed 2 alone 1",
                              "  rule held 2 failed 2 alone 1", "  rule held 1 failed 1 alone 1"}));
    EXPECT_EQ(counts.rows, 6);
    EXPECT_EQ(counts.runs, 1);
    EXPECT_EQ(counts.unmeasured, 0);
}

TEST_F(CoverageTest, everyKindOfRuleOverFieldsIsAskedForIt) {
    const struct {
        const char* name;
        string rule;
        Row holds;
        Row fails;
    } kinds[] = {
        {"list", "<rule type='L' operator='containsany' field='T' value='3'/>", {2, 0, "1,3"}, {2, 0, "1,2"}},
        {"second field", "<rule type='A' operator='lt' field='B' fieldValue='A'/>", {2, 0}, {2, 4}},
        {"missing field", "<rule type='A' operator='notequal' field='FAR' value='1'/>", {2}, {}},
        {"pattern", "<rule type='A' operator='like' field='T' value='a*'/>", {2, 0, "ab"}, {2, 0, "ba"}},
        {"no value", equal("T", "NULL"), {2, 0, nullptr}, {2, 0, "x"}},
    };
    for (const auto& kind : kinds) {
        SCOPED_TRACE(kind.name);
        const string content = named("C", equal("A", "1") + kind.rule);
        EXPECT_EQ(countsOf(content, {kind.holds}).at(1), "  rule failed 1 alone 1");
        if (kind.fails.empty()) continue;
        EXPECT_EQ(countsOf(content, {kind.fails}).at(1), "  rule failed 1");
    }
}

// The run has not come to the rule for these rows: operands must be as it finds them when it does.
TEST_F(CoverageTest, askedRulesKeepTheirOperands) {
    const string content = named("C", equal("A", "1") + "<rule type='A' operator='equal' field='B'>" +
                                          "<value>1.4</value></rule><rule type='L' operator='equal' field='T'>" +
                                          "<value>1.4</value></rule>");
    const SymbologyManager manager =
        managerOf("<conditionMap name='m'><featureClass name='Buoy'>" + content + "</featureClass></conditionMap>");
    const auto table = Table("Buoy")
                           .symbologyFields()
                           .field("A", VT_I4)
                           .field("B", VT_I4)
                           .field("T", VT_BSTR)
                           .row({nullptr, nullptr, nullptr, nullptr, 2, 1, "1"})
                           .build();
    FeatureClassRule& rule = ruleOf(manager, "BUOY");
    Coverage coverage;
    coverage.beginRun(rule);
    ConditionalXml::symbolizeFeatureClass(*SymbologyManagerAccess::currentMap(manager), bstr("BUOY"),
                                          table->featureClass(), nullptr, nullptr,
                                          ConditionalXml::RowSymbolization::Answers::Evaluated, &coverage);
    coverage.endRun();
    const auto& rules = rule.defaultConditions.front()->rules;
    EXPECT_EQ(coverage.of(*rule.defaultConditions.front()).rules.front().alone, 1) << "both hold when they are asked";
    const auto& list = dynamic_cast<const ConditionalXml::ListAttributeRule&>(*rules[2]);
    EXPECT_EQ(describe(dynamic_cast<const ConditionalXml::CXAttributeRule&>(*rules[1]).values.at(0)), "\"1.4\"");
    EXPECT_EQ(describe(list.values.at(0)), "\"1.4\"");
    EXPECT_TRUE(list.listItems.empty());
}

TEST_F(CoverageTest, whoseNameTookThePlace) {
    EXPECT_EQ(countsOf("<condition rulename='D'/>" + named("ONE", equal("A", "1")) + named("B", equal("B", "1")) +
                           "<condition angle='5'/>",
                       {{1, 1}, {1, 2}, {2, 1}, {2, 2}}),
              (vector<string>{"D: reached 4 held 4 decided 1 by B 2 by ONE 1", "ONE: reached 4 held 2 decided 1 by B 1",
                              "  rule held 2 failed 2 alone 2", "B: reached 4 held 2 decided 2",
                              "  rule held 2 failed 2 alone 2", "-: reached 4 held 4"}));
    EXPECT_EQ(countsOf("<condition rulename='D'/><subtype number='1,2'><condition rulename='S'/></subtype>",
                       {{1, 1, nullptr, 1}, {1, 1, nullptr, 2}, {1, 1, nullptr, 3}}),
              (vector<string>{"D: reached 1 held 1 decided 1", "S: reached 2 held 2 decided 2",
                              "S: reached 2 held 2 decided 2"}))
        << "one condition in the lists of two codes";
}

TEST_F(CoverageTest, nestedConditionsCountForThemselves) {
    const string inner = named("IN", equal("B", "1"));
    EXPECT_EQ(countsOf(named("OUT", equal("A", "1", inner)), {{1, 1}, {2, 1}, {1, 2}}),
              (vector<string>{"OUT: reached 3 held 2 decided 2", "  rule held 2 failed 1 alone 1",
                              "IN: reached 2 held 1 by OUT 1", "  rule held 1 failed 1 alone 1"}));
    EXPECT_EQ(
        countsOf(named("OUT", equal("A", "1", inner) + equal("T", "x")), {{1, 1, "y"}, {1, 1, "x"}}),
        (vector<string>{"OUT: reached 2 held 1 decided 1", "  rule held 2", "IN: reached 2 held 2 decided 1 by OUT 1",
                        "  rule held 2", "  rule held 1 failed 1 alone 1"}))
        << "its name stands where the outer condition fails later";
}

TEST_F(CoverageTest, queriesAreNotAskedForBlame) {
    EXPECT_EQ(
        countsOf(named("C", equal("A", "1") + query("exists")), {{1}, {2}, {3}}),
        (vector<string>{"C: reached 3 held 1 decided 1", "  rule held 1 failed 2 unattributed 2", "  rule held 1"}));
    EXPECT_EQ(questions, 1);
    // What fails for certain is told all the same.
    EXPECT_EQ(countsOf(named("C", equal("A", "1") + query("exists") + equal("B", "1")), {{2, 1}, {2, 2}}).at(1),
              "  rule failed 2 unattributed 1");
    EXPECT_EQ(countsOf(named("C", query("exists") + equal("B", "1")), {{2, 1}, {2, 2}}).at(1),
              "  rule failed 2 alone 1");
}

TEST_F(CoverageTest, whatWouldHaveBeenFetchedIsNotGuessed) {
    const string fetches = query("fetch");
    EXPECT_EQ(
        countsOf(named("C", fetches + equal("H", "2")), {{1}, {2}}),
        (vector<string>{"C: reached 2 held 1 decided 1", "  rule held 1 failed 1 unattributed 1", "  rule held 1"}));
    EXPECT_EQ(countsOf(named("C", fetches + equal("B", "1")), {{2, 1}, {2, 2}}).at(1), "  rule failed 2 alone 1")
        << "the row's own value comes first";
    const string inside = equal("B", "1", "<condition>" + fetches + "</condition>");
    EXPECT_EQ(countsOf(named("C", inside + equal("H", "2")), {{1, 2}}).at(1), "  rule failed 1 unattributed 1");
    EXPECT_EQ(countsOf(named("C", equal("B", "1") + inside + equal("H", "2")), {{1, 2}}).at(1), "  rule failed 1")
        << "the second one does not hold either";
}

TEST_F(CoverageTest, questionsWithoutAnAnswer) {
    const string content = named("Q", query("exists", "LAMPS")) + named("R", equal("A", "1"));
    EXPECT_EQ(countsOf(content, {{1}, {2}}),
              (vector<string>{"Q: reached 2 unmeasured 2", "  rule unmeasured 2", "R: reached 2 held 1 decided 1",
                              "  rule held 1 failed 1 alone 1"}));
    EXPECT_EQ(counts.unmeasured, 2);
    {
        const FaultScope fault({.op = Op::TableSelect});
        EXPECT_EQ(countsOf(named("Q", query("fetch")), {{1}}),
                  (vector<string>{"Q: reached 1 unmeasured 1", "  rule unmeasured 1"}));
    }
    EXPECT_EQ(countsOf(named("Q", query("exists")), {{nullptr}}),
              (vector<string>{"Q: reached 1", "  rule failed 1 alone 1"}))
        << "asked with the text of NULL, and answered";
    EXPECT_EQ(counts.unmeasured, 0);
    EXPECT_EQ(countsOf(named("Q", "<rule type='Q' operator='exists'/>"), {{1}}),
              (vector<string>{"Q: reached 1", "  rule failed 1 alone 1"}))
        << "what is incomplete holds for no row: nobody has to answer";
}

TEST_F(CoverageTest, expressionsThatFail) {
    const auto computing = [](const char* body) {
        return string("<condition rulename='E' type='2' field='LABEL'>") + equal("A", "1") +
               "<expression>def Generate(A, T): " + body + "</expression></condition>" + named("D", equal("A", "2"));
    };
    const vector<Row> rows{{1, 0, "x"}, {2, 0, "x"}};
    const string rest = "  rule held 1 failed 1 alone 1";
    EXPECT_EQ(countsOf(computing("return T"), rows).at(0), "E: reached 2 held 1 decided 1");
    EXPECT_EQ(counts.unmeasured, 0);
    for (const char* body : {"return A // 0", "return 5"}) {
        EXPECT_EQ(countsOf(computing(body), rows), (vector<string>{"E: reached 2 held 1 decided 1 failed 1", rest,
                                                                   "D: reached 2 held 1 decided 1", rest}))
            << body;
        EXPECT_EQ(counts.unmeasured, 1) << body;
    }
}

TEST_F(CoverageTest, anErrorInsideIsNoAnswerForTheConditionsAround) {
    const string content = named("OUT", equal("A", "1",
                                              "<condition rulename='IN' type='2' field='LABEL'><expression>"
                                              "def Generate(A): return A // 0</expression></condition>") +
                                            equal("B", "1"));
    EXPECT_EQ(countsOf(content, {{1, 1}}), (vector<string>{"OUT: reached 1 unmeasured 1", "  rule held 1",
                                                           "IN: reached 1 held 1 decided 1 failed 1", "  rule"}));
    EXPECT_EQ(counts.unmeasured, 1);
}

TEST_F(CoverageTest, rowsThatAreNotDecided) {
    {
        const FaultScope fault({.op = Op::RowGetValue, .nth = 1});
        EXPECT_EQ(countsOf("<condition rulename='D'/>", {{1}, {2}}), (vector<string>{"D: reached 1 held 1 decided 1"}));
        EXPECT_TRUE(fault.hit());
    }
    EXPECT_EQ(counts.rows, 2);
    EXPECT_EQ(counts.unmeasured, 1);
}

// A value of a type that cannot be copied ends the run in the middle of a rule.
TEST_F(CoverageTest, aRunThatEndsInARule) {
    const string content =
        "<condition rulename='D'/>" + named("C", "<rule type='A' operator='equal' field='T' fieldValue='A'/>");
    const vector<string> lines = countsOf(content, {{1, 0, "x"}}, [](memhost::TableObject& table) {
        table.answerValue = [](std::size_t, LONG field, VARIANT* value) -> std::optional<HRESULT> {
            if (field != 4) return std::nullopt;
            value->llVal = 0;
            value->vt = VT_ARRAY | VT_UI1;
            return S_OK;
        };
    });
    EXPECT_TRUE(endedEarly);
    EXPECT_EQ(lines, (vector<string>{"D: reached 1 held 1", "C: reached 1 unmeasured 1", "  rule unmeasured 1"}));
    EXPECT_EQ(counts.rows, 1);
    EXPECT_EQ(counts.unmeasured, 1);
}

}  // namespace
