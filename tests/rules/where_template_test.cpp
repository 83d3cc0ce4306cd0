// Where clauses: a template, its parameters, and the values of a row.
#include "rules/where_template.h"

#include "memhost/table.h"

#include <gtest/gtest.h>
#include <optional>

namespace {

using ConditionalXml::FieldNames;
using ConditionalXml::RowValueMap;
using ConditionalXml::WhereTemplate;
using memhost::bstr;
using memhost::Cell;
using memhost::describe;
using memhost::utf8;
using std::string;
using std::vector;

/// A parameter of a template: a constant when it begins with an apostrophe, else a field.
using Parameters = vector<string>;

class WhereTemplateTest : public testing::Test {
protected:
    WhereTemplate make(std::string_view text, const Parameters& parameters) {
        const CComBSTR source = bstr(text);
        WhereTemplate where(WideView(source.m_str, source.Length()));
        for (const string& parameter : parameters) {
            if (parameter.starts_with('\'')) {
                const CComBSTR constant = bstr(parameter.substr(1));
                where.addConstant(WideView(constant.m_str, constant.Length()));
            } else {
                const CComBSTR name = bstr(parameter);
                where.addField(name, names->intern(name));
            }
        }
        return where;
    }
    void put(const char* field, const vector<Cell>& cells) {
        for (const Cell& cell : cells) values.append(bstr(field), cell.value);
    }
    /// Nothing when a field is missing.
    std::optional<string> fill(const WhereTemplate& where) {
        WideString clause(OLESTR("left from the row before"));
        if (where.fill(values, clause)) return std::nullopt;
        return utf8(WideView(clause));
    }

