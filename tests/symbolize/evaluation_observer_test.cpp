// What an observer is told of a run: the events of single rows, word for word, and that the walk through the conditions
// of a row comes to what the run decides and writes.
#include "cxml/evaluation_observer.h"
#include "memhost/faults.h"
#include "memhost/query_filter.h"
#include "rules/query_rules.h"
#include "support/platform_hooks.h"
#include "symbolize/random_runs.h"
#include "symbolize/run_memory.h"
#include "text/text.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <stdexcept>

namespace {

using ConditionalXml::Condition;
using ConditionalXml::EvaluationObserver;
using ConditionalXml::Expression;
using ConditionalXml::FeatureClassRule;
using ConditionalXml::narrow;
using ConditionalXml::QueryRule;
using ConditionalXml::RowDecision;
using ConditionalXml::RowValueMap;
using ConditionalXml::Rule;
using memhost::bstr;
using memhost::Cell;
using memhost::describe;
using memhost::FaultScope;
using memhost::Op;
using memhost::Table;
using random_runs::Generator;
using random_runs::Side;
using std::string;
using std::vector;

/// The name of a condition, with its number in the document: names are not unique.
string nameOf(const Condition* condition) {
    if (!condition) return "-";
    const auto& all = condition->conditionMap->conditions;
    const auto place = std::ranges::find(all, condition, &std::shared_ptr<Condition>::get);
    return narrow(ConditionalXml::view(condition->rulename)) + '#' + std::to_string(place - all.begin());
}

string describeDecision(const RowDecision& decision, const string& named, const string& matched) {
    return "decided " + named + " placed " + matched + " of " + std::to_string(decision.list.size()) +
           (decision.subtype ? " of subtype " + std::to_string(*decision.subtype) : "") + ", was " +
           (decision.symbol ? describe(*decision.symbol) : "nothing");
}

/// Everything, a line each.
class EventLog : public EvaluationObserver {
public:
    vector<string> lines;

    void beginRow(IRow* /*row*/, const FeatureClassRule& /*rule*/) override { lines.emplace_back("row"); }
    void onDecision(const RowDecision& decision) override {
        lines.push_back(describeDecision(decision, nameOf(decision.named), nameOf(decision.matched)));
    }
    void onPut(WideView field, const VARIANT& before, const VARIANT& value, HRESULT status) override {
        lines.push_back("put " + narrow(field) + ": " + describe(before) + " -> " + describe(value) + outcome(status));
    }
    void endRow(bool changed, HRESULT status) override {
        lines.push_back((changed ? "end, changed" : "end") + outcome(status));
    }
    void beginCondition(const Condition& condition) override { lines.push_back("condition " + nameOf(&condition)); }
    void beginRule(const Rule& rule, const RowValueMap& /*values*/) override {
        lines.push_back(string("rule ") + rule.ruleType);
    }
    void endRule(const Rule& rule, const RowValueMap& values, bool answer) override {
        string line = answer ? "  holds" : "  fails";
        if (const auto* query = dynamic_cast<const QueryRule*>(&rule)) {
            line += " outcome " + std::to_string(static_cast<int>(query->outcome())) + ", " +
                    std::to_string(query->rowsFound()) + " rows of " + narrow(query->clause());
        } else if (const auto* attribute = dynamic_cast<const ConditionalXml::CXAttributeRule*>(&rule)) {
            const VARIANT* value = attribute->lookupField(values);
            line += " for " + (value ? describe(*value) : string("nothing"));
            for (const CComVariant& operand : attribute->values) line += " against " + describe(operand);
        }
        lines.push_back(line);
    }
    void beginGenerate(const Condition& condition, const RowValueMap& /*values*/) override {
        lines.push_back("generate " + nameOf(&condition));
    }
    void endGenerate(const Condition& /*condition*/, Expression::Outcome outcome) override {
        lines.push_back("generated " + std::to_string(static_cast<int>(outcome)));
    }
    void endCondition(const Condition& condition, bool held) override {
        lines.push_back(nameOf(&condition) + (held ? " held" : " did not hold"));
    }
    void onError(const Condition& condition, const char* text) override {
        const string what(text);
        lines.push_back("error in " + nameOf(&condition) + ": " + what.substr(0, what.find('\n')));
    }

private:
    static string outcome(HRESULT status) { return SUCCEEDED(status) ? "" : ", failed"; }
};

/// A class Buoy whose rows have F (I4) and SUB (I4), and a table LIGHTS with one row.
class EvaluationObserverTest : public testing::Test {
protected:
    using Answers = ConditionalXml::RowSymbolization::Answers;

