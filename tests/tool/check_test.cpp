// cxml check.
#include "tool_test.h"

#include <ostream>
#include <set>
#include <sstream>

namespace {

using nlohmann::json;

class Check : public ToolTest {};

TEST_F(Check, CleanDocument) {
    const Outcome outcome = cxml({"check", data("buoys.cxml")});
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(cxmlJson({"check", data("buoys.cxml")}, 0), json::parse(R"({
        "document": {"loaded": true, "error": null, "messages": []}, "findings": []})"));
}

TEST_F(Check, UnreadElementsAndAttributesWithTheirLines) {
    const std::string file = data("unread.cxml");
    const Outcome outcome = cxml({"check", file});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out,
              file + ":1: nothing reads the attribute 'version' (/conditionMap/@version)\n" + file +
                  ":2: nothing reads the attribute 'note' (/conditionMap/functionLibrary[1]/@note)\n" + file +
                  ":5: nothing reads the element 'fetureClass' (/conditionMap/fetureClass[1])\n" + file +
                  ":8: nothing reads the attribute 'alias' (/conditionMap/featureClass[1]/@alias)\n" + file +
                  ":9: nothing reads the attribute 'rulname' "
                  "(/conditionMap/featureClass[1]/condition[1]/@rulname)\n" +
                  file +
                  ":13: nothing reads the attribute 'value' "
                  "(/conditionMap/featureClass[1]/condition[2]/rule[1]/@value)\n" +
                  file +
                  ":14: nothing reads the element 'Rule' (/conditionMap/featureClass[1]/condition[2]/Rule[1])\n");
}

TEST_F(Check, JsonNamesFileLineKindAndText) {
    const json said = cxmlJson({"check", data("unread.cxml")}, 1);
    ASSERT_EQ(said["findings"].size(), 7U) << said;
    EXPECT_EQ(said["findings"][2],
              (json{{"file", data("unread.cxml")},
                    {"line", 5},
                    {"kind", "unread-element"},
                    {"text", "nothing reads the element 'fetureClass' (/conditionMap/fetureClass[1])"}}));
    EXPECT_EQ(said["findings"][0]["kind"], "unread-attribute");
}

TEST_F(Check, WhatLoadingSaysIsAFinding) {
    const Outcome outcome = cxml({"check", data("unknown_operator.cxml")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("Discarding condition 'X' due to rule parse failure."), std::string::npos);
    const json said = cxmlJson({"check", data("unknown_operator.cxml")}, 1);
    EXPECT_EQ(said["document"]["messages"].size(), 2U) << said;
}

TEST_F(Check, DocumentThatConfiguresNothingHasNoOtherFindings) {
    const json said = cxmlJson({"check", data("no_name.cxml")}, 1);
    EXPECT_EQ(said["document"]["loaded"], false);
    EXPECT_EQ(said["findings"], json::array());
}

// "rules.cxml:3 rule-discarded: the rule is discarded: ..." for each finding.
std::string listed(const json& findings) {
    std::string text;
    for (const json& finding : findings) {
        const std::filesystem::path file = finding["file"].get<std::string>();
        text += file.filename().string() + ":" + std::to_string(finding["line"].get<int>()) + " " +
                finding["kind"].get<std::string>() + ": " + finding["text"].get<std::string>() + "\n";
    }
    return text;
}

// The same as people read it.
std::string shown(const json& findings) {
    std::string text;
    for (const json& finding : findings) {
        const int line = finding["line"];
        text += finding["file"].get<std::string>() + (line == 0 ? "" : ":" + std::to_string(line)) + ": " +
                finding["text"].get<std::string>() + "\n";
    }
    return text;
}

struct CheckedDocument {
    const char* name;  // of a document in data/check, whose findings are in the file NAME.expected
    bool loads;
};

void PrintTo(const CheckedDocument& document, std::ostream* out) {
    *out << document.name;
}

class CheckOf : public ToolTest, public testing::WithParamInterface<CheckedDocument> {};

TEST_P(CheckOf, FindsExactlyWhatIsExpected) {
    const std::string file = data(std::string("check/") + GetParam().name + ".cxml");
    const std::string expected = readFile(data(std::string("check/") + GetParam().name + ".expected"));
    ASSERT_NE(expected, "");
    const json said = cxmlJson({"check", file}, 1);
    EXPECT_EQ(said["document"]["loaded"], GetParam().loads);
    EXPECT_EQ(listed(said["findings"]), expected);
    const Outcome outcome = cxml({"check", file});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, shown(said["findings"]));
}

const CheckedDocument checkedDocuments[] = {
    {"rules", true},    {"operands", true}, {"classes", true}, {"library", false}, {"syntax", false},
    {"generate", true}, {"names", true},    {"queries", true}, {"reach", true},
};

