// What remembering answers is for: how often rules are asked in a run. What they answer is compared with plain
// evaluation in remembered_answers_test.cpp.
#include "cxml/condition_map.h"
#include "memhost/table.h"
#include "rules/attribute_rules.h"
#include "support/loaded_manager.h"
#include "symbolize/run_memory.h"

#include <gtest/gtest.h>

namespace {

using memhost::bstr;
using memhost::Cell;
using memhost::Table;
using std::string;
using std::vector;

constexpr std::size_t rowsBefore = ConditionalXml::RunMemory::rowsBefore;

/// Counts how often it is asked.
class CountingRule : public ConditionalXml::CXAttributeRuleEqual {
public:
    CountingRule(ConditionalXml::FeatureClassRule& owner, const char* field, const char* operand)
        : CXAttributeRuleEqual(owner.ruleOwner()) {
        fieldName = bstr(field);
        owner.registerReferencedField(fieldName);
        fieldSlot_ = owner.fieldNames->intern(fieldName);
        values.emplace_back(bstr(operand));
    }
    bool evaluate(ConditionalXml::RowValueMap& rowValues, IGPMessages* messages) override {
        ++asked;
        return CXAttributeRuleEqual::evaluate(rowValues, messages);
    }

    std::size_t asked = 0;
};

/// Two conditions, of which the second is named S1, of counting rules, each over a field of its own, which are named A,
/// B, ...
class ConditionMemoryTest : public testing::Test {
protected:
    void addRule(std::size_t condition, const char* field, const char* operand) {
        auto& owner = ruleOf(manager, "RND");
        rules.push_back(std::make_shared<CountingRule>(owner, field, operand));
        owner.defaultConditions.at(condition)->rules.push_back(rules.back());
    }
    void run(VARTYPE type, const vector<vector<Cell>>& rows) {
        Table builder("Rnd");
        builder.field("SYMBOL_C", VT_BSTR);
        for (std::size_t i = 0; i < rules.size(); ++i) builder.field(string(1, static_cast<char>('A' + i)), type);
        for (const vector<Cell>& cells : rows) {
            vector<Cell> row{nullptr};
            row.insert(row.end(), cells.begin(), cells.end());
            builder.row(row);
        }
        table = builder.build();
        for (const auto& rule : rules) rule->asked = 0;
        ASSERT_TRUE(manager.symbolize(table->featureClass(), nullptr, nullptr));
    }
    bool holds(std::size_t row) const { return table->text(row, "SYMBOL_C") == "\"S1\""; }

    static constexpr const char* document =
        "<conditionMap name='c'><featureClass name='Rnd'><condition/><condition rulename='S1'/></featureClass>"
        "</conditionMap>";
    SymbologyManager manager = managerOf(document);
    vector<std::shared_ptr<CountingRule>> rules;
    CComPtr<memhost::TableObject> table;
};

TEST_F(ConditionMemoryTest, ruleIsAskedOnceForAValue) {
    addRule(1, "A", "2");
    vector<vector<Cell>> rows;
    for (int i = 0; i < 5000; ++i) rows.push_back({i % 4 == 3 ? Cell(nullptr) : Cell(i % 4)});
    run(VT_I4, rows);
    EXPECT_LE(rules[0]->asked, rowsBefore + 6) << "four values, and once or twice for the operand's type";
    for (std::size_t row = 0; row < rows.size(); ++row) ASSERT_EQ(holds(row), row % 4 == 2) << row;
}

TEST_F(ConditionMemoryTest, nextRunRemembersAnew) {
    addRule(1, "A", "2");
    const vector<vector<Cell>> rows(200, {Cell(2)});
    run(VT_I4, rows);
    run(VT_I4, rows);
    EXPECT_GE(rules[0]->asked, rowsBefore + 1);
    EXPECT_LE(rules[0]->asked, rowsBefore + 3);
}

// A text that is too long is no value to keep: it is asked for again.
TEST_F(ConditionMemoryTest, longTextsAreNotKept) {
    addRule(1, "A", "x");
    for (const auto& [length, kept] : {std::pair{256, true}, {257, false}}) {
        run(VT_BSTR, vector<vector<Cell>>(400, {Cell(string(static_cast<std::size_t>(length), 'x'))}));
        if (kept)
            EXPECT_LE(rules[0]->asked, rowsBefore + 3) << length;
        else
            EXPECT_GE(rules[0]->asked, 400U) << length;
    }
}

// The values of A come but once; B's are two. When A is given up, B is still remembered.
TEST_F(ConditionMemoryTest, fieldOfTooManyValuesIsGivenUp) {
    addRule(0, "B", "1");
    addRule(1, "A", "-1");
    constexpr int mostValues = 8192;
    for (const int distinct : {mostValues, mostValues + 1000}) {
        vector<vector<Cell>> rows;
        for (int i = 0; i < distinct; ++i) rows.push_back({Cell(i), Cell(1)});
        for (int i = 0; i < 1000; ++i) rows.push_back({Cell(mostValues / 2), Cell(1)});
        run(VT_I4, rows);
        const std::size_t eachOnce = static_cast<std::size_t>(distinct) + 4;
        if (distinct == mostValues)
            EXPECT_LE(rules[1]->asked, eachOnce);
        else
            EXPECT_GE(rules[1]->asked, rows.size()) << "evaluated for every row again";
        EXPECT_LE(rules[0]->asked, 3 * rowsBefore) << "and the other field is remembered";
    }
}

// A value of a field is not looked up for a condition that has failed by another field already.
TEST_F(ConditionMemoryTest, fieldThatDoesNotMatterIsNotAsked) {
    addRule(1, "A", "1");
    addRule(1, "B", "1");
    vector<vector<Cell>> rows(rowsBefore + 10, {Cell(1), Cell(1)});
    for (int i = 0; i < 500; ++i) rows.push_back({Cell(2), Cell(i)});
    run(VT_I4, rows);
    EXPECT_LE(rules[1]->asked, rowsBefore + 3);
}

// Rows come to B late: only then is its operand given the type of the field, and the next look finds it settled.
TEST_F(ConditionMemoryTest, ruleThatSettlesLateIsRememberedFromTheNextLookOn) {
    addRule(1, "A", "1");
    addRule(1, "B", "1");
    constexpr std::size_t late = 70;
    constexpr std::size_t look = 4 * rowsBefore;  // 64 rows were too few
    for (const std::size_t count : {look, look + 1000}) {
        vector<vector<Cell>> rows(late, {Cell(2), Cell(1)});
        rows.resize(count, {Cell(1), Cell(1)});
        run(VT_I4, rows);
        EXPECT_GE(rules[1]->asked, look - late - 1) << count;
        EXPECT_LE(rules[1]->asked, look - late + 3) << count;
        EXPECT_TRUE(holds(count - 1));
        manager = managerOf(document);  // with operands that are texts again
        rules.clear();
        addRule(1, "A", "1");
        addRule(1, "B", "1");
    }
}

}  // namespace
