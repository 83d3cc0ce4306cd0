// The linguistic order of texts.
#include "platform/platform.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <map>
#include <ostream>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

CComBSTR bstr(WideView text) {
    return {static_cast<int>(text.size()), text.data()};
}

HRESULT compare(WideView left, WideView right, LCID locale = LOCALE_USER_DEFAULT, ULONG flags = 0) {
    return VarBstrCmp(bstr(left), bstr(right), locale, flags);
}

std::string readable(WideView text) {
    std::string result;
    for (const OLECHAR unit : text) {
        char buffer[8];
        std::snprintf(buffer, sizeof buffer, unit < 0x7F && unit >= 0x20 ? "%c" : "\\u%04X", unsigned{unit});
        result += buffer;
    }
    return result;
}

struct Pair {
    const char* name;
    WideView left;
    HRESULT expected;
    WideView right;
    ULONG flags = 0;
};

// NOLINTNEXTLINE(readability-identifier-naming): the name that GoogleTest looks for
void PrintTo(const Pair& pair, std::ostream* stream) {
    *stream << readable(pair.left) << " and " << readable(pair.right);
}

class TextPair : public testing::TestWithParam<Pair> {};

TEST_P(TextPair, ComparesBothWays) {
    const Pair& pair = GetParam();
    const HRESULT swapped = pair.expected == VARCMP_LT   ? VARCMP_GT
                            : pair.expected == VARCMP_GT ? VARCMP_LT
                                                         : pair.expected;
    for (const LCID locale : {LOCALE_USER_DEFAULT, LOCALE_SYSTEM_DEFAULT, LOCALE_INVARIANT}) {
        EXPECT_EQ(compare(pair.left, pair.right, locale, pair.flags), pair.expected) << pair.name;
        EXPECT_EQ(compare(pair.right, pair.left, locale, pair.flags), swapped) << pair.name;
    }
}

using namespace std::string_view_literals;

const Pair levels[] = {
    {"lower case before upper case", u"a", VARCMP_LT, u"A"},
    {"letters before case", u"A", VARCMP_LT, u"b"},
    {"first difference in case decides", u"aB", VARCMP_LT, u"Ab"},
    {"case after accents", u"E", VARCMP_LT, u"\u00E9"},
    {"accents after letters", u"\u00E9a", VARCMP_LT, u"eb"},
    {"accents after the end", u"\u00E9", VARCMP_LT, u"ee"},
    {"prefix is less", u"a", VARCMP_LT, u"ab"},
    {"case distinguishes names", u"Symbol_C", VARCMP_LT, u"SYMBOL_C"},
    {"symbols before digits", u"_", VARCMP_LT, u"0"},
    {"digits before letters", u"9", VARCMP_LT, u"a"},
    {"digits are no numbers", u"10", VARCMP_LT, u"9"},
    {"underscore counts", u"a_b", VARCMP_LT, u"ab"},
    {"space counts", u"a b", VARCMP_LT, u"a_b"},
    {"fractions between zero and one", u"\u00BD", VARCMP_LT, u"1"},
    {"superscript is a case of its digit", u"2", VARCMP_LT, u"\u00B2"},
    {"section sign is a symbol", u"\u00A7", VARCMP_LT, u"0"},
    {"middle dot after l is a symbol", u"l\u00B7b", VARCMP_LT, u"la"},
    {"degree sign after plus", u"+", VARCMP_LT, u"\u00B0"},
};

const Pair specials[] = {
    {"hyphen only breaks ties", u"co-op", VARCMP_LT, u"coot"},
    {"text without hyphen is less", u"coop", VARCMP_LT, u"co-op"},
    {"text without apostrophe is less", u"cant", VARCMP_LT, u"can't"},
    {"apostrophe before hyphen", u"can't", VARCMP_LT, u"can-t"},
    {"case before hyphens", u"co-op", VARCMP_LT, u"COOP"},
    {"earlier hyphen is greater", u"a-b", VARCMP_LT, u"-ab"},
    {"fewer hyphens are less", u"a-", VARCMP_LT, u"a--"},
    {"hyphen alone is not empty", u"-", VARCMP_GT, u""},
    {"hyphen before any letter", u"-", VARCMP_LT, u"a"},
    {"hyphen before dash", u"a-b", VARCMP_LT, u"a\u2013b"},
    {"control character is special", u"ab", VARCMP_LT, u"a\u0001b"},
    {"control character before apostrophe", u"a\u007Fb", VARCMP_LT, u"a'b"},
    {"tab is a space", u"a\tb", VARCMP_LT, u"ab"},
    {"hyphen after a ligature", u"\u00E6-", VARCMP_LT, u"a-e"},
    {"hyphen at the same place of equal texts", u"\u00E6-", VARCMP_EQ, u"ae-"},
    {"hyphen behind an accent of two units", u"e\u0301-", VARCMP_EQ, u"\u00E9-"},
};

