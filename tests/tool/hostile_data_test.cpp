// Field values and documents that mean no good, in a run of the tool over a GeoPackage.
#include "tool_test.h"

#include <ostream>

namespace {

constexpr std::size_t tenMegabytes = 10'485'760;

struct Value {
    const char* name;
    const char* literal;  // in SQL
    const char* label;    // what an expression gets: the text's length, its first ten characters
    bool foundByQuery;    // by LIGHTS.NAME = '%s'; the same value is there
    const char* lists;    // NAME as a list: A containsany 3, N containsnone 3, M hasmultiple, E equal NULL
};

std::ostream& operator<<(std::ostream& out, const Value& value) {
    return out << value.name;
}

class HostileValues : public ToolTest, public testing::WithParamInterface<Value> {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        dataset = newDataset();
        const std::string value = GetParam().literal;
        addTable(dataset, "BOYLAT", "NAME TEXT, SYMBOL_C TEXT, LABEL_C TEXT, A TEXT, N TEXT, M TEXT, E TEXT",
                 "(NAME) VALUES (" + value + ")");
        addTable(dataset, "LIGHTS", "NAME TEXT", "(NAME) VALUES (" + value + "), ('other')");
    }
    // Everything but what a run writes.
    std::string content() {
        const std::string copy = inFolder("copy.gpkg").string();
        std::filesystem::copy_file(dataset, copy, std::filesystem::copy_options::overwrite_existing);
        sql(copy,
            "UPDATE BOYLAT SET SYMBOL_C = NULL, LABEL_C = NULL, A = NULL, N = NULL, M = NULL, E = NULL; "
            "UPDATE gpkg_contents SET last_change = ''");
        // The dump of the shell ends texts at a zero.
        return sql(copy, ".dump") + sql(copy, "SELECT hex(NAME) FROM BOYLAT UNION ALL SELECT hex(NAME) FROM LIGHTS");
    }
    std::string dataset;
};

