// cxml schema: what it takes and refuses, by two validators that know nothing of each other, and of the tool.
#include "tool_test.h"

#include <map>
#include <set>
#include <sstream>

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using std::string;

string framed(const string& example) {
    if (example.starts_with("<conditionMap")) return example;
    if (example.starts_with("<featureClass")) return "<conditionMap name='Example'>" + example + "</conditionMap>";
    if (example.starts_with("<condition")) return framed("<featureClass name='BUOY'>" + example + "</featureClass>");
    return framed("<condition rulename='MATCH'>" + example + "</condition>");
}

class Schema : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        schema = writeFile("cxml.xsd", cxml({"schema"}).out);
    }

    /// The documents that libxml2 refuses, with the first reason.
    std::map<string, string> refused(Arguments documents) const {
        documents.insert(documents.begin(), {"xmllint", "--noout", "--noent", "--schema", schema});
        const Outcome outcome = runProcess(documents);
        std::map<string, string> found;
        std::istringstream lines(outcome.err);
        std::size_t judged = 0;
        for (string line, reason; std::getline(lines, line);) {
            const bool isRefused = line.ends_with(" fails to validate");
            if (isRefused) found.emplace(line.substr(0, line.size() - string(" fails to validate").size()), reason);
            if (isRefused || line.ends_with(" validates")) {
                ++judged;
                reason.clear();
            } else if (reason.empty()) {
                reason = line;
            }
        }
        EXPECT_EQ(judged, documents.size() - 5) << outcome.err;
        return found;
    }

    bool isTakenByBoth(const string& document) const {
        const bool isTaken = refused({document}).empty();
        EXPECT_EQ(runProcess({"xmlschema-validate", "--schema", schema, document}).status == 0, isTaken)
            << readFile(document);
        return isTaken;
    }

    /// How many errors and warnings a check has.
    static std::size_t findings(const string& document) {
        const json checked = json::parse(cxml({"check", document, "--json"}).out);
        std::size_t count = 0;
        for (const json& finding : checked["findings"])
            if (finding["severity"] != "note") ++count;
        return count;
    }

    void expectOnlyWhatACheckFinds(const Arguments& documents, std::size_t mostRefused) const {
        const auto none = refused(documents);
        EXPECT_LE(none.size(), mostRefused);
        for (const auto& [document, reason] : none) EXPECT_GT(findings(document), 0U) << document << '\n' << reason;
    }

    string schema;
};

TEST_F(Schema, EveryDocumentValidatesOrHasAFinding) {
    Arguments documents;
    for (const char* folder : {"examples", "tests"})
        for (const auto& entry : fs::recursive_directory_iterator(fs::path(SOURCE_ROOT) / folder)) {
            if (entry.path().extension() != ".cxml") continue;
            const Outcome wellFormed = runProcess({"xmllint", "--noout", entry.path().string()});
            const string text = readFile(entry.path());
            if (wellFormed.status == 0 && text.find("<conditionMap") != string::npos)
                documents.push_back(entry.path().string());
        }
    EXPECT_GT(documents.size(), 60U);
    expectOnlyWhatACheckFinds(documents, 30);
    for (const auto& [document, reason] : refused(documents))
        EXPECT_NE(document.find("/data/"), string::npos) << document << '\n' << reason;
}

TEST_F(Schema, EveryExampleOfTheLanguagePageValidatesOrHasAFinding) {
    const string page = readFile(SOURCE_ROOT "/docs/cxml-language.md");
    Arguments documents;
    const string begin = "```xml\n";
    for (std::size_t at = page.find(begin); at != string::npos; at = page.find(begin, at + 1)) {
        const std::size_t first = at + begin.size();
        const string example = framed(page.substr(first, page.find("```", first) - first));
        if (example.find("</conditionMap>") == string::npos) continue;
        documents.push_back(writeFile("example" + std::to_string(documents.size()) + ".cxml", example));
    }
    EXPECT_GT(documents.size(), 45U);
    expectOnlyWhatACheckFinds(documents, 8);
}

TEST_F(Schema, MistakesAreRefused) {
    for (const char* content : {
             "<rule type='A' field='F' operator='equl' value='1'/>",
             "<rule type='A' field='F' operator='&lt;' value='1'/>",
             "<rule type='Q' operator='Exists' table='T'><query>A = 1</query></rule>",
             "<rule type='a' field='F' operator='equal' value='1'/>",
             "<rule type='A' feild='F' operator='equal' value='1'/>",
             "<rule type='A' field='F' value='1'/>",
             "<rule type='A' field='F' operator='equal'><values>1</values></rule>",
             "<rule type='A' field='F' operator='equal'><value name='x'>1</value></rule>",
             "<condition rulename='x'/>",
             "<condition ruleName='x'/>",
             "<condition xoffset='1,5'/>",
             "<condition angle='90deg'/>",
             "<condition angle=''/>",
             "<featureClass><condition/></featureClass>",
             "<featureClass name='c'><subtype><condition/></subtype></featureClass>",
             "<featureClass name='c'><rule type='A' field='F' operator='equal' value='1'/></featureClass>",
             "<conditionMap/>",
             "<conditionMap name='m'><functionLibrary><expression>x = "
             "1\n</expression></functionLibrary></conditionMap>",
             "<rule type='Q' operator='exists' table='T'><query>A = %s</query><params><param/></params></rule>",
             "<rule type='Q' operator='fetch' table='T'><query>A = 1</query><fields><field name='B'/></fields></rule>",
         }) {
        const bool isNested = string(content).starts_with("<condition rulename='x'/>");
        const string document = writeFile(
            "mistake.cxml", isNested ? framed("<condition>" + string(content) + "</condition>") : framed(content));
        EXPECT_FALSE(isTakenByBoth(document)) << content;
        EXPECT_GT(findings(document), 0U) << content;
    }
}

