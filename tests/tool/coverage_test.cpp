// cxml coverage.
#include "tool_test.h"

#include <ostream>

namespace {

using nlohmann::json;
using std::string;

class CoverageCommand : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        dataset = newDataset();
        addTable(dataset, "BOYLAT", "CATLAM MEDIUMINT, COLOUR TEXT, SYMBOL_C TEXT",
                 "(CATLAM, COLOUR) VALUES (1, '4'), (1, '3'), (2, '3'), (2, '3'), (NULL, NULL)");
    }

    /// Writes what --json gives for some rows.
    string earlier(const string& name, const string& file, const string& ids) const {
        return writeFile(name, cxml({"coverage", file, dataset, "--fids", ids, "--json"}).out);
    }

    const string document = data("coverage.cxml");
    string dataset;
};

TEST_F(CoverageCommand, ShowsClassesConditionsAndMeasures) {
    const string before = readFile(dataset);
    const Outcome outcome = cxml({"coverage", document, dataset});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out,
              "BOYLAT  5 rows   held 2 of 2   decided 2 of 2   rules seen both ways 2 of 3\n"
              "     4  DEFAULT  reached    5  held    5  decided    2  replaced: 9 (2) 5 (1)  default\n"
              "     5  GREEN    reached    5  held    1  decided    1\n"
              "      6 CATLAM equal 1: 2 of 5 true, never alone to blame\n"
              "     9  RED      reached    5  held    2  decided    2\n"
              "1 class without a layer: BCNLAT\n"
              "held          2 of 3 conditions, 66 %\n"
              "decided       2 of 3 names, 66 %\n"
              "rules         2 of 4 rules seen both ways, 50 %\n");
    EXPECT_TRUE(readFile(dataset) == before) << "nothing is written";
}

TEST_F(CoverageCommand, NamedLayersCountAlone) {
    const Outcome outcome = cxml({"coverage", document, dataset, "BOYLAT", "--fail-under", "decided=100,held=100"});
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_NE(outcome.out.find("\ndecided       2 of 2 names, 100 %\n"), string::npos) << outcome.out;
}

TEST_F(CoverageCommand, JsonHasTheCountsOfEveryRule) {
    const json said = cxmlJson({"coverage", document, dataset}, 0);
    EXPECT_EQ(said["cxml"]["command"], "coverage");
    EXPECT_EQ(said["document"]["file"], document);
    EXPECT_EQ(said["layers"], json::parse(R"([{"layer": "BOYLAT", "succeeded": true, "rows": 5, "messages": []}])"));
    EXPECT_EQ(said["classes"], json::parse(R"([{"class": "BOYLAT", "runs": 1, "rows": 5, "unmeasured": 0},
                                               {"class": "BCNLAT", "runs": 0, "rows": 0, "unmeasured": 0}])"));
    EXPECT_EQ(said["measures"], json::parse(R"({"held": {"seen": 2, "of": 3, "percent": 66},
        "decided": {"seen": 2, "of": 3, "percent": 66}, "rules": {"seen": 2, "of": 4, "percent": 50}})"));
    EXPECT_EQ(said["files"][document], json::parse(R"({
        "covered": [{"start": {"row": 4}, "end": {"row": 7}}, {"start": {"row": 9}, "end": {"row": 10}}],
        "not_covered": [{"start": {"row": 14}, "end": {"row": 15}}],
        "covered_lines": 6, "not_covered_lines": 2, "coverage": 75})"));
    ASSERT_EQ(said["conditions"].size(), 4U);
    EXPECT_EQ(said["conditions"][0], json::parse(R"({"line": 4, "address": "BOYLAT/-/DEFAULT", "class": "BOYLAT",
        "fallback": true, "reached": 5, "held": 5, "decided": 2, "unmeasured": 0, "failed": 0,
        "replaced_by": [{"line": 5, "address": "BOYLAT/-/GREEN", "rows": 1},
                        {"line": 9, "address": "BOYLAT/-/RED", "rows": 2}], "rules": []})"));
    EXPECT_EQ(said["conditions"][1]["rules"], json::parse(R"([
        {"line": 6, "field": "CATLAM", "operator": "equal", "true": 2, "false": 3, "alone": 0, "unattributed": 0, "unmeasured": 0},
        {"line": 7, "field": "COLOUR", "operator": "containsany", "true": 1, "false": 1, "alone": 1, "unattributed": 0, "unmeasured": 0}])"));
}

