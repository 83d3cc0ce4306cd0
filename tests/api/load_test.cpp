// SymbologyManager::loadCXML: documents of each kind, and everything that can keep one from loading.
#include "cxml/condition_map.h"
#include "cxml/faulty_dom.h"
#include "host/velcore/class_registry.h"
#include "memhost/messages.h"
#include "support/documents.h"
#include "symbology/symbology_manager.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace {

using Access = SymbologyManagerAccess;
using memhost::bstr;
using memhost::make;
using memhost::Messages;
using memhost::utf8;

/// A manager over documents in a folder of their own.
class LoadTest : public testing::Test {
protected:
    bool load(const std::string& path) { return manager.loadCXML(bstr(path), messages); }
    bool loadText(std::string_view xml, std::string_view name = "document.xml") {
        return load(folder.write(name, xml));
    }
    /// The text of the runtime_error that loading throws; empty when it throws nothing.
    std::string thrownBy(const std::string& path) {
        try {
            load(path);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return {};
    }
    std::size_t classCount() const { return Access::currentMap(manager)->featureClassRules.size(); }

    TemporaryFolder folder;
    CComPtr<Messages> messages = make<Messages>();
    SymbologyManager manager;
};

constexpr const char* buoys = "<conditionMap name='Harbour' alias='Havn'><featureClass name='Buoy'/></conditionMap>";
constexpr const char* definitions = "<ruleDefinitions spec='S-1' alias='Rules'/>";

TEST_F(LoadTest, newManagerHoldsNothing) {
    EXPECT_EQ(Access::documentName(manager), nullptr);
    EXPECT_EQ(Access::documentAlias(manager), nullptr);
    EXPECT_EQ(Access::ruleDefinitionsPath(manager), nullptr);
    EXPECT_EQ(Access::conditionMapPath(manager), nullptr);
    EXPECT_FALSE(Access::isRuleDefinitions(manager));
    EXPECT_FALSE(Access::isConditionMap(manager));
    EXPECT_EQ(Access::currentMap(manager), nullptr);
}

TEST_F(LoadTest, conditionMapIsRemembered) {
    const std::string path = folder.write("buoys.xml", buoys);
    EXPECT_TRUE(load(path));
    EXPECT_EQ(utf8(Access::documentName(manager)), "Harbour");
    EXPECT_EQ(utf8(Access::documentAlias(manager)), "Havn");
    EXPECT_EQ(utf8(Access::conditionMapPath(manager)), path);
    EXPECT_EQ(Access::ruleDefinitionsPath(manager), nullptr);
    EXPECT_TRUE(Access::isConditionMap(manager));
    EXPECT_FALSE(Access::isRuleDefinitions(manager));
    EXPECT_EQ(classCount(), 1U);
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(LoadTest, absentAttributesReadAsEmptyText) {
    EXPECT_FALSE(loadText("<conditionMap/>"));
    EXPECT_NE(Access::documentName(manager), nullptr);
    EXPECT_EQ(utf8(Access::documentName(manager)), "");
    EXPECT_EQ(utf8(Access::documentAlias(manager)), "");
    EXPECT_TRUE(Access::isConditionMap(manager));
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(LoadTest, ruleDefinitionsOnAFreshManagerReturnFalse) {
    const std::string path = folder.write("rules.xml", definitions);
    EXPECT_FALSE(load(path));
    EXPECT_EQ(utf8(Access::documentName(manager)), "S-1");
    EXPECT_EQ(utf8(Access::documentAlias(manager)), "Rules");
    EXPECT_EQ(utf8(Access::ruleDefinitionsPath(manager)), path);
    EXPECT_EQ(Access::conditionMapPath(manager), nullptr);
    EXPECT_TRUE(Access::isRuleDefinitions(manager));
    EXPECT_FALSE(Access::isConditionMap(manager));
    ASSERT_NE(Access::currentMap(manager), nullptr);
    EXPECT_EQ(classCount(), 0U);
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(LoadTest, ruleDefinitionsAfterAConditionMapEmptyTheMap) {
    const std::string path = folder.write("buoys.xml", buoys);
    EXPECT_TRUE(load(path));
    EXPECT_FALSE(loadText(definitions));
    EXPECT_EQ(utf8(Access::documentName(manager)), "S-1");
    EXPECT_EQ(utf8(Access::conditionMapPath(manager)), path);
    EXPECT_TRUE(Access::isRuleDefinitions(manager));
    EXPECT_TRUE(Access::isConditionMap(manager));
    EXPECT_EQ(classCount(), 0U);
}

TEST_F(LoadTest, anotherRootChangesOnlyTheMap) {
    EXPECT_TRUE(loadText(buoys));
    EXPECT_FALSE(loadText("<conditionmap name='small letters'/>"));
    EXPECT_EQ(utf8(Access::documentName(manager)), "Harbour");
    EXPECT_EQ(classCount(), 0U);
}

TEST_F(LoadTest, secondDocumentReplacesTheFirst) {
    EXPECT_TRUE(loadText(buoys));
    const std::weak_ptr<ConditionalXml::ConditionMap> first = Access::currentMap(manager);
    EXPECT_TRUE(loadText("<conditionMap name='Empty'/>", "empty.xml"));
    EXPECT_TRUE(first.expired());
    EXPECT_EQ(utf8(Access::documentName(manager)), "Empty");
    EXPECT_EQ(classCount(), 0U);
}

TEST_F(LoadTest, failedParseKeepsTheFirstDocument) {
    EXPECT_TRUE(loadText(buoys));
    const auto first = Access::currentMap(manager);
    EXPECT_THROW(loadText("<conditionMap name='Broken'>", "broken.xml"), std::runtime_error);
    EXPECT_EQ(Access::currentMap(manager), first);
    EXPECT_EQ(utf8(Access::documentName(manager)), "Harbour");
}

TEST_F(LoadTest, failedLibraryLeavesTheNewIncompleteMap) {
    EXPECT_TRUE(loadText(buoys));
    EXPECT_FALSE(
        loadText("<conditionMap name='Second'>"
                 "<functionLibrary><expression name='f'>x</expression><expression>y</expression>"
                 "</functionLibrary><featureClass name='Light'/></conditionMap>",
                 "second.xml"));
    EXPECT_EQ(utf8(Access::documentName(manager)), "Second");
    EXPECT_EQ(classCount(), 0U);
    EXPECT_EQ(Access::currentMap(manager)->expressions.size(), 1U);
    EXPECT_EQ(
        messages->errors(),
        std::vector<std::string>{"Failed to get name attribute for /conditionMap/functionLibrary/expression node!"});
}

TEST_F(LoadTest, duplicateNameLeavesAsAnException) {
    EXPECT_TRUE(loadText(buoys));
    const auto path = folder.write("twice.xml",
                                   "<conditionMap name='Twice'><functionLibrary><expression name='f'>x</expression>"
                                   "<expressionFile name='f'>any.py</expressionFile></functionLibrary></conditionMap>");
    EXPECT_EQ(thrownBy(path), "Encountered duplicate CXML expression name: 'f'!");
    EXPECT_EQ(utf8(Access::documentName(manager)), "Twice");
    EXPECT_EQ(classCount(), 0U) << "the earlier map was dropped before the new one was loaded";
}

TEST_F(LoadTest, missingFileSaysWhy) {
    const std::string text = thrownBy(folder.path() + "/absent.xml");
    EXPECT_EQ(text.find("Failed to parse CXML: "), 0U) << text;
    EXPECT_NE(text.find(" [Source: "), std::string::npos) << text;
    EXPECT_GT(text.size(), std::string("Failed to parse CXML:  [Source:  : Line 0 Column 0]\n").size())
        << "the reason is empty";
    EXPECT_EQ(Access::currentMap(manager), nullptr);
}

TEST_F(LoadTest, parseErrorIsThatOfTheDocument) {
    const std::string path = folder.write("broken.xml", "<conditionMap name='x'>\n  <featureClass>\n</conditionMap>");
    CComPtr<IXMLDOMDocument> document;
    ASSERT_EQ(VelCreateInstance(CLSID_DOMDocument, nullptr, CLSCTX_SERVER, __uuidof(IXMLDOMDocument),
                                reinterpret_cast<void**>(&document.p)),
              S_OK);
    VARIANT_BOOL loaded = VARIANT_TRUE;
    EXPECT_EQ(document->load(CComVariant(bstr(path)), &loaded), S_FALSE);
    ASSERT_EQ(loaded, VARIANT_FALSE);
    CComPtr<IXMLDOMParseError> error;
    ASSERT_EQ(document->get_parseError(&error), S_OK);
    CComBSTR reason;
    CComBSTR source;
    LONG line = 0;
    LONG column = 0;
    EXPECT_EQ(error->get_reason(&reason), S_OK);
    EXPECT_EQ(error->get_srcText(&source), S_OK);
    EXPECT_EQ(error->get_line(&line), S_OK);
    EXPECT_EQ(error->get_linepos(&column), S_OK);
    EXPECT_EQ(line, 3);
    EXPECT_EQ(thrownBy(path), "Failed to parse CXML: " + utf8(reason.m_str) + " [Source: " + utf8(source.m_str) +
                                  " : Line 3 Column " + std::to_string(column) + "]\n");
}

TEST_F(LoadTest, documentThatCannotBeCreated) {
    EXPECT_TRUE(loadText(buoys));
    const auto first = Access::currentMap(manager);
    struct Guard {
        ~Guard() { VelRegisterClass(CLSID_DOMDocument, nullptr); }
    } const guard;
    const VelClassFactory factories[] = {
        [](REFIID, void** object) -> HRESULT {
            *object = nullptr;
            return E_ACCESSDENIED;
        },
        [](REFIID, void** object) -> HRESULT {  // says yes and gives nothing
            *object = nullptr;
            return S_OK;
        },
        [](REFIID iid, void** object) -> HRESULT {  // gives something that is no document
            return make<Messages>()->QueryInterface(iid, object);
        },
    };
    for (const VelClassFactory factory : factories) {
        VelRegisterClass(CLSID_DOMDocument, factory);
        EXPECT_EQ(thrownBy("any.xml"), "Failed to create DOMDocument object!");
    }
    EXPECT_EQ(Access::currentMap(manager), first);
}

TEST_F(LoadTest, failureOfLoadNamesThePath) {
    EXPECT_TRUE(loadText(buoys));
    const auto first = Access::currentMap(manager);
    const FaultyDomScope dom({.status = E_ACCESSDENIED});
    EXPECT_EQ(thrownBy("C:\\charts\\S\xC3\xB8kort.xml"), "Failed to load CXML: 'C:\\charts\\S\xC3\xB8kort.xml'!");
    EXPECT_EQ(Access::currentMap(manager), first);
}

TEST_F(LoadTest, notLoadedWithoutParseErrorIsFalse) {
    EXPECT_TRUE(loadText(buoys));
    const auto first = Access::currentMap(manager);
    for (const HRESULT status : {S_OK, S_FALSE}) {
        const FaultyDomScope dom({.status = status});
        EXPECT_FALSE(load("any.xml"));
    }
    EXPECT_EQ(Access::currentMap(manager), first);
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(LoadTest, parseErrorTextIsFormatted) {
    const FaultyDomScope dom({.error = FakeParseError{"Bad %s thing.\r\n", "<a &b>", 3, 7}});
    EXPECT_EQ(thrownBy("any.xml"), "Failed to parse CXML: Bad %s thing.\r\n [Source: <a &b> : Line 3 Column 7]\n");
}

TEST_F(LoadTest, lineAndColumnOfAParseErrorAreUnsigned) {
    const FaultyDomScope dom({.error = FakeParseError{"r", "s", -1, -2147483647 - 1}});
    EXPECT_EQ(thrownBy("any.xml"), "Failed to parse CXML: r [Source: s : Line 4294967295 Column 2147483648]\n");
}

TEST_F(LoadTest, parseErrorTextMayHave1023Characters) {
    const std::string frame = "Failed to parse CXML:  [Source: s : Line 1 Column 2]\n";
    const std::string reason(1023 - frame.size(), 'x');
    const FaultyDomScope dom({.error = FakeParseError{reason, "s", 1, 2}});
    const std::string text = thrownBy("any.xml");
    EXPECT_EQ(text, "Failed to parse CXML: " + reason + " [Source: s : Line 1 Column 2]\n");
    EXPECT_EQ(text.size(), 1023U);
}

TEST_F(LoadTest, longerParseErrorTextBecomesEmptyNotCut) {
    EXPECT_TRUE(loadText(buoys));
    const std::string frame = "Failed to parse CXML:  [Source: s : Line 1 Column 2]\n";
    for (const std::size_t length : {1024U, 1025U, 100000U}) {
        const FaultyDomScope dom({.error = FakeParseError{std::string(length - frame.size(), 'x'), "s", 1, 2}});
        try {
            load("any.xml");
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::runtime_error& error) {
            EXPECT_STREQ(error.what(), "") << length;
        }
    }
}

TEST_F(LoadTest, parseErrorWithoutReasonAndSource) {
    const FaultyDomScope dom({.error = FakeParseError{}});
    EXPECT_EQ(thrownBy("any.xml"), "Failed to parse CXML:  [Source:  : Line 0 Column 0]\n");
}

TEST_F(LoadTest, nothingIsNeededOfMessages) {
    EXPECT_FALSE(manager.loadCXML(
        bstr(folder.write("x.xml",
                          "<conditionMap name='x'><functionLibrary><expression/></functionLibrary></conditionMap>")),
        nullptr));
    EXPECT_TRUE(manager.loadCXML(bstr(folder.write("buoys.xml", buoys)), nullptr));
}

TEST_F(LoadTest, resetXmlsDropsTheMapAndKeepsTheRest) {
    EXPECT_TRUE(loadText(buoys));
    const std::weak_ptr<ConditionalXml::ConditionMap> map = Access::currentMap(manager);
    manager.resetXmls();
    EXPECT_TRUE(map.expired());
    EXPECT_EQ(Access::currentMap(manager), nullptr);
    EXPECT_EQ(utf8(Access::documentName(manager)), "Harbour");
    EXPECT_NE(Access::conditionMapPath(manager), nullptr);
    EXPECT_TRUE(Access::isConditionMap(manager));
    manager.resetXmls();
    EXPECT_EQ(Access::currentMap(manager), nullptr);
}

}  // namespace
