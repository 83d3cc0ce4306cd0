// Comparing texts linguistically.
#include "platform/differential/category.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

using differential::quoted;
using differential::quotedBstr;
using differential::Random;
using differential::Report;

CComBSTR bstr(const WideString& text) {
    return {static_cast<int>(text.size()), text.c_str()};
}

void addComparison(Report& report, const char* kind, const WideString& left, const WideString& right,
                   LCID locale = LOCALE_USER_DEFAULT, ULONG flags = 0) {
    const HRESULT result = VarBstrCmp(bstr(left), bstr(right), locale, flags);
    std::string asked = std::string(kind) + ' ' + quoted(left) + ' ' + quoted(right);
    if (locale != LOCALE_USER_DEFAULT) asked += " locale " + std::to_string(locale);
    if (flags != 0) asked += " flags " + std::to_string(flags);
    report.add(asked, std::to_string(result));
}

/// Where a random text's units come from; each is compared with texts of the same and of ASCII.
struct Alphabet {
    const char* name;
    OLECHAR first;
    OLECHAR last;
};

constexpr Alphabet alphabets[] = {
    {"ASCII", 0x20, 0x7E},          {"ASCII", 0x20, 0x7E},          {"control", 0x01, 0x20},
    {"Latin-1", 0x80, 0xFF},        {"Latin-A", 0x100, 0x17F},      {"accent", 0x300, 0x33F},
    {"Greek", 0x3B1, 0x3CE},        {"Cyrillic", 0x400, 0x45F},     {"Hebrew", 0x5D0, 0x5EA},
    {"Latin more", 0x1E00, 0x1E95}, {"Vietnamese", 0x1EA0, 0x1EF9}, {"punctuation", 0x2000, 0x2064},
    {"currency", 0x20A0, 0x20B5},   {"Hiragana", 0x3041, 0x3096},   {"Katakana", 0x30A1, 0x30FA},
    {"CJK", 0x4E00, 0x4E59},        {"Hangul", 0xAC00, 0xD7A3},     {"private", 0xE000, 0xF8FF},
    {"full width", 0xFF01, 0xFF5E}, {"digits", 0x660, 0x669},       {"digits", 0x6F0, 0x6F9},
    {"digits", 0x966, 0x96F},
};

constexpr OLECHAR fewUnits[] = {'a', 'A', 'b', 'B', '-', '\'', ' ', '_', '1', 0xE4, 0xC4, 0x2013};

constexpr OLECHAR letters[] = {'a', 'A', 'e', 'o', 'z', 0x3B1, 0x438};

bool isAccent(OLECHAR unit) {
    return unit >= 0x300 && unit < 0x370;
}

WideString drawText(Random& random, const Alphabet& alphabet) {
    WideString text;
    for (std::uint32_t left = random.below(7); left > 0; --left) {
        const std::uint32_t size = alphabet.last - alphabet.first + 1U;
        const auto drawn = static_cast<OLECHAR>(alphabet.first + random.below(size));
        if (random.oneIn(4))
            text += random.pick(fewUnits);
        else if (isAccent(drawn))
            (text += random.pick(letters)) += drawn;  // one accent to a letter
        else
            text += drawn;
    }
    return text;
}

/// A text that is nearly the same, so that the later levels of the order decide.
WideString vary(Random& random, WideString text) {
    const auto size = static_cast<std::uint32_t>(text.size());
    if (size == 0) return text + random.pick(fewUnits);
    const std::uint32_t place = random.below(size);
    const OLECHAR special = random.oneIn(2) ? OLECHAR('-') : OLECHAR('\'');
    // An accent stays with its letter.
    const bool accented = std::ranges::any_of(text, isAccent);
    switch (random.below(accented ? 3 : 5)) {
        case 0:
            CharUpperBuffW(text.data(), size);
            break;
        case 1:
            CharLowerBuffW(&text[place], 1);
            break;
        case 2:
            text.insert(text.begin() + place, special);
            break;
        case 3:
            text.erase(place, 1);
            break;
        default:
            std::swap(text[place], text[random.below(size)]);
            break;
    }
    return text;
}