TEST_F(CoverageCommand, FloorsNameWhatKeepsThemFromBeingMet) {
    EXPECT_EQ(cxml({"coverage", document, dataset, "--fail-under", "decided=66,rules=50"}).status, 0);
    const Outcome outcome = cxml({"coverage", document, dataset, "--fail-under", "decided=67,rules=51"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.out.find("50 %\n" + document + ":14: BCNLAT/-/BEACON: never decided a symbol\n" +
                               "decided: 66 %, below 67 %\n" + document +
                               ":6: CATLAM equal 1 of BOYLAT/-/GREEN: never alone to blame\n" + document +
                               ":15: CATLAM equal 1 of BCNLAT/-/BEACON: never asked\nrules: 50 %, below 51 %\n"),
              string::npos)
        << outcome.out;
    const json said = cxmlJson({"coverage", document, dataset, "--fail-under", "decided=67,rules=50"}, 1);
    EXPECT_EQ(said["floors"],
              json::parse(R"({"decided": {"percent": 67, "met": false}, "rules": {"percent": 50, "met": true}})"));
    EXPECT_EQ(said["missed"], json::parse(R"([{"measure": "decided", "line": 14, "address": "BCNLAT/-/BEACON",
                                               "text": "never decided a symbol"}])"));
}

TEST_F(CoverageCommand, AlmostAllIsNotAll) {
    string conditions;
    for (int i = 0; i < 200; ++i)
        conditions += "<condition rulename='S" + std::to_string(i) +
                      "'><rule type='A' operator='equal' field='CATLAM' value='" + std::to_string(i + 1) +
                      "'/></condition>";
    const string many = writeFile("many.cxml", "<conditionMap name='m'><featureClass name='MANY'>" + conditions +
                                                   "</featureClass></conditionMap>");
    addTable(dataset, "MANY", "CATLAM MEDIUMINT, SYMBOL_C TEXT",
             "(CATLAM) WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 199) SELECT i FROM n");
    const Outcome outcome = cxml({"coverage", many, dataset, "--fail-under", "decided=100"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.out.find("decided     199 of 200 names, 99 %\n"), string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find(many + ":1: MANY/-/S199: never decided a symbol\n"), string::npos) << outcome.out;
}

TEST_F(CoverageCommand, WhatCannotBeMeasuredIsANumberOfItsOwn) {
    const string file = writeFile("unmeasured.cxml",
                                  "<conditionMap name='m'><featureClass name='BOYLAT'>\n"
                                  "<condition rulename='LIT'>\n"
                                  "<rule type='Q' operator='exists' table='NOWHERE'><query>1</query></rule>\n"
                                  "</condition>\n"
                                  "<condition type='2' field='COLOUR'>\n"
                                  "<expression>def Generate(CATLAM): return 1 // (CATLAM - 1)</expression>\n"
                                  "</condition></featureClass></conditionMap>");
    const json said = cxmlJson({"coverage", file, dataset}, 0);
    EXPECT_EQ(said["classes"][0]["unmeasured"], 5);
    const json& lit = said["conditions"][0];
    EXPECT_EQ(lit["unmeasured"], 5) << lit;
    EXPECT_EQ(lit["rules"][0]["unmeasured"], 5) << lit;
    EXPECT_EQ(lit["rules"][0]["false"], 0) << lit;
    EXPECT_EQ(said["conditions"][1]["held"], 5);
    EXPECT_EQ(said["conditions"][1]["failed"], 5) << "two divide by zero, two return a number, one has None";
    EXPECT_EQ(said["rows"], 5);
    EXPECT_EQ(said["unmeasured"], 5);
    const Outcome outcome = cxml({"coverage", file, dataset, "--fail-under", "held=1,rules=1"});
    EXPECT_EQ(outcome.status, 1);
    for (const string& line :
         {string("   rows not measured 5\n"),
          string("     2  LIT        reached    5  held    0  decided    0  not measured 5\n"),
          string("      3 exists NOWHERE: 0 of 5 true, never answered (5 times asked)\n"),
          string("     5  (no name)  reached    5  held    5  expression failed 5"),
          string("\nnot measured as a whole: 5 of 5 rows\n"), file + ":2: BOYLAT/-/LIT: never held, 5 not measured\n",
          file + ":3: exists NOWHERE of BOYLAT/-/LIT: never answered (5 times asked)\n"})
        EXPECT_NE(outcome.out.find(line), string::npos) << line << outcome.out;
}

TEST_F(CoverageCommand, EarlierResultsAreAdded) {
    const json whole = cxmlJson({"coverage", document, dataset}, 0);
    const string first = earlier("first.json", document, "1,2");
    const string second = earlier("second.json", document, "3");
    const json sum = cxmlJson({"coverage", document, dataset, "--fids", "4,5", "--add", first, "--add", second}, 0);
    for (const char* member : {"measures", "files", "conditions"}) EXPECT_EQ(sum[member], whole[member]) << member;
    EXPECT_EQ(sum["classes"][0], json::parse(R"({"class": "BOYLAT", "runs": 3, "rows": 5, "unmeasured": 0})"));
    // Sums can be added to.
    const string both = writeFile("both.json", sum.dump());
    const json again = cxmlJson({"coverage", document, dataset, "--fids", "1", "--add", both}, 0);
    EXPECT_EQ(again["classes"][0]["rows"], 6);
    EXPECT_EQ(again["conditions"][0]["reached"], 6);
}

TEST_F(CoverageCommand, ResultsOfAnotherDocumentAreRefused) {
    const string text = readFile(document);
    const string earlierFile = earlier("earlier.json", document, "1,2");
    const auto changed = [&](const string& from, const string& to) {
        string other = text;
        other.replace(other.find(from), from.size(), to);
        return writeFile("other.cxml", other);
    };
    const struct {
        const char* from;
        const char* to;
        const char* complaint;
    } changes[] = {
        {"<conditionMap", "\n<conditionMap", "BOYLAT/-/DEFAULT: it is on another line"},
        {"rulename=\"RED\"", "rulename=\"ROUGE\"", "BOYLAT/-/RED: there is no such condition"},
        {"<condition rulename=\"RED\">",
         "<condition rulename=\"RED\"><rule type=\"A\" operator=\"equal\" field=\"A\"/>",
         "BOYLAT/-/RED: it has other rules"},
        {"      <rule type=\"L\"", "\n<rule type=\"L\"", "BOYLAT/-/GREEN: its rules are on other lines"},
        {"operator=\"containsany\"", "operator=\"containsall\"", "BOYLAT/-/GREEN: another operator in line 7"},
        {"field=\"COLOUR\"", "field=\"COLPAT\"", "BOYLAT/-/GREEN: another field in line 7"},
        {"name=\"BCNLAT\"", "name=\"BCNISD\"", "BCNLAT: there is no such class"},
        {"<condition rulename=\"BEACON\">", "<condition/><condition rulename=\"BEACON\">",
         "BCNLAT/-/@1: it does not have it"},
    };
    for (const auto& change : changes) {
        const string other = changed(change.from, change.to);
        const Outcome outcome = cxml({"coverage", other, dataset, "--add", earlierFile});
        EXPECT_EQ(outcome.status, 2) << change.to;
        EXPECT_EQ(outcome.out, "") << change.to;
        EXPECT_EQ(outcome.err,
                  "cxml: " + earlierFile + ": counts another document than " + other + ": " + change.complaint + '\n');
    }
}

TEST_F(CoverageCommand, ResultsOfHalfARunAreNotAdded) {
    json object = cxmlJson({"coverage", document, dataset}, 0);
    object["layers"][0]["succeeded"] = false;
    const string half = writeFile("half.json", object.dump());
    const Outcome outcome = cxml({"coverage", document, dataset, "--add", half});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err,
              "cxml: " + half + ": not all rows were counted: the run of 'BOYLAT' did not come to its end\n");
}

