// What the layout of documents is, and that every document there is means the same with it.
#include "tools/format/layout.h"
#include "model_text.h"
#include "support/documents.h"
#include "tools/format/document_encoding.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using cxml::laidOut;
using std::string;

auto lineCount(const string& text) {
    return std::ranges::count(text, '\n');
}

string laidOutBytes(const string& bytes) {
    const cxml::DocumentText document = cxml::decoded(bytes);
    return cxml::encoded(document, laidOut(document.text));
}

// Each NAME.cxml of the data comes to NAME.expected.
TEST(Layout, examples) {
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator(TEST_DATA_DIR)) {
        if (entry.path().extension() != ".cxml") continue;
        SCOPED_TRACE(entry.path().filename().string());
        fs::path expected = entry.path();
        EXPECT_EQ(laidOut(readFile(entry.path().string())), readFile(expected.replace_extension(".expected").string()));
        ++count;
    }
    EXPECT_GE(count, 5U);
}

TEST(Layout, lineEndsStayThoseOfTheDocument) {
    const struct {
        const char* before;
        const char* after;
    } rows[] = {
        {"<a><b/></a>", "<a><b/></a>\n"},
        {"<a>\r\n<b/>\r\n\r\n\r\n<b c='\r\n'/></a>", "<a>\r\n  <b/>\r\n\r\n  <b c='\r\n'/>\r\n</a>\r\n"},
        {"<a>\r<b/>\r\r\r<b/></a>", "<a>\r  <b/>\r\r  <b/>\r</a>\r"},
        {"<a>\n<!-- \r\n --><b/></a>", "<a>\n  <!-- \r\n -->\n  <b/>\n</a>\n"},
        {"\n<a>\r\n<b/></a>\r\n", "<a>\n  <b/>\n</a>\n"},
        {"<!-- \r\n -->\n<a xml:space='preserve'>\r\n</a>", "<!-- \r\n -->\n<a xml:space='preserve'>\r\n</a>\n"},
        {"<a\r\nb='c'/>", "<a b='c'/>\r\n"},
    };
    for (const auto& row : rows) EXPECT_EQ(laidOut(row.before), row.after) << row.before;
}

TEST(Layout, widthDecidesWhatStaysOnOneLine) {
    const auto params = [](std::size_t width, const string& filling) {
        const string frame = "<params><param value=\"\"/></params>";
        string text = frame;
        for (std::size_t i = frame.size(); i < width; ++i) text.insert(frame.find('"') + 1, filling);
        return text + '\n';
    };
    EXPECT_EQ(laidOut(params(cxml::widestLine, "x")), params(cxml::widestLine, "x"));
    EXPECT_EQ(laidOut(params(cxml::widestLine, "\xC3\xA9")), params(cxml::widestLine, "\xC3\xA9"))
        << "a character is one, however many bytes it has";
    EXPECT_EQ(lineCount(laidOut(params(cxml::widestLine + 1, "x"))), 3);
}

string pathOf(const fs::path& file) {
    return fs::relative(file, SOURCE_ROOT).string();
}

void expectSameMeaning(const string& bytes, const string& path) {
    SCOPED_TRACE(path);
    const string after = laidOutBytes(bytes);
    EXPECT_EQ(modelText(after, path), modelText(bytes, path));
    EXPECT_EQ(laidOutBytes(after), after) << "twice is once";
}

bool isWellFormed(const string& bytes) {
    try {
        modelText(bytes, "document.cxml");
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

TEST(Layout, everyDocumentOfTheTreeMeansTheSame) {
    std::size_t count = 0;
    std::size_t changed = 0;
    for (const char* folder : {"examples", "tests", "bench", "fuzz", "share"}) {
        for (const auto& entry : fs::recursive_directory_iterator(fs::path(SOURCE_ROOT) / folder)) {
            const string extension = entry.path().extension().string();
            if (!entry.is_regular_file() || (extension != ".cxml" && extension != ".xml")) continue;
            const string bytes = readFile(entry.path().string());
            if (!isWellFormed(bytes)) continue;
            ++count;
            if (laidOutBytes(bytes) != bytes) ++changed;
            expectSameMeaning(bytes, entry.path().string());
        }
    }
    EXPECT_GT(count, 60U);
    EXPECT_GT(changed, 10U);
}

// Inner elements stand alone on the page.
string framed(const string& example) {
    if (example.starts_with("<conditionMap")) return example;
    if (example.starts_with("<featureClass")) return "<conditionMap name='Example'>" + example + "</conditionMap>";
    if (example.starts_with("<condition")) return framed("<featureClass name='BUOY'>" + example + "</featureClass>");
    return framed("<condition rulename='MATCH'>" + example + "</condition>");
}

TEST(Layout, everyExampleOfTheDocsMeansTheSame) {
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator(SOURCE_ROOT "/docs")) {
        if (entry.path().extension() != ".md") continue;
        const string page = readFile(entry.path().string());
        const string begin = "```xml\n";
        for (std::size_t at = page.find(begin); at != string::npos; at = page.find(begin, at + 1)) {
            const std::size_t first = at + begin.size();
            const string example = framed(page.substr(first, page.find("```", first) - first));
            if (!isWellFormed(example)) continue;
            ++count;
            expectSameMeaning(example, pathOf(entry.path()));
        }
    }
    EXPECT_GT(count, 40U);
}

TEST(ModelText, showsWhatDocumentsDifferIn) {
    const auto map = [](const string& content) {
        return modelText("<conditionMap name='M'><featureClass name='C'>" + content + "</featureClass></conditionMap>",
                         "document.cxml");
    };
    const struct {
        const char* one;
        const char* other;
    } rows[] = {
        {"<condition rulename='A'/>", "<condition rulename='B'/>"},
        {"<condition xoffset='1'/>", "<condition yoffset='1'/>"},
        {"<condition/><condition rulename='A'/>", "<condition rulename='A'/><condition/>"},
        {"<condition><rule type='A' field='F' operator='equal'><value>1 2</value></rule></condition>",
         "<condition><rule type='A' field='F' operator='equal'><value>1  2</value></rule></condition>"},
        {"<condition type='2' field='F'><expression>if a:\n  b</expression></condition>",
         "<condition type='2' field='F'><expression>if a:\n b</expression></condition>"},
        {"<condition><rule type='Q' operator='exists' table='T'><query>A = 1</query></rule></condition>",
         "<condition><rule type='Q' operator='exists' table='T'><query>A  = 1</query></rule></condition>"},
    };
    for (const auto& row : rows) EXPECT_NE(map(row.one), map(row.other)) << row.one;
}

}  // namespace
