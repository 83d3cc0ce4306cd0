// What ends check with status 1, and what somebody does not want to hear of.
#include "tool_test.h"

namespace {

using nlohmann::json;

class Suppressions : public ToolTest {
protected:
    // An error in line 3 and a warning in line 6; a line for a comment above each.
    std::string document(const std::string& aboveError = "", const std::string& aboveWarning = "") const {
        return writeFile("rules.cxml",
                         "<conditionMap name='m'><featureClass name='A'>\n" + aboveError +
                             "\n<condition rulename='X' xoffset='1m'/>\n\n" + aboveWarning +
                             "\n<condition rulename='Y' colour='red'/>\n</featureClass></conditionMap>\n");
    }
    static std::string kinds(const json& findings) {
        std::string text;
        for (const json& finding : findings) text += finding["kind"].get<std::string>() + ' ';
        return text;
    }
    std::string warning() const {
        return writeFile("warning.cxml",
                         "<conditionMap name='m'><featureClass name='A'>\n"
                         "<condition rulename='Y' colour='red'/>\n</featureClass></conditionMap>\n");
    }
};

TEST_F(Suppressions, StatusFollowsTheLevel) {
    EXPECT_EQ(cxml({"check", document()}).status, 1);
    for (const char* level : {"error", "warning", "note"}) {
        EXPECT_EQ(cxml({"check", document(), "--fail-level", level}).status, 1) << level;
        EXPECT_EQ(cxml({"check", warning(), "--fail-level", level}).status, std::string(level) == "error" ? 0 : 1);
    }
    EXPECT_EQ(cxml({"check", warning()}).status, 0);
    EXPECT_EQ(cxml({"check", warning(), "--fail-level", "grave"}).status, 2);
}

TEST_F(Suppressions, KindsCanBeIgnored) {
    const json said = cxmlJson({"check", document(), "--ignore", "condition-discarded"}, 0);
    EXPECT_EQ(kinds(said["findings"]), "unread-attribute ");
    const Outcome outcome =
        cxml({"check", document(), "--ignore", "condition-discarded", "--ignore", "unread-attribute"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "");
    const Outcome unknown = cxml({"check", document(), "--ignore", "colour"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_NE(unknown.err.find("there is no kind 'colour'"), std::string::npos) << unknown.err;
}

TEST_F(Suppressions, CommentSilencesOneFindingOfItsElement) {
    const std::string file = document(R"(<!-- cxml: expect condition-discarded "metres, for now" -->)");
    const json said = cxmlJson({"check", file}, 0);
    EXPECT_EQ(kinds(said["findings"]), "unread-attribute ");
    ASSERT_EQ(kinds(said["ignored"]), "condition-discarded ");
    EXPECT_EQ(said["ignored"][0]["ignored"], "metres, for now");
    EXPECT_NE(cxml({"check", file}).out.find("1 warning; 1 ignored\n"), std::string::npos);
}

TEST_F(Suppressions, CommentThatSilencesNothingIsAFinding) {
    const std::pair<const char*, const char*> comments[] = {
        {R"(<!-- cxml: expect unread-attribute "another kind" -->)",
         "nothing of the kind 'unread-attribute' is found in the tag behind this comment"},
        {R"(<!-- cxml: expect colour "no kind" -->)",
         "the comment silences nothing: it has no kind of finding or no reason"},
        {R"(<!-- cxml: expect condition-discarded -->)",
         "the comment silences nothing: it has no kind of finding or no reason"},
    };
    for (const auto& [comment, text] : comments) {
        const json findings = cxmlJson({"check", document(comment)}, 1)["findings"];
        ASSERT_EQ(kinds(findings), "expect-unused condition-discarded unread-attribute ") << comment;
        EXPECT_EQ(findings[0]["text"], text);
        EXPECT_EQ(findings[0]["line"], 2);
        EXPECT_EQ(findings[0]["column"], 1);
    }
}

TEST_F(Suppressions, BaselineSilencesWhatWasKnownBefore) {
    const std::string first = inFolder("first.sarif").string();
    const std::string second = inFolder("second.json").string();
    EXPECT_EQ(cxml({"check", document(), "--sarif", first}).status, 1);
    writeFile("second.json", cxml({"check", document(), "--json"}).out);
    // Lines move, and a new mistake comes in.
    const char* const moved =
        "<conditionMap name='m'>\n\n\n<featureClass name='A'>\n<condition rulename='X' xoffset='1m'/>\n"
        "<condition rulename='Y' colour='red'/><condition rulename='Z' angle='1m'/></featureClass>"
        "</conditionMap>\n";
    for (const std::string& baseline : {first, second}) {
        const json said = cxmlJson({"check", writeFile("rules.cxml", moved), "--baseline", baseline}, 1);
        EXPECT_EQ(kinds(said["findings"]), "condition-discarded ") << baseline;
        EXPECT_EQ(kinds(said["ignored"]), "condition-discarded unread-attribute ");
        EXPECT_EQ(cxml({"check", document(), "--baseline", baseline}).status, 0);
    }
    const std::string bad = writeFile("bad.json", "[1]");
    for (const std::string& baseline : {bad, inFolder("none").string()}) {
        const Outcome outcome = cxml({"check", document(), "--baseline", baseline});
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(lineCount(outcome.err), 1U) << outcome.err;
        EXPECT_NE(outcome.err.find(baseline), std::string::npos) << outcome.err;
    }
}

}  // namespace