TEST_F(CoverageCommand, OnlyItsOwnResultsAreAdded) {
    const string good = readFile(earlier("earlier.json", document, "1,2"));
    const auto with = [&](const string& pointer, const json& value) {
        json object = json::parse(good);
        object[json::json_pointer(pointer)] = value;
        return object.dump();
    };
    json less = json::parse(good);
    less["conditions"][0].erase("held");
    const string contents[] = {"",
                               "{",
                               "[]",
                               "null",
                               string(100000, '['),
                               "{\"cxml\": {\"command\": \"coverage\"}}",
                               cxml({"ledger", document, dataset, "--json"}).out,
                               less.dump(),
                               with("/cxml/format", 2),
                               with("/cxml", "coverage"),
                               with("/conditions/0/held", -1),
                               with("/conditions/0/held", 1e300),
                               with("/conditions/0/held", 9223372036854775807),
                               with("/conditions/0/held", "5"),
                               with("/conditions/0/held", json::array()),
                               with("/conditions/0/rules", 5),
                               with("/conditions", "x"),
                               with("/layers", 5),
                               with("/classes", json::array()),
                               with("/classes/1", json::parse(good)["classes"][0]),
                               with("/conditions/1", json::parse(good)["conditions"][0])};
    for (const string& content : contents) {
        const string file = writeFile("bad.json", content);
        const Outcome outcome = cxml({"coverage", document, dataset, "--add", file});
        EXPECT_EQ(outcome.status, 2) << content.substr(0, 300);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
        EXPECT_NE(outcome.err.find("bad.json: "), string::npos) << outcome.err;
    }
    for (const string& file : {inFolder("nowhere.json").string(), inFolder("").string()}) {
        const Outcome outcome = cxml({"coverage", document, dataset, "--add", file});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.err, "cxml: " + file + ": cannot be read\n");
    }
    const json said = cxmlJson({"coverage", document, dataset, "--add", inFolder("nowhere.json").string()}, 2);
    EXPECT_EQ(said["layers"], json::array());
    EXPECT_FALSE(said.contains("conditions")) << "there are none to speak of";
}

