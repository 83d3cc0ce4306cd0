// cxml test: tables of rows beside a document.
#include "tool_test.h"

namespace {

class TestCommand : public ToolTest {
protected:
    // Three conditions, of which the first is a default and the third nested.
    std::string document() const {
        return writeFile("marks.cxml",
                         "<conditionMap name='Marks'>\n"
                         "<featureClass name='BUOY'>\n"
                         "<condition rulename='DEFAULT'/>\n"
                         "<condition rulename='PORT'>\n"
                         "<rule type='A' field='CATLAM' operator='equal' value='1'/>\n"
                         "</condition>\n"
                         "<condition><rule type='A' field='BOYSHP' operator='equal' value='5'>\n"
                         "<condition rulename='SPAR' angle='45'/>\n"
                         "</rule></condition>\n"
                         "<condition rulename='LIT'><rule type='Q' operator='exists' table='LIGHT'>\n"
                         "<query>NAME = '%s'</query><params><param value='NAME'/></params></rule></condition>\n"
                         "</featureClass>\n"
                         "</conditionMap>\n");
    }
    static constexpr const char* head = "## Buoys\n<!-- rows: BUOY -->\n";

    std::string tests(const std::string& text) const { return writeFile("marks.tests.md", text); }
};

TEST_F(TestCommand, whatTablesCanSay) {
    const std::string rules = document();
    const struct {
        const char* name;
        std::string text;
        int status;
        std::string said;  // a part of it
    } rows[] = {
        {"all as expected",
         "| CATLAM integer | BOYSHP integer | NAME text | SYMBOL_C | Rotate_C | by |\n|---|---|---|---|---|---|\n"
         "| 1 | 1 | A | PORT | NULL | BUOY/-/PORT |\n| 2 | 5 | A | SPAR | 45 | BUOY/-/SPAR |\n"
         "| NULL | NULL | NULL | DEFAULT | NULL | !PORT |\n",
         0, "0 failed, 3 passed of 3\n"},
        {"the file's line and column, a caret, what decided, and why not",
         "| CATLAM integer | BOYSHP integer | NAME text | SYMBOL_C |\n|---|---|---|---|\n| 1 | 4 | A | SPAR |\n", 1,
         "marks.tests.md:5:15: SYMBOL_C is PORT, expected SPAR\n"
         "    5 | | 1 | 4 | A | SPAR |\n"
         "      |               ^^^^ marks.cxml:4 BUOY/-/PORT\n"
         "  not SPAR because: marks.cxml:7 BOYSHP = 4  equal 5  false, so 8 was not reached\n"
         "1 failed, 0 passed of 1\n"},
        {"another table is there for queries",
         "| NAME text | CATLAM integer | BOYSHP integer | by |\n|---|---|---|---|\n| A | 1 | 1 | BUOY/-/LIT |\n"
         "| B | 1 | 1 | BUOY/-/PORT |\n\n<!-- rows: LIGHT -->\n| NAME text |\n|---|\n| A |\n",
         0, "0 failed, 2 passed of 2\n"},
        {"an address that is gone", "| CATLAM integer | by |\n|---|---|\n| 1 | BUOY/2/PORT |\n", 1,
         "no condition has the address BUOY/2/PORT"},
        {"an address that must not decide, and is gone", "| CATLAM integer | by |\n|---|---|\n| 1 | !BUOY/2/PORT |\n",
         1, "no condition has the address BUOY/2/PORT"},
        {"a name that must not decide", "| CATLAM integer | by |\n|---|---|\n| 1 | !PORT |\n", 1,
         "decided by BUOY/-/PORT, expected another"},
        {"a value that must not be", "| CATLAM integer | SYMBOL_C |\n|---|---|\n| 1 | !PORT |\n", 1,
         "SYMBOL_C is PORT, expected another"},
        {"that none decides", "| CATLAM integer | by |\n|---|---|\n| 1 | - |\n", 1,
         "decided by BUOY/-/PORT, expected none"},
        {"a field that the table does not name does not exist",
         "| CATLAM integer | SYMBOL_C |\n|---|---|\n| 1 | SPAR |\n", 1, "no fields of the row: BOYSHP, NAME"},
        {"values of before",
         "| before Rotate_C | CATLAM integer | BOYSHP integer | Rotate_C |\n|---|---|---|---|\n| 30 | 1 | 1 | 30 |\n",
         0, "1 passed"},
        {"nothing to run", "| CATLAM integer |\n|---|\n| 1 |\n", 1,
         "marks.tests.md:2:1: no table says what to expect: nothing was run"},
        {"an unknown type", "| CATLAM number | SYMBOL_C |\n|---|---|\n| 1 | PORT |\n", 2,
         "marks.tests.md:3:3: 'number' is no type"},
        {"no number", "| CATLAM integer | SYMBOL_C |\n|---|---|\n| x | PORT |\n", 2,
         "marks.tests.md:5:3: 'x' is not a whole number"},
        {"a cell too many", "| CATLAM integer | SYMBOL_C |\n|---|---|\n| 1 | PORT | 2 |\n", 2,
         "marks.tests.md:5:1: the row has 3 cells, the header 2"},
        {"rows that say nothing are no tests",
         "| CATLAM integer | BOYSHP integer | NAME text | SYMBOL_C |\n|---|---|---|---|\n| 1 | 1 | A | PORT |\n"
         "| 1 | 1 | A | |\n",
         0, "0 failed, 1 passed of 1\n"},
        {"no row says anything", "| CATLAM integer | SYMBOL_C |\n|---|---|\n| 1 | |\n", 1,
         "marks.tests.md:2:1: no row of the table says what to expect"},
        {"a header that is no column", "| CATLAM integer of 4 | SYMBOL_C |\n|---|---|\n| 1 | PORT |\n", 2,
         "marks.tests.md:3:3: a column is 'NAME', 'NAME TYPE' or 'before NAME'"},
        {"the same field twice", "| CATLAM integer | CATLAM text | SYMBOL_C |\n|---|---|---|\n| 1 | 1 | PORT |\n", 2,
         "marks.tests.md:3:20: the table has this field already"},
        {"no rows", "| CATLAM integer | SYMBOL_C |\n|---|---|\n", 2, "marks.tests.md:2:1: the table has no rows"},
        {"no table", "text\n", 2, "marks.tests.md:2:1: no table follows on the next line"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string file = tests(head + row.text);
        Outcome said = cxml({"test", rules, file});
        EXPECT_EQ(said.status, row.status) << said.out << said.err;
        std::string text = said.out + said.err;
        const std::string folder = std::filesystem::path(rules).parent_path().string() + "/";
        for (std::size_t at = text.find(folder); at != std::string::npos; at = text.find(folder))
            text.erase(at, folder.size());
        EXPECT_NE(text.find(row.said), std::string::npos) << text;
    }
}

const std::string oneRow = "| CATLAM integer | BOYSHP integer | NAME text | SYMBOL_C |\n|---|---|---|---|\n";

TEST_F(TestCommand, classThatTheDocumentDoesNotHave) {
    const Outcome said =
        cxml({"test", document(), tests("## Lost\n<!-- rows: BEACON -->\n" + oneRow + "| 1 | 1 | A | PORT |\n")});
    EXPECT_EQ(said.status, 1);
    EXPECT_NE(said.out.find(":2:1: the document has no class 'BEACON': nothing was run"), std::string::npos)
        << said.out;
}

TEST_F(TestCommand, fileBesideTheDocumentAndNone) {
    const std::string rules = document();
    EXPECT_EQ(cxml({"test", rules}).status, 1) << "no tests are no success";
    EXPECT_EQ(cxml({"test", rules, "--allow-empty"}).status, 0);
    tests(head + oneRow + "| 1 | 1 | A | PORT |\n");
    EXPECT_EQ(cxml({"test", rules}).out, "0 failed, 1 passed of 1\n");
    EXPECT_EQ(cxml({"test", rules, inFolder("none.md").string()}).status, 2);
    EXPECT_EQ(cxml({"test", writeFile("broken.cxml", "<conditionMap")}).status, 2);
}

TEST_F(TestCommand, filesThatAreNone) {
    const std::string rules = document();
    const std::string folder = inFolder("folder.tests.md").string();
    std::filesystem::create_directory(folder);
    const struct {
        std::string file;
        int status;
        const char* said;
    } rows[] = {
        {folder, 2, "folder.tests.md: is no regular file"},
        {inFolder("none.md").string(), 2, "none.md: there is no such file"},
        {writeFile("empty.tests.md", ""), 1, "no tests in what was asked for"},
        {writeFile("prose.tests.md", "# Nothing\n\n| a |\n|---|\n| b |\n"), 1, "no tests in what was asked for"},
        {"/dev/null", 2, "/dev/null: is no regular file"},
    };
    for (const auto& row : rows) {
        const Outcome said = cxml({"test", rules, row.file});
        EXPECT_EQ(said.status, row.status) << row.file;
        EXPECT_NE(said.err.find(row.said), std::string::npos) << said.err;
    }
    std::filesystem::create_directory(inFolder("marks.tests.md"));
    EXPECT_EQ(cxml({"test", rules, "--allow-empty"}).status, 2) << "a folder beside the document is not no file";
    const std::string good = writeFile("good.tests.md", head + std::string("| CATLAM integer | SYMBOL_C |\n|---|---|\n"
                                                                           "| 1 | PORT |\n"));
    const nlohmann::json broken = cxmlJson({"test", writeFile("half.cxml", "<conditionMap"), good}, 2);
    EXPECT_EQ(broken["document"]["loaded"], false);
    EXPECT_EQ(broken["passed"], 0);
}

TEST_F(TestCommand, filter) {
    const std::string file = tests(head + oneRow + "| 1 | 1 | A | PORT |\n\n## Others\n<!-- rows: BUOY -->\n" + oneRow +
                                   "| 1 | 1 | A | SPAR |\n");
    EXPECT_EQ(cxml({"test", document(), file, "--filter", "Buo"}).out, "0 failed, 1 passed of 1; 1 sections skipped\n");
    EXPECT_EQ(cxml({"test", document(), file, "--filter", "Oth"}).status, 1);
    EXPECT_EQ(cxml({"test", document(), file, "--filter", "None"}).status, 1) << "nothing was run";
}

TEST_F(TestCommand, titleAndSubtype) {
    const std::string rules =
        writeFile("marks.cxml",
                  "<conditionMap name='Marks'><featureClass name='Lateral buoys'><condition rulename='ANY'/>"
                  "<subtype number='3'><condition rulename='THIRD'/></subtype></featureClass></conditionMap>");
    const std::string file = tests(
        "## T\n<!-- rows: BOYLAT title \"Lateral buoys\" subtype SUB -->\n"
        "| SUB integer | SYMBOL_C | by |\n|---|---|---|\n| 3 | THIRD | Lateral%20buoys/3/THIRD |\n"
        "| 1 | ANY | Lateral%20buoys/-/ANY |\n");
    const Outcome said = cxml({"test", rules, file});
    EXPECT_EQ(said.out, "0 failed, 2 passed of 2\n") << said.err;
}

TEST_F(TestCommand, sectionsKnowNothingOfEachOther) {
    // Operands take the type of the values that they meet: "05" that was a number is no longer "05".
    const std::string rules = writeFile("marks.cxml",
                                        "<conditionMap name='M'><featureClass name='BUOY'><condition rulename='FIVE'>"
                                        "<rule type='A' field='F' operator='equal' value='05'/></condition>"
                                        "</featureClass></conditionMap>");
    const std::string numbers = "## N\n<!-- rows: BUOY -->\n| F integer | SYMBOL_C |\n|---|---|\n| 5 | FIVE |\n\n";
    const std::string texts =
        "## T\n<!-- rows: BUOY -->\n| F text | SYMBOL_C |\n|---|---|\n| 05 | FIVE |\n| 5 | NULL |\n\n";
    for (const std::string& order : {numbers + texts, texts + numbers}) {
        const Outcome said = cxml({"test", rules, tests(order)});
        EXPECT_EQ(said.status, 0) << said.out;
    }
}

TEST_F(TestCommand, errorsOfRowsAreFailures) {
    const std::string rules =
        writeFile("marks.cxml",
                  "<conditionMap name='M'><featureClass name='BUOY'><condition rulename='X' type='2' field='LABEL_C'>"
                  "<expression>def Generate(F): return 'a' + F</expression></condition></featureClass></conditionMap>");
    const Outcome said =
        cxml({"test", rules, tests("## E\n<!-- rows: BUOY -->\n| F integer | SYMBOL_C |\n|---|---|\n| 5 | X |\n")});
    EXPECT_EQ(said.status, 1);
    EXPECT_NE(said.out.find("TypeError"), std::string::npos) << said.out;
}

TEST_F(TestCommand, json) {
    const std::string file = tests(head + oneRow + "| 1 | 1 | A | PORT |\n| 1 | 4 | A | SPAR |\n");
    const nlohmann::json said = cxmlJson({"test", document(), file}, 1);
    EXPECT_EQ(said["cxml"]["command"], "test");
    EXPECT_EQ(said["passed"], 1);
    EXPECT_EQ(said["failed"], 1);
    const nlohmann::json& rows = said["sections"][0]["rows"];
    EXPECT_EQ(rows[0], nlohmann::json::parse(R"({"line": 5, "passed": true})"));
    EXPECT_EQ(rows[1]["got"], nlohmann::json::parse(R"({"SYMBOL_C": "PORT"})"));
    EXPECT_EQ(rows[1]["misses"][0]["column"], 15);
    EXPECT_EQ(rows[1]["explain"]["symbol"]["value"], "PORT");
    EXPECT_EQ(rows[1]["explain"]["conditions"].size(), 4);
}

TEST_F(TestCommand, junit) {
    const std::string file = tests(head + oneRow + "| 1 | 1 | A | PORT |\n| 1 | 4 | <&\" | SPAR |\n");
    const std::string xml = inFolder("junit.xml").string();
    EXPECT_EQ(cxml({"test", document(), file, "--junit", xml}).status, 1);
    EXPECT_EQ(
        runProcess({"python3", "-c", "import sys, xml.dom.minidom; xml.dom.minidom.parse(sys.argv[1])", xml}).status,
        0);
    const std::string text = readFile(xml);
    EXPECT_NE(text.find("tests=\"2\" failures=\"1\""), std::string::npos) << text;
    EXPECT_EQ(cxml({"test", document(), file, "--junit", xml}).status, 2) << "nothing is overwritten unasked";
    EXPECT_EQ(readFile(xml), text);
    const Outcome nowhere = cxml({"test", document(), file, "--junit", inFolder("none/junit.xml").string()});
    EXPECT_EQ(nowhere.status, 2);
    EXPECT_EQ(nowhere.out, "") << "nothing is worked out for a file that cannot be written";
    EXPECT_NE(nowhere.err.find("none/junit.xml: cannot be written: there is no such folder"), std::string::npos)
        << nowhere.err;
    EXPECT_EQ(cxml({"test", document(), file, "--junit", xml, "--overwrite"}).status, 1);
}

TEST_F(TestCommand, mutants) {
    const std::string weak = tests(head + oneRow + "| 1 | 1 | A | PORT |\n");
    const nlohmann::json some = cxmlJson({"test", document(), weak, "--mutate"}, 0)["mutants"];
    EXPECT_EQ(some["made"], some["possible"]);
    EXPECT_EQ(some["killed"].get<int>() + static_cast<int>(some["survivors"].size()), some["made"].get<int>());
    std::vector<std::string> changes;
    for (const nlohmann::json& survivor : some["survivors"])
        changes.push_back(std::to_string(survivor["line"].get<int>()) + " " + survivor["change"].get<std::string>());
    EXPECT_EQ(changes, (std::vector<std::string>{"3 condition DEFAULT removed", "7 condition  removed",
                                                 "7 condition  swapped with PORT of line 4", "8 condition SPAR removed",
                                                 "10 condition LIT removed", "10 condition LIT swapped with  of line 7",
                                                 "10 LIGHT exists made never to hold"}));
    EXPECT_EQ(cxmlJson({"test", document(), weak, "--mutate", "--limit", "3"}, 0)["mutants"]["made"], 3);
    const std::string strong =
        tests(head + oneRow +
              "| 1 | 1 | A | PORT |\n| 2 | 1 | A | DEFAULT |\n| 1 | 5 | A | SPAR |\n| 1 | 5 | B | LIT |\n\n"
              "<!-- rows: LIGHT -->\n| NAME text |\n|---|\n| B |\n");
    EXPECT_EQ(cxmlJson({"test", document(), strong, "--mutate"}, 0)["mutants"]["survivors"].size(), 0);
    EXPECT_EQ(cxml({"test", document(), tests(head + oneRow + "| 1 | 1 | A | SPAR |\n"), "--mutate"}).status, 1);
}

TEST_F(TestCommand, documentWhoseTextCannotBeChanged) {
    std::string wide = "\xFF\xFE";
    for (const char c : readFile(document())) (wide += c) += '\0';
    const std::string file = tests(head + oneRow + "| 1 | 1 | A | PORT |\n");
    const std::string rules = writeFile("wide.cxml", wide);
    EXPECT_EQ(cxml({"test", rules, file}).out, "0 failed, 1 passed of 1\n");
    EXPECT_EQ(cxml({"test", rules, file, "--mutate"}).status, 2);
}

TEST_F(TestCommand, controlCharactersOfCellsDoNotReachTheTerminal) {
    const Outcome said = cxml({"test", document(), tests(head + oneRow + "| 1 | 1 | \x1b[31m | SPAR |\n")});
    EXPECT_EQ(said.status, 1);
    EXPECT_EQ(said.out.find('\x1b'), std::string::npos);
}

}  // namespace
