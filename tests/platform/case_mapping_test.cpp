// Upper and lower case of texts.
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
        {"empty text", OLESTR(""), OLESTR(""), OLESTR("")},
        {"ASCII", OLESTR("Depth_Area 1 @[`{"), OLESTR("DEPTH_AREA 1 @[`{"), OLESTR("depth_area 1 @[`{")},
        {"Latin-1", OLESTR("\u00E4\u00D6\u00FE"), OLESTR("\u00C4\u00D6\u00DE"), OLESTR("\u00E4\u00F6\u00FE")},
        {"y with diaeresis leaves Latin-1", OLESTR("\u00FF"), OLESTR("\u0178"), OLESTR("\u00FF")},
        {"sharp s stays", OLESTR("\u00DF"), OLESTR("\u00DF"), OLESTR("\u00DF")},
        {"capital sharp s stays", OLESTR("\u1E9E"), OLESTR("\u1E9E"), OLESTR("\u1E9E")},
        {"dotless i stays", OLESTR("\u0131"), OLESTR("\u0131"), OLESTR("\u0131")},
        {"capital i with dot stays", OLESTR("\u0130"), OLESTR("\u0130"), OLESTR("\u0130")},
        {"no Turkish i", OLESTR("iI"), OLESTR("II"), OLESTR("ii")},
        {"long s stays", OLESTR("\u017F"), OLESTR("\u017F"), OLESTR("\u017F")},
        {"micro sign stays", OLESTR("\u00B5"), OLESTR("\u00B5"), OLESTR("\u00B5")},
        {"division signs are no letters", OLESTR("\u00F7\u00D7"), OLESTR("\u00F7\u00D7"), OLESTR("\u00F7\u00D7")},
        {"title case stays", OLESTR("\u01C5"), OLESTR("\u01C5"), OLESTR("\u01C5")},
        {"digraphs around it", OLESTR("\u01C6\u01C4"), OLESTR("\u01C4\u01C4"), OLESTR("\u01C6\u01C6")},
        {"Greek final sigma stays", OLESTR("\u03C3\u03C2\u03A3"), OLESTR("\u03A3\u03C2\u03A3"),
         OLESTR("\u03C3\u03C2\u03C3")},
        {"Kelvin sign stays", OLESTR("\u212A"), OLESTR("\u212A"), OLESTR("\u212A")},
        {"Cyrillic", OLESTR("\u0451\u0416"), OLESTR("\u0401\u0416"), OLESTR("\u0451\u0436")},
        {"ligature stays", OLESTR("\uFB01"), OLESTR("\uFB01"), OLESTR("\uFB01")},
        {"full width", OLESTR("\uFF41\uFF3A"), OLESTR("\uFF21\uFF3A"), OLESTR("\uFF41\uFF5A")},
        {"decomposed accent", OLESTR("e\u0301"), OLESTR("E\u0301"), OLESTR("e\u0301")},
        {"surrogate pair", OLESTR("\U00010428\U00010400"), OLESTR("\U00010400\U00010400"),
         OLESTR("\U00010428\U00010428")},
        {"halves of a pair", OLESTR("\xDC28\xD801z\xD801"), OLESTR("\xDC28\xD801Z\xD801"),
         OLESTR("\xDC28\xD801z\xD801")},
        {"embedded zero", {OLESTR("a\0B"), 3}, {OLESTR("A\0B"), 3}, {OLESTR("a\0b"), 3}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(upper(row.text), row.upper) << row.name;
        EXPECT_EQ(lower(row.text), row.lower) << row.name;
    }
}

TEST(CaseMapping, OnlyTheGivenUnitsChange) {
    WideString text = OLESTR("abc");
    EXPECT_EQ(CharUpperBuffW(text.data(), 2), 2U);
    EXPECT_EQ(text, OLESTR("ABc"));
    EXPECT_EQ(CharLowerBuffW(text.data() + 1, 1), 1U);
    EXPECT_EQ(text, OLESTR("Abc"));
    WideString half = OLESTR("\U00010428");
    EXPECT_EQ(CharUpperBuffW(half.data(), 1), 1U);
    EXPECT_EQ(half, OLESTR("\U00010428"));
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