    std::shared_ptr<FieldNames> names = std::make_shared<FieldNames>();
    RowValueMap values{names};
};

vector<string> piecesOf(const WhereTemplate& where) {
    vector<string> texts;
    for (const WhereTemplate::Piece& piece : where.pieces()) texts.push_back(utf8(WideView(piece.text)));
    return texts;
}

TEST_F(WhereTemplateTest, isCutBehindEachPlaceholder) {
    const struct {
        const char* text;
        vector<string> pieces;
    } rows[] = {
        {"NAME = '%s' AND KIND = %s", {"NAME = '%s", "' AND KIND = %s"}},
        {"NAME = '%s'", {"NAME = '%s", "'"}},
        {"%s%s", {"%s", "%s"}},
        {"KIND = 3", {"KIND = 3"}},
        {"A = %S AND B LIKE 'x%'", {"A = %S AND B LIKE 'x%'"}},
        {"%%s", {"%%s"}},
        {"% s", {"% s"}},
    };
    for (const auto& row : rows) EXPECT_EQ(piecesOf(make(row.text, {})), row.pieces) << row.text;
}

struct ClauseCase {
    const char* name;
    const char* text;
    Parameters parameters;
    string clause;
};

TEST_F(WhereTemplateTest, valuesTakeThePlacesInOrder) {
    put("CAT", {3});
    put("NAME", {"Tor Bay"});
    put("QUOTE", {"O'Neill's; DROP TABLE x --"});
    put("PERCENT", {"%s %d %n %% 100%"});
    put("EMPTY", {""});
    put("NULL", {nullptr});
    put("REAL", {2.5});
    put("ABC", {"a", "b", "c"});
    put("MIXED", {1, nullptr, "x"});
    const ClauseCase rows[] = {
        {"constant and field", "NAME = '%s' AND KIND = %s", {"'X", "CAT"}, "NAME = 'X' AND KIND = 3"},
        {"no parameters at all", "KIND = 3", {}, "KIND = 3"},
        {"placeholder without parameter stays", "A = %s AND B = %s", {"CAT"}, "A = 3 AND B = %s"},
        {"only placeholders", "%s%s", {"CAT", "'X"}, "3X"},
        {"more parameters than pieces", "A = %s", {"CAT", "NAME", "'X"}, "A = 3"},
        {"a parameter for the closing piece leaves it", "A = '%s'", {"NAME", "'X"}, "A = 'Tor Bay'"},
        {"a real number", "A = %s", {"REAL"}, "A = 2.5"},
        {"quotes go in as they are", "A = '%s'", {"QUOTE"}, "A = 'O'Neill's; DROP TABLE x --'"},
        {"data is no format", "A = '%s'", {"PERCENT"}, "A = '%s %d %n %% 100%'"},
        {"a constant is no format", "A = '%s'", {"'%s%n"}, "A = '%s%n'"},
        {"empty text", "A = '%s'", {"EMPTY"}, "A = ''"},
        {"NULL has no text", "A = '%s'", {"NULL"}, "A = ''"},
        {"quoted list", "A IN ('%s')", {"ABC"}, "A IN ('a','b','c')"},
        {"plain list", "A IN (%s)", {"ABC"}, "A IN (a,b,c)"},
        {"list with NULL", "A IN (%s)", {"MIXED"}, "A IN (1,,x)"},
        {"quoted list with NULL", "A IN ('%s')", {"MIXED"}, "A IN ('1','','x')"},
        {"a quote two before the placeholder does not count", "A IN (' %s')", {"ABC"}, "A IN (' a,b,c')"},
        {"placeholder at the very start", "%s = A", {"ABC"}, "a,b,c = A"},
        {"doubled percent in a filled piece", "A LIKE '%%x' AND B = %s", {"CAT"}, "A LIKE '%x' AND B = 3"},
        {"doubled percent in a literal piece", "B = %s AND A LIKE '%%x'", {"CAT"}, "B = 3 AND A LIKE '%%x'"},
        {"other percents in a filled piece", "A LIKE '%x%' AND B = %s", {"CAT"}, "A LIKE '%x%' AND B = 3"},
        {"formats other than the placeholder", "A = '%d%n' AND B = %s", {"CAT"}, "A = '%d%n' AND B = 3"},
        {"three percents", "%%%s", {"CAT"}, "%3"},
        {"empty constant", "A = '%s'", {"'"}, "A = ''"},
    };
    for (const ClauseCase& row : rows) EXPECT_EQ(fill(make(row.text, row.parameters)), row.clause) << row.name;
}

TEST_F(WhereTemplateTest, embeddedZerosAndTheirRestAreKept) {
    put("ZERO", {string("a\0b", 3)});
    EXPECT_EQ(fill(make("A = '%s' AND B", {"ZERO"})), string("A = 'a\0b' AND B", 15));
}

TEST_F(WhereTemplateTest, lineFeedsAndHugeTextsAreKept) {
    string text;
    text.resize(10'000'000, 'x');
    text += "\r\n";
    put("HUGE", {text});
    EXPECT_EQ(fill(make("A = '%s'", {"HUGE"})), "A = '" + text + "'");
}

TEST_F(WhereTemplateTest, missingFieldIsTold) {
    put("CAT", {3});
    const WhereTemplate where = make("A = %s AND B = %s AND C = %s", {"CAT", "ABSENT", "GONE"});
    WideString clause;
    const WhereTemplate::Piece* const missing = where.fill(values, clause);
    ASSERT_NE(missing, nullptr);
    EXPECT_EQ(utf8(missing->fieldName.m_str), "ABSENT");
}

TEST_F(WhereTemplateTest, namesMatchExactly) {
    put("CAT", {3});
    EXPECT_EQ(fill(make("A = %s", {"cat"})), std::nullopt);
}

TEST_F(WhereTemplateTest, everyRowIsFilledAnew) {
    const WhereTemplate where = make("A = %s", {"CAT"});
    put("CAT", {3});
    EXPECT_EQ(fill(where), "A = 3");
    values.clear();
    EXPECT_EQ(fill(where), std::nullopt);
    put("CAT", {4});
    EXPECT_EQ(fill(where), "A = 4");
}

TEST_F(WhereTemplateTest, pieceTellsWhatFillsIt) {
    const WhereTemplate where = make("A = '%s' AND B = %s AND C", {"'X", "CAT"});
    ASSERT_EQ(where.pieces().size(), 3U);
    EXPECT_EQ(where.pieces()[0].kind, WhereTemplate::Kind::Constant);
    EXPECT_EQ(describe(where.pieces()[0].value), "\"X\"");
    EXPECT_EQ(where.pieces()[1].kind, WhereTemplate::Kind::Field);
    EXPECT_EQ(utf8(where.pieces()[1].fieldName.m_str), "CAT");
    EXPECT_EQ(where.pieces()[2].kind, WhereTemplate::Kind::Literal);
}

}  // namespace