TEST_P(HostileValues, GoThroughEveryKindOfRule) {
    const Value& value = GetParam();
    const std::string before = content();
    const Outcome outcome = cxml({"symbolize", data("hostile_values.cxml"), dataset, "BOYLAT"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    // A clause that a quote or a zero in the value has broken is a question without an answer.
    EXPECT_EQ(
        outcome.out.rfind(std::string("BOYLAT: 1 row, 1 changed; 1 ") + (value.foundByQuery ? "rule\n" : "default"), 0),
        0U)
        << outcome.out;
    EXPECT_EQ(outcome.err, "");
    const nlohmann::json counted = cxmlJson({"coverage", data("hostile_values.cxml"), dataset, "BOYLAT"}, 0);
    EXPECT_EQ(counted["conditions"][0]["decided"], value.foundByQuery ? 0 : 1) << counted;
    EXPECT_EQ(counted["conditions"][1]["decided"], value.foundByQuery ? 1 : 0) << counted;
    EXPECT_EQ(counted["rows"], 1);
    EXPECT_EQ(sql(dataset, "SELECT LABEL_C FROM BOYLAT"), value.label);
    EXPECT_EQ(symbols(dataset), value.foundByQuery ? "FOUND" : "LOST");
    EXPECT_EQ(
        sql(dataset, "SELECT coalesce(A, '') || coalesce(N, '') || coalesce(M, '') || coalesce(E, '') FROM BOYLAT"),
        value.lists);
    EXPECT_TRUE(content() == before) << "the run wrote more than its results";
    expectIntact(dataset);
}

#define TEN_MEGABYTES_OF(text) "replace(hex(zeroblob(" text ")), '00', "

constexpr Value hostileValues[] = {
    {"apostrophe", "'O''Neill'", "7 O'Neill", false, "NE"},
    {"quotes", "'\"a\" `b` [c]'", "11 \"a\" `b` [c", true, "NE"},
    {"onlyAnApostrophe", "''''", "1 '", false, "NE"},
    {"semicolons", "';a;b;--'", "7 ;a;b;--", true, "NE"},
    {"comment", "'/* -- #'", "7 /* -- #", true, "NE"},
    {"percentSigns", "'%s %n %d %% %1$s %'", "18 %s %n %d %", true, "NE"},
    {"percentSignAndList", "'%d,3,%n'", "7 %d,3,%n", true, "A"},
    {"backslashes", "'\\''\\n'", "4 \\'\\n", false, "NE"},
    {"newlines", "'a' || char(10) || 'b' || char(13, 10) || 'c'", "6 a\nb\r\nc", true, "NE"},
    {"newlineInAList", "'3,' || char(10) || '4'", "4 3,\n4", true, "AM"},
    {"zero", "'ab' || char(0) || 'c'", "2 ab", false, "NE"},
    {"zeroBehindTheEndOfTheClause", "''')' || char(0)", "2 ')", false, "NE"},
    {"zeroInAList", "'3' || char(0) || ',4'", "1 3", false, "AM"},
    {"notUtf8", "CAST(x'61FF62' AS TEXT)",
     "3 a\xEF\xBF\xBD"
     "b",
     false, "NE"},
    {"tenMegabytes", TEN_MEGABYTES_OF("5242880") "'x;')", "10485760 x;x;x;x;x;", true, "NE"},
    {"tenMegabytesOfApostrophes", TEN_MEGABYTES_OF("5242880") "'''''')", "10485760 ''''''''''", false, "NE"},
    {"tenMegabytesOfCodes", TEN_MEGABYTES_OF("5242880") "'3,')", "10485760 3,3,3,3,3,", true, "A"},
    {"dropTable", "'x''; DROP TABLE LIGHTS; --'", "25 x'; DROP T", false, "NE"},
    {"dropTableInParentheses", "'x''); DROP TABLE LIGHTS; SELECT (''x'", "34 x'); DROP ", false, "NE"},
    {"deleteRows", "'x''); DELETE FROM LIGHTS; --'", "27 x'); DELET", false, "NE"},
    {"attach", "'x''); ATTACH ''stolen.db'' AS s; --'", "32 x'); ATTAC", false, "NE"},
    {"pragma", "'x''); PRAGMA writable_schema = 1; --'", "35 x'); PRAGM", false, "NE"},
    {"commit", "'x''); COMMIT; --'", "15 x'); COMMI", false, "NE"},
    // It stays one query: other rows, and rows of other tables, can be asked for.
    {"union", "'x'') UNION SELECT 1 --'", "21 x') UNION ", false, "NE"},
    {"unionThatFits", "'x'') UNION SELECT (''1'", "20 x') UNION ", true, "NE"},
    {"always", "'x'' OR ''1'' = ''1'", "14 x' OR '1' ", true, "NE"},
    // Functions that write.
    {"dropSpatialIndex", "'x'' OR DisableSpatialIndex(''MARKS'', ''geom'') <> ''9'", "48 x' OR Disa", false, "NE"},
    {"loadExtension", "'x'' OR load_extension(''stolen'') <> ''9'", "36 x' OR load", false, "NE"},
};

INSTANTIATE_TEST_SUITE_P(All, HostileValues, testing::ValuesIn(hostileValues),
                         [](const testing::TestParamInfo<Value>& entry) { return entry.param.name; });

class HostileDocuments : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        dataset = newDataset();
        addTable(dataset, "BOYLAT", "NAME TEXT, SYMBOL_C TEXT", "(NAME) VALUES ('one'), ('two')");
        addTable(dataset, "LIGHTS", "BUOY TEXT", "(BUOY) VALUES ('one')");
    }
    // A rule that asks LIGHTS, and a symbol that shows that the rows were reached.
    std::string document(const std::string& query, const std::string& params) {
        return writeFile("hostile.cxml",
                         "<conditionMap name='m'><featureClass name='BOYLAT'><condition rulename='ALL'/>"
                         "<condition rulename='LIT'><rule type='Q' operator='exists' table='LIGHTS'><query>" +
                             query + "</query><params>" + params +
                             "</params></rule></condition></featureClass></conditionMap>");
    }
    void expectSymbols(const std::string& path, const std::string& expected) {
        const Outcome outcome = cxml({"symbolize", path, dataset, "BOYLAT"});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        EXPECT_EQ(symbols(dataset), expected);
        EXPECT_EQ(sql(dataset, "SELECT group_concat(BUOY) FROM LIGHTS"), "one");
        expectIntact(dataset);
    }
    static std::string repeated(const std::string& text, std::size_t times) {
        std::string all;
        all.reserve(text.size() * times);
        for (std::size_t i = 0; i < times; ++i) all += text;
        return all;
    }
    std::string dataset;
};