INSTANTIATE_TEST_SUITE_P(All, CheckOf, testing::ValuesIn(checkedDocuments),
                         [](const auto& tested) { return std::string(tested.param.name); });

class CheckWithDataset : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        dataset_ = newDataset();
        addTable(dataset_, "BUOYS", "CATLAM MEDIUMINT, OBJNAM TEXT, SYMBOL_C TEXT, CHARTED DATE", "", "BoyLat");
        addTable(dataset_, "LIGHTS", "OBJNAM TEXT, LITCHR TEXT", "");
    }

    std::string dataset_;
};

TEST_F(CheckWithDataset, FindsWhatTheDatasetLacks) {
    sql(dataset_, "INSERT INTO BUOYS (CATLAM) VALUES ('none')");
    const std::string before = sql(dataset_, ".dump");
    const json said = cxmlJson({"check", data("check/dataset.cxml"), dataset_}, 1);
    EXPECT_EQ(listed(said["findings"]), readFile(data("check/dataset.expected")));
    const Outcome outcome = cxml({"check", data("check/dataset.cxml"), dataset_});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, shown(said["findings"]));
    EXPECT_NE(outcome.out.find(dataset_ + ": layer MARKS has no configuration in the document\n"), std::string::npos);
    EXPECT_EQ(sql(dataset_, ".dump"), before) << "it is only read";
}

TEST_F(CheckWithDataset, WithoutItTheDocumentIsClean) {
    const Outcome outcome = cxml({"check", data("check/dataset.cxml")});
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
}

TEST_F(CheckWithDataset, NothingToFindOnceTheFieldsAreAdded) {
    const std::string file = writeFile(
        "all.cxml",
        "<conditionMap name='m'><featureClass name='marks'><condition rulename='M'/></featureClass>"
        "<featureClass name='BOYLAT'><condition type='2' field='LABEL_C' xoffset='1'>"
        "<rule type='Q' operator='exists' table='lights'><query>OBJNAM = '%s'</query>"
        "<params><param value='OBJNAM'/></params></rule>"
        "<rule type='A' field='CATLAM' operator='equal' value='1'/>"
        "<expression>def Generate(OBJNAM): return OBJNAM</expression></condition></featureClass></conditionMap>");
    EXPECT_EQ(cxmlJson({"check", file, dataset_}, 1)["findings"].size(), 3U) << "the target fields";
    EXPECT_EQ(cxml({"symbolize", file, dataset_, "--add-fields"}).status, 0);
    const Outcome outcome = cxml({"check", file, dataset_});
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    EXPECT_EQ(outcome.out, "");
}

TEST_F(CheckWithDataset, ThatCannotBeOpenedIsUnusable) {
    const std::string missing = inFolder("none.gpkg").string();
    const Outcome outcome = cxml({"check", data("buoys.cxml"), missing});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
    EXPECT_NE(outcome.err.find(missing), std::string::npos) << outcome.err;
}

TEST_F(Check, RunsNoExpression) {
    const std::string trace = inFolder("trace").string();
    const std::string file =
        writeFile("runs.cxml",
                  "<conditionMap name='m'><featureClass name='A'><condition type='2' field='F'><expression>"
                  "open('" +
                      trace + "', 'w')\ndef Generate(X = open('" + trace +
                      "', 'w')): pass"
                      "</expression></condition></featureClass></conditionMap>");
    EXPECT_EQ(cxml({"check", file}).status, 1);
    EXPECT_FALSE(std::filesystem::exists(trace));
}

// The kinds of the findings "FILE:LINE kind: text", one a line.
std::set<std::string> kindsFound(const std::string& findings) {
    std::set<std::string> kinds;
    std::istringstream lines(findings);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t begin = line.find(' ') + 1;
        const std::size_t end = line.find(": ", begin);
        if (begin != 0 && end != std::string::npos) kinds.insert(line.substr(begin, end - begin));
    }
    return kinds;
}

// The kinds of a page's table: the words between backticks in the first cell of rows that begin with one.
std::set<std::string> kindsDocumented(const std::string& page) {
    std::set<std::string> kinds;
    std::istringstream lines(page);
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("| `")) continue;
        std::istringstream cell(line.substr(1, line.find('|', 1) - 1));
        std::string word;
        while (std::getline(cell, word, '`') && std::getline(cell, word, '`')) kinds.insert(word);
    }
    return kinds;
}

TEST_F(Check, EveryKindOfFindingIsDocumentedAndTested) {
    std::string expected = readFile(data("check/dataset.expected"));
    for (const CheckedDocument& document : checkedDocuments)
        expected += readFile(data(std::string("check/") + document.name + ".expected"));
    EXPECT_EQ(kindsFound(expected), kindsDocumented(readFile(SOURCE_ROOT "/docs/cxml-tool.md")));
}

}  // namespace