TEST_F(CoverageCommand, TracefileHasLinesNamesAndRules) {
    const string file = inFolder("trace.info").string();
    EXPECT_EQ(cxml({"coverage", document, dataset, "--lcov", file}).status, 0);
    EXPECT_EQ(readFile(file), "TN:\nSF:" + document +
                                  "\nFN:5,BOYLAT/-/GREEN\nFN:9,BOYLAT/-/RED\nFN:14,BCNLAT/-/BEACON\n"
                                  "FNDA:1,BOYLAT/-/GREEN\nFNDA:2,BOYLAT/-/RED\nFNDA:0,BCNLAT/-/BEACON\nFNF:3\nFNH:2\n"
                                  "BRDA:6,0,0,2\nBRDA:6,0,1,0\nBRDA:7,0,0,1\nBRDA:7,0,1,1\nBRDA:10,0,0,2\n"
                                  "BRDA:10,0,1,3\nBRDA:15,0,0,-\nBRDA:15,0,1,-\nBRF:8\nBRH:5\n"
                                  "DA:4,5\nDA:5,1\nDA:6,2\nDA:7,1\nDA:9,2\nDA:10,2\nDA:14,0\nDA:15,0\nLF:8\nLH:6\n"
                                  "end_of_record\n");
}

TEST_F(CoverageCommand, RulesOfOneLineHaveTheirOwnBranches) {
    const auto rule = [](const char* value) {
        return string("<rule type='A' operator='equal' field='CATLAM' value='") + value + "'/>";
    };
    const string file =
        writeFile("line.cxml", "<conditionMap name='m'><featureClass name='BOYLAT'><condition rulename='A'>" +
                                   rule("1") + rule("9") + "</condition><condition rulename='B'>" + rule("1") +
                                   "</condition></featureClass></conditionMap>");
    const string trace = inFolder("trace.info").string();
    EXPECT_EQ(cxml({"coverage", file, dataset, "--lcov", trace}).status, 0);
    EXPECT_NE(readFile(trace).find("BRDA:1,0,0,2\nBRDA:1,0,1,0\nBRDA:1,1,0,0\nBRDA:1,1,1,2\n"
                                   "BRDA:1,2,0,2\nBRDA:1,2,1,3\nBRF:6\nBRH:4\nDA:1,0\nLF:1\nLH:0\n"),
              string::npos)
        << readFile(trace);
}

