// SymbologyManager::loadCXML: what a DOM can answer that does not load.
#include "api/document_loader.h"
#include "api/load_fixture.h"
#include "cxml/faulty_dom.h"

namespace {

class LoadFailureTest : public LoadTest {};

TEST_F(LoadFailureTest, failureOfLoadNamesThePath) {
    EXPECT_TRUE(loadText(buoys));
    const auto first = Access::currentMap(manager);
    const FaultyDomScope dom({.status = E_ACCESSDENIED});
    EXPECT_EQ(thrownBy("C:\\charts\\S\xC3\xB8kort.xml"), "Failed to load CXML: 'C:\\charts\\S\xC3\xB8kort.xml'!");
    EXPECT_EQ(Access::currentMap(manager), first);
}

TEST_F(LoadFailureTest, notLoadedWithoutParseErrorIsFalse) {
    EXPECT_TRUE(loadText(buoys));
    const auto first = Access::currentMap(manager);
    for (const HRESULT status : {S_OK, S_FALSE}) {
        const FaultyDomScope dom({.status = status});
        EXPECT_FALSE(load("any.xml"));
    }
    EXPECT_EQ(Access::currentMap(manager), first);
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(LoadFailureTest, parseErrorTextIsFormatted) {
    const FaultyDomScope dom({.error = FakeParseError{"Bad %s thing.\r\n", "<a &b>", 3, 7}});
    EXPECT_EQ(thrownBy("any.xml"), "Failed to parse CXML: Bad %s thing.\r\n [Source: <a &b> : Line 3 Column 7]\n");
}

TEST_F(LoadFailureTest, lineAndColumnOfAParseErrorAreUnsigned) {
    const FaultyDomScope dom({.error = FakeParseError{"r", "s", -1, -2147483647 - 1}});
    EXPECT_EQ(thrownBy("any.xml"), "Failed to parse CXML: r [Source: s : Line 4294967295 Column 2147483648]\n");
}

TEST_F(LoadFailureTest, parseErrorTextMayHave1023Characters) {
    const std::string frame = "Failed to parse CXML:  [Source: s : Line 1 Column 2]\n";
    const std::string reason(1023 - frame.size(), 'x');
    const FaultyDomScope dom({.error = FakeParseError{reason, "s", 1, 2}});
    const std::string text = thrownBy("any.xml");
    EXPECT_EQ(text, "Failed to parse CXML: " + reason + " [Source: s : Line 1 Column 2]\n");
    EXPECT_EQ(text.size(), 1023U);
}

TEST_F(LoadFailureTest, longerParseErrorTextBecomesEmptyNotCut) {
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

TEST_F(LoadFailureTest, parseErrorWithoutReasonAndSource) {
    const FaultyDomScope dom({.error = FakeParseError{}});
    EXPECT_EQ(thrownBy("any.xml"), "Failed to parse CXML:  [Source:  : Line 0 Column 0]\n");
}

/// With a list left out it would be another document.
TEST_F(LoadFailureTest, documentOfWhichAnyCallFailsDoesNotLoad) {
    const CComBSTR bare = memhost::bstr(folder.write("bare.xml", "<conditionMap name='m'/>"));
    const FaultyDomScope dom;
    const CComPtr<IXMLDOMDocument> document = ConditionalXml::loadDocument(bare);
    for (long nth = 1;; ++nth) {
        const memhost::FaultScope fault({.op = memhost::Op::Document, .nth = nth});
        ConditionalXml::ConditionMap map;
        const bool loaded = map.load(bare, document, nullptr);
        EXPECT_EQ(loaded, !fault.hit()) << "call " << nth;
        if (fault.hit()) continue;
        EXPECT_EQ(nth, 11) << "four for the name, two for each of the three lists";
        break;
    }
}

}  // namespace
