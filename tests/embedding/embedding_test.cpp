// The library in the hands of another library, from one thread after the other, with the interpreter of the process.
#include "plugin.h"
#include "support/documents.h"
#include "support/platform_hooks.h"

#include <gtest/gtest.h>
#include <string>
#include <thread>

namespace {

constexpr const char* document =
    "<conditionMap name='Harbour'><featureClass name='Buoy'>"
    "<condition rulename='BUOY'><rule type='A' operator='equal' field='COLOUR' value='3'/></condition>"
    "<condition type='2' field='LABEL'><expression>def Generate(COLOUR): return 'colour %d' % COLOUR</expression>"
    "</condition></featureClass></conditionMap>";

template <class Body>
void onAThreadOfItsOwn(Body body) {
    std::thread([&] {
        EXPECT_TRUE(SUCCEEDED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)));
        body();
        CoUninitialize();
    }).join();
}

TEST(Embedding, documentGoesFromThreadToThread) {
    const TemporaryFolder folder;
    const CComBSTR path = memhost::bstr(folder.write("buoys.cxml", document));
    void* loaded = nullptr;
    char label[40] = "";
    onAThreadOfItsOwn([&] {
        loaded = pluginLoad(path);
        ASSERT_NE(loaded, nullptr);
        EXPECT_EQ(pluginRun(loaded, 100, label, sizeof label), 0);
    });
    ASSERT_NE(loaded, nullptr);
    EXPECT_STREQ(label, "colour 3");
    label[0] = '\0';
    onAThreadOfItsOwn([&] {
        EXPECT_EQ(pluginRun(loaded, 100, label, sizeof label), 0);
        pluginRelease(loaded);
    });
    EXPECT_STREQ(label, "colour 3");
}

TEST(Embedding, documentThatDoesNotLoad) {
    EXPECT_EQ(pluginLoad(OLESTR("no such file.cxml")), nullptr);
}

}  // namespace
