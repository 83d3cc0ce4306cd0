// The linguistic order of texts.
#include "support/platform_hooks.h"

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
    if (std::string_view(pair.name) == "unknown flag") NOT_UNDER_WINE("Wine passes over flags that it does not know");
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
    {"lower case before upper case", OLESTR("a"), VARCMP_LT, OLESTR("A")},
    {"letters before case", OLESTR("A"), VARCMP_LT, OLESTR("b")},
    {"first difference in case decides", OLESTR("aB"), VARCMP_LT, OLESTR("Ab")},
    {"case after accents", OLESTR("E"), VARCMP_LT, OLESTR("\u00E9")},
    {"accents after letters", OLESTR("\u00E9a"), VARCMP_LT, OLESTR("eb")},
    {"accents after the end", OLESTR("\u00E9"), VARCMP_LT, OLESTR("ee")},
    {"prefix is less", OLESTR("a"), VARCMP_LT, OLESTR("ab")},
    {"case distinguishes names", OLESTR("Symbol_C"), VARCMP_LT, OLESTR("SYMBOL_C")},
    {"symbols before digits", OLESTR("_"), VARCMP_LT, OLESTR("0")},
    {"digits before letters", OLESTR("9"), VARCMP_LT, OLESTR("a")},
    {"digits are no numbers", OLESTR("10"), VARCMP_LT, OLESTR("9")},
    {"underscore counts", OLESTR("a_b"), VARCMP_LT, OLESTR("ab")},
    {"space counts", OLESTR("a b"), VARCMP_LT, OLESTR("a_b")},
    {"fractions between zero and one", OLESTR("\u00BD"), VARCMP_LT, OLESTR("1")},
    {"superscript is a case of its digit", OLESTR("2"), VARCMP_LT, OLESTR("\u00B2")},
    {"section sign is a symbol", OLESTR("\u00A7"), VARCMP_LT, OLESTR("0")},
    {"middle dot after l is a symbol", OLESTR("l\u00B7b"), VARCMP_LT, OLESTR("la")},
    {"degree sign after plus", OLESTR("+"), VARCMP_LT, OLESTR("\u00B0")},
};

const Pair specials[] = {
    {"hyphen only breaks ties", OLESTR("co-op"), VARCMP_LT, OLESTR("coot")},
    {"text without hyphen is less", OLESTR("coop"), VARCMP_LT, OLESTR("co-op")},
    {"text without apostrophe is less", OLESTR("cant"), VARCMP_LT, OLESTR("can't")},
    {"apostrophe before hyphen", OLESTR("can't"), VARCMP_LT, OLESTR("can-t")},
    {"case before hyphens", OLESTR("co-op"), VARCMP_LT, OLESTR("COOP")},
    {"earlier hyphen is greater", OLESTR("a-b"), VARCMP_LT, OLESTR("-ab")},
    {"fewer hyphens are less", OLESTR("a-"), VARCMP_LT, OLESTR("a--")},
    {"hyphen alone is not empty", OLESTR("-"), VARCMP_GT, OLESTR("")},
    {"hyphen before any letter", OLESTR("-"), VARCMP_LT, OLESTR("a")},
    {"hyphen before dash", OLESTR("a-b"), VARCMP_LT, OLESTR("a\u2013b")},
    {"control character is special", OLESTR("ab"), VARCMP_LT, OLESTR("a\u0001b")},
    {"control character before apostrophe", OLESTR("a\u007Fb"), VARCMP_LT, OLESTR("a'b")},
    {"tab is a space", OLESTR("a\tb"), VARCMP_LT, OLESTR("ab")},
    {"hyphen after a ligature", OLESTR("\u00E6-"), VARCMP_LT, OLESTR("a-e")},
    {"hyphen at the same place of equal texts", OLESTR("\u00E6-"), VARCMP_EQ, OLESTR("ae-")},
    {"hyphen behind an accent of two units", OLESTR("e\u0301-"), VARCMP_EQ, OLESTR("\u00E9-")},
};

