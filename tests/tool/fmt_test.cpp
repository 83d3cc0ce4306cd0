// cxml fmt: documents in place, what is only told, and what is left alone. What the layout is, tests/format has.
#include "tool_test.h"

#include <sys/stat.h>
#include <unistd.h>
#include <ostream>

namespace {

namespace fs = std::filesystem;
using std::string;

constexpr const char* crowded =
    "<conditionMap name='m'><featureClass name='c'>\n<condition angle='1' rulename='x'/></featureClass></conditionMap>";
constexpr const char* laidOut =
    "<conditionMap name='m'>\n  <featureClass name='c'>\n    <condition rulename='x' angle='1'/>\n  </featureClass>\n"
    "</conditionMap>\n";

class Fmt : public ToolTest {};

TEST_F(Fmt, WritesInPlaceWhatChanges) {
    const string one = writeFile("one.cxml", crowded);
    const string two = writeFile("two.cxml", laidOut);
    const auto before = fs::last_write_time(two);
    fs::permissions(one, fs::perms{0640});
    const Outcome outcome = cxml({"fmt", one, two});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, one + ": laid out\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(readFile(one), laidOut);
    EXPECT_EQ(fs::status(one).permissions(), fs::perms{0640});
    EXPECT_EQ(fs::last_write_time(two), before);
    EXPECT_EQ(cxml({"fmt", one}).out, "");
}

TEST_F(Fmt, FollowsALink) {
    const string file = writeFile("rules.cxml", crowded);
    const string link = inFolder("link.cxml").string();
    fs::create_symlink("rules.cxml", link);
    EXPECT_EQ(cxml({"fmt", link}).status, 0);
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(readFile(file), laidOut);
}

TEST_F(Fmt, CheckListsAndWritesNothing) {
    const string one = writeFile("one.cxml", crowded);
    const string two = writeFile("two.cxml", laidOut);
    const Outcome outcome = cxml({"fmt", "--check", one, two});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, one + '\n');
    EXPECT_EQ(readFile(one), crowded);
    EXPECT_EQ(cxml({"fmt", "--check", two}).status, 0);
}

TEST_F(Fmt, DiffIsWhatGitApplies) {
    writeFile("one.cxml", crowded);
    const string folder = inFolder("").string();
    const Outcome outcome =
        runProcess({"sh", "-c", "cd " + folder + " && " CXML_PROGRAM " fmt --diff one.cxml | tee one.diff"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out.rfind("--- a/one.cxml\n+++ b/one.cxml\n@@ ", 0), 0U) << outcome.out;
    EXPECT_EQ(readFile(inFolder("one.cxml")), crowded);
    EXPECT_EQ(cxml({"fmt", "--diff", "--check", inFolder("one.cxml").string()}).status, 1);
    const Outcome applied =
        runProcess({"sh", "-c", "cd " + folder + " && GIT_CEILING_DIRECTORIES=/ git apply one.diff"});
    EXPECT_EQ(applied.status, 0) << applied.err;
    EXPECT_EQ(readFile(inFolder("one.cxml")), laidOut);
    EXPECT_EQ(cxml({"fmt", "--diff", inFolder("one.cxml").string()}).out, "");
}

TEST_F(Fmt, StandardInputToStandardOutput) {
    ProcessOptions options;
    options.inFile = writeFile("one.cxml", crowded);
    EXPECT_EQ(cxml({"fmt", "-"}, options).out, laidOut);
    EXPECT_EQ(cxml({"fmt", "--check", "-"}, options).out, "-\n");
    options.inFile = writeFile("two.cxml", laidOut);
    EXPECT_EQ(cxml({"fmt", "-"}, options).out, laidOut);
}

TEST_F(Fmt, WhatIsNotWellFormedStaysWithItsPlace) {
    const string text = "<conditionMap name='m'>\n<featureClass name='c'><condition></featureClass>\n</conditionMap>";
    const string bad = writeFile("bad.cxml", text);
    const string good = writeFile("good.cxml", crowded);
    const Outcome outcome = cxml({"fmt", bad, good});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, good + ": laid out\n") << "one that is bad does not keep the others";
    EXPECT_EQ(outcome.err.rfind(bad + ":2:50: error: Opening and ending tag mismatch", 0), 0U) << outcome.err;
    EXPECT_EQ(readFile(bad), text);
}

TEST_F(Fmt, OtherKindsOfDocumentsStay) {
    const string page = writeFile("page.xml", "<html><b>x</b>  <b>y</b></html>");
    const Outcome outcome = cxml({"fmt", page});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("its root element is 'html' instead of conditionMap"), string::npos) << outcome.err;
    EXPECT_EQ(readFile(page), "<html><b>x</b>  <b>y</b></html>");
}