void addComparisonEdges(Report& report) {
    static const WideString texts[] = {OLESTR(""),
                                       OLESTR("a"),
                                       OLESTR("A"),
                                       OLESTR("aB"),
                                       OLESTR("Ab"),
                                       OLESTR("coop"),
                                       OLESTR("co-op"),
                                       OLESTR("coot"),
                                       OLESTR("COOP"),
                                       OLESTR("CO-OP"),
                                       OLESTR("cant"),
                                       OLESTR("can't"),
                                       OLESTR("can-t"),
                                       OLESTR("cannot"),
                                       OLESTR("-"),
                                       OLESTR("'"),
                                       OLESTR("--"),
                                       OLESTR("-a"),
                                       OLESTR("a-"),
                                       OLESTR("a--b"),
                                       OLESTR("a-b-"),
                                       OLESTR("-ab"),
                                       OLESTR("_"),
                                       OLESTR("a_b"),
                                       OLESTR("ab"),
                                       OLESTR("a1b"),
                                       OLESTR("a b"),
                                       OLESTR("10"),
                                       OLESTR("9"),
                                       OLESTR("\u00E9"),
                                       OLESTR("e\u0301"),
                                       OLESTR("e"),
                                       OLESTR("f"),
                                       OLESTR("E\u0301"),
                                       OLESTR("\u00C9"),
                                       OLESTR("ss"),
                                       OLESTR("\u00DF"),
                                       OLESTR("SS"),
                                       OLESTR("\u00E6"),
                                       OLESTR("ae"),
                                       OLESTR("\u0153"),
                                       OLESTR("oe"),
                                       OLESTR("\u00FE"),
                                       OLESTR("th"),
                                       OLESTR("\uFB01"),
                                       OLESTR("fi"),
                                       OLESTR("\u0133-"),
                                       OLESTR("ij-"),
                                       OLESTR("a\u00ADb"),
                                       OLESTR("a\u200Db"),
                                       OLESTR("a\u2011b"),
                                       OLESTR("a\u2013b"),
                                       OLESTR("a\u0001b"),
                                       OLESTR("a\tb"),
                                       OLESTR("\u0430"),
                                       OLESTR("\u0451"),
                                       OLESTR("\u0435"),
                                       OLESTR("\u0439"),
                                       OLESTR("\u0438"),
                                       OLESTR("\u03B1"),
                                       OLESTR("\u03AC"),
                                       OLESTR("\u4E00"),
                                       OLESTR("\u4E8C"),
                                       OLESTR("\uAC00"),
                                       OLESTR("\uD55C"),
                                       OLESTR("\u3042"),
                                       OLESTR("\u30A2"),
                                       OLESTR("\u212B"),
                                       OLESTR("\u00C5"),
                                       OLESTR("A\u030A"),
                                       OLESTR("l\u00B7b"),
                                       OLESTR("la"),
                                       OLESTR("\u2122"),
                                       OLESTR("\u00BD"),
                                       OLESTR("\u0661"),
                                       OLESTR("\u06F1"),
                                       OLESTR("1"),
                                       OLESTR("a\u0096b"),
                                       OLESTR("\u00B2"),
                                       OLESTR("\u20AC"),
                                       OLESTR("\u1EBD"),
                                       OLESTR("\u1EBF"),
                                       OLESTR("\u4E2C"),
                                       OLESTR("\u4E30"),
                                       WideString(1, 0xD83D) + OLECHAR(0xDE00),
                                       WideString(1, 0xD83D),
                                       WideString(1, 0xDE00)};
    for (const WideString& left : texts)
        for (const WideString& right : texts) addComparison(report, "edge", left, right);
    const WideString zeroBefore = WideString(1, OLECHAR{}) + OLESTR("b");
    for (const WideString& other : {WideString(OLESTR("a")), WideString(OLESTR("b")), WideString()})
        addComparison(report, "zero", zeroBefore, other);
    const WideString zeroInside = WideString(OLESTR("a")) + OLECHAR{} + OLESTR("b");
    for (const WideString& other : {WideString(OLESTR("a")), WideString(OLESTR("ab")), WideString(OLESTR("b")),
                                    WideString(OLESTR("a")) + OLECHAR{}, WideString(1, OLECHAR{})}) {
        addComparison(report, "zero", zeroInside, other);
        addComparison(report, "zero", other, zeroInside);
        addComparison(report, "zero", other, WideString());
    }
    const WideString deseret[] = {WideString(1, 0xD801) + OLECHAR(0xDC00), WideString(1, 0xD801) + OLECHAR(0xDC28)};
    for (const ULONG flags : {0U, 1U})
        for (const WideString& left : deseret)
            for (const WideString& right : deseret)
                addComparison(report, "Deseret", left, right, LOCALE_USER_DEFAULT, flags);
    for (const LCID locale : {LCID(LOCALE_SYSTEM_DEFAULT), LCID(LOCALE_INVARIANT), LCID(0), LCID(0x0409)})
        for (const WideString& left : texts) addComparison(report, "edge", left, OLESTR("co-op"), locale);
    for (ULONG flags = 1; flags < 8; ++flags)
        for (std::size_t i = 1; i < std::size(texts); ++i)
            addComparison(report, "edge", texts[i - 1], texts[i], LOCALE_USER_DEFAULT, flags);
    CComBSTR empty(0, OLESTR(""));
    for (BSTR left : {BSTR{}, empty.m_str})
        for (BSTR right : {BSTR{}, empty.m_str})
            report.add("edge " + quotedBstr(left) + ' ' + quotedBstr(right),
                       std::to_string(VarBstrCmp(left, right, LOCALE_USER_DEFAULT, 0)));
}

void compareTexts(Report& report, Random& random, long randomCases) {
    addComparisonEdges(report);
    for (long i = 0; i < randomCases; ++i) {
        const Alphabet& alphabet = random.pick(alphabets);
        const WideString left = drawText(random, alphabet);
        const WideString right =
            random.oneIn(2) ? vary(random, left) : drawText(random, random.oneIn(3) ? alphabets[0] : alphabet);
        addComparison(report, alphabet.name, left, right);
    }
}

const differential::Registration registration("text-compare", 30000, compareTexts);

}  // namespace