TEST_F(Schema, WhatTheReaderTakesIsTaken) {
    for (const char* content : {
             "<rule type='A' operator='NotEqual' value='1' field='F'/>",
             "<rule type='L' field='F' operator='ContainsAny'>  text <value>1</value><!-- x "
             "--><value><![CDATA[2]]></value></rule>",
             "<rule type='Q' operator='fetch' table='T' selectOption='first'><fields><field name='B' "
             "alias='T.B'/></fields>"
             "<query>A = 1</query></rule>",
             "<condition rulename='x' xml:space='preserve'><!-- nothing --></condition>",
             "<condition type='2' field='F'><expression>def Generate(A):\n  return A\n</expression>"
             "<rule type='A' field='F' operator='notequal' value='NULL'/></condition>",
             "<conditionMap name='m' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' "
             "xsi:noNamespaceSchemaLocation='cxml.xsd'><featureClass name='c'><condition "
             "rulename='x'/></featureClass></conditionMap>",
             "<!DOCTYPE conditionMap [<!ENTITY deep '20'>]><conditionMap name='m'><featureClass name='c'><condition "
             "rulename='x'><rule type='A' field='F' operator='gt' "
             "value='&deep;'/></condition></featureClass></conditionMap>",
         }) {
        const string text = string(content).starts_with("<!") ? content : framed(content);
        const string document = writeFile("taken.cxml", text);
        EXPECT_EQ(findings(document), 0U) << content;
        EXPECT_TRUE(isTakenByBoth(document)) << content;
    }
}

TEST_F(Schema, PlacementsAreTakenWhereTheReaderTakesThem) {
    const std::vector<string> numbers{"1",          "-1.5", "+2",    " 3 ",      "1e3",      "1E-3",  "1d2", ".5",
                                      "5.",         "(5)",  "5-",    "&amp;H1F", "&amp;o17", "$5",    "- 5", "1 5",
                                      "0x10",       "INF",  "NaN",   "1e",       "1.5m",     "1,5",   "",    " ",
                                      "&#9;7&#10;", "--5",  "1_000", "٣",        "5%",       "1e3000"};
    const auto document = [&](const std::set<std::size_t>& without) {
        string text = "<conditionMap name='m'><featureClass name='c'>\n";  // the numbers from line 2 on
        for (std::size_t i = 0; i < numbers.size(); ++i)
            text += without.contains(i + 2) ? "\n" : "<condition rulename='x' angle='" + numbers[i] + "'/>\n";
        return writeFile("placed.cxml", text + "</featureClass></conditionMap>\n");
    };
    const json checked = json::parse(cxml({"check", document({}), "--json", "--ignore", "unreachable"}).out);
    std::set<std::size_t> lines;
    for (const json& finding : checked["findings"]) {
        lines.insert(finding["line"].get<std::size_t>());
        for (const json& place : finding.value("alsoAt", json::array())) lines.insert(place["line"].get<std::size_t>());
    }
    EXPECT_GT(lines.size(), 8U);
    EXPECT_LT(lines.size() + 8, numbers.size());
    EXPECT_TRUE(isTakenByBoth(document(lines)));
}

TEST_F(Schema, EveryWordIsExplained) {
    const string words = "(//*[local-name()='element' or local-name()='attribute' or local-name()='enumeration'])";
    const auto count = [&](const string& condition) {
        return runProcess({"xmllint", "--xpath", "count(" + words + condition + ")", schema}).out;
    };
    EXPECT_EQ(count("[string-length(.) < 12]"), "0\n");
    EXPECT_GT(std::stoi(count("")), 60);
    EXPECT_EQ(count("[@value='containsany']"), "1\n");
}

TEST_F(Schema, IsWrittenToAFileOnce) {
    const string file = inFolder("other.xsd").string();
    EXPECT_EQ(cxml({"schema", "-o", file}).status, 0);
    EXPECT_EQ(readFile(file), readFile(schema));
    const Outcome again = cxml({"schema", "-o", file});
    EXPECT_EQ(again.status, 2);
    EXPECT_NE(again.err.find("exists already"), string::npos) << again.err;
    EXPECT_EQ(cxml({"schema", "-o", file, "--overwrite"}).status, 0);
}

}  // namespace
