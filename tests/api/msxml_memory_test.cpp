// MSXML counts neither its nodes nor its lists; one that is left behind keeps its whole document in memory, which shows
// in what the process has.
#include "host/velcore/class_registry.h"
#include "support/documents.h"
#include "symbology/symbology_manager.h"

#include <gtest/gtest.h>
#include <psapi.h>

namespace {

SIZE_T memoryOfTheProcess() {
    PROCESS_MEMORY_COUNTERS counters{};
    EXPECT_TRUE(K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters));
    return counters.PagefileUsage;
}

std::string largeDocument() {
    std::string xml = "<conditionMap name='Harbour'><featureClass name='Buoy'>";
    for (int i = 0; i < 400; ++i)
        xml += "<condition rulename='BUOY" + std::to_string(i) +
               "'><placement offsetX='1' offsetY='2' rotation='3'/>"
               "<rule type='A' operator='equal' field='COLOUR' value='" +
               std::to_string(i) + "'/></condition>";
    return xml + "</featureClass></conditionMap>";
}

TEST(MsxmlMemory, loadingLeavesNoNodeBehind) {
    VelRegisterClass(CLSID_DOMDocument, nullptr);  // the counter of documents would keep them until the test ends
    const TemporaryFolder folder;
    const std::string xml = largeDocument();
    const CComBSTR path = memhost::bstr(folder.write("large.cxml", xml));
    SymbologyManager manager;
    const auto load = [&](int times) {
        for (int i = 0; i < times; ++i) ASSERT_TRUE(manager.loadCXML(path, nullptr));
    };
    load(5);
    const SIZE_T before = memoryOfTheProcess();
    load(20);
    const SIZE_T after = memoryOfTheProcess();

    // What twenty documents would take that stay.
    std::vector<CComPtr<IXMLDOMDocument>> kept;
    for (int i = 0; i < 20; ++i) kept.push_back(parseDocument(xml));
    const SIZE_T withTwenty = memoryOfTheProcess();
    EXPECT_GT(withTwenty, after + 20 * xml.size()) << "otherwise this test would see nothing";
    EXPECT_LT(after, before + (withTwenty - after) / 4);  // a quarter of that is noise
}

}  // namespace
