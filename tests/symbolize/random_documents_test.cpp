// Random documents over random rows: the library and a plain second reading of the same conditions must agree.
#include "memhost/messages.h"
#include "memhost/table.h"
#include "support/loaded_manager.h"
#include "symbolize/reference_runs.h"

#include <gtest/gtest.h>

namespace {

using reference::Condition;
using reference::Decision;
using reference::Row;
using reference::Value;
using reference_runs::cellOf;
using reference_runs::Document;
using reference_runs::Generator;
using reference_runs::listFor;
using reference_runs::makeDocument;
using reference_runs::tableFor;
using std::string;
using std::vector;

/// What the row must hold after it was symbolized; `changed` says whether that differs from what it held.
Row expectedRow(const Document& document, const Row& before, bool& changed) {
    Decision decision;
    for (const Condition& condition : listFor(document, before)) reference::evaluate(condition, before, decision);

    Row after = before;
    changed = false;
    const auto write = [&](const string& field, const Value& value) {
        for (auto& [name, current] : after.fields) {
            if (name != field || current == value) continue;
            current = value;
            changed = true;
        }
    };
    if (!decision.name.empty()) write("SYMBOL_C", decision.name);
    if (decision.matched) {
        if (decision.matched->xoffset.value_or(0) != 0) write("Xoffset_C", *decision.matched->xoffset);
        if (decision.matched->angle.value_or(0) != 0) write("Rotate_C", *decision.matched->angle);
    }
    return after;
}

constexpr std::size_t rowsPerDocument = 60;

class RandomDocuments : public testing::TestWithParam<unsigned> {};

TEST_P(RandomDocuments, agreeWithThePlainReading) {
    for (unsigned seed = GetParam(); seed < GetParam() + 100; ++seed) {
        Generator generator(seed);
        const Document document = makeDocument(generator);
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + document.xml);
        vector<Row> rows;
        for (std::size_t i = 0; i < rowsPerDocument; ++i) rows.push_back(generator.row());
        const auto table = tableFor(rows).build();
        SymbologyManager manager = managerOf(document.xml);
        ASSERT_TRUE(manager.symbolize(table->featureClass(), nullptr, nullptr));

        vector<ObjectId> changedRows;
        for (std::size_t i = 0; i < rows.size(); ++i) {
            bool changed = false;
            const Row expected = expectedRow(document, rows[i], changed);
            if (changed) changedRows.push_back(static_cast<ObjectId>(i + 1));
            for (const auto& [field, value] : expected.fields)
                EXPECT_EQ(table->text(i, field), memhost::describe(cellOf(value).value)) << "row " << i << ' ' << field;
        }
        vector<ObjectId> updatedRows;
        for (const memhost::Update& update : table->updates) updatedRows.push_back(update.id);
        EXPECT_EQ(updatedRows, changedRows);
        ASSERT_TRUE(manager.symbolize(table->featureClass(), nullptr, nullptr));
        EXPECT_EQ(table->updates.size(), changedRows.size()) << "a second run changes nothing";
        if (HasFailure()) return;  // one document is enough to look at
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomDocuments, testing::Range(1U, 1001U, 100U));

/// The model itself, where the library is not asked.
TEST(ReferenceModelTest, patterns) {
    EXPECT_TRUE(reference::likeMatches("A*", "ABC"));
    EXPECT_FALSE(reference::likeMatches("*AB", "ABAB"));
    EXPECT_TRUE(reference::likeMatches("A**B", "A*B"));
    EXPECT_FALSE(reference::likeMatches("A**B", "AXB"));
    EXPECT_TRUE(reference::likeMatches("", "anything"));
    EXPECT_TRUE(reference::likeMatches("***", "*x"));
}

}  // namespace
