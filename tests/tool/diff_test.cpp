// cxml diff: two documents over one dataset, and what a run would change.
#include "tool_test.h"

#include <sys/stat.h>
#include <ostream>

namespace {

using nlohmann::json;

// A row for each kind of change; the last holds an older symbol.
class Diff : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        dataset = newDataset();
        addTable(dataset, "BOYLAT",
                 "NAME TEXT, CATLAM INTEGER, LABEL_C TEXT, SYMBOL_C TEXT, Xoffset_C REAL, Yoffset_C REAL, Rotate_C "
                 "REAL",
                 "(NAME, CATLAM, SYMBOL_C) VALUES ('a', 1, NULL), ('b', 2, NULL), ('c', 3, NULL), ('d', 4, NULL), "
                 "('e', 5, 'RED'), ('f', 6, 'SIX'), ('g', 0, 'OLD')");
    }
    Outcome run(Arguments more = {}) {
        more.insert(more.begin(), {"diff", data("diff_a.cxml"), data("diff_b.cxml"), dataset});
        return cxml(more);
    }
    json runJson(Arguments more, int status) {
        more.insert(more.begin(), {"diff", data("diff_a.cxml"), data("diff_b.cxml"), dataset});
        return cxmlJson(more, status);
    }
    std::string dataset;
};

TEST_F(Diff, EachRowIsOfOneKind) {
    const std::string before = readFile(dataset);
    const json all = runJson({}, 1);
    EXPECT_EQ(all["result"], "different");
    EXPECT_EQ(all["against"], data("diff_a.cxml"));
    EXPECT_EQ(all["rows"], 7);
    EXPECT_EQ(all["same"], 2);
    EXPECT_EQ(all["changes"], json::parse(R"({"error": 0, "lost": 1, "gained": 1, "symbol": 1, "placement": 1,
                                              "fields": 1})"));
    EXPECT_EQ(all["kept"], 0);
    EXPECT_EQ(all["failed"], 0);
    EXPECT_EQ(all["real_runs"], json::array());
    json groups;
    for (const json& group : all["groups"]) {
        groups[group["change"].get<std::string>()] = {group["fields"], group["from"], group["to"], group["sample"]};
        EXPECT_EQ(group["rows"], 1);
        EXPECT_EQ(group["layer"], "BOYLAT");
    }
    EXPECT_EQ(groups, json::parse(R"({
        "placement": ["Xoffset_C", {"value": "1.5", "line": 3, "address": "BOYLAT/-/GREEN"},
                                   {"value": "2.5", "line": 3, "address": "BOYLAT/-/GREEN"}, [1]],
        "lost": ["SYMBOL_C", {"symbol": "RED", "line": 6, "address": "BOYLAT/-/RED"}, {"symbol": null}, [2]],
        "symbol": ["SYMBOL_C", {"symbol": "PREFERRED", "line": 9, "address": "BOYLAT/-/PREFERRED"},
                               {"symbol": "SAFE", "line": 9, "address": "BOYLAT/-/SAFE"}, [3]],
        "gained": ["SYMBOL_C", {"symbol": null}, {"symbol": "RED", "line": 6, "address": "BOYLAT/-/RED"}, [4]],
        "fields": ["LABEL_C", {"value": "e", "line": 12, "address": "BOYLAT/-/@1"},
                              {"value": "ee", "line": 12, "address": "BOYLAT/-/@1"}, [5]]})"));
    EXPECT_TRUE(readFile(dataset) == before);
    expectIntact(dataset);
}

TEST_F(Diff, TheRuleThatAnswersOtherwiseIsTheCause) {
    const std::string a = data("diff_a.cxml");
    const std::string b = data("diff_b.cxml");
    const Outcome outcome = run({"--full"});
    for (const std::string& line : {
             a + " -> " + b + " over " + dataset + "\nBOYLAT    7 rows\n",
             std::string("       1   RED -> -    6 -> -    fid 2\n           cause: ") + b + ":7  CATLAM gt 2  (" + a +
                 ":7  CATLAM equal 2): true -> false\n",
             std::string("       1   - -> RED    - -> 6    fid 4\n           cause: ") + b + ":7  CATLAM gt 2  (" + a +
                 ":7  CATLAM equal 2): false -> true\n",
             "           cause: BOYLAT/-/PREFERRED is only in " + a +
                 ":9\n           cause: BOYLAT/-/SAFE is only in " + b + ":9\n",
             std::string("       1   LABEL_C: e -> ee    12 -> 12    fid 5\n"),
             std::string("0 layers without a difference.    7 rows: 2 same, 1 other symbol, 1 symbol lost, 1 gained, "
                         "1 placement, 1 fields, 0 only by an error\n"),
         })
        EXPECT_NE(outcome.out.find(line), std::string::npos) << line << outcome.out;
    EXPECT_EQ(outcome.err, "");
}

