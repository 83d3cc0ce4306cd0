// Remembered answers against plain evaluation: random documents over random rows must leave the same tables, messages
// and operands behind.
#include "support/platform_hooks.h"
#include "symbolize/random_runs.h"
#include "symbolize/run_memory.h"

#include <gtest/gtest.h>
#include <algorithm>

namespace {

using memhost::Cell;
using memhost::describe;
using random_runs::Arrays;
using random_runs::Generator;
using random_runs::makeRows;
using random_runs::Side;
using std::string;
using std::vector;

constexpr std::size_t rowsPerRun = ConditionalXml::RunMemory::rowsBefore + 80;
constexpr std::size_t rowsOfALongRun = 10'500;  // more than the values of a field that are remembered

class RememberedAnswers : public testing::TestWithParam<unsigned> {};

/// Runs one random document over some tables of `count` rows, both ways.
void compareRuns(unsigned seed, int runs, std::size_t count) {
    Generator generator(seed);
    const string document = generator.document(seed % 8 == 0);
    SCOPED_TRACE("seed " + std::to_string(seed));
    Side plain(document, Side::Answers::Evaluated);
    Side remembering(document, Side::Answers::Remembered);
    for (int run = 0; run < runs; ++run) {
        const auto mixType = generator.pick<VARTYPE>({VT_I4, VT_R8, VT_BSTR, VT_I2});
        const auto rows = makeRows(generator, count, mixType,
                                   generator.pick({count, count / 2, count - 20, count - 2, std::size_t{0}}));
        plain.run(rows, mixType);
        remembering.run(rows, mixType);
        ASSERT_EQ(remembering.state(count), plain.state(count)) << "run " << run << ": " << document;
    }
}

TEST_P(RememberedAnswers, cannotBeTold) {
    for (unsigned seed = GetParam(); seed < GetParam() + 40; ++seed) compareRuns(seed, 3, rowsPerRun);
}

class RememberedAnswersOfManyRows : public testing::TestWithParam<unsigned> {};

// The fields take another order in the middle of a long run, and those of too many values are given up.
TEST_P(RememberedAnswersOfManyRows, cannotBeTold) {
    const unsigned runs = underWine() ? 1 : 10;  // one takes half a minute there
    for (unsigned seed = GetParam(); seed < GetParam() + runs; ++seed) compareRuns(seed, 1, rowsOfALongRun);
}

/// Runs one condition over rows that differ in T alone, both ways. \return whether rows hold the symbol, '+' or '-'.
string holdingRows(const string& rule, const vector<Cell>& texts) {
    const string document = "<conditionMap name='late'><featureClass name='Rnd'><condition rulename='S1'>" + rule +
                            "</condition></featureClass></conditionMap>";
    vector<vector<Cell>> rows;
    for (const Cell& text : texts) rows.push_back({nullptr, nullptr, nullptr, 1, 1.0, text, 1, nullptr});
    Side plain(document, Side::Answers::Evaluated);
    Side remembering(document, Side::Answers::Remembered);
    plain.run(rows, VT_I4, Arrays::None);
    remembering.run(rows, VT_I4, Arrays::None);
    EXPECT_EQ(remembering.state(rows.size()), plain.state(rows.size()));
    return remembering.holding(rows.size());
}

const Cell emptyValue{CComVariant()};

vector<Cell> repeated(std::size_t count, const Cell& cell) {
    return vector<Cell>(count, cell);
}

vector<Cell> operator+(vector<Cell> cells, const vector<Cell>& more) {
    cells.insert(cells.end(), more.begin(), more.end());
    return cells;
}

// 32 rows are evaluated before anything is remembered.
TEST(RememberedAnswersOfNoValue, emptyValuesAreNotTakenForTheFirstOfTheType) {
    const string notEmptyText = "<rule type='A' operator='notequal' field='T' value=''/>";
    EXPECT_EQ(holdingRows(notEmptyText, repeated(32, nullptr) + repeated(2, emptyValue) + repeated(6, "")),
              string(34, '+') + "------");
    EXPECT_EQ(holdingRows(notEmptyText, repeated(32, "A") + repeated(4, emptyValue) + vector<Cell>{"", "A", ""}),
              string(36, '+') + "-+-");
    EXPECT_EQ(holdingRows(notEmptyText, repeated(40, emptyValue) + vector<Cell>{"", "A", ""}), string(40, '+') + "-+-");
    EXPECT_EQ(holdingRows(notEmptyText, repeated(40, "") + repeated(2, emptyValue) + vector<Cell>{"", "A", ""}),
              string(40, '-') + "++-+-");
}

TEST(RememberedAnswersOfNoValue, patternsTakeThemForTheEmptyText) {
    const vector<Cell> texts = repeated(40, nullptr) + vector<Cell>{"", "A", nullptr, emptyValue, "A", nullptr};
    EXPECT_EQ(holdingRows("<rule type='A' operator='like' field='T' value='*'/>", texts), string(46, '+'));
    EXPECT_EQ(holdingRows("<rule type='A' operator='like' field='T' value='A*'/>", texts), string(41, '-') + "+--+-");
    EXPECT_EQ(holdingRows("<rule type='A' operator='notlike' field='T' value='A*'/>", texts),
              string(41, '+') + "-++-+");
}

// Every condition of the last row fails by its I already; its MIX must be looked at all the same.
TEST(RememberedAnswersOfOneType, endWithAValueOfAnotherInARowThatSatisfiesNothing) {
    const string document =
        "<conditionMap name='late'><featureClass name='Rnd'>"
        "<condition rulename='S1'><rule type='A' operator='equal' field='I' value='1'/></condition>"
        "<condition rulename='S2'><rule type='A' operator='equal' field='MIX' value='1'/>"
        "<rule type='A' operator='equal' field='I' value='1'/></condition></featureClass></conditionMap>";
    vector<vector<Cell>> rows(rowsPerRun, {nullptr, nullptr, nullptr, 1, 1.0, "A", 1, nullptr});
    rows.back()[3] = 2;
    rows.back()[6] = "1";
    Side plain(document, Side::Answers::Evaluated);
    Side remembering(document, Side::Answers::Remembered);
    plain.run(rows, VT_I4);
    remembering.run(rows, VT_I4);
    const vector<string> expected = plain.state(rows.size());
    EXPECT_EQ(remembering.state(rows.size()), expected);
    EXPECT_EQ(std::ranges::count(expected, describe(CComVariant(memhost::bstr("1")))), 1);  // the operand of MIX
}

INSTANTIATE_TEST_SUITE_P(Seeds, RememberedAnswers, testing::Range(1U, 401U, 40U));
INSTANTIATE_TEST_SUITE_P(Seeds, RememberedAnswersOfManyRows, testing::Values(1U, 41U, 81U));

}  // namespace
