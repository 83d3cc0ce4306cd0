// What cxml check says of a document with a dataset, and what runs over the dataset do.
#include "tool_test.h"

#include <ostream>
#include <set>

namespace {

using nlohmann::json;

std::string documentOf(const std::string& conditions, const std::string& name = "BOYLAT") {
    return "<conditionMap name='m'><featureClass name='" + name + "'>" + conditions + "</featureClass></conditionMap>";
}

std::string query(const std::string& clause, const std::string& table = "LIGHTS") {
    return "<condition rulename='S'><rule type='Q' operator='exists' table='" + table + "'><query>" + clause +
           "</query></rule></condition>";
}

class CheckDataset : public ToolTest {
protected:
    // "kind: text" of each finding of the kinds.
    std::vector<std::string> findings(const std::string& document, const std::string& dataset,
                                      const std::set<std::string>& kinds) const {
        const Outcome outcome = cxml({"check", writeFile("rules.cxml", document), dataset, "--json"});
        EXPECT_LE(outcome.status, 1) << outcome.err;
        std::vector<std::string> found;
        const json said = json::parse(outcome.out);
        for (const json& finding : said["findings"]) {
            const auto kind = finding["kind"].get<std::string>();
            if (kinds.contains(kind)) found.push_back(kind + ": " + finding["text"].get<std::string>());
        }
        return found;
    }
    std::vector<std::string> refusals(const std::string& clause, const std::string& dataset,
                                      const std::string& table = "LIGHTS") const {
        return findings(documentOf(query(clause, table)), dataset, {"clause-refused", "table-missing"});
    }
};

TEST_F(CheckDataset, RunsNoClause) {
    const std::string dataset = newDataset();
    addBuoys(dataset);
    const std::string endless =
        "(WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT max(i) FROM n) > 0";
    EXPECT_EQ(refusals(endless, dataset, "BOYLAT"), std::vector<std::string>{});
}

TEST_F(CheckDataset, ClassesThatACellDoesNotHaveAreNoSlips) {
    const std::string dataset = newDataset();
    addTable(dataset, "BCNLAT", "OBJNAM TEXT, SYMBOL_C TEXT", "");
    addTable(dataset, "BOYLAT", "OBJNAM TEXT", "");
    const auto said = [&](const char* table, const char* featureClass) {
        const std::string document = std::string("<conditionMap name='m'><featureClass name='BCNLAT'>") +
                                     query("1 = 1", table) + "</featureClass><featureClass name='" + featureClass +
                                     "'><condition rulename='S'/></featureClass></conditionMap>";
        std::vector<std::string> severities;
        const json found = json::parse(cxml({"check", writeFile("rules.cxml", document), dataset, "--json"}).out);
        for (const json& finding : found["findings"])
            if (finding["kind"] == "table-missing" || finding["kind"] == "configuration-without-layer")
                severities.push_back(finding["severity"].get<std::string>());
        return severities;
    };
    using Texts = std::vector<std::string>;
    EXPECT_EQ(said("BCNSAW", "BOYCAR"), (Texts{"note", "note"}));
    EXPECT_EQ(said("BCNLAD", "BOYLAX"), (Texts{"error", "warning"}));
}

TEST_F(CheckDataset, EveryKindOfTableHasItsWords) {
    const std::string dataset = newDataset();
    addBuoys(dataset);
    addTable(dataset, "LIGHTS", "OBJNAM TEXT", "");
    sql(dataset,
        "CREATE VIEW NAMED AS SELECT fid, OBJNAM FROM LIGHTS;"
        "INSERT INTO gpkg_contents (table_name, data_type, identifier) VALUES ('NAMED', 'attributes', 'NAMED')");
    using Texts = std::vector<std::string>;
    const std::string refused = "clause-refused: the dataset refuses the where clause: ";
    for (const char* const table : {"LIGHTS", "NAMED"}) {
        EXPECT_EQ(refusals("OBJNAM = 'a' -- all", dataset, table), Texts{}) << table;
        EXPECT_EQ(refusals("OBJNAM LIEK 'a'", dataset, table), Texts{refused + "near \"LIEK\": syntax error"}) << table;
        EXPECT_EQ(refusals("TITLE = 1", dataset, table), Texts{refused + "no such column: TITLE"}) << table;
    }
    std::filesystem::create_directory(inFolder("csv"));
    writeFile("csv/LIGHTS.csv", "OBJNAM,CATLAM\na,1\n");
    writeFile("csv/BOYLAT.csv", "OBJNAM,CATLAM\na,1\n");
    const std::string folder = inFolder("csv").string();
    EXPECT_EQ(refusals("OBJNAM = 'a'", folder), Texts{});
    const Texts said = refusals("TITLE = 'a'", folder);
    ASSERT_EQ(said.size(), 1U);
    EXPECT_NE(said[0].find("\"TITLE\" not recognised as an available field"), std::string::npos) << said[0];
}

TEST_F(CheckDataset, ClausesThatAreSaidToBeIncompleteAreNotAsked) {
    const std::string dataset = newDataset();
    addBuoys(dataset);
    addTable(dataset, "LIGHTS", "OBJNAM TEXT", "");
    const std::vector<std::string> none;
    EXPECT_EQ(refusals("OBJNAM = 'a", dataset), none);
    EXPECT_EQ(refusals("OBJNAM = %s", dataset), none);
}

struct Operand {
    const char* name;
    const char* rule;     // of an attribute rule: field, operator, value
    const char* kind;     // of the finding; empty without one
    const char* symbols;  // that a run gives to the rows
};

void PrintTo(const Operand& operand, std::ostream* out) {
    *out << operand.name;
}

class OperandOf : public CheckDataset, public testing::WithParamInterface<Operand> {};

TEST_P(OperandOf, IsReadAsRunsReadIt) {
    const std::string dataset = newDataset();
    addTable(dataset, "BOYLAT",
             "CATLAM MEDIUMINT, HEIGHT REAL, NATION TEXT(2), BUILT DATE, SURVEYED DATETIME, SYMBOL_C TEXT",
             "(CATLAM, HEIGHT, NATION, BUILT, SURVEYED) VALUES "
             "(1, 1, 'DE', '2020-05-01', '2020-05-01T00:00:00Z'), (2, 1.5, 'D', '2020-05-02', '2020-05-01T12:00:00Z'), "
             "(-2, 2, '', '2019-01-01', '2019-01-01T00:00:00Z'), (NULL, NULL, NULL, NULL, NULL)");
    const std::string document =
        documentOf("<condition rulename='S'><rule type='A' " + std::string(GetParam().rule) + "/></condition>");
    const std::vector<std::string> found = findings(document, dataset, {"operand-misread", "operand-never-fits"});
    const std::string kind = found.empty() ? "" : found[0].substr(0, found[0].find(':'));
    EXPECT_EQ(kind, GetParam().kind);
    EXPECT_LE(found.size(), 1U);
    EXPECT_EQ(cxml({"symbolize", writeFile("rules.cxml", document), dataset, "BOYLAT", "--quiet"}).status, 0);
    EXPECT_EQ(symbols(dataset), GetParam().symbols);
}

const Operand operands[] = {
    {"WholeNumber", "field='CATLAM' operator='equal' value='2'", "", "- S - -"},
    {"WholeNumberWithPoint", "field='CATLAM' operator='equal' value='2.0'", "", "- S - -"},
    {"FractionEqual", "field='CATLAM' operator='equal' value='1.6'", "operand-misread", "- S - -"},
    {"FractionNotEqual", "field='CATLAM' operator='notequal' value='1.6'", "operand-misread", "S - S S"},
    {"FractionBelow", "field='CATLAM' operator='lt' value='1.6'", "", "S - S -"},
    {"FractionBelowOrEqual", "field='CATLAM' operator='lte' value='1.6'", "operand-misread", "S S S -"},
    {"FractionAbove", "field='CATLAM' operator='gt' value='1.6'", "operand-misread", "- - - -"},
    {"FractionAboveOrEqual", "field='CATLAM' operator='gte' value='1.6'", "", "- S - -"},
    {"FractionOfReals", "field='HEIGHT' operator='equal' value='1.5'", "", "- S - -"},
    {"PatternOfDigits", "field='CATLAM' operator='like' value='-*'", "", "- - S -"},
    {"PatternOfNoDigits", "field='CATLAM' operator='like' value='1,*'", "operand-never-fits", "- - - -"},
    {"PatternOfReals", "field='HEIGHT' operator='like' value='1.*'", "", "- S - -"},
    {"TextThatFits", "field='NATION' operator='equal' value='DE'", "", "S - - -"},
    {"TextThatIsTooLong", "field='NATION' operator='equal' value='DEU'", "operand-never-fits", "- - - -"},
    {"Day", "field='BUILT' operator='equal' value='2020-05-01'", "", "S - - -"},
    {"DayWithTime", "field='BUILT' operator='equal' value='2020-05-01 12:00'", "operand-never-fits", "- - - -"},
    {"DayWithTimeAbove", "field='BUILT' operator='gt' value='2020-05-01 12:00'", "", "- S - -"},
    {"TimeOfDay", "field='SURVEYED' operator='equal' value='2020-05-01 12:00'", "", "- S - -"},
};

INSTANTIATE_TEST_SUITE_P(All, OperandOf, testing::ValuesIn(operands),
                         [](const auto& tested) { return tested.param.name; });

TEST_F(CheckDataset, SubtypeFieldsAreNamedAsForRuns) {
    const std::string dataset = newDataset();
    addTable(dataset, "BOYLAT", "KIND MEDIUMINT, SYMBOL_C TEXT", "(KIND) VALUES (1), (2)");
    const std::string document =
        writeFile("rules.cxml", documentOf("<subtype number='1,2'><condition rulename='S'/></subtype>"));
    EXPECT_EQ(cxml({"check", document, dataset, "--fail-level", "warning"}).status, 1);
    for (const char* const option : {"KIND", "BOYLAT=KIND"}) {
        const Outcome outcome =
            cxml({"check", document, dataset, "--subtype-field", option, "--fail-level", "warning"});
        EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
        EXPECT_EQ(outcome.out.find("subtype"), std::string::npos) << outcome.out;
    }
    for (const char* const option : {"NONE", "BOYLAT=NONE", "LIGHTS=KIND"})
        EXPECT_EQ(cxml({"check", document, dataset, "--subtype-field", option}).status, 2) << option;
    EXPECT_EQ(cxml({"check", document, "--subtype-field", "KIND"}).status, 2);
}

TEST_F(CheckDataset, PicturesOfOurOwnSymbols) {
    const std::string document = writeFile("rules.cxml", documentOf("<condition rulename='BOYLAT13'/>"));
    const std::string pictures = SOURCE_ROOT "/share/symbology/symbols";
    EXPECT_EQ(
        cxml({"check", SOURCE_ROOT "/examples/enc/enc.cxml", "--symbols", pictures, "--fail-level", "warning"}).status,
        0);
    EXPECT_EQ(cxml({"check", document, "--symbols", inFolder("none").string()}).status, 2);
}

}  // namespace