TEST_F(CoverageCommand, HalfARunHasNoTracefile) {
    const string trace = inFolder("trace.info").string();
    const Outcome outcome = cxml({"coverage", document, dataset, "BOYLAT", "MARKS", "--lcov", trace});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.out.find("BOYLAT  5 rows"), string::npos) << outcome.out;
    EXPECT_FALSE(std::filesystem::exists(trace));
}

TEST_F(CoverageCommand, FilesThatAreThereStay) {
    const string file = writeFile("trace.info", "mine");
    const Outcome outcome = cxml({"coverage", document, dataset, "--lcov", file});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "") << "it is said before the rows are visited";
    EXPECT_EQ(outcome.err, "cxml: " + file + ": cannot be written: exists already; --overwrite replaces it\n");
    EXPECT_EQ(readFile(file), "mine");
    EXPECT_EQ(cxml({"coverage", document, dataset, "--lcov", file, "--overwrite"}).status, 0);
    EXPECT_EQ(readFile(file).rfind("TN:\n", 0), 0U);
    const Outcome nowhere = cxml({"coverage", document, dataset, "--lcov", inFolder("no/such.info").string()});
    EXPECT_EQ(nowhere.status, 2);
    EXPECT_EQ(lineCount(nowhere.err), 1U) << nowhere.err;
    EXPECT_EQ(cxml({"coverage", document, dataset, "--lcov", inFolder("").string(), "--overwrite"}).status, 2);
}

TEST_F(CoverageCommand, OutputThatCannotBeWritten) {
    ProcessOptions options;
    options.outFile = "/dev/full";
    const Outcome outcome = cxml({"coverage", document, dataset}, options);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "cxml: standard output cannot be written\n");
}

TEST_F(CoverageCommand, NamesStayOnTheirLines) {
    const string file = writeFile("hostile.cxml",
                                  "<conditionMap name='m'><featureClass name='BOYLAT'>"
                                  "<condition rulename='A,1&#10;end_of_record&#10;SF:other'>"
                                  "<rule type='A' operator='equal' field='CAT&#10;LAM' value='9'/></condition>"
                                  "</featureClass></conditionMap>");
    const string trace = inFolder("trace.info").string();
    const Outcome outcome = cxml({"coverage", file, dataset, "--lcov", trace, "--fail-under", "decided=1,rules=1"});
    EXPECT_EQ(outcome.status, 1) << outcome.err;
    EXPECT_EQ(lineCount(outcome.out), 10U) << outcome.out;
    EXPECT_NE(outcome.out.find(file + ":1: BOYLAT/-/A,1%0Aend_of_record%0ASF:other: never decided a symbol\n"),
              string::npos)
        << outcome.out;
    const string text = readFile(trace);
    EXPECT_EQ(text.find("\nend_of_record\n"), text.size() - 15) << text;
    EXPECT_NE(text.find("\nFN:1,BOYLAT/-/A%2C1%0Aend_of_record%0ASF:other\n"), string::npos) << text;
}

