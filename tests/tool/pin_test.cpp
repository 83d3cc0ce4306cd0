// cxml pin: tests from the rows of a dataset.
#include "tool_test.h"

namespace {

using nlohmann::json;

class Pin : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        dataset = newDataset();
        addTable(dataset, "BUOY",
                 "NAME TEXT, CATLAM INTEGER, SYMBOL_C TEXT, Xoffset_C REAL, Yoffset_C REAL, Rotate_C REAL",
                 "(NAME, CATLAM) VALUES ('a', 1), ('b', 1), ('c', 2), ('d', 2), ('e|\x1b[31m', 3)");
        addTable(dataset, "LIGHT", "NAME TEXT", "(NAME) VALUES ('a'), ('x')");
        rules = document("1");
        file = inFolder("marks.tests.md").string();
    }
    std::string document(const std::string& port) const {
        return writeFile("marks.cxml",
                         "<conditionMap name='Marks'>\n<featureClass name='BUOY'>\n<condition rulename='DEFAULT'/>\n"
                         "<condition rulename='PORT'><rule type='A' field='CATLAM' operator='equal' value='" +
                             port +
                             "'/></condition>\n"
                             "<condition rulename='LIT'><rule type='Q' operator='exists' table='LIGHT'>"
                             "<query>NAME = '%s'</query><params><param value='NAME'/></params></rule></condition>\n"
                             "</featureClass>\n</conditionMap>\n");
    }
    Outcome pin(Arguments more = {}) const {
        more.insert(more.begin(), {"pin", rules, dataset, "BUOY", "-o", file});
        return cxml(more);
    }

    std::string dataset;
    std::string rules;
    std::string file;
};

TEST_F(Pin, FewestRowsThatHoldWhatHappensAndPass) {
    const std::string before = readFile(dataset);
    EXPECT_EQ(pin().out, "BUOY: 3 rows pinned\n3 rows pinned, 0 tests changed\n");
    EXPECT_EQ(readFile(dataset), before) << "the dataset is only read";
    EXPECT_EQ(readFile(file),
              "# Tests of marks.cxml\n\n## BUOY\n<!-- rows: BUOY -->\n"
              "| CATLAM long | NAME text | SYMBOL_C | by |\n| --- | --- | --- | --- |\n"
              "| 1 | a | LIT | BUOY/-/LIT |\n| 1 | b | PORT | BUOY/-/PORT |\n| 2 | c | DEFAULT | BUOY/-/DEFAULT |\n\n"
              "<!-- rows: LIGHT -->\n| NAME text |\n| --- |\n| a |\n");
    EXPECT_EQ(cxml({"test", rules, file}).out, "0 failed, 3 passed of 3\n");
    EXPECT_EQ(cxmlJson({"test", rules, file, "--mutate"}, 0)["mutants"]["survivors"], json::array());
}

TEST_F(Pin, WhatIsCoveredIsNotPinnedAgain) {
    EXPECT_EQ(pin({"--fids", "3"}).status, 0);
    const std::string first = readFile(file);
    EXPECT_EQ(pin().status, 0);
    const std::string both = readFile(file);
    EXPECT_EQ(both.rfind(first, 0), 0U) << "what is there stays";
    EXPECT_EQ(both.find("| 2 | c", first.size()), std::string::npos) << both;
    EXPECT_EQ(pin().out, "0 rows pinned, 0 tests changed\n");
    EXPECT_EQ(readFile(file), both);
}

TEST_F(Pin, Limit) {
    EXPECT_EQ(pin({"--limit", "1"}).out, "BUOY: 1 row pinned\n1 row pinned, 0 tests changed\n");
}