const Pair equals[] = {
    {"empty texts", OLESTR(""), VARCMP_EQ, OLESTR("")},
    {"composed and decomposed accent", OLESTR("\u00E9"), VARCMP_EQ, OLESTR("e\u0301")},
    {"accents in either order", OLESTR("a\u0301\u0323"), VARCMP_EQ, OLESTR("a\u0323\u0301")},
    {"angstrom sign", OLESTR("\u212B"), VARCMP_EQ, OLESTR("\u00C5")},
    {"sharp s", OLESTR("\u00DF"), VARCMP_EQ, OLESTR("ss")},
    {"ae", OLESTR("\u00E6"), VARCMP_EQ, OLESTR("ae")},
    {"AE", OLESTR("\u00C6"), VARCMP_EQ, OLESTR("AE")},
    {"oe", OLESTR("\u0153"), VARCMP_EQ, OLESTR("oe")},
    {"thorn", OLESTR("\u00FE"), VARCMP_EQ, OLESTR("th")},
    {"fi", OLESTR("\uFB01"), VARCMP_EQ, OLESTR("fi")},
    {"digits of another script are others", OLESTR("\u0661"), VARCMP_GT, OLESTR("1")},
    {"control character of Latin-1 is a symbol", OLESTR("a\u0096b"), VARCMP_LT, OLESTR("ab")},
    {"soft hyphen is ignored", OLESTR("a\u00ADb"), VARCMP_EQ, OLESTR("ab")},
    {"joiner is ignored", OLESTR("a\u200Db"), VARCMP_EQ, OLESTR("ab")},
    {"byte order mark is ignored", OLESTR("\uFEFFa"), VARCMP_EQ, OLESTR("a")},
    {"embedded zero is ignored", OLESTR("a\0b"sv), VARCMP_EQ, OLESTR("ab")},
    {"behind an embedded zero", OLESTR("a\0b"sv), VARCMP_LT, OLESTR("a\0c"sv)},
    {"empty is less than an ignored character", OLESTR(""), VARCMP_LT, OLESTR("\u200D")},
    {"sharp s is not two capitals", OLESTR("\u00DF"), VARCMP_LT, OLESTR("SS")},
    {"Greek letter is not a Latin one", OLESTR("\u03BF"), VARCMP_GT, OLESTR("o")},
};

const Pair flagged[] = {
    {"case ignored", OLESTR("Co-Op"), VARCMP_EQ, OLESTR("cO-oP"), NORM_IGNORECASE},
    {"case ignored, not accents", OLESTR("\u00C9"), VARCMP_GT, OLESTR("e"), NORM_IGNORECASE},
    {"accents ignored", OLESTR("\u00E9"), VARCMP_EQ, OLESTR("e"), NORM_IGNORENONSPACE},
    {"accents ignored, not case", OLESTR("\u00C9"), VARCMP_GT, OLESTR("e"), NORM_IGNORENONSPACE},
    {"case and accents ignored", OLESTR("\u00C9"), VARCMP_EQ, OLESTR("e"), NORM_IGNORECASE | NORM_IGNORENONSPACE},
    {"symbols ignored", OLESTR("a_b"), VARCMP_EQ, OLESTR("ab"), NORM_IGNORESYMBOLS},
    {"hyphens ignored with symbols", OLESTR("a-b"), VARCMP_EQ, OLESTR("ab"), NORM_IGNORESYMBOLS},
    {"hyphens not ignored with case", OLESTR("a-b"), VARCMP_GT, OLESTR("AB"), NORM_IGNORECASE},
    {"unknown flag", OLESTR("a"), E_INVALIDARG, OLESTR("b"), 0x80000000U},
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
    expectAscending(unitsOf(OLESTR("\u0001\u001F\u007F'- \t\n\v\f\r!\"#$%&()*,./:;?@[\\]^_`{|}~+<=>0123456789")
                                OLESTR("aAbBcCdDeEfFgGhHiIjJkKlLmMnNoOpPqQrRsStTuUvVwWxXyYzZ")));
}

