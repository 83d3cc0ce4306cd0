#include "support/platform_hooks.h"

#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace {

std::size_t heldBefore;

class Bstr : public testing::Test {
protected:
    void SetUp() override { heldBefore = heldBstrs(); }
    void TearDown() override { failBstrAllocation(0, false); }
    static std::size_t newlyHeld() { return heldBstrs() - heldBefore; }
};

WideView viewOf(BSTR text) {
    return {text, SysStringLen(text)};
}

TEST_F(Bstr, NullTextGivesNull) {
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(newlyHeld(), 0U);
}

TEST_F(Bstr, NullHasNoLengthAndIsFreed) {
    EXPECT_EQ(SysStringLen(nullptr), 0U);
    EXPECT_EQ(SysStringByteLen(nullptr), 0U);
    SysFreeString(nullptr);
    EXPECT_EQ(newlyHeld(), 0U);
}

TEST_F(Bstr, EmptyTextIsNotNull) {
    BSTR text = SysAllocString(OLESTR(""));
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(SysStringLen(text), 0U);
    EXPECT_EQ(text[0], 0);
    SysFreeString(text);
}

TEST_F(Bstr, LengthCountsEmbeddedZeros) {
    BSTR text = SysAllocStringLen(OLESTR("a\0b"), 3);
    EXPECT_EQ(viewOf(text), WideView(OLESTR("a\0b"), 3));
    EXPECT_EQ(SysStringByteLen(text), 6U);
    EXPECT_EQ(text[3], 0);
    SysFreeString(text);
}

TEST_F(Bstr, LengthWithoutTextOnlyReserves) {
    BSTR text = SysAllocStringLen(nullptr, 5);
    EXPECT_EQ(SysStringLen(text), 5U);
    EXPECT_EQ(text[5], 0);
    SysFreeString(text);
}

TEST_F(Bstr, OddByteCountIsKeptAndTerminated) {
    BSTR text = SysAllocStringByteLen("abc", 3);
    EXPECT_EQ(SysStringByteLen(text), 3U);
    EXPECT_EQ(SysStringLen(text), 1U);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(text), 6), std::string("abc\0\0\0", 6));
    SysFreeString(text);
}

TEST_F(Bstr, TooManyUnitsGiveNull) {
    EXPECT_EQ(SysAllocStringLen(OLESTR("x"), 0xFFFFFFFFU), nullptr);
    EXPECT_EQ(SysAllocStringLen(OLESTR("x"), 0x7FFFFFFFU), nullptr);
    EXPECT_EQ(SysAllocStringByteLen("x", 0xFFFFFFFFU), nullptr);
    EXPECT_EQ(newlyHeld(), 0U);
}

TEST_F(Bstr, EverySizeKeepsItsContentBesideItsNeighbours) {
    // Across all block sizes that are kept and beyond, three times over so that freed blocks come back.
    for (int round = 0; round < 3; ++round) {
        std::vector<BSTR> texts;
        for (UINT length = 0; length < 3000; length += 1 + length / 16) {
            const WideString content(length, static_cast<OLECHAR>(OLESTR('!') + length % 90));
            texts.push_back(SysAllocStringLen(content.c_str(), length));
        }
        EXPECT_EQ(newlyHeld(), texts.size());
        for (BSTR text : texts) {
            const UINT length = SysStringLen(text);
            EXPECT_EQ(viewOf(text), WideString(length, static_cast<OLECHAR>(OLESTR('!') + length % 90)));
            EXPECT_EQ(text[length], 0);
        }
        for (BSTR text : texts) SysFreeString(text);
        EXPECT_EQ(newlyHeld(), 0U);
    }
}

TEST_F(Bstr, CountFollowsTextsThroughOtherThreads) {
    BSTR mine = SysAllocString(OLESTR("made here, freed there"));
    BSTR theirs = nullptr;
    std::thread([&] {
        SysFreeString(mine);
        EXPECT_EQ(newlyHeld(), 0U);
        theirs = SysAllocString(OLESTR("made there, freed here"));
    }).join();
    // The thread that made it has ended.
    EXPECT_EQ(newlyHeld(), 1U);
    EXPECT_EQ(viewOf(theirs), OLESTR("made there, freed here"));
    SysFreeString(theirs);
    EXPECT_EQ(newlyHeld(), 0U);
}

TEST_F(Bstr, CountHoldsWhileManyThreadsHandTextsOn) {
    constexpr int threadCount = 8;
    constexpr int textCount = 2000;
    std::vector<std::vector<BSTR>> made(threadCount);
    std::vector<std::thread> makers;
    for (auto& texts : made)
        makers.emplace_back([&texts] {
            for (int i = 0; i < textCount; ++i) texts.push_back(SysAllocStringLen(nullptr, static_cast<UINT>(i % 200)));
        });
    for (std::thread& maker : makers) maker.join();
    EXPECT_EQ(newlyHeld(), static_cast<std::size_t>(threadCount) * textCount);
    std::vector<std::thread> takers;
    for (auto& texts : made)
        takers.emplace_back([&texts] {
            for (BSTR text : texts) SysFreeString(text);
        });
    for (std::thread& taker : takers) taker.join();
    EXPECT_EQ(newlyHeld(), 0U);
}

