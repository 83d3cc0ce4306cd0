// Upper and lower case of code units.
#include "platform/platform.h"

#include <gtest/gtest.h>

namespace {

WideString upper(WideString text) {
    EXPECT_EQ(CharUpperBuffW(text.data(), static_cast<DWORD>(text.size())), text.size());
    return text;
}

WideString lower(WideString text) {
    EXPECT_EQ(CharLowerBuffW(text.data(), static_cast<DWORD>(text.size())), text.size());
    return text;
}

TEST(CaseMapping, Edges) {
    struct Row {
        const char* name;
        WideString text;
        WideString upper;
        WideString lower;
    };
    const Row rows[] = {
        {"empty text", u"", u"", u""},
        {"ASCII", u"Depth_Area 1 @[`{", u"DEPTH_AREA 1 @[`{", u"depth_area 1 @[`{"},
        {"Latin-1", u"\u00E4\u00D6\u00FE", u"\u00C4\u00D6\u00DE", u"\u00E4\u00F6\u00FE"},
        {"y with diaeresis leaves Latin-1", u"\u00FF", u"\u0178", u"\u00FF"},
        {"sharp s stays", u"\u00DF", u"\u00DF", u"\u00DF"},
        {"capital sharp s stays", u"\u1E9E", u"\u1E9E", u"\u1E9E"},
        {"dotless i stays", u"\u0131", u"\u0131", u"\u0131"},
        {"capital i with dot stays", u"\u0130", u"\u0130", u"\u0130"},
        {"no Turkish i", u"iI", u"II", u"ii"},
        {"long s stays", u"\u017F", u"\u017F", u"\u017F"},
        {"micro sign stays", u"\u00B5", u"\u00B5", u"\u00B5"},
        {"division signs are no letters", u"\u00F7\u00D7", u"\u00F7\u00D7", u"\u00F7\u00D7"},
        {"title case stays", u"\u01C5", u"\u01C5", u"\u01C5"},
        {"digraphs around it", u"\u01C6\u01C4", u"\u01C4\u01C4", u"\u01C6\u01C6"},
        {"Greek final sigma stays", u"\u03C3\u03C2\u03A3", u"\u03A3\u03C2\u03A3", u"\u03C3\u03C2\u03C3"},
        {"Kelvin sign stays", u"\u212A", u"\u212A", u"\u212A"},
        {"Cyrillic", u"\u0451\u0416", u"\u0401\u0416", u"\u0451\u0436"},
        {"ligature stays", u"\uFB01", u"\uFB01", u"\uFB01"},
        {"full width", u"\uFF41\uFF3A", u"\uFF21\uFF3A", u"\uFF41\uFF5A"},
        {"decomposed accent", u"e\u0301", u"E\u0301", u"e\u0301"},
        {"surrogate pair stays", u"\U00010428\U00010400", u"\U00010428\U00010400", u"\U00010428\U00010400"},
        {"embedded zero", {u"a\0B", 3}, {u"A\0B", 3}, {u"a\0b", 3}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(upper(row.text), row.upper) << row.name;
        EXPECT_EQ(lower(row.text), row.lower) << row.name;
    }
}

TEST(CaseMapping, OnlyTheGivenUnitsChange) {
    WideString text = u"abc";
    EXPECT_EQ(CharUpperBuffW(text.data(), 2), 2U);
    EXPECT_EQ(text, u"ABc");
    EXPECT_EQ(CharLowerBuffW(text.data() + 1, 1), 1U);
    EXPECT_EQ(text, u"Abc");
    EXPECT_EQ(CharUpperBuffW(nullptr, 0), 0U);
}

// Every unit's mapping, and that no version of ICU changes it.
TEST(CaseMapping, TheWholeBasicPlane) {
    WideString all;
    for (unsigned unit = 0; unit < 0x10000; ++unit) all += static_cast<OLECHAR>(unit);
    const WideString uppers = upper(all);
    const WideString lowers = lower(all);
    int raised = 0;
    int lowered = 0;
    for (unsigned unit = 0; unit < 0x10000; ++unit) {
        if (uppers[unit] != unit) {
            ++raised;
            EXPECT_EQ(lowers[uppers[unit]], unit);
        }
        if (lowers[unit] != unit) {
            ++lowered;
            EXPECT_EQ(uppers[lowers[unit]], unit);
        }
    }
    EXPECT_EQ(raised, 1163);
    EXPECT_EQ(lowered, 1163);
}

}  // namespace