TEST_F(Fmt, WhatIsNoFileStays) {
    const string pipe = inFolder("pipe").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const Outcome outcome = cxml({"fmt", pipe, inFolder("nothing").string(), inFolder("").string()});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(lineCount(outcome.err), 3U) << outcome.err;
    EXPECT_NE(outcome.err.find("pipe: is no regular file"), string::npos) << outcome.err;
    EXPECT_TRUE(fs::is_fifo(pipe));
    EXPECT_EQ(cxml({"fmt", "--check", inFolder("").string()}).status, 2);
}

TEST_F(Fmt, AFileThatMayNotBeWrittenStays) {
    const string file = writeFile("rules.cxml", crowded);
    fs::permissions(file, fs::perms{0444});
    Arguments program{CXML_PROGRAM, "fmt", file};
    // Root may write everything, unless it is told otherwise.
    if (geteuid() == 0) program.insert(program.begin(), {"setpriv", "--bounding-set", "-dac_override"});
    const Outcome outcome = runProcess(program);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "cxml: " + file + ": Permission denied\n");
    EXPECT_EQ(readFile(file), crowded);
}

struct EncodingCase {
    const char* name;
    const char* encoding;  // as iconv and the declaration name it
    const char* mark;
    const char* text;  // UTF-8, with something that ASCII has not
};

void PrintTo(const EncodingCase& encoding, std::ostream* out) {
    *out << encoding.name;
}

class FmtEncoding : public ToolTest, public testing::WithParamInterface<EncodingCase> {
protected:
    string stored(const string& text) const {
        const string file = writeFile("utf8", text);
        const string program = string("iconv -f UTF-8 -t ") + GetParam().encoding + " '" + file + "'";
        return GetParam().mark + runProcess({"sh", "-c", program}).out;
    }
};

TEST_P(FmtEncoding, IsKept) {
    const string declaration = "<?xml version='1.0' encoding='" + string(GetParam().encoding) + "'?>";
    const string condition = string("<condition rulename='") + GetParam().text + "'/>";
    const string source = string("<expression><![CDATA[x = ['") + GetParam().text + "]']]]></expression>";
    const string file =
        writeFile("rules.cxml", stored(declaration + "<conditionMap name='m'><featureClass  name='c'>\n" + condition +
                                       "<condition>" + source + "</condition></featureClass></conditionMap>"));
    const string expected =
        stored(declaration + "\n<conditionMap name='m'>\n  <featureClass name='c'>\n    " + condition +
               "\n    <condition>" + source + "</condition>\n  </featureClass>\n</conditionMap>\n");
    ASSERT_FALSE(expected.empty());
    const Outcome outcome = cxml({"fmt", file});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(readFile(file), expected);
}

const EncodingCase encodingCases[] = {
    {"Utf8", "UTF-8", "", "Zürich – ∞"},
    {"Utf8WithMark", "UTF-8", "\xEF\xBB\xBF", "Zürich – ∞"},
    {"Latin1", "ISO-8859-1", "", "Zürich"},
    {"Cyrillic", "KOI8-R", "", "Ёлка"},
    {"Utf16Little", "UTF-16LE", "", "Zürich – ∞ 𝄞"},
    {"Utf16LittleWithMark", "UTF-16LE", "\xFF\xFE", "Zürich – ∞ 𝄞"},
    {"Utf16BigWithMark", "UTF-16BE", "\xFE\xFF", "Zürich – ∞ 𝄞"},
    {"ShiftJis", "SHIFT_JIS", "", "灯台ソ"},
};

INSTANTIATE_TEST_SUITE_P(All, FmtEncoding, testing::ValuesIn(encodingCases),
                         [](const auto& tested) { return tested.param.name; });

// In this encoding a section ends with a character whose second byte is that of a bracket.
TEST_F(Fmt, WhatWouldSaySomethingElseIsRefused) {
    const string text =
        "<?xml version='1.0' encoding='SHIFT_JIS'?><conditionMap name='m'><featureClass name='c'><x> \n\n"
        "<![CDATA[\x83]]> <b></b>  <b></b> <b>]]></x></featureClass></conditionMap>";
    const string file = writeFile("rules.cxml", text);
    const Outcome outcome = cxml({"fmt", file});
    EXPECT_EQ(outcome.status, 1) << outcome.out << readFile(file);
    EXPECT_NE(outcome.err.find("it cannot be laid out without changing what it says"), string::npos) << outcome.err;
    EXPECT_EQ(readFile(file), text);
}

}  // namespace