/// Frees its text when its thread ends, in whatever order that happens.
struct FreedLast {
    ~FreedLast() { SysFreeString(text); }
    BSTR text = nullptr;
};

TEST_F(Bstr, TextsFreedByAThreadsLastDestructorsCount) {
    PORTABLE_ONLY("GCC for Windows frees a thread's variables before it destroys them");
    std::thread([] {
        // Made before the thread's first text, so that it is destroyed after what the platform keeps.
        static thread_local FreedLast last;
        last.text = nullptr;
        last.text = SysAllocString(OLESTR("late"));
    }).join();
    EXPECT_EQ(newlyHeld(), 0U);
}

TEST_F(Bstr, OneAllocationFails) {
    failBstrAllocation(2, false);
    BSTR first = SysAllocString(OLESTR("1"));
    EXPECT_NE(first, nullptr);
    EXPECT_FALSE(bstrAllocationFailed());
    EXPECT_EQ(SysAllocString(OLESTR("2")), nullptr);
    EXPECT_TRUE(bstrAllocationFailed());
    BSTR third = SysAllocString(OLESTR("3"));
    EXPECT_NE(third, nullptr);
    SysFreeString(first);
    SysFreeString(third);
}

TEST_F(Bstr, AllLaterAllocationsFail) {
    failBstrAllocation(1, true);
    EXPECT_EQ(SysAllocString(OLESTR("1")), nullptr);
    EXPECT_EQ(SysAllocStringLen(nullptr, 2), nullptr);
    EXPECT_EQ(SysAllocStringByteLen(nullptr, 2), nullptr);
    failBstrAllocation(0, false);
    EXPECT_FALSE(bstrAllocationFailed());
    BSTR text = SysAllocString(OLESTR("again"));
    EXPECT_NE(text, nullptr);
    SysFreeString(text);
}

TEST_F(Bstr, FailedAllocationReachesEveryCaller) {
    CComBSTR text(OLESTR("text"));
    CComVariant value(OLESTR("value"));
    CComVariant number(7);

    failBstrAllocation(1, true);
    BSTR joined = nullptr;
    EXPECT_EQ(VarBstrCat(text, text, &joined), E_OUTOFMEMORY);
    EXPECT_EQ(joined, nullptr);
    VARIANT copy;
    VariantInit(&copy);
    EXPECT_EQ(VariantCopy(&copy, &value), E_OUTOFMEMORY);
    if (!underWine()) {  // it leaves a text without content
        EXPECT_EQ(copy.vt, VT_EMPTY);
    }
    EXPECT_EQ(VariantChangeType(&number, &number, 0, VT_BSTR), E_OUTOFMEMORY);
    EXPECT_EQ(number.vt, VT_I4);
    EXPECT_EQ(number.lVal, 7);
    EXPECT_TRUE(bstrAllocationFailed());
}

struct CatCase {
    const char* name;
    const OLECHAR* left;
    const OLECHAR* right;
    const OLECHAR* joined;
};

class BstrCat : public testing::TestWithParam<CatCase> {};

TEST_P(BstrCat, JoinsIntoANewText) {
    const CComBSTR left(GetParam().left);
    const CComBSTR right(GetParam().right);
    CComBSTR joined;
    ASSERT_EQ(VarBstrCat(left, right, &joined), S_OK);
    ASSERT_NE(joined.m_str, nullptr);
    EXPECT_EQ(viewOf(joined), WideView(GetParam().joined));
}

constexpr CatCase catCases[] = {
    {"both", OLESTR("a"), OLESTR("bc"), OLESTR("abc")}, {"left_null", nullptr, OLESTR("b"), OLESTR("b")},
    {"right_null", OLESTR("a"), nullptr, OLESTR("a")},  {"both_null", nullptr, nullptr, OLESTR("")},
    {"both_empty", OLESTR(""), OLESTR(""), OLESTR("")},
};
INSTANTIATE_TEST_SUITE_P(Table, BstrCat, testing::ValuesIn(catCases), [](const auto& row) { return row.param.name; });

TEST_F(Bstr, CatKeepsOddBytesAndEmbeddedZeros) {
    CComBSTR odd;
    odd.Attach(SysAllocStringByteLen("a\0c", 3));
    CComBSTR joined;
    ASSERT_EQ(VarBstrCat(odd, odd, &joined), S_OK);
    EXPECT_EQ(SysStringByteLen(joined), 6U);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(joined.m_str), 6), std::string("a\0ca\0c", 6));
}

TEST_F(Bstr, CatNeedsAPlaceForTheResult) {
    EXPECT_EQ(VarBstrCat(nullptr, nullptr, nullptr), E_INVALIDARG);
}

}  // namespace
