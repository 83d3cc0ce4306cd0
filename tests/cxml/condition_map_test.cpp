// ConditionMap: the document's top level, its function library and the folders where library files are looked for.
#include "support/loaded_map.h"
#include "support/platform_hooks.h"

#include <gtest/gtest.h>
#include <filesystem>

namespace {

using memhost::bstr;
using memhost::make;
using memhost::Messages;
using memhost::utf8;
using std::string;
using std::vector;

string library(std::string_view pieces) {
    return "<conditionMap name='m'><functionLibrary>" + string(pieces) + "</functionLibrary>" +
           "<featureClass name='Buoy'/></conditionMap>";
}

string piece(const LoadedMap& loaded, std::string_view name) {
    const auto found = loaded.map->expressions.find(bstr(name));
    return found == loaded.map->expressions.end() ? "(absent)" : utf8(found->second.m_str);
}

TEST(ConditionMapTest, nameAloneLoads) {
    const LoadedMap loaded("<conditionMap name='Havn &amp; hav'/>");
    EXPECT_TRUE(loaded.result);
    EXPECT_EQ(utf8(loaded.map->name.m_str), "Havn & hav");
    EXPECT_TRUE(loaded.map->featureClassRules.empty());
    EXPECT_TRUE(loaded.map->conditions.empty());
    EXPECT_TRUE(loaded.map->rules.empty());
    EXPECT_TRUE(loaded.map->expressions.empty());
    EXPECT_TRUE(loaded.messages->entries().empty());
}

TEST(ConditionMapTest, emptyNameIsAName) {
    EXPECT_TRUE(LoadedMap("<conditionMap name=''/>").result);
}

TEST(ConditionMapTest, nameIsRequired) {
    const LoadedMap loaded("<conditionMap alias='a'><featureClass name='Buoy'/></conditionMap>");
    EXPECT_FALSE(loaded.result);
    EXPECT_TRUE(loaded.map->featureClassRules.empty());
    EXPECT_TRUE(loaded.messages->entries().empty());
}

TEST(ConditionMapTest, otherRootsLoadNothing) {
    for (const char* xml : {"<ruleDefinitions spec='s'/>", "<ConditionMap name='m'/>",
                            "<x><conditionMap name='m'><featureClass name='A'/></conditionMap></x>"}) {
        const LoadedMap loaded(xml);
        EXPECT_FALSE(loaded.result) << xml;
        EXPECT_TRUE(loaded.map->featureClassRules.empty()) << xml;
        EXPECT_TRUE(loaded.messages->entries().empty()) << xml;
    }
}

TEST(ConditionMapTest, nullDocumentAndEmptyPath) {
    ConditionalXml::ConditionMap map;
    const auto messages = make<Messages>();
    const auto document = parseDocument("<conditionMap name='m'/>");
    EXPECT_FALSE(map.load(bstr("a/b.xml"), nullptr, messages));
    EXPECT_FALSE(map.load(nullptr, document, messages));
    EXPECT_FALSE(map.load(bstr(""), document, messages));
    EXPECT_TRUE(messages->entries().empty());
    EXPECT_TRUE(map.searchDirectories.empty());
    EXPECT_EQ(map.name.Length(), 0U);
}

TEST(ConditionMapTest, folderOfThePath) {
    const struct {
        const char* name;
        const char* path;
        vector<string> folders;
    } rows[] = {
        {"forward slashes", "a/b/c.xml", {"a/b/"}},
        {"backslashes", "C:\\a\\c.xml", {"C:\\a\\"}},
        {"backslash wins over a later slash", "C:\\a/b/c.xml", {"C:\\"}},
        {"no separator", "c.xml", {}},
        {"root", "/c.xml", {"/"}},
        {"separator at the end", "a/", {"a/"}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(textsOf(LoadedMap("<conditionMap name='m'/>", row.path).map->searchDirectories), row.folders)
            << row.name;
}

TEST(ConditionMapTest, inlinePieceEndsWithBackslashAndN) {
    const LoadedMap loaded(library("<expression name='f'>x = 1</expression><expression name='empty'/>"));
    EXPECT_TRUE(loaded.result);
    EXPECT_EQ(piece(loaded, "f"), "x = 1\\n");
    EXPECT_EQ(piece(loaded, "empty"), "\\n");
}

TEST(ConditionMapTest, inlinePieceKeepsItsSource) {
    const LoadedMap loaded(
        library("<expression name='f'><![CDATA[ if a < b & c:\n\treturn \"x\" ]]></expression>"
                "<expression name='g'>a<b>b</b>c</expression>"));
    EXPECT_EQ(piece(loaded, "f"), " if a < b & c:\n\treturn \"x\" \\n");
    EXPECT_EQ(piece(loaded, "g"), "abc\\n") << "all text below the element";
}

TEST(ConditionMapTest, secondInlinePieceOfANameWins) {
    const LoadedMap loaded(library("<expression name='f'>first</expression><expression name='f'>second</expression>"));
    EXPECT_TRUE(loaded.result);
    EXPECT_EQ(loaded.map->expressions.size(), 1U);
    EXPECT_EQ(piece(loaded, "f"), "second\\n");
    EXPECT_TRUE(loaded.messages->entries().empty());
}

TEST(ConditionMapTest, namesOfPiecesAreCaseSensitive) {
    const LoadedMap loaded(library("<expression name='f'>small</expression><expression name='F'>large</expression>"));
    EXPECT_EQ(piece(loaded, "f"), "small\\n");
    EXPECT_EQ(piece(loaded, "F"), "large\\n");
}

TEST(ConditionMapTest, inlinePieceWithoutNameEndsTheLoad) {
    const LoadedMap loaded(
        library("<expression name='f'>x</expression><expression>y</expression>"
                "<expression name='h'>z</expression>"));
    EXPECT_FALSE(loaded.result);
    const vector<Messages::Entry> expected{
        {true, E_FAIL, "Failed to get name attribute for /conditionMap/functionLibrary/expression node!"}};
    EXPECT_EQ(loaded.messages->entries(), expected);
    EXPECT_EQ(textsOf(loaded.map->expressions), vector<string>{"f"});
    EXPECT_TRUE(loaded.map->featureClassRules.empty());
    EXPECT_EQ(utf8(loaded.map->name.m_str), "m");
}

TEST(ConditionMapTest, filePieceWithoutNameEndsTheLoad) {
    const LoadedMap loaded(library("<expressionFile>lib.py</expressionFile>"));
    EXPECT_FALSE(loaded.result);
    const vector<Messages::Entry> expected{
        {true, E_FAIL, "Failed to get name attribute for /conditionMap/functionLibrary/expressionFile node!"}};
    EXPECT_EQ(loaded.messages->entries(), expected);
    EXPECT_TRUE(loaded.map->featureClassRules.empty());
}

TEST(ConditionMapTest, withoutMessagesFailuresAreSilent) {
    for (const char* pieces :
         {"<expression/>", "<expressionFile/>", "<expressionFile name='f'>no such</expressionFile>"}) {
        ConditionalXml::ConditionMap map;
        EXPECT_FALSE(map.load(bstr("a/b.xml"), parseDocument(library(pieces)), nullptr)) << pieces;
    }
}

TEST(ConditionMapTest, elementsInOtherPlacesAreIgnored) {
    const LoadedMap loaded(
        "<conditionMap name='m'><expression/><expressionFile/><other><featureClass name='A'/>"
        "<functionLibrary><expression/></functionLibrary></other>"
        "<functionLibrary><group><expression/></group></functionLibrary>"
        "<featureClass name='B'><featureClass name='C'/></featureClass></conditionMap>");
    EXPECT_TRUE(loaded.result);
    EXPECT_EQ(textsOf(loaded.map->featureClassRules), vector<string>{"B"});
    EXPECT_TRUE(loaded.map->expressions.empty());
}

TEST(ConditionMapTest, severalLibrariesAreOne) {
    const LoadedMap loaded(
        "<conditionMap name='m'><functionLibrary><expression name='a'>1</expression>"
        "</functionLibrary><functionLibrary><expression name='b'>2</expression></functionLibrary>"
        "</conditionMap>");
    EXPECT_EQ(textsOf(loaded.map->expressions), (vector<string>{"a", "b"}));
}

TEST(ConditionMapTest, rejectedClassIsPassedOver) {
    const LoadedMap loaded(
        "<conditionMap name='m'><featureClass/><featureClass name='A'><subtype/></featureClass>"
        "<featureClass name='B'/></conditionMap>");
    EXPECT_TRUE(loaded.result);
    EXPECT_EQ(textsOf(loaded.map->featureClassRules), vector<string>{"B"});
    EXPECT_TRUE(loaded.messages->entries().empty());
}

/// A document in a folder of its own; the process works in another, empty one.
class ExpressionFileTest : public testing::Test {
protected:
    ExpressionFileTest() : before_(std::filesystem::current_path()) {
        std::filesystem::current_path(workingFolder.path());
    }
    ~ExpressionFileTest() override { std::filesystem::current_path(before_); }

    LoadedMap load(std::string_view pieces) const {
        return LoadedMap(library(pieces), documentFolder.pathOf("document.xml"));
    }

    TemporaryFolder workingFolder;
    TemporaryFolder documentFolder;

private:
    std::filesystem::path before_;
};

TEST_F(ExpressionFileTest, inlineAndFilePieceOfOneNameThrow) {
    documentFolder.write("lib.py", "x");
    try {
        load("<expression name='f'>x</expression><expressionFile name='f'>lib.py</expressionFile>");
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Encountered duplicate CXML expression name: 'f'!");
    }
}

TEST_F(ExpressionFileTest, twoFilePiecesOfOneNameThrow) {
    documentFolder.write("lib.py", "x");
    try {
        load(
            "<expressionFile name='\xC3\xA6'>lib.py</expressionFile>"
            "<expressionFile name='\xC3\xA6'>absent.py</expressionFile>");
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), memhost::narrowed("Encountered duplicate CXML expression name: '\xC3\xA6'!"));
    }
}

TEST_F(ExpressionFileTest, bareNameIsFoundBesideTheDocument) {
    documentFolder.write("lib.py", "beside");
    const LoadedMap loaded = load("<expressionFile name='f'>lib.py</expressionFile>");
    EXPECT_TRUE(loaded.result);
    EXPECT_EQ(piece(loaded, "f"), "beside\n");
    EXPECT_EQ(loaded.map->featureClassRules.size(), 1U);
}

TEST_F(ExpressionFileTest, currentFolderComesFirst) {
    documentFolder.write("lib.py", "beside");
    workingFolder.write("lib.py", "current");
    EXPECT_EQ(piece(load("<expressionFile name='f'>lib.py</expressionFile>"), "f"), "current\n");
}

TEST_F(ExpressionFileTest, nameWithAFolderIsNotLookedForElsewhere) {
    documentFolder.write("sub/lib.py", "beside");
    documentFolder.write("sub\\lib.py", "beside");
    for (const string name : {"sub\\lib.py", "sub/lib.py", "./lib.py"}) {
        const LoadedMap loaded = load("<expressionFile name='f'>" + name + "</expressionFile>");
        EXPECT_FALSE(loaded.result);
        const vector<Messages::Entry> expected{{true, E_FAIL, "Failed to open CXML expression file: '" + name + "'!"}};
        EXPECT_EQ(loaded.messages->entries(), expected);
        EXPECT_TRUE(loaded.map->featureClassRules.empty());
    }
}

TEST_F(ExpressionFileTest, relativePathIsOfTheCurrentFolder) {
    workingFolder.write("sub/lib.py", "current");
    EXPECT_EQ(piece(load("<expressionFile name='f'>sub/lib.py</expressionFile>"), "f"), "current\n");
}

TEST_F(ExpressionFileTest, fileThatIsNowhereEndsTheLoad) {
    documentFolder.write("a.py", "a");
    const LoadedMap loaded = load(
        "<expressionFile name='a'>a.py</expressionFile>"
        "<expressionFile name='b'>b\xC3\xB8je.py</expressionFile>"
        "<expressionFile name='c'>a.py</expressionFile>");
    EXPECT_FALSE(loaded.result);
    EXPECT_EQ(loaded.messages->errors(), vector<string>{"Failed to open CXML expression file: 'b\xC3\xB8je.py'!"});
    EXPECT_EQ(textsOf(loaded.map->expressions), vector<string>{"a"});
}

/// What loading says of a file that is there and no file to read.
vector<string> refused(const string& path, const char* why) {
    return {"Failed to open CXML expression file: '" + path + "'!", "CXML expression file '" + path + "' " + why + "!"};
}

TEST_F(ExpressionFileTest, folderIsNoFile) {
    documentFolder.write("lib.py/inside", "");
    const LoadedMap loaded = load("<expressionFile name='f'>lib.py</expressionFile>");
    EXPECT_FALSE(loaded.result);
    EXPECT_EQ(loaded.messages->errors(), refused("lib.py", "is not a regular file"));
}

TEST_F(ExpressionFileTest, whatIsNoFileDoesNotHideOneBehindIt) {
    workingFolder.write("lib.py/inside", "");
    documentFolder.write("lib.py", "beside");
    EXPECT_EQ(piece(load("<expressionFile name='f'>lib.py</expressionFile>"), "f"), "beside\n");
}

TEST_F(ExpressionFileTest, fileIsReadUpToTheLengthOfATextAndNoFurther) {
    constexpr std::size_t most = 10'000'000;
    documentFolder.write("most.py", string(most, 'x'));
    documentFolder.write("more.py", string(most + 1, 'x'));
    EXPECT_EQ(piece(load("<expressionFile name='f'>most.py</expressionFile>"), "f").size(), most + 1);
    const LoadedMap loaded = load("<expressionFile name='f'>more.py</expressionFile>");
    EXPECT_FALSE(loaded.result);
    EXPECT_EQ(loaded.messages->errors(), refused("more.py", "is longer than 10,000,000 bytes"));
}

TEST_F(ExpressionFileTest, devicesAndPipesAreNoFiles) {
    for (const string& path : irregularFiles(documentFolder.path())) {
        SCOPED_TRACE(path);
        const LoadedMap loaded = load("<expressionFile name='f'>" + path + "</expressionFile>");
        EXPECT_FALSE(loaded.result);
        EXPECT_EQ(loaded.messages->errors(), refused(path, "is not a regular file"));
    }
}

TEST_F(ExpressionFileTest, oneMoreLineFeedWhateverTheEnd) {
    documentFolder.write("none.py", "x = 1");
    documentFolder.write("one.py", "x = 1\n");
    documentFolder.write("empty.py", "");
    const LoadedMap loaded = load(
        "<expressionFile name='none'>none.py</expressionFile>"
        "<expressionFile name='one'>one.py</expressionFile>"
        "<expressionFile name='empty'>empty.py</expressionFile>");
    EXPECT_EQ(piece(loaded, "none"), "x = 1\n");
    EXPECT_EQ(piece(loaded, "one"), "x = 1\n\n");
    EXPECT_EQ(piece(loaded, "empty"), "\n");
}

TEST_F(ExpressionFileTest, wholeFileIsRead) {
    const string source = string(10000, 'x') + "\\n\t\xC3\xA6\xE2\x82\xAC" + string("\0", 1) + "end";
    documentFolder.write("large.py", source);
    EXPECT_EQ(piece(load("<expressionFile name='f'>large.py</expressionFile>"), "f"),
              memhost::fromNarrow(source) + "\n");
}

TEST_F(ExpressionFileTest, inlinePiecesComeFirstWhateverTheOrder) {
    documentFolder.write("lib.py", "x");
    EXPECT_THROW(load("<expressionFile name='f'>lib.py</expressionFile><expression name='f'>x</expression>"),
                 std::runtime_error);
}

}  // namespace