TEST_F(HostileDocuments, TenThousandParams) {
    const std::string params = repeated("<param value='NAME'/>", 10'000);
    expectSymbols(document("BUOY IN ('x'" + repeated(", '%s'", 10'000) + ")", params), "LIT ALL");
    expectSymbols(document("BUOY = '%s'", params), "LIT ALL");
}

TEST_F(HostileDocuments, HundredThousandPlaceholdersWithoutParams) {
    expectSymbols(document("BUOY IN ('one'" + repeated(", '%s'", 100'000) + ")", ""), "LIT LIT");
    // More terms in one condition than the database takes: the rule is false.
    expectSymbols(document("BUOY = 'one'" + repeated(" OR '%s'", 100'000), ""), "ALL ALL");
}

TEST_F(HostileDocuments, TemplateOfTenMegabytes) {
    // Just within what one text of a document may have.
    constexpr std::size_t most = 9'900'000;
    expectSymbols(document("BUOY = '%s'" + repeated(" ", most), "<param value='NAME'/>"), "LIT ALL");
    expectSymbols(document("BUOY = '%s' OR BUOY = '" + repeated("x", most) + "'", "<param value='NAME'/>"), "LIT ALL");
    const Outcome outcome =
        cxml({"symbolize", document("BUOY = '%s'" + repeated(" ", tenMegabytes), "<param value='NAME'/>"), dataset});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("Failed to parse CXML: A text is too long. [Source: "), std::string::npos)
        << outcome.err;
    EXPECT_EQ(symbols(dataset), "LIT ALL") << "nothing was run";
}

TEST_F(HostileDocuments, ClausesThatWouldWrite) {
    for (const char* clause :
         {"1; DROP TABLE LIGHTS", "1); DROP TABLE LIGHTS; --", "1) -- ", "(DELETE FROM LIGHTS)", "1) RETURNING 1; --",
          "EXISTS (PRAGMA writable_schema = 1)", "1); VACUUM; --", "1; ROLLBACK",
          "CreateSpatialIndex('MARKS', 'geom') &lt;&gt; 9", "disablespatialindex('MARKS', 'geom') &lt;&gt; 9"}) {
        SCOPED_TRACE(clause);
        expectSymbols(document(clause, ""), "ALL ALL");
        sql(dataset, "UPDATE BOYLAT SET SYMBOL_C = NULL");
    }
    EXPECT_EQ(sql(dataset, "SELECT count(*) FROM MARKS WHERE fid IN (SELECT id FROM rtree_MARKS_geom)"), "2");
}

// SpatiaLite, where GDAL has it, brings functions that drop and rename tables; elsewhere there are none of these names.
TEST_F(HostileDocuments, FunctionsThatRunStatementsOfTheirOwn) {
    for (const char* call :
         {"DropTable(NULL, 'LIGHTS')", "DropGeoTable('LIGHTS')", "RenameTable(NULL, 'LIGHTS', 'GONE')",
          "RenameColumn(NULL, 'LIGHTS', 'BUOY', 'GONE')", "RemoveDuplicateRows('LIGHTS')",
          "gpkgAddSpatialIndex('MARKS', 'geom')", "CreateClonedTable('main', 'LIGHTS', 'CLONE')",
          "InitSpatialMetaData()", "gpkgInsertEpsgSRID(3395)"}) {
        SCOPED_TRACE(call);
        const std::string schema = sql(dataset, "SELECT group_concat(name || sql) FROM sqlite_master");
        const Outcome outcome = cxml({"symbolize", document(std::string(call) + " &lt;&gt; 9", ""), dataset, "BOYLAT"});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_NE(outcome.out.find("BOYLAT: 2 rows, "), std::string::npos);
        EXPECT_EQ(sql(dataset, "SELECT group_concat(name || sql) FROM sqlite_master"), schema);
        EXPECT_EQ(sql(dataset, "SELECT group_concat(BUOY) FROM LIGHTS"), "one");
        EXPECT_EQ(sql(dataset, "SELECT count(*) FROM gpkg_spatial_ref_sys"), "3");
        expectIntact(dataset);
    }
}

TEST_F(HostileDocuments, SpatialIndexCanBeAsked) {
    addTable(dataset, "LINKS", "MARK INTEGER, SYMBOL_C TEXT", "(MARK) VALUES (1), (77)");
    const std::string path = writeFile("links.cxml",
                                       "<conditionMap name='m'><featureClass name='LINKS'><condition "
                                       "rulename='THERE'><rule type='Q' operator='exists' "
                                       "table='MARKS'><query>fid = %s AND fid IN (SELECT id FROM "
                                       "rtree_MARKS_geom)</query><params><param value='MARK'/>"
                                       "</params></rule></condition></featureClass></conditionMap>");
    EXPECT_EQ(cxml({"symbolize", path, dataset, "LINKS"}).status, 0);
    EXPECT_EQ(symbols(dataset, "LINKS"), "THERE -");
}

}  // namespace
