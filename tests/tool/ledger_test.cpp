// How each row ended: what symbolize tells of it, cxml ledger, and the files.
#include "tool_test.h"

#include <sys/stat.h>
#include <numeric>

namespace {

using nlohmann::json;

// Rows 1 and 2 are decided by a rule and by default; 3 and 4 by nothing, with and without an older symbol; 5 by an
// expression that fails.
class Ledger : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        dataset = newDataset();
        addTable(
            dataset, "BOYLAT",
            "NAME TEXT, KIND INTEGER, CATLAM INTEGER, LABEL_C TEXT, SYMBOL_C TEXT, Xoffset_C REAL, Yoffset_C REAL, "
            "Rotate_C REAL",
            "(NAME, KIND, CATLAM, SYMBOL_C) VALUES ('a', 1, 1, 'OLD'), ('b', 7, 1, NULL), ('c', 1, 3, 'OLD'), "
            "('d', 1, 3, NULL), ('e', 2, 2, 'OLD')");
        addTable(dataset, "LIGHTS", "NAME TEXT", "(NAME) VALUES ('e')");
    }
    Outcome run(const char* command, Arguments more = {}) {
        more.insert(more.begin(), {command, data("ledger.cxml"), dataset, "BOYLAT", "--subtype-field", "KIND"});
        return cxml(more);
    }
    json layerOf(const json& object) { return object.at("layers").at(0); }
    json ledger() {
        const Outcome outcome = run("ledger", {"--json"});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return json::parse(outcome.out);
    }
    std::string dataset;
};

TEST_F(Ledger, EndsAddUpToTheRows) {
    const json all = ledger();
    const json layer = layerOf(all);
    EXPECT_EQ(layer["ends"], json::parse(R"({"rule": 1, "default": 1, "kept": 1, "none": 1, "failed": 1})"));
    EXPECT_EQ(layer["samples"], json::parse(R"({"kept": [3], "none": [4], "failed": [5]})"));
    EXPECT_EQ(layer["rows"], 5);
    EXPECT_EQ(all["rows"], 5);
    EXPECT_EQ(all["accounted"], 5);
    EXPECT_EQ(layer["decided"], json::parse(R"([
        {"line": 3, "address": "BOYLAT/-/FALLBACK", "symbol": "FALLBACK", "fallback": true, "rows": 1, "sample": [2]},
        {"line": 6, "address": "BOYLAT/1/GREEN", "symbol": "GREEN", "fallback": false, "rows": 1, "sample": [1]}])"));
    EXPECT_EQ(layer["writes"], json::parse(R"({"SYMBOL_C": 2, "Xoffset_C": 1})"));
}

TEST_F(Ledger, WhatWentWrongIsToldWithItsLineAndRow) {
    const json layer = layerOf(ledger());
    json questions = layer["questions"];
    EXPECT_EQ(questions, json::parse(R"([
        {"line": 19, "outcome": "refused", "clause": "NAME = 'e' AND (", "rows": 1, "sample": [5]},
        {"line": 22, "outcome": "no table", "clause": "NAME = 'e'", "rows": 1, "sample": [5]}])"));
    const json& messages = layer["messages"];
    ASSERT_EQ(messages.size(), 3U);
    const auto has = [&](std::size_t i, const char* begin, int line, const json& sample) {
        EXPECT_EQ(messages[i]["text"].get<std::string>().rfind(begin, 0), 0U) << messages[i];
        EXPECT_EQ(messages[i]["line"], line) << messages[i];
        EXPECT_EQ(messages[i]["sample"], sample) << messages[i];
    };
    has(0, "Field 'NOSUCH' referenced in CXML does not exist on BOYLAT.", 10, {1, 2, 3, 4, 5});
    has(1, "Rule referenced field 'NOSUCH' not found on 'BOYLAT'", 10, {1, 3, 4});
    has(2, "Encountered error processing Python in CXML!", 14, {5});
}

TEST_F(Ledger, WritesNothing) {
    const std::string before = readFile(dataset);
    std::filesystem::permissions(dataset, std::filesystem::perms::owner_read);
    EXPECT_EQ(run("ledger").status, 0);
    EXPECT_TRUE(readFile(dataset) == before);
}

