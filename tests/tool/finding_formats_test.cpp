// Findings as files for other programs, and as people see long lines.
#include "tool_test.h"

#include <algorithm>
#include <set>

namespace {

using nlohmann::json;

class FindingFormats : public ToolTest {
protected:
    json sarifOf(const Arguments& more) const {
        const std::string path = inFolder("out.sarif").string();
        Arguments arguments{"check"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        arguments.insert(arguments.end(), {"--sarif", path});
        cxml(arguments);
        return json::parse(readFile(path));
    }
};

TEST_F(FindingFormats, SarifHasAllKindsAndEachFindingWithItsPlaces) {
    const json log = sarifOf({data("mistakes/operator_sign.cxml")});
    EXPECT_EQ(log["version"], "2.1.0");
    const json& run = log["runs"][0];
    std::set<std::string> ids;
    for (const json& rule : run["tool"]["driver"]["rules"]) {
        ids.insert(rule["id"]);
        EXPECT_NE(rule["shortDescription"]["text"], "");
        EXPECT_NE(rule["help"]["text"], "");
    }
    EXPECT_GT(ids.size(), 30U);
    ASSERT_EQ(run["results"].size(), 1U) << run["results"];
    const json& result = run["results"][0];
    EXPECT_EQ(result["ruleId"], "operator-unknown");
    EXPECT_EQ(run["tool"]["driver"]["rules"][result["ruleIndex"].get<std::size_t>()]["id"], "operator-unknown");
    EXPECT_EQ(result["level"], "error");
    const json region = result["locations"][0]["physicalLocation"]["region"];
    EXPECT_EQ(region, (json{{"startLine", 5}, {"startColumn", 37}}));
    std::set<json> places;
    for (const json& related : result["relatedLocations"])
        EXPECT_TRUE(places.insert(related["physicalLocation"]).second) << "readers refuse repeated places";
    EXPECT_FALSE(places.empty());
}

TEST_F(FindingFormats, SarifPathsAreUris) {
    const std::string file = writeFile("r\xC3\xA8gles 1%.cxml", "<conditionMap/>");
    const json log = sarifOf({file});
    const std::string uri = log["runs"][0]["results"][0]["locations"][0]["physicalLocation"]["artifactLocation"]["uri"];
    EXPECT_TRUE(uri.starts_with("file:///")) << uri;
    EXPECT_TRUE(uri.ends_with("/r%C3%A8gles%201%25.cxml")) << uri;
}

TEST_F(FindingFormats, SarifKeepsWhatIsIgnored) {
    const std::string file =
        writeFile("rules.cxml",
                  "<conditionMap name='m'><featureClass name='A'>\n"
                  "<!-- cxml: expect unread-attribute \"ours\" --><condition rulename='Y' colour='red'/>\n"
                  "</featureClass></conditionMap>\n");
    const json results = sarifOf({file})["runs"][0]["results"];
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0]["suppressions"], (json::parse(R"([{"kind": "inSource", "justification": "ours"}])")));
}

TEST_F(FindingFormats, SarifThatCannotBeWritten) {
    const Outcome outcome = cxml({"check", data("buoys.cxml"), "--sarif", "/no such folder/x"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.err.find("/no such folder/x"), std::string::npos) << outcome.err;
}

TEST_F(FindingFormats, Annotations) {
    const std::string file = writeFile("a,b.cxml",
                                       "<conditionMap name='m'><featureClass name='A'>\n"
                                       "  <condition rulename='100%' angle='1m'/>\n"
                                       "</featureClass></conditionMap>\n");
    const Outcome outcome = cxml({"check", file, "--format", "github"});
    EXPECT_EQ(outcome.status, 1);
    std::string path = file;
    path.replace(path.find(','), 1, "%2C");
    EXPECT_EQ(outcome.out,
              "::error file=" + path +
                  ",line=2,col=30,title=condition-discarded::the condition '100%25' is discarded: its "
                  "angle '1m' is not a number%0Ahelp: write a number with a decimal point and without a unit\n");
}

// Of a long line the part around the place is shown; characters are counted, not bytes.
TEST_F(FindingFormats, LongLines) {
    std::string blanks(300, ' ');
    blanks += "<!-- \xC3\xA4\xE2\x98\x85 -->";
    const std::string file =
        writeFile("long.cxml", "<conditionMap name='m'>" + blanks +
                                   "<featureClass name='A'><condition rulename='X' angle='1m'/></featureClass>"
                                   "</conditionMap>\n");
    const std::string out = cxml({"check", file}).out;
    EXPECT_TRUE(out.starts_with(file + ":1:382: error:")) << out;
    const std::size_t shown = out.find("     1 | ");
    const std::size_t marked = out.find("       | ");
    ASSERT_NE(shown, std::string::npos);
    ASSERT_NE(marked, std::string::npos);
    const std::string line = out.substr(shown, out.find('\n', shown) - shown);
    const std::string marks = out.substr(marked, out.find('\n', marked) - marked);
    const std::size_t characters = 3;  // bytes that are no characters of their own: one of the umlaut, two of the star
    EXPECT_EQ(line.find("angle="), marks.find('^') + (line.find("\xE2\x98\x85") == std::string::npos ? 0 : characters));
    EXPECT_EQ(std::ranges::count(marks, '^'), 10);
}

TEST_F(FindingFormats, OfAPipeTheLinesAreNotShown) {
    const Outcome outcome = runProcess(
        {"bash", "-c", "exec \"" CXML_PROGRAM "\" check <(cat " + data("mistakes/angle_with_unit.cxml") + ")"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.out.find(":3:36: error: "), std::string::npos) << outcome.out;
    EXPECT_EQ(outcome.out.find(" | "), std::string::npos) << outcome.out;
}

}  // namespace