    vector<string> eventsOf(const string& content, const Cell& f, const Cell& subtype = nullptr,
                            Answers answers = Answers::Evaluated) {
        const SymbologyManager manager =
            managerOf("<conditionMap name='m'><featureClass name='Buoy'>" + content + "</featureClass></conditionMap>");
        Table rows = columns;
        const auto table = rows.row({"OLD", nullptr, nullptr, nullptr, f, subtype}).build();
        const auto lights = Table("LIGHTS").field("N", VT_I4).field("HEIGHT", VT_R8).row({7, 2.5}).build();
        lights->answerWhere = [](const string& where) {
            return where == "N = 7" ? vector<ObjectId>{1} : vector<ObjectId>{};
        };
        const auto workspace = memhost::make<memhost::Workspace>(workspaceFileSystem);
        workspace->add(datasetFeatureClass, table);
        workspace->add(datasetTable, lights);
        EventLog log;
        const bool ran =
            ConditionalXml::symbolizeFeatureClass(*SymbologyManagerAccess::currentMap(manager), bstr("BUOY"),
                                                  table->featureClass(), nullptr, nullptr, answers, &log);
        EXPECT_TRUE(ran);
        EXPECT_EQ(ruleOf(manager, "BUOY").evaluation.observer, nullptr) << "it is the run's";
        return log.lines;
    }

