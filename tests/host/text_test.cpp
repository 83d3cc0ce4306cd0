// UTF-8 and UTF-16.
#include "host/geodatabase/base/text.h"
#include "host/chart.h"
#include "host/geodatabase/base/status_error.h"

#include <gtest/gtest.h>

namespace host_test {
namespace {

struct RoundTrip {
    const char* name;
    std::string utf8;
    unsigned units;
};

class TextRoundTrip : public testing::TestWithParam<RoundTrip> {};

TEST_P(TextRoundTrip, LosesNothing) {
    const CComBSTR wide = bstr(GetParam().utf8);
    EXPECT_EQ(wide.Length(), GetParam().units);
    EXPECT_EQ(utf8(wide), GetParam().utf8);
    EXPECT_TRUE(embedded_host::toWide(GetParam().utf8) == WideView(wide.m_str, wide.Length()));
}

INSTANTIATE_TEST_SUITE_P(Texts, TextRoundTrip,
                         testing::Values(RoundTrip{"empty", "", 0}, RoundTrip{"ascii", "Buoy 1", 6},
                                         RoundTrip{"embeddedZero", std::string("a\0b", 3), 3},
                                         RoundTrip{"latin", "Größe", 5}, RoundTrip{"greek", "Λιμάνι", 6},
                                         RoundTrip{"outsideTheBasicPlane", "⚓🚢", 3},
                                         RoundTrip{"lastCodePoint", "\xF4\x8F\xBF\xBF", 2}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Text, InvalidBytesBecomeTheReplacementCharacter) {
    EXPECT_EQ(utf8(bstr("a\xFF")), "a\xEF\xBF\xBD");
}

TEST(Text, ALoneSurrogateIsRefused) {
    const OLECHAR lone[] = {0xD83D, OLESTR('x')};
    EXPECT_THROW(embedded_host::toUtf8(WideView(lone, 2)), embedded_host::StatusError);
}

TEST(Text, QuotesForSql) {
    EXPECT_EQ(embedded_host::quotedName("a\"b"), "\"a\"\"b\"");
    EXPECT_EQ(embedded_host::quotedText("it's"), "'it''s'");
}

}  // namespace
}  // namespace host_test
