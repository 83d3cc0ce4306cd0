// ValueTable: which values are the same, and that none gets lost as the table grows.
#include "symbolize/value_table.h"
#include "memhost/text.h"
#include "text/text.h"

#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

namespace {

using ConditionalXml::ValueTable;
using memhost::bstr;

CComVariant null() {
    CComVariant value;
    value.vt = VT_NULL;
    return value;
}
CComVariant text(const std::string& utf8) {
    return CComVariant(bstr(utf8));
}
CComVariant wide(LONGLONG number) {
    CComVariant value;
    value.vt = VT_I8;
    value.llVal = number;
    return value;
}
CComVariant narrow(SHORT number) {
    CComVariant value;
    value.vt = VT_I2;
    value.iVal = number;
    return value;
}
CComVariant typed(VARTYPE type) {
    CComVariant value;
    value.llVal = 0;
    value.vt = type;
    return value;
}

/// A table where each value has its position as its number.
ValueTable tableOf(const std::vector<CComVariant>& values) {
    ValueTable table;
    for (std::size_t i = 0; i < values.size(); ++i) table.add(values[i], static_cast<ValueTable::Number>(i));
    return table;
}

TEST(ValueTableTest, valuesThatAreAlikeHaveNumbersOfTheirOwn) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::vector<std::vector<CComVariant>> rows{
        {null(), CComVariant(0), CComVariant(1), CComVariant(-1), CComVariant(std::numeric_limits<int>::min())},
        {null(), CComVariant(0.0), CComVariant(-0.0), CComVariant(1.0), CComVariant(nan), CComVariant(-nan)},
        {narrow(0), narrow(1), narrow(-1), null()},
        {wide(1), wide(LONGLONG{1} << 32), wide((LONGLONG{1} << 32) + 1), wide(-1), null()},
        {null(), text(""), text("A"), text("a"), text("AB"), text("B"), text("\u00C4"), text("A\u0308")},
        {text(std::string(300, 'x')), text(std::string(301, 'x')), text(std::string(300, 'x') + "y")},
    };
    for (const auto& values : rows) {
        const ValueTable table = tableOf(values);
        EXPECT_EQ(table.size(), values.size());
        for (std::size_t i = 0; i < values.size(); ++i) {
            SCOPED_TRACE(i);
            const CComVariant copy(values[i]);  // with a text of its own
            EXPECT_EQ(table.find(copy), i);
        }
    }
}

TEST(ValueTableTest, textsAreComparedWholeWithTheirZeros) {
    const CComBSTR withZero = ConditionalXml::makeBstr(WideView(OLESTR("A\0B"), 3));
    const ValueTable table = tableOf({CComVariant(withZero)});
    EXPECT_EQ(table.find(CComVariant(withZero)), 0U);
    EXPECT_EQ(table.find(text("A")), ValueTable::none);
    EXPECT_EQ(table.find(text("AB")), ValueTable::none);
}

TEST(ValueTableTest, emptyTableKnowsNothing) {
    const ValueTable table;
    EXPECT_EQ(table.size(), 0U);
    for (const CComVariant& value : {null(), CComVariant(0), text("")}) EXPECT_EQ(table.find(value), ValueTable::none);
}

TEST(ValueTableTest, everyValueIsFoundAfterTheTableHasGrown) {
    constexpr int count = 10'000;
    ValueTable numbers;
    ValueTable texts;
    for (int i = 0; i < count; ++i) {
        EXPECT_EQ(numbers.find(CComVariant(i * 1024)), ValueTable::none);
        numbers.add(CComVariant(i * 1024), static_cast<ValueTable::Number>(count - i));
        texts.add(text("value " + std::to_string(i)), static_cast<ValueTable::Number>(i % 7));
    }
    EXPECT_EQ(numbers.size(), static_cast<std::size_t>(count));
    EXPECT_EQ(texts.size(), static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        EXPECT_EQ(numbers.find(CComVariant(i * 1024)), static_cast<ValueTable::Number>(count - i));
        EXPECT_EQ(texts.find(text("value " + std::to_string(i))), static_cast<ValueTable::Number>(i % 7));
    }
    EXPECT_EQ(texts.find(text("value 10000")), ValueTable::none);
}

TEST(ValueTableTest, oneTypeIsKept) {
    VARTYPE type = VT_EMPTY;
    EXPECT_TRUE(ValueTable::keepsType(null(), type));
    EXPECT_EQ(type, VT_EMPTY) << "NULL is of every type";
    EXPECT_TRUE(ValueTable::keepsType(CComVariant(1), type));
    EXPECT_EQ(type, VT_I4);
    EXPECT_TRUE(ValueTable::keepsType(null(), type));
    EXPECT_FALSE(ValueTable::keepsType(text("1"), type));
    EXPECT_FALSE(ValueTable::keepsType(CComVariant(), type)) << "no value is not NULL";
    for (const VARTYPE unknown : {VARTYPE{VT_EMPTY}, VARTYPE{VT_DISPATCH}, VARTYPE{VT_DECIMAL},
                                  VARTYPE{VT_BYREF | VT_I4}, VARTYPE{VT_ARRAY | VT_I4}}) {
        VARTYPE first = VT_EMPTY;
        EXPECT_FALSE(ValueTable::knows(unknown)) << unknown;
        EXPECT_FALSE(ValueTable::keepsType(typed(unknown), first)) << unknown;
    }
}

}  // namespace