    Table columns = Table("Buoy").symbologyFields().field("F", VT_I4).field("SUB", VT_I4).subtypes("SUB");
};

const string equals3 = "<rule type='A' operator='equal' field='F' value='3'/>";

TEST_F(EvaluationObserverTest, rulesUpToTheFirstThatFails) {
    EXPECT_EQ(
        eventsOf("<condition rulename='A'>" + equals3 +
                     "<rule type='L' operator='hasmultiple' field='F'/></condition><condition rulename='B'>" +
                     "<rule type='A' operator='lt' field='FAR' value='1'/>" + equals3 + "</condition>",
                 3),
        (vector<string>{"row", "condition A#0", "rule A", "  holds for I4 3 against I4 3", "rule L", "  fails for I4 3",
                        "A#0 did not hold", "condition B#1", "rule A", "  fails for nothing against \"1\"",
                        "B#1 did not hold", "decided - placed - of 2, was \"OLD\"", "end"}));
}

TEST_F(EvaluationObserverTest, nestedConditionsInsideTheirs) {
    EXPECT_EQ(
        eventsOf("<condition rulename='OUT'><rule type='A' operator='equal' field='F' value='3'>"
                 "<condition rulename='IN' angle='90'/></rule>"
                 "<rule type='A' operator='gt' field='F' value='4'/></condition>",
                 3),
        (vector<string>{"row", "condition OUT#1", "rule A", "  holds for I4 3 against I4 3", "condition IN#0",
                        "IN#0 held", "rule A", "  fails for I4 3 against I4 4", "OUT#1 did not hold",
                        "decided IN#0 placed - of 1, was \"OLD\"", "put SYMBOL_C: \"OLD\" -> \"IN\"", "end, changed"}))
        << "its name stands, its placement does not";
    EXPECT_EQ(eventsOf("<condition><rule type='A' operator='equal' field='F' value='3'>"
                       "<condition rulename='OLD' angle='90'/><condition/></rule></condition>",
                       3),
              (vector<string>{"row", "condition #2", "rule A", "  holds for I4 3 against I4 3", "condition OLD#0",
                              "OLD#0 held", "condition #1", "#1 held", "#2 held",
                              "decided OLD#0 placed #1 of 1, was \"OLD\"", "end"}));
}

TEST_F(EvaluationObserverTest, listOfTheSubtype) {
    const string content =
        "<condition/><condition/><subtype number='1'><condition rulename='S' xoffset='2'/></subtype>";
    EXPECT_EQ(
        eventsOf(content, 3, 1),
        (vector<string>{"row", "condition S#0", "S#0 held", "decided S#0 placed S#0 of 1 of subtype 1, was \"OLD\"",
                        "put SYMBOL_C: \"OLD\" -> \"S\"", "put Xoffset_C: NULL -> R8 2", "end, changed"}));
    EXPECT_EQ(eventsOf(content, 3, 2).at(5), "decided - placed #2 of 2 of subtype 2, was \"OLD\"");
    EXPECT_EQ(eventsOf(content, 3, nullptr).at(5), "decided - placed #2 of 2, was \"OLD\"");
}

TEST_F(EvaluationObserverTest, whatKeepsARowFromBeingDecidedOrWritten) {
    const string content = "<condition rulename='S'/><subtype number='1'/>";
    const struct {
        const char* name;
        Op op;
        long call;
        vector<string> expected;
    } rows[] = {
        {"no fields", Op::RowGetFields, 1, {"row", "end"}},
        {"no value", Op::RowGetValue, 1, {"row", "end"}},
        {"no subtype", Op::RowGetValue, 2, {"row", "end"}},
        {"value is refused",
         Op::RowPutValue,
         1,
         {"row", "condition S#0", "S#0 held", "decided S#0 placed S#0 of 1 of subtype 2, was \"OLD\"",
          "put SYMBOL_C: \"OLD\" -> \"S\", failed", "end, failed"}},
        {"row is not stored",
         Op::CursorUpdateRow,
         1,
         {"row", "condition S#0", "S#0 held", "decided S#0 placed S#0 of 1 of subtype 2, was \"OLD\"",
          "put SYMBOL_C: \"OLD\" -> \"S\"", "end, changed, failed"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const FaultScope fault({.op = row.op, .nth = row.call});
        EXPECT_EQ(eventsOf(content, 3, 2), row.expected);
        EXPECT_TRUE(fault.hit());
    }
    columns = Table("Buoy").field("A", VT_BSTR).field("B", VT_R8).field("C", VT_R8).field("D", VT_R8);
    columns.field("F", VT_I4).field("SUB", VT_I4);
    EXPECT_EQ(eventsOf(content, 3), (vector<string>{"row", "end, failed"})) << "without SYMBOL_C";
}

TEST_F(EvaluationObserverTest, questionsAndWhatBecameOfThem) {
    const auto asked = [](const char* op, const char* table, const char* query, const char* parameter) {
        return string("<condition rulename='Q'><rule type='Q' operator='") + op + "' table='" + table + "'><query>" +
               query + "</query><params><param value='" + parameter +
               "'/></params><fields><field name='HEIGHT' alias='H'/></fields></rule></condition>";
    };
    enum : int { NotAsked, NoFilter, NoTable, Refused, Answered };
    const struct {
        string content;
        string expected;
    } rows[] = {
        {asked("exists", "LIGHTS", "N = %s", "F"), "  holds outcome 4, 1 rows of N = 7"},
        {asked("fetch", "LIGHTS", "N = %s", "F"), "  holds outcome 4, 1 rows of N = 7"},
        {asked("exists", "LIGHTS", "N = 1%s", "F"), "  fails outcome 4, 0 rows of N = 17"},
        {asked("fetch", "LIGHTS", "N = 1%s", "F"), "  fails outcome 4, 0 rows of N = 17"},
        {asked("exists", "LIGHTS", "N = %s", "FAR"), "  fails outcome 0, 0 rows of "},
        {asked("exists", "LAMPS", "N = %s", "F"), "  fails outcome 2, 0 rows of N = 7"},
    };
    for (const auto& row : rows) EXPECT_EQ(eventsOf(row.content, 7).at(3), row.expected) << row.content;
    for (const char* op : {"exists", "fetch"}) {
        {
            const FaultScope fault({.op = Op::TableSelect});
            EXPECT_EQ(eventsOf(asked(op, "LIGHTS", "N = %s", "F"), 7).at(3), "  fails outcome 3, 0 rows of N = 7");
        }
        const memhost::FilterClassScope filters;
        const FaultScope fault({.op = Op::FilterPutWhereClause});
        EXPECT_EQ(eventsOf(asked(op, "LIGHTS", "N = %s", "F"), 7).at(3), "  fails outcome 1, 0 rows of N = 7");
    }
}

TEST_F(EvaluationObserverTest, callsOfGenerate) {
    const auto computing = [](const char* body) {
        return string("<condition rulename='OLD' type='2' field='SYMBOL_C'><expression>def Generate(F): ") + body +
               "</expression></condition>";
    };
    const vector<string> begin{"row", "condition OLD#0", "generate OLD#0"};
    const vector<string> end{"OLD#0 held", "decided OLD#0 placed OLD#0 of 1, was \"OLD\""};
    const auto with = [&](const vector<string>& middle, const vector<string>& last) {
        vector<string> all = begin;
        all.insert(all.end(), middle.begin(), middle.end());
        all.insert(all.end(), end.begin(), end.end());
        all.insert(all.end(), last.begin(), last.end());
        return all;
    };
    EXPECT_EQ(eventsOf(computing("return 'OLD'"), 3), with({"generated 0"}, {"end"}));
    EXPECT_EQ(eventsOf(computing("return 'N'"), 3),
              with({"put SYMBOL_C: \"OLD\" -> \"N\"", "generated 0"}, {"end, changed"}));
    EXPECT_EQ(eventsOf(computing("return 5"), 3), with({"generated 2"}, {"end"}));
    const vector<string> failed = eventsOf(computing("return F // 0"), 3);
    ASSERT_EQ(failed.size(), 6U);
    EXPECT_EQ(failed[3], "error in OLD#0: Encountered error processing Python in CXML!");
    EXPECT_EQ(failed[4], end[1]) << "the name was taken before the call";
}

TEST_F(EvaluationObserverTest, runsThatRememberTellOfQueriesAndResults) {
    const string content = "<condition rulename='A'>" + equals3 +
                           "<rule type='Q' operator='exists' table='LIGHTS'><query>N = 7</query></rule></condition>";
    EXPECT_EQ(eventsOf(content, 3, nullptr, Answers::Remembered),
              (vector<string>{"row", "  holds outcome 4, 1 rows of N = 7", "decided A#0 placed A#0 of 1, was \"OLD\"",
                              "put SYMBOL_C: \"OLD\" -> \"A\"", "end, changed"}));
}

/// What was decided, put and stored for each row, a line each.
class DecisionLog : public EvaluationObserver {
public:
    vector<string> rows;

    void beginRow(IRow* /*row*/, const FeatureClassRule& /*rule*/) override { rows.emplace_back(); }
    void onDecision(const RowDecision& decision) override {
        rows.back() += describeDecision(decision, nameOf(decision.named), nameOf(decision.matched));
    }
    void onPut(WideView field, const VARIANT& /*before*/, const VARIANT& value, HRESULT status) override {
        rows.back() += "; " + narrow(field) + " = " + describe(value) + (SUCCEEDED(status) ? "" : " failed");
    }
    void endRow(bool changed, HRESULT status) override {
        rows.back() += changed ? "; changed" : "";
        rows.back() += SUCCEEDED(status) ? "" : "; failed";
    }
};

/// The same, but for what the walk through the conditions itself finds to be the winner.
class Walk : public DecisionLog {
public:
    void beginRow(IRow* row, const FeatureClassRule& rule) override {
        DecisionLog::beginRow(row, rule);
        named_ = matched_ = nullptr;
        open_.clear();
    }
    void beginCondition(const Condition& condition) override { open_.push_back({&condition, &condition}); }
    void endRule(const Rule& /*rule*/, const RowValueMap& /*values*/, bool answer) override {
        open_.back().holds = answer;
    }
    void beginGenerate(const Condition& /*condition*/, const RowValueMap& /*values*/) override { settle(); }
    void endCondition(const Condition& condition, bool held) override {
        if (open_.back().condition != &condition || open_.back().holds != held)
            throw std::logic_error("conditions end in another order, or in another way than their rules");
        if (held) settle();
        open_.pop_back();
    }
    void onError(const Condition& condition, const char* /*text*/) override {
        if (open_.front().condition != &condition) throw std::logic_error("another condition has failed");
        open_.clear();
    }
    void onDecision(const RowDecision& decision) override {
        if (!open_.empty()) throw std::logic_error("a condition has no end");
        rows.back() += describeDecision(decision, nameOf(named_), nameOf(matched_));
        isTrue = isTrue && decision.named == named_ && decision.matched == matched_;
    }

    bool isTrue = true;  // the run has told the same winners

private:
    struct Open {
        const Condition* condition;
        const Condition* last;  // it, or the last nested one that held
        bool holds = true;
    };

    void settle() {
        const Open& open = open_.back();
        if (open.condition->rulename.Length() != 0) named_ = open.condition;
        (open_.size() > 1 ? open_[open_.size() - 2].last : matched_) = open.last;
    }

    vector<Open> open_;
    const Condition* named_ = nullptr;
    const Condition* matched_ = nullptr;
};

class ObservedRuns : public testing::TestWithParam<unsigned> {};

// The walk evaluates every condition, the run remembers; and nothing of a run depends on who watches.
TEST_P(ObservedRuns, walkNamesTheWinnersOfTheRun) {
    constexpr std::size_t count = ConditionalXml::RunMemory::rowsBefore + 60;
    const unsigned documents = underWine() ? 4 : 40;
    for (unsigned seed = GetParam(); seed < GetParam() + documents; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Generator generator(seed);
        const string document = generator.document(seed % 8 == 0);
        DecisionLog log;
        Walk walk;
        Side alone(document, Side::Answers::Remembered);
        Side watched(document, Side::Answers::Remembered, &log);
        Side walked(document, Side::Answers::Evaluated, &walk);
        for (int run = 0; run < 2; ++run) {
            const auto mixType = generator.pick<VARTYPE>({VT_I4, VT_R8, VT_BSTR, VT_I2});
            const auto rows =
                makeRows(generator, count, mixType, generator.pick({count, count / 2, count - 2, std::size_t{0}}));
            for (Side* side : {&alone, &watched, &walked}) side->run(rows, mixType);
            const vector<string> expected = alone.state(count);
            ASSERT_EQ(watched.state(count), expected) << document;
            ASSERT_EQ(walked.state(count), expected) << document;
            ASSERT_EQ(log.rows, walk.rows) << document;
            ASSERT_TRUE(walk.isTrue) << document;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, ObservedRuns, testing::Range(1U, 401U, 40U));

}  // namespace
