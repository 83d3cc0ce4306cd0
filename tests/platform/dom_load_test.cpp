// Loading files and texts: encodings, what is refused, and what is said about it.
#include "platform/dom_support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <cstdio>
#include <filesystem>
#include <fstream>

namespace dom_test {
namespace {

namespace fs = std::filesystem;

std::string dataFile(const std::string& name) {
    return std::string(TEST_DATA_DIR) + "/dom/" + name;
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A folder of this test's own, removed at the end.
class DomFiles : public testing::Test {
protected:
    DomFiles()
        : folder_(fs::temp_directory_path() /
                  (std::string("dom_test.") + testing::UnitTest::GetInstance()->current_test_info()->name() + '.' +
                   std::to_string(reinterpret_cast<std::uintptr_t>(this)))) {
        fs::create_directories(folder_);
    }
    ~DomFiles() override { fs::remove_all(folder_); }

    std::string write(const std::string& name, std::string_view content) const {
        const std::string path = (folder_ / name).string();
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    const fs::path folder_;
};

struct GoodFile {
    const char* file;
    const char* name;
    const char* value;
};
std::ostream& operator<<(std::ostream& out, const GoodFile& test) {
    return out << test.file;
}

class DomGoodFile : public testing::TestWithParam<GoodFile> {};

TEST_P(DomGoodFile, IsRead) {
    const Loaded result = loadFile(dataFile(std::string("good/") + GetParam().file + ".xml"));
    ASSERT_EQ(result.status, S_OK) << errorOf(result.document).reason;
    EXPECT_EQ(result.loaded, VARIANT_TRUE);
    EXPECT_EQ(errorOf(result.document).code, 0);
    EXPECT_EQ(attributeOf(first(result.document, "/map"), "name"), GetParam().name);
    EXPECT_EQ(textsOf(result.document, "/map/value"), GetParam().value);
}

constexpr const char* town = "Z\u00FCrich \u2013 C\u00F4te";
constexpr const char* island = "\u00C6r\u00F8";
const GoodFile goodFiles[] = {
    {"utf8", town, island},
    {"utf8_undeclared", town, island},
    {"utf8_mark", town, island},
    {"utf16_little", town, island},
    {"utf16_big", town, island},
    {"utf16_undeclared", town, island},
    {"utf16_without_mark", town, island},
    {"windows1252", town, island},
    {"latin1", "Z\u00FCrich - C\u00F4te", island},
    {"latin9", "10 \u20AC", island},
    {"koi8r", "\u041A\u0430\u0440\u0442\u0430", "\u0431\u0443\u0439"},
    {"shift_jis", "\u5730\u56F3", "\u30D6\u30A4"},
};
INSTANTIATE_TEST_SUITE_P(All, DomGoodFile, testing::ValuesIn(goodFiles),
                         [](const auto& test) { return test.param.file; });

struct BrokenFile {
    const char* file;
    LONG line;
    LONG position;
    const char* reason;
    const char* sourceLine;
};
std::ostream& operator<<(std::ostream& out, const BrokenFile& test) {
    return out << test.file;
}

class DomBrokenFile : public testing::TestWithParam<BrokenFile> {};

TEST_P(DomBrokenFile, IsRefusedWithReasonAndPlace) {
    testing::internal::CaptureStderr();
    const Loaded result = loadFile(dataFile(std::string("broken/") + GetParam().file + ".xml"));
    EXPECT_EQ(result.status, S_FALSE);
    EXPECT_EQ(result.loaded, VARIANT_FALSE);
    EXPECT_FALSE(first(result.document, "/*"));
    const Error error = errorOf(result.document);
    EXPECT_NE(error.code, 0);
    EXPECT_EQ(error.line, GetParam().line);
    EXPECT_EQ(error.position, GetParam().position);
    EXPECT_EQ(error.reason, GetParam().reason);
    EXPECT_EQ(error.sourceLine, GetParam().sourceLine);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

const BrokenFile brokenFiles[] = {
    {"bad_utf8", 2, 11, "The bytes FC are not a character of the encoding UTF-8.", "  <value>Z"},
    {"bad_utf8_at_end", 2, 1, "The bytes C3 are not a character of the encoding UTF-8.", ""},
    {"bare_ampersand", 2, 16, "An ampersand is not followed by the name of an entity.",
     "  <value>Sand & gravel</value>"},
    {"cdata_end_in_text", 1, 6, "Sequence ']]>' not allowed in content.", "<map>]]></map>"},
    {"cdata_unclosed", 3, 1, "CData section not finished.", ""},
    {"comment_unclosed", 3, 1, "Comment not terminated.", ""},
    {"control_character", 1, 7, "PCDATA invalid Char value 1.", "<map>ab</map>"},
    {"control_reference", 2, 5, "Invalid xmlChar value 1.", "&#1;</map>"},
    {"declares_big_is_little", 1, 1, "The text is not in the encoding 'UTF-16BE' that it declares.", ""},
    {"declares_ebcdic", 1, 1, "The text is not in the encoding 'IBM037' that it declares.", ""},
    {"declares_latin1_has_mark", 1, 1, "The text is not in the encoding 'ISO-8859-1' that it declares.", ""},
    {"declares_unknown", 1, 1, "The encoding 'x-nothing' is not supported.", ""},
    {"declares_utf16_is_utf8", 1, 1, "The text is not in the encoding 'UTF-16' that it declares.", ""},
    {"declares_utf8_is_latin1", 2, 7, "The bytes FC are not a character of the encoding UTF-8.", "<map>Z"},
    {"declares_utf8_is_utf16", 1, 1, "The text is not in the encoding 'UTF-8' that it declares.", ""},
    {"duplicate_attribute", 2, 20, "Attribute a redefined.", R"(  <rule a="1" a="2"/>)"},
    {"empty", 1, 1, "Document is empty.", ""},
    {"entity_in_itself", 2, 9, "Detected an entity reference loop.", "<map>&a;</map>"},
    {"error_in_entity", 3, 12, "Premature end of data in tag x line 1.", "  <rule>&a;</rule></map>"},
    {"external_entity", 2, 9, "The entity 'e' stands outside of the document and is not read.", "<map>&e;</map>"},
    {"external_parameter_entity", 3, 4, "The entity 'e' stands outside of the document and is not read.", "%e;"},
    {"less_in_attribute", 1, 10, "Unescaped '<' not allowed in attributes values.", "<map a=\"x<y\"/>"},
    {"mismatch", 3, 9, "Opening and ending tag mismatch: rule line 2 and map.", "  </map>"},
    {"not_xml", 1, 1, "Start tag expected, '<' not found.", "Not a document at all."},
    {"only_space", 3, 2, "Start tag expected, '<' not found.", " "},
    {"overlong_utf8", 1, 6, "The bytes C0 are not a character of the encoding UTF-8.", "<map>"},
    {"space_before_declaration", 1, 7, "XML declaration allowed only at the start of the document.",
     " <?xml version='1.0'?><map/>"},
    {"surrogate_reference", 1, 14, "Invalid xmlChar value 55296.", "<map>&#xD800;</map>"},
    {"text_after_root", 2, 1, "Extra content at the end of the document.", "rest"},
    {"text_before_root", 1, 1, "Start tag expected, '<' not found.", "rest<map/>"},
    {"two_colons", 2, 7, "Failed to parse QName 'x:y:'.", "  <x:y:rule/>"},
    {"two_roots", 2, 1, "Extra content at the end of the document.", "<map/>"},
    {"unclosed", 3, 1, "Premature end of data in tag map line 1.", ""},
    {"undeclared_attribute_prefix", 2, 16, "Namespace prefix x for a on rule is not defined.", "  <rule x:a=\"1\"/>"},
    {"undeclared_prefix", 2, 10, "Namespace prefix x on rule is not defined.", "  <x:rule/>"},
    {"undefined_entity", 2, 16, "Entity 'nbsp' not defined.", "  <value>&nbsp;</value>"},
    {"undefined_entity_with_type", 2, 12, "Entity 'nbsp' not defined.", "<map>&nbsp;</map>"},
    {"unquoted_attribute", 2, 11, "AttValue: \" or ' expected.", "  <rule a=1/>"},
    {"utf16_lone_surrogate", 2, 1, "The bytes 00 D8 are not a character of the encoding UTF-16LE.", ""},
    {"utf16_odd_byte", 1, 7, "The bytes 0A are not a character of the encoding UTF-16LE.", "<map/>"},
    {"utf32", 1, 1, "Text of four bytes a character is not supported.", ""},
    {"version", 1, 20, "Unsupported version '1.1'.", "<?xml version='1.1'?>"},
    {"zero", 2, 4, "The text contains the character U+0000.", "  a"},
};
INSTANTIATE_TEST_SUITE_P(All, DomBrokenFile, testing::ValuesIn(brokenFiles),
                         [](const auto& test) { return test.param.file; });

TEST(DomBrokenFiles, AreAllInTheTable) {
    std::size_t files = 0;
    for (const auto& entry : fs::directory_iterator(dataFile("broken"))) files += entry.path().extension() == ".xml";
    // One more has its own test.
    EXPECT_EQ(files, std::size(brokenFiles) + 1);
}

TEST(DomBrokenFiles, LongLineIsCutAroundThePlace) {
    const Loaded result = loadFile(dataFile("broken/long_line.xml"));
    EXPECT_EQ(result.status, S_FALSE);
    const Error error = errorOf(result.document);
    EXPECT_EQ(error.line, 1);
    EXPECT_EQ(error.position, 910);
    EXPECT_EQ(error.sourceLine.size(), std::string("<</map>").size() + 100);
    EXPECT_THAT(error.sourceLine, testing::EndsWith("\u00F8<</map>"));
}

struct NoFile {
    const char* name;
    std::string path;
    const char* reason;
};

TEST(DomNoFile, IsNotLoadedAndSaysWhy) {
    const std::string longName(300, 'n');
    const NoFile cases[] = {
        {"absent", "no/such/file.xml", "Cannot open 'no/such/file.xml': No such file or directory."},
        {"a file as folder", dataFile("good/utf8.xml") + "/x", nullptr},
        {"directory", "/", "Cannot read '/': Is a directory."},
        {"fails while reading", "/proc/self/mem", "Cannot read '/proc/self/mem': Input/output error."},
        {"a web address", "http://localhost/map.xml",
         "Cannot open 'http://localhost/map.xml': No such file or directory."},
        {"not ASCII", "m\u00E6r.xml", "Cannot open 'm\u00E6r.xml': No such file or directory."},
        {"empty path", "", "The path of the document is empty."},
    };
    for (const NoFile& test : cases) {
        SCOPED_TRACE(test.name);
        const Loaded result = loadFile(test.path);
        EXPECT_EQ(result.status, S_FALSE);
        EXPECT_EQ(result.loaded, VARIANT_FALSE);
        const Error error = errorOf(result.document);
        EXPECT_NE(error.code, 0);
        EXPECT_EQ(error.line, 0);
        EXPECT_EQ(error.position, 0);
        EXPECT_EQ(error.sourceLine, "");
        if (test.reason)
            EXPECT_EQ(error.reason, test.reason);
        else
            EXPECT_THAT(error.reason, testing::EndsWith("/good/utf8.xml/x': Not a directory."));
    }
    const Error tooLong = errorOf(loadFile('/' + longName).document);
    EXPECT_EQ(tooLong.reason, "Cannot open '..." + longName.substr(0, 240) + "': File name too long.");
}

TEST(DomNoFile, PathThatIsNoText) {
    for (const WideString& path : {WideString(OLESTR("a\xD800")), WideString(OLESTR("a\0b"), 3)}) {
        const CComPtr<IXMLDOMDocument> document = newDocument();
        CComVariant source{CComBSTR(static_cast<int>(path.size()), path.c_str())};
        VARIANT_BOOL loaded = VARIANT_TRUE;
        EXPECT_EQ(document->load(source, &loaded), S_FALSE);
        EXPECT_EQ(loaded, VARIANT_FALSE);
        EXPECT_EQ(errorOf(document).reason, "The path of the document is not the name of a file.");
    }
}

TEST(DomNoFile, OtherVariantTypes) {
    const CComPtr<IXMLDOMDocument> document = parse("<a/>");
    VARIANT_BOOL loaded = VARIANT_TRUE;
    EXPECT_EQ(document->load(CComVariant(), &loaded), E_INVALIDARG);
    EXPECT_EQ(loaded, VARIANT_FALSE);
    EXPECT_EQ(document->load(CComVariant(3), &loaded), E_INVALIDARG);
    VARIANT null;
    VariantInit(&null);
    null.vt = VT_BSTR;
    null.bstrVal = nullptr;
    EXPECT_EQ(document->load(null, &loaded), S_FALSE);
    EXPECT_EQ(errorOf(document).reason, "The path of the document is empty.");
}

TEST(DomGoodFiles, PathByReference) {
    CComBSTR path = wide(dataFile("good/utf8.xml"));
    VARIANT source;
    VariantInit(&source);
    source.vt = VT_BSTR | VT_BYREF;
    source.byref = static_cast<void*>(&path.m_str);
    VARIANT_BOOL loaded = VARIANT_FALSE;
    EXPECT_EQ(newDocument()->load(source, &loaded), S_OK);
    EXPECT_EQ(loaded, VARIANT_TRUE);
}

TEST_F(DomFiles, NameOutsideOfAscii) {
    const std::string path = write("m\u00E6rke \U0001F6A2.xml", "<a>x</a>");
    const Loaded result = loadFile(path);
    EXPECT_EQ(result.status, S_OK) << errorOf(result.document).reason;
    EXPECT_EQ(textOf(result.document), "x");
}

TEST_F(DomFiles, EveryPrefixOfADocument) {
    for (const char* name : {"utf8", "utf16_big", "windows1252", "shift_jis"}) {
        const std::string whole = contentOf(dataFile(std::string("good/") + name + ".xml"));
        const std::size_t lineEnd = name == std::string("utf16_big") ? 2 : name == std::string("shift_jis") ? 0 : 1;
        for (std::size_t size = 0; size + lineEnd < whole.size(); ++size) {
            const Loaded result = loadFile(write("prefix.xml", whole.substr(0, size)));
            ASSERT_EQ(result.status, S_FALSE) << name << ' ' << size;
            const Error error = errorOf(result.document);
            EXPECT_NE(error.code, 0);
            EXPECT_GT(error.reason.size(), 5U);
            EXPECT_GE(error.line, 1);
            EXPECT_LE(error.line, 5);
            EXPECT_GE(error.position, 1);
        }
        EXPECT_EQ(loadFile(write("whole.xml", whole)).status, S_OK);
    }
}

TEST_F(DomFiles, CharactersAcrossReads) {
    // Each shift moves the characters of several bytes over all borders between chunks.
    std::string values;
    while (values.size() < 100000) values += "\u00E6\u20AC\U0001F6A2";
    for (std::size_t shift = 0; shift < 9; ++shift) {
        const std::string text = std::string(shift, 'x') + values;
        const Loaded result = loadFile(write("long.xml", "<a>" + text + "</a>"));
        ASSERT_EQ(result.status, S_OK);
        EXPECT_TRUE(textOf(result.document) == text);
    }
}

TEST_F(DomFiles, FailureFarInTheFile) {
    std::string text = "<a>\n";
    for (int i = 0; i < 100000; ++i) text += "<b c='1'/>\n";
    const Loaded result = loadFile(write("far.xml", text + "  <b></c>\n</a>"));
    const Error error = errorOf(result.document);
    EXPECT_EQ(error.line, 100002);
    EXPECT_EQ(error.position, 10);
    EXPECT_EQ(error.sourceLine, "  <b></c>");
}

TEST(DomTexts, LoadedFromMemory) {
    EXPECT_EQ(loadText("").status, S_FALSE);
    EXPECT_EQ(errorOf(loadText("").document).reason, "Document is empty.");
    EXPECT_EQ(loadText("<a/>").status, S_OK);
    EXPECT_EQ(loadText("<?xml version='1.0' encoding='UTF-16'?><a/>").status, S_OK);
    EXPECT_EQ(errorOf(loadText("<?xml version='1.0' encoding='x-nothing'?><a/>").document).reason,
              "The encoding 'x-nothing' is not supported.");
    VARIANT_BOOL loaded = VARIANT_TRUE;
    EXPECT_EQ(newDocument()->loadXML(nullptr, &loaded), S_FALSE);
    EXPECT_EQ(loaded, VARIANT_FALSE);
}

TEST(DomTexts, LoneSurrogateIsRefused) {
    const WideString text = WideString(OLESTR("<a>\n")) + OLECHAR{0xD800} + OLESTR("</a>");
    const CComPtr<IXMLDOMDocument> document = newDocument();
    VARIANT_BOOL loaded = VARIANT_TRUE;
    EXPECT_EQ(document->loadXML(CComBSTR(text.c_str()), &loaded), S_FALSE);
    EXPECT_EQ(errorOf(document).line, 2);
}

}  // namespace
}  // namespace dom_test
