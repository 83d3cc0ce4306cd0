// Expressions and queries in a run of the tool, and the options of the services that they use.
#include "tool_test.h"

namespace {

using nlohmann::json;

class Expressions : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        dataset = newDataset();
        addTable(dataset, "LIGHTS", "LITCHR TEXT, SIGPER DOUBLE, BUOY TEXT",
                 "(LITCHR, SIGPER, BUOY) VALUES ('Fl', 10, 'one'), ('Oc', 2.5, 'two'), ('Q', 1, 'two')");
    }
    Outcome run(const char* document, Arguments more = {"LIGHTS"}) {
        more.insert(more.begin(), {"symbolize", data(document), dataset, "--add-fields"});
        return cxml(more);
    }
    std::string labels(const std::string& table = "LIGHTS") const {
        return sql(dataset, "SELECT group_concat(coalesce(LABEL_C, '-'), '|') FROM (SELECT LABEL_C FROM " + table +
                                " ORDER BY fid)");
    }
    std::string dataset;
};

TEST_F(Expressions, WriteTheirTexts) {
    const Outcome outcome = run("expressions.cxml");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "LIGHTS: 3 rows, 3 changed; 3 default\n") << "what expressions print is not there";
    EXPECT_EQ(outcome.err, "label of Fl\nlabel of Oc\nlabel of Q\n");
    EXPECT_EQ(labels(), "Fl 10s|Oc 2.5s|Q 1s");
    EXPECT_EQ(run("expressions.cxml").out, "LIGHTS: 3 rows, 0 changed; 3 default\n");
}

TEST_F(Expressions, ResetClearsThem) {
    run("expressions.cxml");
    EXPECT_EQ(cxml({"reset", data("expressions.cxml"), dataset}).status, 0);
    EXPECT_EQ(labels(), "-|-|-");
}

TEST_F(Expressions, FailureIsAMessageOfItsRow) {
    sql(dataset, "UPDATE LIGHTS SET LITCHR = 'fail' WHERE fid = 2");
    const Outcome outcome = run("expressions.cxml");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(labels(), "Fl 10s|-|Q 1s");
    EXPECT_NE(outcome.err.find("LIGHTS: Encountered error processing Python in CXML!\n"
                               "Rule Name: LIGHT\nCalculating Field: LABEL_C\nFunction: "),
              std::string::npos)
        << outcome.err;
    EXPECT_NE(
        outcome.err.find("ptype = <class 'ValueError'>\npvalue = no such light\nptrace =\nframe0: CalcFields@5\n"),
        std::string::npos)
        << outcome.err;
}

TEST_F(Expressions, DebuggerOutputIsShownOnRequest) {
    sql(dataset, "UPDATE LIGHTS SET LITCHR = 'number' WHERE fid = 2");
    EXPECT_EQ(run("expressions.cxml").err.find("Unexpected return type"), std::string::npos);
    const Outcome outcome = run("expressions.cxml", {"LIGHTS", "--debug-output"});
    EXPECT_NE(outcome.err.find("debugger: Unexpected return type from python function:\n"), std::string::npos)
        << outcome.err;
    EXPECT_EQ(labels(), "Fl 10s|-|Q 1s");
}

TEST_F(Expressions, SourceThatIsNoPythonDoesNotLoad) {
    const Outcome outcome = run("syntax_error.cxml");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("Function: def Generate(: ptype = <class 'SyntaxError'> pvalue = invalid syntax "
                               "(CalcFields, line 1)"),
              std::string::npos)
        << outcome.err;
    const json checked = cxmlJson({"check", data("syntax_error.cxml")}, 1);
    EXPECT_EQ(
        checked["document"]["error"],
        "Encountered error processing Python in CXML!\nRule Name: LIGHT\nCalculating Field: LABEL_C\n"
        "Function: def Generate(:\nptype = <class 'SyntaxError'>\npvalue = invalid syntax (CalcFields, line 1)\n");
}

TEST_F(Expressions, RelatedTablesAreAsked) {
    addTable(dataset, "BOYLAT", "NAME TEXT", "(NAME) VALUES ('one'), ('two'), ('three'), ('O''Neill'), (NULL)");
    const Outcome outcome = run("related.cxml", {"BOYLAT"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "BOYLAT: 5 rows, 5 changed; 2 rule, 3 default; 1 question not answered\n");
    EXPECT_EQ(symbols(dataset), "LIT LIT PLAIN PLAIN PLAIN");
    EXPECT_EQ(labels("BOYLAT"), "Fl|Oc/Q|-|-|-");
}

TEST_F(Expressions, LogIsMadeAndAppendedTo) {
    const std::string log = inFolder("events.log").string();
    EXPECT_EQ(run("expressions.cxml", {"LIGHTS", "--log", log}).status, 0);
    EXPECT_TRUE(std::filesystem::exists(log));
    writeFile("events.log", "what was there\n");
    EXPECT_EQ(run("expressions.cxml", {"LIGHTS", "--log", log}).status, 0);
    EXPECT_EQ(readFile(log), "what was there\n") << "nothing of this run is for the log";
}

TEST_F(Expressions, UsersPackagesOnRequest) {
    const std::string document =
        writeFile("user.cxml",
                  "<conditionMap name='m'><featureClass name='LIGHTS'><condition type='2' field='LABEL_C'><expression>"
                  "import sys\ndef Generate(): return '%d%d' % (sys.flags.no_user_site, "
                  "sys.flags.ignore_environment)</expression></condition>"
                  "</featureClass></conditionMap>");
    EXPECT_EQ(cxml({"symbolize", document, dataset, "LIGHTS", "--add-fields"}).status, 0);
    EXPECT_EQ(labels(), "11|11|11");
    EXPECT_EQ(cxml({"symbolize", document, dataset, "LIGHTS", "--user-site"}).status, 0);
    EXPECT_EQ(labels(), "01|01|01");
}

}  // namespace
