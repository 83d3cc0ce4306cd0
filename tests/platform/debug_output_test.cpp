// Debugger output off Windows: it goes where the host says.
#include "platform/platform.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

void keep(LPCSTR text, void* context) {
    static_cast<std::vector<std::string>*>(context)->emplace_back(text);
}

TEST(DebugOutput, goesNowhereWithoutASink) {
    PlatformSetDebugSink(nullptr, nullptr);
    OutputDebugStringA("nobody hears this");
    OutputDebugStringA(nullptr);
}

TEST(DebugOutput, goesToTheSinkAsItIs) {
    std::vector<std::string> texts;
    PlatformSetDebugSink(keep, &texts);
    OutputDebugStringA("one\n");
    OutputDebugStringA("");
    OutputDebugStringA(nullptr);
    OutputDebugStringA("100% %s \xE2\x82\xAC");
    PlatformSetDebugSink(nullptr, nullptr);
    OutputDebugStringA("late");
    EXPECT_EQ(texts, (std::vector<std::string>{"one\n", "", "100% %s \xE2\x82\xAC"}));
}

TEST(DebugOutput, lastSinkTakesAll) {
    std::vector<std::string> first;
    std::vector<std::string> second;
    PlatformSetDebugSink(keep, &first);
    PlatformSetDebugSink(keep, &second);
    OutputDebugStringA("x");
    PlatformSetDebugSink(nullptr, nullptr);
    EXPECT_TRUE(first.empty());
    EXPECT_EQ(second, std::vector<std::string>{"x"});
}

}  // namespace