TEST_F(CoverageCommand, ControlCharactersDoNotSteerTheTerminal) {
    // No document can have them but these; what --add is given can.
    const string file =
        writeFile("control.cxml",
                  "<conditionMap name='m'><featureClass name='BOYLAT'>"
                  "<condition rulename='A&#x9B;2J&#x7F;'><rule type='A' operator='equal' field='CATLAM'>"
                  "<value>&#x9B;2J&#x7F;&#10;&#13;</value></rule></condition></featureClass></conditionMap>");
    sql(dataset, "UPDATE BOYLAT SET SYMBOL_C = 'x' || char(27) || '[2J' || char(10)");
    json object = cxmlJson({"coverage", file, dataset}, 0);
    object["conditions"][0]["address"] = "\x1B[2J\n\x9B";
    const string hostile = writeFile("hostile.json", object.dump(-1, ' ', true, json::error_handler_t::ignore));
    for (const Arguments& more : {Arguments{"--fail-under", "decided=100,rules=100"}, Arguments{"--add", hostile}}) {
        Arguments arguments{"coverage", file, dataset};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const Outcome outcome = cxml(arguments);
        for (const string& text : {outcome.out, outcome.err}) {
            EXPECT_EQ(text.find_first_of("\x1B\x7F\r"), string::npos) << text;
        }
        EXPECT_EQ(lineCount(outcome.err), more[0] == "--add" ? 1U : 0U) << outcome.err;
    }
}

TEST_F(CoverageCommand, DocumentsThatDoNotLoadGiveNoAnswer) {
    const string trace = inFolder("trace.info").string();
    for (const char* name : {"entity_bomb.cxml", "no_name.cxml", "other_root.cxml", "missing_library.cxml",
                             "duplicate_library.cxml", "syntax_error.cxml"}) {
        SCOPED_TRACE(name);
        const Outcome outcome = cxml({"coverage", data(name), dataset, "--lcov", trace});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_NE(outcome.err, "");
        EXPECT_FALSE(std::filesystem::exists(trace));
    }
}

struct FloorCase {
    const char* name;
    const char* text;
};

void PrintTo(const FloorCase& tested, std::ostream* out) {
    *out << tested.name;
}

class CoverageFloor : public ToolTest, public testing::WithParamInterface<FloorCase> {};

TEST_P(CoverageFloor, IsRefused) {
    const Outcome outcome = cxml({"coverage", "a", "b", "--fail-under", GetParam().text});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
    EXPECT_NE(outcome.err.find("--fail-under"), string::npos) << outcome.err;
}

INSTANTIATE_TEST_SUITE_P(All, CoverageFloor,
                         testing::Values(FloorCase{"Measure", "lines=5"}, FloorCase{"NoNumber", "decided"},
                                         FloorCase{"Empty", "decided="}, FloorCase{"Above", "decided=101"},
                                         FloorCase{"Below", "decided=-1"}, FloorCase{"Fraction", "decided=99.5"},
                                         FloorCase{"More", "decided=5%"}, FloorCase{"Second", "decided=5,rules"}),
                         [](const auto& tested) { return tested.param.name; });

TEST_F(CoverageCommand, WithoutAnAnswerThereIsNone) {
    for (const string& file : {data("syntax_error.cxml"), inFolder("none.cxml").string()}) {
        EXPECT_EQ(cxml({"coverage", file, dataset}).status, 2);
        EXPECT_EQ(cxmlJson({"coverage", file, dataset}, 2)["document"]["loaded"], false);
    }
    const Outcome outcome = cxml({"coverage", document, inFolder("none.gpkg").string()});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(cxml({"coverage", document, dataset, "MARKS"}).status, 2) << "nothing was measured";
    // No row at all is below every floor.
    EXPECT_EQ(cxml({"coverage", document, dataset, "--fids", "99", "--fail-under", "held=1"}).status, 1);
}

}  // namespace
