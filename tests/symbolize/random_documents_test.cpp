// Random documents over random rows: the library and a plain second reading of the same conditions must agree.
#include "memhost/messages.h"
#include "memhost/table.h"
#include "support/loaded_manager.h"
#include "symbolize/reference_model.h"

#include <gtest/gtest.h>
#include <map>
#include <random>

namespace {

using memhost::Cell;
using memhost::Table;
using reference::Condition;
using reference::Decision;
using reference::Null;
using reference::Row;
using reference::Rule;
using reference::Value;
using std::string;
using std::vector;

/// Makes documents and rows from a seed.
class Generator {
public:
    explicit Generator(unsigned seed) : random_(seed) {}

    int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }
    template <class T>
    T pick(std::initializer_list<T> choices) {
        return choices.begin()[below(static_cast<int>(choices.size()))];
    }

    Condition condition(int depth) {
        Condition made;
        if (below(4) != 0) made.name = "S" + std::to_string(++names_);
        if (below(3) == 0) made.xoffset = pick({0.0, 1.0, 2.5});
        if (below(3) == 0) made.angle = pick({0.0, 45.0, -90.0});
        for (int i = pick({0, 1, 1, 1, 2, 3}); i > 0; --i) made.rules.push_back(rule(depth));
        return made;
    }

    Value value(char field) {
        if (below(5) == 0) return Null{};
        if (field == 'I') return below(6);
        if (field == 'D') return pick({0.0, 0.5, 1.0, 1.5, 2.5, 3.0});
        return pick<string>({"", "A", "AB", "ABC", "B", "BAB", "A*B", "2", "5"});
    }

    /// Rows without FAR, which conditions speak of all the same.
    Row row() {
        return {{{"SYMBOL_C", below(3) ? Value(Null{}) : Value("S" + std::to_string(1 + below(12)))},
                 {"Xoffset_C", pick<Value>({Null{}, 0.0, 1.0, 2.5})},
                 {"Rotate_C", pick<Value>({Null{}, 45.0, -90.0})},
                 {"I", value('I')},
                 {"D", value('D')},
                 {"T", value('T')},
                 {"KIND", pick<Value>({Null{}, 1, 2, 3})}}};
    }

private:
    Rule rule(int depth) {
        Rule made;
        made.field = pick<string>({"I", "I", "D", "D", "T", "T", "T", "FAR"});
        made.op = pick<string>(
            {"equal", "equal", "notequal", "lt", "lte", "gt", "gte", "between", "between", "like", "like", "notlike"});
        if (made.op == "between" && made.field == "FAR") made.field = "T";  // what that gives is the platform's
        if (below(6) == 0)
            made.fieldValue = pick<string>({"I", "D", "T", "FAR"});
        else
            for (int i = made.op == "between" ? pick({2, 2, 2, 1}) : pick({0, 1, 1, 2, 3}); i > 0; --i)
                made.operands.push_back(operand(made.field, made.op));
        if (depth < 2)
            for (int i = pick({0, 0, 0, 1, 2}); i > 0; --i)
                made.nested.push_back(std::make_shared<Condition>(condition(depth + 1)));
        return made;
    }

    string operand(const string& field, const string& op) {
        if (op == "like" || op == "notlike")
            return pick<string>({"A*", "*B", "*", "", "A**B", "*A*", "B*B", "***", "AB", "*AB", "2", "5*", "NULL"});
        if (below(8) == 0) return pick<string>({"NULL", "X", ""});
        if (field == "I") return std::to_string(below(6));
        if (field == "D") return pick<string>({"0", "0.5", "1", "1.5", "2.5"});
        return pick<string>({"", "A", "AB", "ABC", "B", "2", "5"});
    }

    std::mt19937 random_;
    int names_ = 0;
};

Cell cellOf(const Value& value) {
    if (const auto* number = std::get_if<int>(&value)) return *number;
    if (const auto* number = std::get_if<double>(&value)) return *number;
    if (const auto* text = std::get_if<string>(&value)) return *text;
    return nullptr;
}

/// One class with default conditions and two subtypes, as text and as the model has it.
struct Document {
    vector<Condition> defaults;
    std::map<int, vector<Condition>> subtypes;
    string xml;
};

Document makeDocument(Generator& generator) {
    Document document;
    const auto conditions = [&] {
        vector<Condition> made;
        for (int i = 1 + generator.below(5); i > 0; --i) made.push_back(generator.condition(0));
        return made;
    };
    const auto append = [&](const vector<Condition>& made) {
        for (const Condition& condition : made) document.xml += toXml(condition);
    };
    document.xml = "<conditionMap name='random'><featureClass name='Rnd'>";
    document.defaults = conditions();
    append(document.defaults);
    for (const int code : {1, 2}) {
        if (generator.below(3) == 0) continue;
        document.subtypes[code] = conditions();
        document.xml += "<subtype number='" + std::to_string(code) + "'>";
        append(document.subtypes[code]);
        document.xml += "</subtype>";
    }
    document.xml += "</featureClass></conditionMap>";
    return document;
}

/// What the row must hold after it was symbolized; `changed` says whether that differs from what it held.
Row expectedRow(const Document& document, const Row& before, bool& changed) {
    const vector<Condition>* conditions = &document.defaults;
    if (const auto* code = std::get_if<int>(before.find("KIND")))
        if (const auto found = document.subtypes.find(*code); found != document.subtypes.end())
            conditions = &found->second;
    Decision decision;
    for (const Condition& condition : *conditions) reference::evaluate(condition, before, decision);

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
        Table builder("Rnd");
        builder.field("SYMBOL_C", VT_BSTR).field("Xoffset_C", VT_R8).field("Rotate_C", VT_R8).field("I", VT_I4);
        builder.field("D", VT_R8).field("T", VT_BSTR).field("KIND", VT_I4).subtypes("KIND");
        for (std::size_t i = 0; i < rowsPerDocument; ++i) {
            rows.push_back(generator.row());
            vector<Cell> cells;
            for (const auto& [field, value] : rows.back().fields) cells.push_back(cellOf(value));
            builder.row(cells);
        }
        const auto table = builder.build();
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
