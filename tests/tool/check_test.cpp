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

// What the tool shows, with the names of files only.
std::string withoutFolders(const std::string& text, const std::string& folder) {
    std::string result = text;
    for (std::size_t at = result.find(folder); at != std::string::npos; at = result.find(folder, at))
        result.erase(at, folder.size());
    return result;
}

std::string folderOf(const std::string& file) {
    return std::filesystem::path(file).parent_path().string() + '/';
}

TEST_F(Check, UnreadElementsAndAttributesWithTheirPlaces) {
    const std::string file = data("unread.cxml");
    const Outcome outcome = cxml({"check", file});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(withoutFolders(outcome.out, folderOf(file)), readFile(data("unread.expected")));
}

TEST_F(Check, JsonHasEveryPartOfAFinding) {
    const json said = cxmlJson({"check", data("unread.cxml")}, 1);
    ASSERT_EQ(said["findings"].size(), 7U) << said;
    json finding = said["findings"][4];
    EXPECT_EQ(finding.erase("fingerprint"), 1U);
    EXPECT_EQ(finding, (json{{"file", data("unread.cxml")},
                             {"line", 9},
                             {"column", 16},
                             {"severity", "error"},
                             {"kind", "unread-attribute"},
                             {"text", "nothing reads the attribute 'rulname' of 'condition'"},
                             {"help", "did you mean 'rulename'?"}}));
    EXPECT_EQ(said["findings"][0]["kind"], "unread-attribute");
}

TEST_F(Check, WhatLoadingSaysIsSaidOnceAndWithItsPlace) {
    const Outcome outcome = cxml({"check", data("unknown_operator.cxml")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "");
    const json said = cxmlJson({"check", data("unknown_operator.cxml")}, 1);
    EXPECT_EQ(said["document"]["messages"].size(), 2U) << said;
    ASSERT_EQ(said["findings"].size(), 1U) << said;
    EXPECT_EQ(said["findings"][0]["kind"], "operator-unknown");
    // What the rule holds goes unread, and its condition goes with it.
    EXPECT_EQ(said["findings"][0]["follows"].back()["kind"], "condition-discarded") << said;
}

TEST_F(Check, DocumentThatConfiguresNothingHasNoOtherFindings) {
    const json said = cxmlJson({"check", data("no_name.cxml")}, 1);
    EXPECT_EQ(said["document"]["loaded"], false);
    ASSERT_EQ(said["findings"].size(), 1U) << said;
    EXPECT_EQ(said["findings"][0]["kind"], "load-message");
    EXPECT_EQ(said["findings"][0]["line"], 1);
}

TEST_F(Check, OrderOfNeighboursWhenItIsAskedFor) {
    const std::string file = data("check/order.cxml");
    const Outcome outcome = cxml({"check", file, "--order"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(withoutFolders(outcome.out, folderOf(file)), readFile(data("check/order.expected")));
    EXPECT_EQ(cxml({"check", file}).out.find("[order-"), std::string::npos);
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
    const Outcome outcome = cxml({"check", file});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(withoutFolders(outcome.out, folderOf(file)), expected);
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
    const std::string file = data("check/dataset.cxml");
    const Outcome outcome = cxml({"check", file, dataset_});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(withoutFolders(withoutFolders(outcome.out, folderOf(file)), folderOf(dataset_)),
              readFile(data("check/dataset.expected")));
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
    const json before = cxmlJson({"check", file, dataset_}, 0)["findings"];
    ASSERT_EQ(before.size(), 1U) << "the target fields";
    EXPECT_EQ(before[0]["text"],
              "2 layers without fields that a run writes: MARKS (SYMBOL_C), BUOYS (Xoffset_C, LABEL_C)");
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

// The kinds of the findings that are shown in a text: between brackets at the end of a line.
std::set<std::string> kindsFound(const std::string& findings) {
    std::set<std::string> kinds;
    std::istringstream lines(findings);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t begin = line.rfind('[');
        const bool isFinding = line.find(": error: ") != std::string::npos ||
                               line.find(": warning: ") != std::string::npos ||
                               line.find(": note: ") != std::string::npos;
        if (isFinding && begin != std::string::npos) kinds.insert(line.substr(begin + 1, line.size() - begin - 2));
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
    std::string expected;
    for (const char* folder : {"check", "mistakes"})
        for (const auto& entry : std::filesystem::directory_iterator(data(folder)))
            if (entry.path().extension() == ".expected") expected += readFile(entry.path());
    EXPECT_EQ(kindsFound(expected), kindsDocumented(readFile(SOURCE_ROOT "/docs/cxml-tool.md")));
}

}  // namespace
