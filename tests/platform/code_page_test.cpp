// UTF-8 to UTF-16 and back.
#include "support/platform_hooks.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace {

using namespace std::string_view_literals;

constexpr UINT codePages[] = {CP_ACP, CP_THREAD_ACP, CP_UTF8};

/// Counts, then converts into a target of exactly that size with a guard behind it.
WideString toWide(std::string_view bytes, UINT codePage = CP_UTF8) {
    const int size = static_cast<int>(bytes.size());
    const int count = MultiByteToWideChar(codePage, 0, bytes.data(), size, nullptr, 0);
    WideString target(static_cast<std::size_t>(count) + 1, OLESTR('#'));
    EXPECT_EQ(MultiByteToWideChar(codePage, 0, bytes.data(), size, target.data(), count), count);
    EXPECT_EQ(target.back(), OLESTR('#'));
    target.pop_back();
    return target;
}

std::string toBytes(WideView text, UINT codePage = CP_UTF8) {
    const int size = static_cast<int>(text.size());
    const int count = WideCharToMultiByte(codePage, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
    std::string target(static_cast<std::size_t>(count) + 1, '#');
    EXPECT_EQ(WideCharToMultiByte(codePage, 0, text.data(), size, target.data(), count, nullptr, nullptr), count);
    EXPECT_EQ(target.back(), '#');
    target.pop_back();
    return target;
}

TEST(CodePage, ValidTextsGoBothWays) {
    struct Row {
        const char* name;
        WideView text;
        std::string_view bytes;
    };
    const Row rows[] = {
        {"ASCII", OLESTR("Depth 1"), "Depth 1"},
        {"embedded zero", OLESTR("a\0b"sv), "a\0b"sv},
        {"least and greatest of two bytes", OLESTR("\u0080\u07FF"), "\xC2\x80\xDF\xBF"},
        {"least and greatest of three bytes", OLESTR("\u0800\uFFFF"), "\xE0\xA0\x80\xEF\xBF\xBF"},
        {"around the surrogates", OLESTR("\uD7FF\uE000"), "\xED\x9F\xBF\xEE\x80\x80"},
        {"least and greatest of four bytes", OLESTR("\U00010000\U0010FFFF"), "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
        {"byte order mark is kept", OLESTR("\uFEFFa"),
         "\xEF\xBB\xBF"
         "a"},
        {"replacement character", OLESTR("\uFFFD"), "\xEF\xBF\xBD"},
    };
    for (const Row& row : rows)
        for (const UINT codePage : codePages) {
            // There the narrow text of the system is the user's choice.
            if (codePage != CP_UTF8 && !onPortablePlatform()) continue;
            EXPECT_EQ(toBytes(row.text, codePage), row.bytes) << row.name;
            EXPECT_EQ(toWide(row.bytes, codePage), row.text) << row.name;
        }
}

struct InvalidBytesRow {
    const char* name;
    std::string_view bytes;
    WideView expected;
};

void PrintTo(const InvalidBytesRow& row, std::ostream* out) {
    *out << row.name;
}

class InvalidBytes : public testing::TestWithParam<InvalidBytesRow> {};

TEST_P(InvalidBytes, AreReplaced) {
    if (GetParam().name == "ASCIIAfterALeadByteIsKept"sv)
        NOT_UNDER_WINE("Wine swallows what follows a lead byte of four up to the end");
    EXPECT_EQ(toWide(GetParam().bytes), GetParam().expected);
}

TEST_P(InvalidBytes, AreRefusedOnDemand) {
    const std::string_view bytes = GetParam().bytes;
    const int size = static_cast<int>(bytes.size());
    OLECHAR target[16];
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), size, target, 16), 0);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), size, nullptr, 0), 0);
}

const InvalidBytesRow invalidBytesRows[] = {
    {"LoneContinuationByte", "a\x80z", OLESTR("a\uFFFDz")},
    {"ByteThatStartsNothing", "\xFFz", OLESTR("\uFFFDz")},
    {"OverlongOfTwoBytes", "\xC0\xAFz", OLESTR("\uFFFD\uFFFDz")},
    {"OverlongOfThreeBytes", "\xE0\x80\xAFz", OLESTR("\uFFFD\uFFFDz")},
    {"OverlongOfFourBytes", "\xF0\x80\x80\xAFz", OLESTR("\uFFFD\uFFFD\uFFFDz")},
    {"EncodedSurrogate", "\xED\xA0\x80z", OLESTR("\uFFFD\uFFFDz")},
    {"EncodedSurrogatePair", "\xED\xA0\xBD\xED\xB8\x80z", OLESTR("\uFFFD\uFFFD\uFFFD\uFFFDz")},
    {"BeyondTheLastCharacter", "\xF4\x90\x80\x80z", OLESTR("\uFFFD\uFFFD\uFFFDz")},
    {"LeadByteBeyondAllPlanes", "\xF5\x80\x80\x80z", OLESTR("\uFFFD\uFFFD\uFFFD\uFFFDz")},
    {"UnfinishedOfThreeBytes", "\xE2\x82z", OLESTR("\uFFFDz")},
    {"UnfinishedOfFourBytes", "\xF0\x9F\x98z", OLESTR("\uFFFDz")},
    {"UnfinishedByALeadByte", "\xE2\xE2\x82\xAC", OLESTR("\uFFFD\u20AC")},
    {"UnfinishedAtTheEnd", "z\xE2\x82", OLESTR("z\uFFFD")},
    {"LeadByteAtTheEnd", "z\xF0", OLESTR("z\uFFFD")},
    {"ASCIIAfterALeadByteIsKept",
     "\xF0"
     "ab",
     OLESTR("\uFFFD") OLESTR("ab")},
};