TEST_F(Pin, TestsThatFailChangeOnlyWhenThatIsWished) {
    ASSERT_EQ(pin().status, 0);
    const std::string old = readFile(file);
    document("2");
    const Outcome refused = pin();
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.out.find(":8: PORT -> DEFAULT; BUOY/-/PORT -> BUOY/-/DEFAULT"), std::string::npos) << refused.out;
    EXPECT_EQ(readFile(file), old);
    const Outcome updated = pin({"--update"});
    EXPECT_EQ(updated.status, 0) << updated.err;
    EXPECT_EQ(lineCount(readFile(file)), lineCount(old));
    EXPECT_EQ(cxml({"test", rules, file}).out, "0 failed, 3 passed of 3\n");
}

TEST_F(Pin, RowsOfADatasetThatHasItsSymbolsAlready) {
    ASSERT_EQ(pin().status, 0);
    const std::string fresh = readFile(file);
    ASSERT_EQ(cxml({"symbolize", rules, dataset, "BUOY"}).status, 0);
    std::filesystem::remove(file);
    ASSERT_EQ(pin().status, 0);
    EXPECT_EQ(readFile(file), fresh);
}

TEST_F(Pin, CellsOfHostileValues) {
    writeFile("marks.cxml",
              "<conditionMap name='M'><featureClass name='BUOY'><condition rulename='X'>"
              "<rule type='A' field='NAME' operator='like' value='e*'/></condition></featureClass></conditionMap>");
    ASSERT_EQ(pin({"--fids", "5"}).status, 0);
    const std::string text = readFile(file);
    EXPECT_NE(text.find("| e\\|&#27;[31m | X |"), std::string::npos) << text;
    EXPECT_EQ(text.find('\x1b'), std::string::npos);
    EXPECT_EQ(cxml({"test", rules, file}).status, 0);
}

TEST_F(Pin, WhatKeepsAnythingFromBeingWritten) {
    const std::string folder = inFolder("folder.tests.md").string();
    std::filesystem::create_directory(folder);
    const std::string broken = writeFile("broken.tests.md", "## A\n<!-- rows: BUOY -->\nno table\n");
    const struct {
        const char* name;
        Arguments arguments;
        const char* complaint;
    } cases[] = {
        {"a folder", {"pin", rules, dataset, "-o", folder}, "folder.tests.md: is no regular file"},
        {"no folder", {"pin", rules, dataset, "-o", inFolder("none/t.md").string()}, "there is no such folder"},
        {"no table", {"pin", rules, dataset, "-o", broken}, "broken.tests.md:2:1: no table follows"},
        {"no document", {"pin", inFolder("none.cxml").string(), dataset, "-o", file}, "none.cxml: "},
        {"not a document", {"pin", writeFile("half.cxml", "<conditionMap"), dataset, "-o", file}, "half.cxml: "},
        {"no dataset", {"pin", rules, inFolder("none.gpkg").string(), "-o", file}, "none.gpkg"},
        {"no such layer", {"pin", rules, dataset, "BOAT", "-o", file}, "BOAT"},
        {"no configuration", {"pin", rules, dataset, "MARKS", "-o", file}, "MARKS: no configuration"},
        {"one of two", {"pin", rules, dataset, "BUOY", "MARKS", "-o", file}, "MARKS: No configuration defined"},
        {"no SYMBOL_C",
         {"pin",
          writeFile("m.cxml",
                    "<conditionMap name='M'><featureClass name='MARKS'><condition rulename='X'/>"
                    "</featureClass></conditionMap>"),
          dataset, "-o", file},
         "SYMBOL_C"},
        {"no rights", {"pin", rules, dataset, "-o", "/proc/version.tests.md"}, "/proc/version.tests.md: "},
    };
    for (const auto& row : cases) {
        const Outcome said = cxml(row.arguments);
        EXPECT_EQ(said.status, 2) << row.name << said.out;
        EXPECT_NE(said.err.find(row.complaint), std::string::npos) << row.name << ": " << said.err;
    }
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_EQ(readFile(broken), "## A\n<!-- rows: BUOY -->\nno table\n");
}

}  // namespace