const Pair equals[] = {
    {"empty texts", u"", VARCMP_EQ, u""},
    {"composed and decomposed accent", u"\u00E9", VARCMP_EQ, u"e\u0301"},
    {"accents in either order", u"a\u0301\u0323", VARCMP_EQ, u"a\u0323\u0301"},
    {"angstrom sign", u"\u212B", VARCMP_EQ, u"\u00C5"},
    {"sharp s", u"\u00DF", VARCMP_EQ, u"ss"},
    {"ae", u"\u00E6", VARCMP_EQ, u"ae"},
    {"AE", u"\u00C6", VARCMP_EQ, u"AE"},
    {"oe", u"\u0153", VARCMP_EQ, u"oe"},
    {"thorn", u"\u00FE", VARCMP_EQ, u"th"},
    {"fi", u"\uFB01", VARCMP_EQ, u"fi"},
    {"digits of another script are others", u"\u0661", VARCMP_GT, u"1"},
    {"control character of Latin-1 is a symbol", u"a\u0096b", VARCMP_LT, u"ab"},
    {"soft hyphen is ignored", u"a\u00ADb", VARCMP_EQ, u"ab"},
    {"joiner is ignored", u"a\u200Db", VARCMP_EQ, u"ab"},
    {"byte order mark is ignored", u"\uFEFFa", VARCMP_EQ, u"a"},
    {"embedded zero is ignored", u"a\0b"sv, VARCMP_EQ, u"ab"},
    {"behind an embedded zero", u"a\0b"sv, VARCMP_LT, u"a\0c"sv},
    {"empty is less than an ignored character", u"", VARCMP_LT, u"\u200D"},
    {"sharp s is not two capitals", u"\u00DF", VARCMP_LT, u"SS"},
    {"Greek letter is not a Latin one", u"\u03BF", VARCMP_GT, u"o"},
};

const Pair flagged[] = {
    {"case ignored", u"Co-Op", VARCMP_EQ, u"cO-oP", NORM_IGNORECASE},
    {"case ignored, not accents", u"\u00C9", VARCMP_GT, u"e", NORM_IGNORECASE},
    {"accents ignored", u"\u00E9", VARCMP_EQ, u"e", NORM_IGNORENONSPACE},
    {"accents ignored, not case", u"\u00C9", VARCMP_GT, u"e", NORM_IGNORENONSPACE},
    {"case and accents ignored", u"\u00C9", VARCMP_EQ, u"e", NORM_IGNORECASE | NORM_IGNORENONSPACE},
    {"symbols ignored", u"a_b", VARCMP_EQ, u"ab", NORM_IGNORESYMBOLS},
    {"hyphens ignored with symbols", u"a-b", VARCMP_EQ, u"ab", NORM_IGNORESYMBOLS},
    {"hyphens not ignored with case", u"a-b", VARCMP_GT, u"AB", NORM_IGNORECASE},
    {"unknown flag", u"a", E_INVALIDARG, u"b", 0x80000000U},
};