TEST(TextOrder, Latin1) {
    expectAscending(unitsOf(
        OLESTR("-~\u00A1\u00A6\u00A8\u00AF\u00B4\u00B8\u00BF\u00A2\u00A3\u00A4\u00A5+<=>\u00B1\u00AB\u00BB\u00D7\u00F7")
            OLESTR("\u00A7\u00A9\u00AC\u00AE\u00B0\u00B5\u00B6\u00B7") OLESTR("0\u00BC\u00BD\u00BE") OLESTR("1\u00B9")
                OLESTR("2\u00B2") OLESTR("3\u00B3") OLESTR("9") OLESTR(
                    "aA\u00AA\u00E1\u00C1\u00E0\u00C0\u00E2\u00C2\u00E4\u00C4\u00E3\u00C3\u00E5\u00C5\u00E6\u00C6")
                    OLESTR("bcC\u00E7\u00C7") OLESTR("dD\u00F0\u00D0")
                        OLESTR("eE\u00E9\u00C9\u00E8\u00C8\u00EA\u00CA\u00EB\u00CB") OLESTR(
                            "iI\u00ED\u00CD\u00EC\u00CC\u00EE\u00CE\u00EF\u00CF") OLESTR("nN\u00F1\u00D1")
                            OLESTR("oO\u00BA\u00F3\u00D3\u00F2\u00D2\u00F4\u00D4\u00F6\u00D6\u00F5\u00D5\u00F8\u00D8")
                                OLESTR("s\u00DF") OLESTR("tT\u00FE\u00DE")
                                    OLESTR("uU\u00FA\u00DA\u00F9\u00D9\u00FB\u00DB\u00FC\u00DC")
                                        OLESTR("yY\u00FD\u00DD\u00FFzZ")));
}

TEST(TextOrder, Scripts) {
    expectAscending({OLESTR("\u20AC"), OLESTR("1"),      OLESTR("z"),      OLESTR("\u017E"), OLESTR("\u03B1"),
                     OLESTR("\u03AC"), OLESTR("\u03C9"), OLESTR("\u0430"), OLESTR("\u0435"), OLESTR("\u0451"),
                     OLESTR("\u0438"), OLESTR("\u0439"), OLESTR("\u043A"), OLESTR("\u3042"), OLESTR("\u304B"),
                     OLESTR("\u304C"), OLESTR("\u05D0"), OLESTR("\u0628"), OLESTR("\uE000"), OLESTR("\uAC00"),
                     OLESTR("\uD55C"), OLESTR("\u4E00"), OLESTR("\u4E8C")});
}

TEST(TextOrder, CharactersBeyondTheBasicPlaneAreDistinct) {
    const WideView house = OLESTR("\U0001F3E0");
    EXPECT_EQ(compare(house, house), VARCMP_EQ);
    EXPECT_EQ(compare(house, OLESTR("\U0001F3E1")), VARCMP_LT);
    EXPECT_NE(compare(house, house.substr(0, 1)), VARCMP_EQ);
    EXPECT_NE(compare(house.substr(0, 1), house.substr(1)), VARCMP_EQ);
}

TEST(TextCompare, NullIsTheEmptyText) {
    CComBSTR empty;
    empty.Attach(SysAllocStringLen(OLESTR(""), 0));
    CComBSTR text(OLESTR("a"));
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
        {"capitals first", OLESTR("B"), OLESTR("a"), VARCMP_LT},
        {"prefix is less", OLESTR("a"), OLESTR("ab"), VARCMP_LT},
        {"equal", OLESTR("a"), OLESTR("a"), VARCMP_EQ},
        {"the lower byte first", OLESTR("\u0100"), OLESTR("\u00FF"), VARCMP_LT},
        {"embedded zero counts", OLESTR("a\0b"sv), OLESTR("ab"), VARCMP_LT},
        {"decomposed is another text", OLESTR("e\u0301"), OLESTR("\u00E9"), VARCMP_LT},
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
    PORTABLE_ONLY("there are no two ways through the comparison");
    const WideString wide = allAscii();
    for (const WideView alphabet : {WideView(wide), WideView(OLESTR("aAbB-'_ 1\u0001"))}) {
        Texts texts(alphabet);
        for (int i = 0; i < 100000; ++i) {
            const WideString left = texts.next();
            const WideString right = texts.next();
            // The empty text is less than one of ignored characters only as long as it is empty.
            if (left.empty() || right.empty()) continue;
            ASSERT_EQ(compare(left, right), compare(OLESTR("\u00E9") + left, OLESTR("e\u0301") + right))
                << readable(left) << " and " << readable(right);
        }
    }
}

TEST(TextProperties, OneOrderForAll) {
    Texts texts(OLESTR("aAb-'_\u00E4\u00C4\u0301\u00DFs\u0430\u4E00\u00AD\u2013"));
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
    Texts texts(OLESTR("aAbB-'_ 1\u00E4"));
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
                if (compare(OLESTR("\u00E4-b"), OLESTR("\u00C4b")) != VARCMP_LT) ++count;
                if (compare(OLESTR("\u00E9"), OLESTR("e\u0301")) != VARCMP_EQ) ++count;
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, std::vector<int>(8));
}

}  // namespace
