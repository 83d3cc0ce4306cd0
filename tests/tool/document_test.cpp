// Documents that do not load.
#include "tool_test.h"

#include <ostream>

namespace {

struct BadDocument {
    const char* name;
    const char* file;       // in data/
    const char* said;       // part of what standard error says
    const char* checkSays;  // part of what check says
    nlohmann::json document;
};

void PrintTo(const BadDocument& document, std::ostream* out) {
    *out << document.name;
}

class DocumentThatDoesNotLoad : public ToolTest, public testing::WithParamInterface<BadDocument> {};

TEST_P(DocumentThatDoesNotLoad, IsNamedAndExplained) {
    const std::string dataset = newDataset();
    for (const char* command : {"symbolize", "reset"}) {
        const Outcome outcome = cxml({command, data(GetParam().file), dataset});
        EXPECT_EQ(outcome.status, 1) << command;
        EXPECT_EQ(outcome.out, "") << command;
        EXPECT_NE(outcome.err.find(data(GetParam().file)), std::string::npos) << outcome.err;
        EXPECT_NE(outcome.err.find(GetParam().said), std::string::npos) << outcome.err;
        const nlohmann::json said = cxmlJson({command, data(GetParam().file), dataset}, 1);
        EXPECT_EQ(said, (nlohmann::json{{"document", GetParam().document}, {"layers", nlohmann::json::array()}}));
    }
    const Outcome checked = cxml({"check", data(GetParam().file)});
    EXPECT_EQ(checked.status, 1);
    EXPECT_NE(checked.out.find(GetParam().checkSays), std::string::npos) << checked.out;
    EXPECT_EQ(checked.err, "");
}

nlohmann::json notLoaded(nlohmann::json error, nlohmann::json messages = nlohmann::json::array()) {
    return {{"loaded", false}, {"error", std::move(error)}, {"messages", std::move(messages)}};
}

const BadDocument badDocuments[] = {
    {"OtherRoot", "other_root.cxml", "its root element is 'html' instead of conditionMap",
     "its root element is 'html' instead of conditionMap", notLoaded(nullptr)},
    {"RuleDefinitions", "rule_definitions.cxml", "it is a rule-definitions document",
     "it is a rule-definitions document", notLoaded(nullptr)},
    {"MapWithoutName", "no_name.cxml", "conditionMap has no attribute 'name'", "conditionMap has no attribute 'name'",
     notLoaded(nullptr)},
    {"MissingLibraryFile", "missing_library.cxml", "Failed to open CXML expression file: 'no_such_file.py'!",
     "the expression file 'no_such_file.py' cannot be opened: the document does not load",
     notLoaded(nullptr, {{{"kind", "error"}, {"text", "Failed to open CXML expression file: 'no_such_file.py'!"}}})},
    {"DuplicateLibraryName", "duplicate_library.cxml", "Encountered duplicate CXML expression name: 'f'!",
     "there is a library piece 'f' already: the document does not load",
     notLoaded("Encountered duplicate CXML expression name: 'f'!")},
};

INSTANTIATE_TEST_SUITE_P(All, DocumentThatDoesNotLoad, testing::ValuesIn(badDocuments),
                         [](const auto& tested) { return tested.param.name; });

class Document : public ToolTest {
protected:
    // Runs over a file that is no document: the tool must say so in one line that names it.
    std::string complaintAbout(const std::string& file) {
        const Outcome outcome = cxml({"symbolize", file, newDataset()});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
        EXPECT_EQ(outcome.err.rfind("cxml: " + file + ": ", 0), 0U) << outcome.err;
        EXPECT_GT(outcome.err.size(), file.size() + 20) << "no reason: " << outcome.err;
        return outcome.err;
    }
};

TEST_F(Document, ThatIsNotThere) {
    complaintAbout(inFolder("none.cxml").string());
}

TEST_F(Document, ThatIsAFolder) {
    complaintAbout(inFolder(".").string());
}

TEST_F(Document, ThatIsEmpty) {
    complaintAbout(writeFile("empty.cxml", ""));
}

TEST_F(Document, ThatIsNotXml) {
    const std::string said = complaintAbout(writeFile("text.cxml", "BOYLAT;1;GREEN\n"));
    EXPECT_NE(said.find("Line 1"), std::string::npos) << said;
}

TEST_F(Document, ThatIsBinary) {
    complaintAbout(writeFile("binary.cxml", std::string("\0\xFF\x7F\x45\x4C\x46\0\1", 8)));
}

TEST_F(Document, ThatIsTruncated) {
    const std::string whole = readFile(data("buoys.cxml"));
    complaintAbout(writeFile("short.cxml", whole.substr(0, whole.size() / 2)));
}

TEST_F(Document, WithAnErrorInAVeryLongLineIsExplainedWithItsLine) {
    const std::string said = complaintAbout(writeFile(
        "long.cxml", "<conditionMap name='long'>\n<featureClass name='" + std::string(100'000, 'x') + "' <>"));
    EXPECT_NE(said.find("Line 2"), std::string::npos) << said;
    EXPECT_LT(said.size(), 1200U);
}

TEST_F(Document, WithAHundredMegabytesOfNesting) {
    constexpr std::size_t depth = 100'000'000 / 3;
    std::string text = "<conditionMap name='deep'>";
    text.reserve(3 * depth + 100);
    for (std::size_t i = 0; i < depth; ++i) text += "<a>";
    complaintAbout(writeFile("deep.cxml", text));
}

TEST_F(Document, WithExplodingEntities) {
    complaintAbout(data("entity_bomb.cxml"));
}

TEST_F(Document, CannotReadOtherFilesThroughEntities) {
    const std::string secret = writeFile("secret.txt", "TOP-SECRET");
    const std::string file = writeFile("xxe.cxml", "<!DOCTYPE conditionMap [<!ENTITY x SYSTEM \"file://" + secret +
                                                       "\">]>\n<conditionMap name=\"x\"><functionLibrary>"
                                                       "<expressionFile name=\"f\">&x;</expressionFile>"
                                                       "</functionLibrary></conditionMap>\n");
    const Outcome outcome = cxml({"check", file});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ((outcome.out + outcome.err).find("TOP-SECRET"), std::string::npos) << outcome.err;
}

TEST_F(Document, ReadFromAPipeWorks) {
    const std::string dataset = newDataset();
    addBuoys(dataset);
    const Outcome outcome =
        runProcess({"bash", "-c",
                    std::string("exec \"" CXML_PROGRAM "\" symbolize <(cat ") + data("buoys.cxml") + ") " + dataset});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(symbols(dataset), "GREEN RED GREEN - RED");
}

TEST_F(Document, CannotSteerTheTerminal) {
    const std::string dataset = newDataset();
    const Outcome outcome = cxml({"symbolize", data("buoys.cxml"), dataset, "\x1b[31mRED"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err.find('\x1b'), std::string::npos);
    EXPECT_NE(outcome.err.find("\\x1B[31mRED"), std::string::npos) << outcome.err;
}

TEST_F(Document, NameNeedNotBeUtf8) {
    const std::string dataset = newDataset();
    addBuoys(dataset);
    const std::string folder =
        "Stra\xDF"
        "e \xE2\x98\x85 \xE2\x98";
    std::filesystem::create_directory(inFolder(folder));
    writeFile(folder + "/symbol.py", "def symbol(kind):\n    return 'S%s' % kind\n");
    const std::string document = writeFile(folder + "/r\xE8gles.cxml",
                                           "<conditionMap name='x'><functionLibrary><expressionFile name='symbol'>"
                                           "symbol.py</expressionFile></functionLibrary><featureClass name='BOYLAT'>"
                                           "<condition rulename='NEW' type='2' field='COLOUR'><expression "
                                           "library='symbol'>def Generate(CATLAM):\n    return symbol(CATLAM)\n"
                                           "</expression></condition></featureClass></conditionMap>");
    const Outcome outcome = cxml({"symbolize", document, dataset});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "BOYLAT: 5 rows, 5 changed; 5 default\n");
    EXPECT_EQ(sql(dataset, "SELECT group_concat(COLOUR, ' ') FROM BOYLAT"), "S1 S2 S1 SNone S2");
    EXPECT_EQ(cxmlJson({"check", document}, 0)["document"]["loaded"], true);
}

TEST_F(Document, LibraryFileThatIsADeviceIsRefused) {
    const std::string document = writeFile("rules.cxml",
                                           "<conditionMap name='x'><functionLibrary><expressionFile name='zero'>"
                                           "/dev/zero</expressionFile></functionLibrary></conditionMap>");
    const Outcome outcome = cxml({"check", document});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "");
    EXPECT_NE(outcome.out.find("the expression file '/dev/zero' is not a regular file: the document does not load"),
              std::string::npos)
        << outcome.out;
}

}  // namespace