TEST_F(Ledger, IsThatOfTheRun) {
    json before = ledger();
    EXPECT_EQ(before["layers"][0]["nearest"]["kept"]["line"], 6);
    before["layers"][0].erase("nearest");  // for which a run does not ask rows again
    const std::string file = inFolder("ledger.json").string();
    const Outcome outcome = run("symbolize", {"--ledger", file});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out.substr(0, outcome.out.find(';', outcome.out.find("failed"))),
              "BOYLAT: 5 rows, 2 changed; 1 rule, 1 default, 1 kept, 1 none, 1 failed");
    EXPECT_NE(outcome.out.find("; 2 questions not answered"), std::string::npos) << outcome.out;
    EXPECT_EQ(json::parse(readFile(file)), before);
    EXPECT_EQ(symbols(dataset), "GREEN FALLBACK OLD - OLD");
}

TEST_F(Ledger, TableForPeople) {
    const Outcome outcome = run("ledger");
    const std::string document = data("ledger.cxml");
    EXPECT_EQ(outcome.out.substr(0, outcome.out.find("BOYLAT  " + document + ":3")),
              "layer      rows     rule  default     kept     none   failed messages\n"
              "BOYLAT        5        1        1        1        1        1        9\n"
              "1 layer, 5 rows\n");
    for (const std::string& line : {document + ":6  GREEN  1 row\n", document + ":3  FALLBACK  1 row (default)\n",
                                    "kept: nearest " + document + ":6; fid 3\n",
                                    document + ":19  not answered (refused): NAME = 'e' AND (  fid 5\n"})
        EXPECT_NE(outcome.out.find("BOYLAT  " + line), std::string::npos) << line << outcome.out;
}

TEST_F(Ledger, StatusOnRequest) {
    EXPECT_EQ(run("ledger", {"--fail-on", "kept"}).status, 1);
    EXPECT_EQ(run("ledger", {"--fail-on", "message,question"}).status, 1);
    EXPECT_EQ(run("ledger", {"--fail-on", "kept", "--fids", "1,2"}).status, 0);
    EXPECT_EQ(run("ledger", {"--fail-on", "message", "--fids", "2"}).status, 1) << "the missing field";
    EXPECT_EQ(run("ledger", {"--fail-on", "perhaps"}).status, 2);
    EXPECT_EQ(run("symbolize", {"--strict"}).status, 1);
    EXPECT_EQ(symbols(dataset), "GREEN FALLBACK OLD - OLD") << "a strict run is a run";
    EXPECT_EQ(cxml({"symbolize", data("buoys.cxml"), dataset, "BOYLAT", "--strict"}).status, 0);
}

TEST_F(Ledger, DocumentThatDoesNotLoadGivesNoAnswer) {
    EXPECT_EQ(cxml({"ledger", data("missing_library.cxml"), dataset}).status, 2);
    EXPECT_EQ(cxml({"ledger", data("ledger.cxml"), inFolder("none.gpkg").string()}).status, 2);
}

TEST_F(Ledger, FilesAreNotOverwrittenUnasked) {
    const std::string file = writeFile("kept.json", "mine");
    const Outcome refused = run("ledger", {"--ledger", file});
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.err.find(file + ": cannot be written: exists already; --overwrite replaces it"),
              std::string::npos)
        << refused.err;
    EXPECT_EQ(readFile(file), "mine");
    EXPECT_EQ(run("ledger", {"--ledger", file, "--overwrite"}).status, 0);
    EXPECT_EQ(json::parse(readFile(file))["rows"], 5);
    EXPECT_EQ(run("ledger", {"--ledger", inFolder("no/such/folder.json").string()}).status, 2);
    const std::string device = inFolder("device").string();
    ASSERT_EQ(mkfifo(device.c_str(), S_IRUSR | S_IWUSR), 0);
    EXPECT_EQ(run("ledger", {"--ledger", device, "--overwrite"}).status, 2) << "no file takes its place";
    EXPECT_EQ(std::filesystem::status(device).type(), std::filesystem::file_type::fifo);
    for (const auto& entry : std::filesystem::directory_iterator(inFolder(".")))
        EXPECT_EQ(entry.path().string().find("json."), std::string::npos) << "a part was left: " << entry.path();
}

TEST_F(Ledger, ControlCharactersDoNotSteerTheTerminal) {
    sql(dataset, "UPDATE BOYLAT SET NAME = 'x' || char(27) || '[2J' || char(10) || 'y' WHERE fid = 5");
    const Outcome outcome = run("ledger");
    EXPECT_EQ(outcome.out.find('\x1B'), std::string::npos);
    EXPECT_NE(outcome.out.find("NAME = 'x\\x1B[2J y' AND ("), std::string::npos) << outcome.out;
}

}  // namespace
