// Shapes of where clauses: what is taken out, what is left alone, and that a selection answers as the clause itself.
#include "host/geodatabase/sqlite/where_shape.h"

#include "host/chart.h"

namespace host_test {
namespace {

using embedded_host::CellPart;
using embedded_host::WhereShape;

std::vector<std::string> literalsOf(const WhereShape& shape) {
    std::vector<std::string> literals;
    for (std::size_t i = 0; i < shape.literalCount(); ++i) {
        const auto& [part, cell] = shape.literal(i);
        literals.push_back(part == CellPart::Text ? "'" + cell.text + "'" : std::to_string(cell.integer));
    }
    return literals;
}

TEST(WhereShape, TakesLiteralsThatAreComparedWithNames) {
    const struct {
        const char* clause;
        const char* text;
        std::vector<std::string> literals;
    } rows[] = {
        {"", "", {}},
        {"a = 'x'", "a = ?", {"'x'"}},
        {"a='x'", "a=?", {"'x'"}},
        {"  a  =\n\t'x'  ", " a = ?", {"'x'"}},
        {"a = ''", "a = ?", {"''"}},
        {"a = 'it''s'", "a = ?", {"'it's'"}},
        {"a = ''''", "a = ?", {"'''"}},
        {"a = 'x;--/*?'", "a = ?", {"'x;--/*?'"}},
        {"a = '\xC3\xA9'", "a = ?", {"'\xC3\xA9'"}},
        {"a = 7", "a = ?", {"7"}},
        {"a = 007", "a = ?", {"7"}},
        {"a = 999999999999999999", "a = ?", {"999999999999999999"}},
        {"\"a b\" = 7", "\"a b\" = ?", {"7"}},
        {"\"a\"\"b\"=7", "\"a\"\"b\"=?", {"7"}},
        {"a=1 AND b<>2 or c!='3'", "a=? AND b<>? or c!=?", {"1", "2", "'3'"}},
        {"(a<=1)and(b>=2)", "(a<=?)and(b>=?)", {"1", "2"}},
        {"not a==1", "not a==?", {"1"}},
        {"a < 1 OR a > 2", "a < ? OR a > ?", {"1", "2"}},
        // one or both stay as they are
        {"a IN ('x', 'y')", "a IN ('x', 'y')", {}},
        {"a LIKE 'x%'", "a LIKE 'x%'", {}},
        {"a = 'x' COLLATE NOCASE", "a = 'x' COLLATE NOCASE", {}},
        {"a = -1", "a = -1", {}},
        {"a = 1 + 2", "a = 1 + 2", {}},
        {"a BETWEEN 1 AND 2", "a BETWEEN 1 AND 2", {}},
        {"a BETWEEN 1 AND b = 2", "a BETWEEN 1 AND b = ?", {"2"}},
        {"a + b = 2", "a + b = 2", {}},
        {"a -> 'x' AND b = 1", "a -> 'x' AND b = ?", {"1"}},
        {"a ->> 'x' AND b = 1", "a ->> 'x' AND b = ?", {"1"}},
        {"a << 1 OR a >> 2", "a << 1 OR a >> 2", {}},
        {"'x' = a", "'x' = a", {}},
        {"1", "1", {}},
        {"lower(a) = 'x'", "lower(a) = 'x'", {}},
        {"a IN (SELECT b FROM c WHERE d = 1 ORDER BY 1 LIMIT 2)",
         "a IN (SELECT b FROM c WHERE d = 1 ORDER BY 1 LIMIT 2)",
         {}},
        {"CASE a WHEN b = 1 THEN 2 END = 3", "CASE a WHEN b = 1 THEN 2 END = 3", {}},
    };
    WhereShape shape;
    for (const auto& row : rows) {
        EXPECT_TRUE(shape.read(row.clause)) << row.clause;
        EXPECT_EQ(shape.text(), row.text) << row.clause;
        EXPECT_EQ(literalsOf(shape), row.literals) << row.clause;
    }
}

TEST(WhereShape, LeavesWhatItDoesNotKnow) {
    const std::string many = [] {
        std::string clause = "a = 1";
        for (int i = 0; i < 32; ++i) clause += " OR a = 1";
        return clause;
    }();
    const std::string rows[] = {"a = 'x' -- note",
                                "a = 'x' /* note */",
                                "a = 'x",
                                "\"a = 1",
                                "a = ?",
                                "a = ?1",
                                "a = :b",
                                "a = @b",
                                "a = $b",
                                "a = 1.5",
                                "a = .5",
                                "a = 1e5",
                                "a = 0x10",
                                "a = 1000000000000000000",
                                "a = x'00'",
                                "a = X'00'",
                                "a = 'x'; DROP TABLE t",
                                "[a] = 1",
                                "`a` = 1",
                                "t.a = 1",
                                "\xC3\xA9 = 1",
                                "a ! 1",
                                "a = 1 #",
                                std::string("a = 'x\0y'", 9),
                                std::string("a = 1\0", 6),
                                many,
                                "a = '" + std::string(5000, 'x') + "'"};
    WhereShape shape;
    for (const std::string& clause : rows) EXPECT_FALSE(shape.read(clause)) << clause;
}

/// A selection answers as the clause does when SQLite reads it with its literals.
class SelectionsByShape : public ChartTest {
protected:
    void SetUp() override {
        open(20);
        sqlite(path_,
               "UPDATE BOYLAT SET name = '7' WHERE fid = 7; UPDATE BOYLAT SET name = 'it''s' WHERE fid = 8;"
               "UPDATE BOYLAT SET name = '07' WHERE fid = 9; UPDATE BOYLAT SET number = 'seven' WHERE fid = 10;"
               "UPDATE BOYLAT SET name = x'37' WHERE fid = 11; UPDATE BOYLAT SET ratio = 7 WHERE fid = 12;"
               "UPDATE BOYLAT SET name = '' WHERE fid = 13; UPDATE BOYLAT SET name = 'caf\xC3\xA9' WHERE fid = 14");
    }
    std::vector<std::string> select(const std::string& where, SelectionOption option = selectionAll) {
        CComPtr<ISelectionSet> selection;
        EXPECT_EQ(openTable()->Select(filter({}, where), selectionIdSet, option, nullptr, &selection), S_OK)
            << errorText();
        std::vector<std::string> ids;
        if (selection)
            for (const ObjectId id : idsOf(selection)) ids.push_back(std::to_string(id));
        return ids;
    }
};

TEST_F(SelectionsByShape, AnswerAsTheClauseDoes) {
    const CComPtr<ITable> kept = openTable();  // keeps the statements, too
    for (int round = 0; round < 2; ++round)
        for (const char* where : {"name = '7'",
                                  "name = 7",
                                  "name = 07",
                                  "name = '07'",
                                  "name = 'it''s'",
                                  "name = ''",
                                  "name = 'caf\xC3\xA9'",
                                  "name > '7'",
                                  "name <> '7'",
                                  "number = 7",
                                  "number = '7'",
                                  "number = ' 7'",
                                  "number = '7x'",
                                  "number = 'seven'",
                                  "number > 'a'",
                                  "number < '9'",
                                  "ratio = 7",
                                  "ratio = '7.5'",
                                  "ratio > '7'",
                                  "fid = 5",
                                  "fid = '5'",
                                  "fid = '5x'",
                                  "fid > '15'",
                                  "rowid = '5'",
                                  "\"number\" = 4 OR \"fid\" = '6'",
                                  "NOT number = 4 AND number < 9",
                                  "number BETWEEN 3 AND fid = 1",
                                  "number IS NOT fid = 0",
                                  "flag = 1",
                                  "flag = '1'",
                                  "day = '2024-02-29'",
                                  "big = 9007199254740997",
                                  "number = 999999999999999999",
                                  "name = NULL",
                                  "NULL = 'x'",
                                  "number = 4) OR (number = 5",
                                  "name = 'Buoy 4' AND number = 4"}) {
            const std::string sql = std::string("SELECT fid FROM BOYLAT WHERE (") + where + ") ORDER BY fid";
            EXPECT_EQ(select(where), sqlite(path_, sql)) << where;
            EXPECT_EQ(select(where, selectionOnlyOne), sqlite(path_, sql + " LIMIT 1")) << where;
        }
}

TEST_F(SelectionsByShape, SeeWhatHasChangedSinceTheLast) {
    const CComPtr<ITable> kept = openTable();
    EXPECT_EQ(select("name = 'Buoy 4'"), std::vector<std::string>{"4"});
    sqlite(path_, "UPDATE BOYLAT SET name = 'Buoy 4' WHERE fid = 5");
    EXPECT_EQ(select("name = 'Buoy 4'"), (std::vector<std::string>{"4", "5"}));
    EXPECT_EQ(select("name = 'Buoy 6'"), std::vector<std::string>{"6"});
    sqlite(path_, "ALTER TABLE BOYLAT RENAME COLUMN name TO title");
    CComPtr<ISelectionSet> selection;
    EXPECT_EQ(kept->Select(filter({}, "name = 'Buoy 4'"), selectionIdSet, selectionAll, nullptr, &selection), E_FAIL);
    EXPECT_EQ(errorText(), path_ + ", layer BOYLAT: where clause \"name = 'Buoy 4'\": no such column: name");
}

TEST_F(SelectionsByShape, FailWithTheClauseAsItIsWritten) {
    for (const char* where : {"depth = 'x'", "name = 'x' AND", "name = = 'x'", "(name = 'x'"}) {
        CComPtr<ISelectionSet> selection;
        EXPECT_EQ(openTable()->Select(filter({}, where), selectionIdSet, selectionAll, nullptr, &selection), E_FAIL);
        EXPECT_TRUE(errorText().starts_with(path_ + ", layer BOYLAT: where clause \"" + where + "\": ")) << where;
    }
}

}  // namespace
}  // namespace host_test
