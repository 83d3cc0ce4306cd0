// The rows that are pinned, and the words of tables.
#include "tools/workbench/row_cover.h"
#include "text/text.h"
#include "tools/workbench/row_values.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using cxml::RowCover;

TEST(RowCover, fewestRowsFirstOfEqualOnes) {
    RowCover cover;
    cover.add(1, {1});
    cover.add(2, {1, 2});
    cover.add(3, {1, 2});
    cover.add(4, {3});
    cover.add(5, {2, 3, 4});
    EXPECT_EQ(cover.choose(0), (std::vector<ObjectId>{1, 5}));
    EXPECT_EQ(cover.choose(1), (std::vector<ObjectId>{5}));
    cover.know({3, 4});
    EXPECT_EQ(cover.choose(0), (std::vector<ObjectId>{2}));
    cover.know({1, 2});
    EXPECT_TRUE(cover.choose(0).empty());
}

CComVariant variantOf(const std::string& text) {
    return {ConditionalXml::makeBstr(WideString(text.begin(), text.end()))};
}

TEST(RowValues, cellsTakeBackWhatTheyWereMadeOf) {
    for (const char* text : {"", "NULL", "-", "!x", " a ", "\"q\"", "a|b", "a\\b", "&#10;", "a\nb", "plain"}) {
        const CComVariant value = variantOf(text);
        const std::string cell = cxml::cellOf(value);
        EXPECT_EQ(cxml::textOf(cell), text) << cell;
        EXPECT_TRUE(cxml::isValue(value, cell)) << cell;
        EXPECT_EQ(cell.find('\n'), std::string::npos);
        std::string_view rest = cell;
        EXPECT_FALSE(cxml::takeNegation(rest)) << cell;
    }
    CComVariant null;
    null.vt = VT_NULL;
    EXPECT_EQ(cxml::cellOf(null), "NULL");
    EXPECT_TRUE(cxml::isValue(null, "NULL"));
    EXPECT_FALSE(cxml::isValue(null, "\"NULL\""));
    EXPECT_FALSE(cxml::isValue(variantOf("NULL"), "NULL"));
}

TEST(RowValues, numbersAreNumbers) {
    const CComVariant real(1.5);
    EXPECT_TRUE(cxml::isValue(real, "1.50"));
    EXPECT_FALSE(cxml::isValue(real, "1.51"));
    EXPECT_FALSE(cxml::isValue(real, "x"));
    EXPECT_EQ(cxml::cellOf(real), "1.5");
    CComVariant date(0.25);
    date.vt = VT_DATE;
    EXPECT_EQ(cxml::cellOf(date), "1899-12-30T06:00:00.000");
}

}  // namespace
