// SymbologyManager::loadCXML: documents of each kind, and everything that can keep one from loading.
#include "api/load_fixture.h"
#include "cxml/condition_map.h"
#include "host/velcore/class_registry.h"
#include "support/platform_hooks.h"

#include <gtest/gtest.h>

namespace {

using memhost::bstr;
using memhost::make;
using memhost::Messages;
using memhost::utf8;

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
    EXPECT_EQ(line, underWine() ? 0 : 3) << "Wine's MSXML does not know where";
    EXPECT_EQ(thrownBy(path), "Failed to parse CXML: " + utf8(reason.m_str) + " [Source: " + utf8(source.m_str) +
                                  " : Line " + std::to_string(line) + " Column " + std::to_string(column) + "]\n");
}

TEST_F(LoadTest, documentThatCannotBeCreated) {
    EXPECT_TRUE(loadText(buoys));
    const auto first = Access::currentMap(manager);
    struct Guard {
        ~Guard() { VelRegisterClass(CLSID_DOMDocument, nullptr); }
    } const guard;
    const VelClassFactory factories[] = {
        [](DWORD context, REFIID iid, void** object) -> HRESULT {
            EXPECT_EQ(context, DWORD{CLSCTX_ALL});
            EXPECT_TRUE(iid == __uuidof(IUnknown));
            *object = nullptr;
            return E_ACCESSDENIED;
        },
        [](DWORD, REFIID, void** object) -> HRESULT {  // says yes and gives nothing
            *object = nullptr;
            return S_OK;
        },
        [](DWORD, REFIID iid, void** object) -> HRESULT {  // gives something that is no document
            return make<Messages>()->QueryInterface(iid, object);
        },
    };
    for (const VelClassFactory factory : factories) {
        VelRegisterClass(CLSID_DOMDocument, factory);
        EXPECT_EQ(thrownBy("any.xml"), "Failed to create DOMDocument object!");
    }
    // An object that says that it is a document and gives none.
    const memhost::FaultScope query({.op = memhost::Op::QueryInterface, .status = S_OK, .nth = 2});
    EXPECT_EQ(thrownBy("any.xml"), "Failed to create DOMDocument object!");
    EXPECT_TRUE(query.hit());
    EXPECT_EQ(Access::currentMap(manager), first);
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