std::string pairName(const testing::TestParamInfo<Pair>& info) {
    std::string name = info.param.name;
    std::ranges::replace_if(name, [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Levels, TextPair, testing::ValuesIn(levels), pairName);
INSTANTIATE_TEST_SUITE_P(Specials, TextPair, testing::ValuesIn(specials), pairName);
INSTANTIATE_TEST_SUITE_P(Equals, TextPair, testing::ValuesIn(equals), pairName);
INSTANTIATE_TEST_SUITE_P(Flags, TextPair, testing::ValuesIn(flagged), pairName);

/// Every text is less than all that follow it.
void expectAscending(const std::vector<WideString>& texts) {
    for (std::size_t i = 0; i < texts.size(); ++i)
        for (std::size_t j = 0; j < texts.size(); ++j)
            EXPECT_EQ(compare(texts[i], texts[j]), i < j   ? VARCMP_LT
                                                   : i > j ? VARCMP_GT
                                                           : VARCMP_EQ)
                << readable(texts[i]) << " and " << readable(texts[j]);
}

std::vector<WideString> unitsOf(WideView text) {
    std::vector<WideString> units;
    for (const OLECHAR unit : text) units.emplace_back(1, unit);
    return units;
}

TEST(TextOrder, Ascii) {
    expectAscending(
        unitsOf(u"\u0001\u001F\u007F'- \t\n\v\f\r!\"#$%&()*,./:;?@[\\]^_`{|}~+<=>0123456789"
                u"aAbBcCdDeEfFgGhHiIjJkKlLmMnNoOpPqQrRsStTuUvVwWxXyYzZ"));
}

TEST(TextOrder, Latin1) {
    expectAscending(unitsOf(
        u"-~\u00A1\u00A6\u00A8\u00AF\u00B4\u00B8\u00BF\u00A2\u00A3\u00A4\u00A5+<=>\u00B1\u00AB\u00BB\u00D7\u00F7"
        u"\u00A7\u00A9\u00AC\u00AE\u00B0\u00B5\u00B6\u00B7"
        u"0\u00BC\u00BD\u00BE"
        u"1\u00B9"
        u"2\u00B2"
        u"3\u00B3"
        u"9"
        u"aA\u00AA\u00E1\u00C1\u00E0\u00C0\u00E2\u00C2\u00E4\u00C4\u00E3\u00C3\u00E5\u00C5\u00E6\u00C6"
        u"bcC\u00E7\u00C7"
        u"dD\u00F0\u00D0"
        u"eE\u00E9\u00C9\u00E8\u00C8\u00EA\u00CA\u00EB\u00CB"
        u"iI\u00ED\u00CD\u00EC\u00CC\u00EE\u00CE\u00EF\u00CF"
        u"nN\u00F1\u00D1"
        u"oO\u00BA\u00F3\u00D3\u00F2\u00D2\u00F4\u00D4\u00F6\u00D6\u00F5\u00D5\u00F8\u00D8"
        u"s\u00DF"
        u"tT\u00FE\u00DE"
        u"uU\u00FA\u00DA\u00F9\u00D9\u00FB\u00DB\u00FC\u00DC"
        u"yY\u00FD\u00DD\u00FFzZ"));
}

TEST(TextOrder, Scripts) {
    expectAscending({u"\u20AC", u"1",      u"z",      u"\u017E", u"\u03B1", u"\u03AC", u"\u03C9", u"\u0430",
                     u"\u0435", u"\u0451", u"\u0438", u"\u0439", u"\u043A", u"\u3042", u"\u304B", u"\u304C",
                     u"\u05D0", u"\u0628", u"\uE000", u"\uAC00", u"\uD55C", u"\u4E00", u"\u4E8C"});
}

TEST(TextOrder, CharactersBeyondTheBasicPlaneAreDistinct) {
    const WideView house = u"\U0001F3E0";
    EXPECT_EQ(compare(house, house), VARCMP_EQ);
    EXPECT_EQ(compare(house, u"\U0001F3E1"), VARCMP_LT);
    EXPECT_NE(compare(house, house.substr(0, 1)), VARCMP_EQ);
    EXPECT_NE(compare(house.substr(0, 1), house.substr(1)), VARCMP_EQ);
}

TEST(TextCompare, NullIsTheEmptyText) {
    CComBSTR empty;
    empty.Attach(SysAllocStringLen(u"", 0));
    CComBSTR text(u"a");
    EXPECT_EQ(VarBstrCmp(nullptr, nullptr, LOCALE_USER_DEFAULT, 0), VARCMP_EQ);
    EXPECT_EQ(VarBstrCmp(nullptr, empty, LOCALE_USER_DEFAULT, 0), VARCMP_EQ);
    EXPECT_EQ(VarBstrCmp(empty, nullptr, LOCALE_USER_DEFAULT, 0), VARCMP_EQ);
    EXPECT_EQ(VarBstrCmp(nullptr, text, LOCALE_USER_DEFAULT, 0), VARCMP_LT);
    EXPECT_EQ(VarBstrCmp(text, nullptr, LOCALE_USER_DEFAULT, 0), VARCMP_GT);
    EXPECT_EQ(VarBstrCmp(nullptr, text, 0, 0), VARCMP_LT);
    EXPECT_EQ(VarBstrCmp(nullptr, nullptr, 0, 0), VARCMP_EQ);
}

TEST(TextCompare, WithoutLocaleBytesDecide) {
    struct Row {
        const char* name;
        WideView left;
        WideView right;
        HRESULT expected;
    };
    const Row rows[] = {
        {"capitals first", u"B", u"a", VARCMP_LT},
        {"prefix is less", u"a", u"ab", VARCMP_LT},
        {"equal", u"a", u"a", VARCMP_EQ},
        {"the lower byte first", u"\u0100", u"\u00FF", VARCMP_LT},
        {"embedded zero counts", u"a\0b"sv, u"ab", VARCMP_LT},
        {"decomposed is another text", u"e\u0301", u"\u00E9", VARCMP_LT},
    };
    for (const Row& row : rows) EXPECT_EQ(compare(row.left, row.right, 0), row.expected) << row.name;
}

/// Random texts of few characters, so that they often differ on the late levels only.
class Texts {
public:
    explicit Texts(WideView alphabet) : alphabet_(alphabet) {}

    WideString next() {
        WideString text(generator_() % 7, OLECHAR{});
        for (OLECHAR& unit : text) unit = alphabet_[generator_() % alphabet_.size()];
        return text;
    }

private:
    WideView alphabet_;
    std::mt19937 generator_{20240131};
};

WideString allAscii() {
    WideString units;
    for (OLECHAR unit = 0; unit < 0x80; ++unit) units += unit;
    return units;
}

// The same letter in two spellings in front of both texts sends them to ICU and changes nothing else.
TEST(TextProperties, AsciiTablesAgreeWithIcu) {
    const WideString wide = allAscii();
    for (const WideView alphabet : {WideView(wide), WideView(u"aAbB-'_ 1\u0001")}) {
        Texts texts(alphabet);
        for (int i = 0; i < 100000; ++i) {
            const WideString left = texts.next();
            const WideString right = texts.next();
            // The empty text is less than one of ignored characters only as long as it is empty.
            if (left.empty() || right.empty()) continue;
            ASSERT_EQ(compare(left, right), compare(u"\u00E9" + left, u"e\u0301" + right))
                << readable(left) << " and " << readable(right);
        }
    }
}

TEST(TextProperties, OneOrderForAll) {
    Texts texts(u"aAb-'_\u00E4\u00C4\u0301\u00DFs\u0430\u4E00\u00AD\u2013");
    std::vector<CComBSTR> all;
    all.reserve(400);
    for (int i = 0; i < 400; ++i) all.push_back(bstr(texts.next()));
    std::ranges::sort(all, [](const CComBSTR& left, const CComBSTR& right) {
        return VarBstrCmp(left, right, LOCALE_USER_DEFAULT, 0) == VARCMP_LT;
    });
    // Equal texts are neighbours now; a class's number must say how any two texts compare.
    std::vector<int> place{0};
    for (std::size_t i = 1; i < all.size(); ++i)
        place.push_back(place.back() + (VarBstrCmp(all[i - 1], all[i], LOCALE_USER_DEFAULT, 0) == VARCMP_EQ ? 0 : 1));
    for (std::size_t i = 0; i < all.size(); ++i)
        for (std::size_t j = 0; j < all.size(); ++j)
            ASSERT_EQ(VarBstrCmp(all[i], all[j], LOCALE_USER_DEFAULT, 0), place[i] < place[j]   ? VARCMP_LT
                                                                          : place[i] > place[j] ? VARCMP_GT
                                                                                                : VARCMP_EQ)
                << readable(WideView(all[i], all[i].Length())) << " and "
                << readable(WideView(all[j], all[j].Length()));
}

TEST(TextProperties, KeysOfAMapAreFoundAgain) {
    const auto less = [](const WideString& left, const WideString& right) { return compare(left, right) == VARCMP_LT; };
    std::map<WideString, int, decltype(less)> numbers(less);
    Texts texts(u"aAbB-'_ 1\u00E4");
    std::vector<WideString> keys;
    for (int i = 0; i < 2000; ++i) {
        keys.push_back(texts.next());
        numbers.emplace(keys.back(), i);
    }
    for (const WideString& key : keys) {
        const auto found = numbers.find(key);
        ASSERT_NE(found, numbers.end()) << readable(key);
        EXPECT_EQ(compare(found->first, key), VARCMP_EQ) << readable(key);
    }
}

TEST(TextCompare, ThreadsShareTheOrder) {
    std::vector<std::thread> threads;
    std::vector<int> wrong(8);
    threads.reserve(wrong.size());
    for (int& count : wrong)
        threads.emplace_back([&count] {
            for (int i = 0; i < 2000; ++i) {
                if (compare(u"\u00E4-b", u"\u00C4b") != VARCMP_LT) ++count;
                if (compare(u"\u00E9", u"e\u0301") != VARCMP_EQ) ++count;
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, std::vector<int>(8));
}

}  // namespace