INSTANTIATE_TEST_SUITE_P(Rows, InvalidBytes, testing::ValuesIn(invalidBytesRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(CodePage, LoneSurrogatesAreReplaced) {
    struct Row {
        const char* name;
        WideString text;
        std::string_view expected;
    };
    const OLECHAR high = 0xD83D;
    const OLECHAR low = 0xDE00;
    const Row rows[] = {
        {"high at the end", {OLESTR('a'), high}, "a\xEF\xBF\xBD"},
        {"low at the front",
         {low, OLESTR('a')},
         "\xEF\xBF\xBD"
         "a"},
        {"high before a letter",
         {high, OLESTR('a')},
         "\xEF\xBF\xBD"
         "a"},
        {"high before a pair", {high, high, low}, "\xEF\xBF\xBD\xF0\x9F\x98\x80"},
        {"wrong order", {low, high}, "\xEF\xBF\xBD\xEF\xBF\xBD"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(toBytes(row.text), row.expected) << row.name;
        char target[16];
        EXPECT_EQ(WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, row.text.data(), static_cast<int>(row.text.size()),
                                      target, 16, nullptr, nullptr),
                  0)
            << row.name;
    }
}

TEST(CodePage, LengthMinusOneTakesTheTerminatorAlong) {
    OLECHAR wide[8] = {OLESTR('#'), OLESTR('#'), OLESTR('#'), OLESTR('#')};
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0,
                                  "\xC3\xA9"
                                  "b",
                                  -1, nullptr, 0),
              3);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0,
                                  "\xC3\xA9"
                                  "b",
                                  -1, wide, 8),
              3);
    EXPECT_EQ(WideView(wide, 4), OLESTR("\u00E9b\0#"sv));
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "", -1, wide, 8), 1);
    char bytes[8] = {'#', '#', '#', '#', '#'};
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, OLESTR("\u00E9b"), -1, nullptr, 0, nullptr, nullptr), 4);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, OLESTR("\u00E9b"), -1, bytes, 8, nullptr, nullptr), 4);
    EXPECT_EQ(std::string_view(bytes, 5),
              "\xC3\xA9"
              "b\0#"sv);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, OLESTR(""), -1, bytes, 8, nullptr, nullptr), 1);
}

TEST(CodePage, TooSmallATargetFails) {
    OLECHAR wide[4] = {};
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", 3, wide, 2), 0);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abc", -1, wide, 3), 0) << "no room for the terminator";
    char bytes[4] = {};
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, OLESTR("abc"), 3, bytes, 2, nullptr, nullptr), 0);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, OLESTR("\u20AC"), 1, bytes, 2, nullptr, nullptr), 0)
        << "part of a character";
}

TEST(CodePage, HalfASurrogatePairIsNotWritten) {
    NOT_UNDER_WINE("Wine writes it");
    OLECHAR wide[4] = {};
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "\xF0\x9F\x98\x80", 4, wide, 1), 0);
}

TEST(CodePage, WrongArgumentsFail) {
    PORTABLE_ONLY("Windows has more code pages than one, and Wine takes a default character for UTF-8");
    OLECHAR wide[4] = {};
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, nullptr, 1, wide, 4), 0);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a", 0, wide, 4), 0);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a", 1, nullptr, 4), 0);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "a", 1, wide, -1), 0);
    EXPECT_EQ(MultiByteToWideChar(1252, 0, "a", 1, wide, 4), 0) << "no such code page";
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0x1000, "a", 1, wide, 4), 0) << "unknown flag";
    char bytes[4] = {};
    BOOL used = FALSE;
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, nullptr, 1, bytes, 4, nullptr, nullptr), 0);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, OLESTR("a"), 0, bytes, 4, nullptr, nullptr), 0);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, OLESTR("a"), 1, nullptr, 4, nullptr, nullptr), 0);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, OLESTR("a"), 1, bytes, -1, nullptr, nullptr), 0);
    EXPECT_EQ(WideCharToMultiByte(1252, 0, OLESTR("a"), 1, bytes, 4, nullptr, nullptr), 0) << "no such code page";
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0x1000, OLESTR("a"), 1, bytes, 4, nullptr, nullptr), 0) << "unknown flag";
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, OLESTR("a"), 1, bytes, 4, "?", nullptr), 0) << "default character";
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, OLESTR("a"), 1, bytes, 4, nullptr, &used), 0) << "used default";
}

TEST(CodePage, EveryCharacterGoesBothWays) {
    for (char32_t character = 0; character <= 0x10FFFF; ++character) {
        if (character >= 0xD800 && character < 0xE000) continue;
        WideString text(1, static_cast<OLECHAR>(character));
        if (character >= 0x10000)
            text = {static_cast<OLECHAR>(0xD7C0 + (character >> 10U)),
                    static_cast<OLECHAR>(0xDC00 + (character & 0x3FFU))};
        char bytes[5];
        const int count = WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), static_cast<int>(text.size()),
                                              bytes, 5, nullptr, nullptr);
        ASSERT_EQ(count, character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4);
        OLECHAR wide[3];
        const int units = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes, count, wide, 3);
        ASSERT_EQ(WideView(wide, static_cast<std::size_t>(units)), text) << std::hex << std::uint32_t{character};
    }
}

}  // namespace