TEST_F(Diff, RowsThatWereToChangeAreNoSurprise) {
    EXPECT_EQ(runJson({"--only", "CATLAM BETWEEN 1 AND 5"}, 0)["outside"], 0);
    const json some = runJson({"--only", "CATLAM IN (2, 3)"}, 1);
    EXPECT_EQ(some["outside"], 3);
    for (const json& group : some["groups"])
        EXPECT_EQ(group["outside"], group["sample"][0] == 2 || group["sample"][0] == 3 ? 0 : 1) << group;
    const Outcome text = run({"--only", "CATLAM = 2"});
    EXPECT_EQ(text.status, 1);
    EXPECT_LT(text.out.find("fid 3    1 outside"), text.out.find("fid 2\n")) << "first what was not to change";
    EXPECT_NE(text.out.find("4 rows outside of what was to change\n"), std::string::npos) << text.out;
}

TEST_F(Diff, IntentionThatNoLayerUnderstandsIsRefused) {
    const Outcome outcome = run({"--only", "NOSUCH = 1"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find("BOYLAT: --only does not apply: "), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("NOSUCH"), std::string::npos) << outcome.err;
}

TEST_F(Diff, AnIntentionCountsWhereItAppliesAndIsSaidWhereItDoesNot) {
    addTable(dataset, "BCNLAT", "KIND INTEGER, SYMBOL_C TEXT", "(KIND) VALUES (1)");
    const std::string more =
        "<featureClass name=\"BCNLAT\"><condition rulename=\"POLE\"/></featureClass></conditionMap>";
    std::string text = readFile(data("diff_b.cxml"));
    const std::string edited =
        writeFile("edited.cxml", text.replace(text.find("</conditionMap>"), std::string::npos, more));
    const Outcome outcome =
        cxml({"diff", data("diff_a.cxml"), edited, dataset, "--only", "CATLAM BETWEEN 1 AND 5", "--json"});
    EXPECT_EQ(outcome.status, 1) << "the beacon was not to change";
    EXPECT_EQ(json::parse(outcome.out)["outside"], 1);
    EXPECT_NE(outcome.err.find("BCNLAT: --only does not apply: "), std::string::npos) << outcome.err;
    EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
}

TEST_F(Diff, SameDocumentsMakeNoDifference) {
    const Outcome outcome = cxml({"diff", data("diff_a.cxml"), data("diff_a.cxml"), dataset});
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_NE(outcome.out.find("1 layer without a difference.    7 rows: 7 same"), std::string::npos) << outcome.out;
}

TEST_F(Diff, OlderSymbolThatOnlyStaysIsTold) {
    sql(dataset, "UPDATE BOYLAT SET SYMBOL_C = 'RED' WHERE CATLAM = 2");
    const json all = runJson({}, 1);
    EXPECT_EQ(all["changes"]["lost"], 0);
    EXPECT_EQ(all["kept"], 1);
    EXPECT_NE(run().out.find("  1 row same only because an older symbol stays: one document names none  fid 2\n"),
              std::string::npos);
}

TEST_F(Diff, ErrorsOnOneSideAreTheirOwnKind) {
    std::string text = readFile(data("diff_b.cxml"));
    const std::string from = "NAME * 2";
    const std::string edited = writeFile("edited.cxml", text.replace(text.find(from), from.size(), "NAME // 0"));
    const Outcome outcome = cxml({"diff", data("diff_a.cxml"), edited, dataset, "--json"});
    const json all = json::parse(outcome.out);
    EXPECT_EQ(all["changes"]["error"], 1);
    EXPECT_EQ(all["changes"]["fields"], 0);
    EXPECT_NE(outcome.err.find(edited + ": BOYLAT: Encountered error processing Python in CXML!"), std::string::npos)
        << outcome.err;
}

TEST_F(Diff, OfOneDocumentIsThePlanOfARun) {
    const json plan = cxmlJson({"diff", data("diff_a.cxml"), dataset}, 1);
    EXPECT_EQ(plan["against"], nullptr);
    EXPECT_EQ(plan["rows"], 7);
    EXPECT_EQ(plan["changes"], json::parse(R"({"error": 0, "lost": 0, "gained": 3, "symbol": 0, "placement": 0,
                                               "fields": 1})"));
    EXPECT_EQ(cxmlJson({"symbolize", data("diff_a.cxml"), dataset, "--dry-run"}, 1), plan);
    EXPECT_EQ(symbols(dataset), "- - - - RED SIX OLD");
    EXPECT_EQ(cxml({"symbolize", data("diff_a.cxml"), dataset}).status, 0);
    EXPECT_EQ(cxmlJson({"diff", data("diff_a.cxml"), dataset}, 0)["result"], "same");
    EXPECT_EQ(cxml({"symbolize", data("diff_a.cxml"), dataset, "--dry-run"}).status, 0);
    EXPECT_EQ(cxml({"symbolize", data("diff_a.cxml"), dataset, "--dry-run", "--add-fields"}).status, 2);
}

TEST_F(Diff, LayersOfOneDocumentAreHeldAgainstWhatIsThere) {
    const std::string none =
        writeFile("none.cxml", "<conditionMap name=\"x\"><featureClass name=\"BCNLAT\"/></conditionMap>");
    const json removed = cxmlJson({"diff", data("diff_a.cxml"), none, dataset}, 1);
    EXPECT_EQ(removed["changes"]["lost"], 3);
    EXPECT_EQ(removed["rows"], 7);
    const json added = cxmlJson({"diff", none, data("diff_a.cxml"), dataset, "BOYLAT"}, 1);
    EXPECT_EQ(added["changes"]["gained"], 3);
}

TEST_F(Diff, RowsCanBeChosen) {
    EXPECT_EQ(runJson({"--fids", "1,2"}, 1)["rows"], 2);
    EXPECT_EQ(runJson({"--where", "CATLAM = 6"}, 0)["rows"], 1);
}

TEST_F(Diff, QueriesThatReadWhatIsWrittenGetRealRunsThatAreRolledBack) {
    addTable(dataset, "LIGHTS", "BUOY INTEGER, SYMBOL_C TEXT", "(BUOY) VALUES (1), (2)");
    std::string text = readFile(data("diff_reads.cxml"));
    const std::string from = "field=\"CATLAM\" value=\"1\"";
    const std::string edited =
        writeFile("edited.cxml", text.replace(text.find(from), from.size(), "field=\"CATLAM\" value=\"2\""));
    const std::string before = readFile(dataset);
    const json all = cxmlJson({"diff", data("diff_reads.cxml"), edited, dataset}, 1);
    EXPECT_EQ(all["real_runs"], json::parse(R"([{"line": 9, "table": "BOYLAT", "field": "SYMBOL_C"},
                                               {"line": 9, "table": "BOYLAT", "field": "SYMBOL_C"}])"));
    json lights;
    for (const json& group : all["groups"])
        if (group["layer"] == "LIGHTS") lights[group["change"].get<std::string>()] = group["sample"];
    EXPECT_EQ(lights, json::parse(R"({"lost": [1], "gained": [2]})")) << "a rehearsal would see neither";
    EXPECT_TRUE(readFile(dataset) == before);
    expectIntact(dataset);
    const Outcome outcome = cxml({"diff", data("diff_reads.cxml"), edited, dataset});
    EXPECT_NE(outcome.out.find("  real runs, rolled back: the query of line 9 may read SYMBOL_C, which a run writes\n"),
              std::string::npos)
        << outcome.out;
}

struct ReadingCase {
    const char* name;
    const char* rule;   // of a light
    const char* reads;  // "" when a rehearsal will do
};

void PrintTo(const ReadingCase& reading, std::ostream* out) {
    *out << reading.name;
}

class DiffReading : public Diff, public testing::WithParamInterface<ReadingCase> {};

TEST_P(DiffReading, DecidesWhetherRunsAreReal) {
    addTable(dataset, "LIGHTS", "BUOY INTEGER, LABEL_C TEXT, SYMBOL_C TEXT", "(BUOY) VALUES (1), (2)");
    addTable(dataset, "DAYMAR", "BUOY INTEGER, SYMBOL_C TEXT", "(BUOY) VALUES (1)");
    std::string text = readFile(data("diff_reads.cxml"));
    const std::size_t begin = text.find("<rule type=\"Q\"");
    const std::size_t end = text.find("</rule>", begin) + 7;
    const std::string document = writeFile("reads.cxml", text.replace(begin, end - begin, GetParam().rule));
    const Outcome outcome = cxml({"diff", document, dataset, "--json"});
    std::string reads;
    const json all = json::parse(outcome.out);
    for (const json& read : all["real_runs"])
        reads += read["table"].get<std::string>() + "." + read["field"].get<std::string>();
    EXPECT_EQ(reads, GetParam().reads) << outcome.err;
}

const ReadingCase readingCases[] = {
    {"OfAnotherField", R"(<rule type="Q" operator="exists" table="BOYLAT"><query>CATLAM = 1</query></rule>)", ""},
    {"OfAWordThatContainsIt",
     R"(<rule type="Q" operator="exists" table="BOYLAT"><query>OLD_SYMBOL_C = 1</query></rule>)", ""},
    {"InAnotherCase", R"(<rule type="Q" operator="exists" table="boylat"><query>"symbol_C" = 'x'</query></rule>)",
     "boylat.SYMBOL_C"},
    {"OfAPlacement", R"(<rule type="Q" operator="exists" table="BOYLAT"><query>Rotate_C &lt; 9</query></rule>)",
     "BOYLAT.Rotate_C"},
    {"ThatFetches",
     R"(<rule type="Q" operator="fetch" table="BOYLAT"><query>CATLAM = 1</query><fields><field name="SYMBOL_C" alias="B"/></fields></rule>)",
     "BOYLAT.SYMBOL_C"},
    {"OfItsOwnLayer", R"(<rule type="Q" operator="exists" table="LIGHTS"><query>SYMBOL_C = 'x'</query></rule>)",
     "LIGHTS.SYMBOL_C"},
    {"OfALayerThatDoesNotRun", R"(<rule type="Q" operator="exists" table="DAYMAR"><query>BUOY = 1</query></rule>)", ""},
    {"OfWhatMayBeAView", R"(<rule type="Q" operator="exists" table="GREENS"><query>SYMBOL_C = 'x'</query></rule>)",
     "GREENS.SYMBOL_C"},
    {"ByAnInnerQuery",
     R"(<rule type="Q" operator="exists" table="DAYMAR"><query>BUOY IN (SELECT CATLAM FROM BOYLAT WHERE SYMBOL_C = 'x')</query></rule>)",
     "DAYMAR.SYMBOL_C"},
};

INSTANTIATE_TEST_SUITE_P(All, DiffReading, testing::ValuesIn(readingCases),
                         [](const testing::TestParamInfo<ReadingCase>& entry) { return entry.param.name; });

TEST_F(Diff, ReadsADatasetThatCannotBeWritten) {
    chmod(dataset.c_str(), S_IRUSR);
    EXPECT_EQ(run().status, 1);
}

TEST_F(Diff, TroubleIsNoDifference) {
    const std::string a = data("diff_a.cxml");
    const std::string broken = data("missing_library.cxml");
    const Outcome first = cxml({"diff", broken, a, dataset});
    EXPECT_EQ(first.status, 2);
    EXPECT_NE(first.err.find(broken), std::string::npos) << first.err;
    EXPECT_EQ(cxmlJson({"diff", a, broken, dataset}, 2)["result"], "trouble");
    EXPECT_EQ(cxml({"diff", a, inFolder("none.cxml").string(), dataset}).status, 2);
    EXPECT_EQ(cxml({"diff", a, a, inFolder("none.gpkg").string()}).status, 2);
    EXPECT_EQ(cxml({"diff", a, a, dataset, "NOSUCH"}).status, 2);
    EXPECT_EQ(cxml({"diff", a, a}).status, 2) << "no dataset";
}

TEST_F(Diff, DocumentIsToldFromDatasetByItsContent) {
    EXPECT_EQ(
        cxmlJson({"diff", data("diff_a.cxml"), writeFile("rules", readFile(data("diff_b.cxml"))), dataset}, 1)["rows"],
        7);
}

TEST_F(Diff, ControlCharactersDoNotSteerTheTerminal) {
    sql(dataset, "UPDATE BOYLAT SET SYMBOL_C = 'x' || char(27) || '[2J' || char(10) || 'y' WHERE fid = 1");
    const Outcome outcome = cxml({"diff", data("diff_a.cxml"), dataset});
    EXPECT_EQ(outcome.out.find('\x1B'), std::string::npos);
    EXPECT_NE(outcome.out.find("x\\x1B[2J y -> GREEN"), std::string::npos) << outcome.out;
}

}  // namespace
