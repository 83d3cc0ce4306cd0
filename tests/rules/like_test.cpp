// The pattern language of like and notlike.
#include "rules/attribute_rules.h"
#include "support/loaded_map.h"

#include <gtest/gtest.h>

namespace {

using memhost::bstr;

struct LikeCase {
    const char* name;
    const char* pattern;
    const char* text;
    bool matches;
};

class LikeTest : public testing::Test {
protected:
    ConditionalXml::ConditionMap map;
    ConditionalXml::FeatureClassRule owner{map};
    ConditionalXml::CXAttributeRuleLike like{owner.ruleOwner()};
    ConditionalXml::CXAttributeRuleNotLike notLike{owner.ruleOwner()};
};

/// A value of that type, zero where the type has values.
CComVariant typed(VARTYPE type) {
    CComVariant value;
    value.llVal = 0;
    value.vt = type;
    return value;
}

class LikePatterns : public LikeTest, public testing::WithParamInterface<LikeCase> {};

TEST_P(LikePatterns, matchOrNot) {
    const LikeCase& row = GetParam();
    const CComVariant text(bstr(row.text));
    const CComVariant pattern(bstr(row.pattern));
    EXPECT_EQ(like.compare(text, pattern), row.matches);
    EXPECT_EQ(notLike.compare(text, pattern), !row.matches);
}

const LikeCase cases[] = {
    {"leading_text", "A*", "ABC", true},
    {"leading_text_alone", "A*", "A", true},
    {"leading_text_elsewhere", "A*", "BA", false},
    {"leading_text_of_nothing", "A*", "", false},
    {"trailing_text", "*C", "ABC", true},
    {"trailing_text_alone", "*C", "C", true},
    {"first_of_two_is_not_at_the_end", "*C", "ACC", false},
    {"found_before_the_end", "*C", "CAC", false},
    {"no_backtracking", "*AB", "ABAB", false},
    {"longer_tail", "*AB", "XAB", true},
    {"escaped_asterisk", "A**B", "A*B", true},
    {"escaped_asterisk_is_no_wildcard", "A**B", "AXB", false},
    {"escaped_asterisk_is_one_character", "A**B", "A**B", false},
    {"exact", "ABC", "ABC", true},
    {"exact_is_the_whole_text", "ABC", "ABCD", false},
    {"exact_from_the_start", "ABC", "XABC", false},
    {"exact_and_shorter", "ABC", "AB", false},
    {"case_matters", "abc", "ABC", false},
    {"case_matters_after_a_wildcard", "*c", "ABC", false},
    {"empty_pattern_matches_text", "", "anything", true},
    {"empty_pattern_matches_nothing", "", "", true},
    {"wildcard_alone", "*", "anything", true},
    {"wildcard_alone_of_nothing", "*", "", true},
    {"two_asterisks_are_one_character", "**", "*", true},
    {"two_asterisks_are_no_wildcard", "**", "anything", false},
    {"three_asterisks_begin_with_one", "***", "*anything", true},
    {"three_asterisks_need_one", "***", "anything", false},
    {"four_asterisks_are_two_characters", "****", "**", true},
    {"inside", "*B*", "ABC", true},
    {"inside_at_the_start", "*B*", "BC", true},
    {"inside_at_the_end", "*B*", "AB", true},
    {"inside_missing", "*B*", "AC", false},
    {"between_two_texts", "A*C", "ABC", true},
    {"between_two_texts_nothing", "A*C", "AC", true},
    {"between_two_texts_first_end_decides", "A*C", "ACBC", false},
    {"start_and_end_do_not_overlap", "A*A", "A", false},
    {"start_and_end", "A*A", "AA", true},
    {"three_texts", "A*B*C", "AXBYC", true},
    {"three_texts_wrong_order", "A*B*C", "ACB", false},
    {"three_texts_tail", "A*B*C", "ABCC", false},
    {"wildcard_then_escaped", "A***", "A*x", true},
    {"text_with_asterisk_at_the_end", "A**", "A*", true},
    {"question_mark_is_itself", "A?C", "ABC", false},
    {"question_mark", "A?C", "A?C", true},
    {"percent_and_underscore_are_themselves", "%_", "AB", false},
    {"percent_and_underscore", "%_", "%_", true},
    {"brackets_are_themselves", "[AB]", "A", false},
    {"backslash_is_itself", "\\*", "\\anything", true},
    {"blank_is_a_character", "A *", "AB", false},
    {"beyond_ascii", "B\xC3\xB8*", "B\xC3\xB8je", true},
    {"composed_is_not_decomposed", "\xC3\xA5", "a\xCC\x8A", false},
    {"tail_longer_than_the_text", "*ABCDEF", "EF", false},
    {"rest_shorter_than_the_next_piece", "AB*BC", "ABC", false},
};

INSTANTIATE_TEST_SUITE_P(Rows, LikePatterns, testing::ValuesIn(cases),
                         [](const auto& entry) { return std::string(entry.param.name); });

TEST_F(LikeTest, embeddedZeroIsACharacter) {
    const CComVariant text(CComBSTR(3, OLESTR("a\0b")));
    EXPECT_FALSE(like.compare(text, CComVariant(bstr("a"))));
    EXPECT_TRUE(like.compare(text, CComVariant(bstr("a*b"))));
    EXPECT_TRUE(like.compare(text, CComVariant(CComBSTR(3, OLESTR("a\0b")))));
}

TEST_F(LikeTest, nullTextIsEmpty) {
    CComVariant text;
    text.vt = VT_BSTR;
    text.bstrVal = nullptr;
    EXPECT_TRUE(like.compare(text, CComVariant(bstr("*"))));
    EXPECT_FALSE(like.compare(text, CComVariant(bstr("A*"))));
}

TEST_F(LikeTest, twoNumbersNeverMatch) {
    EXPECT_FALSE(like.compare(CComVariant(5), CComVariant(5)));
    EXPECT_TRUE(notLike.compare(CComVariant(5), CComVariant(5)));
}

TEST_F(LikeTest, valuesWithoutTextAreTheEmptyText) {
    const CComVariant nothing[] = {typed(VT_NULL), typed(VT_EMPTY)};
    const struct {
        const char* pattern;
        bool matchesNothing;
    } rows[] = {{"", true}, {"*", true}, {"A*", false}, {"*A", false}, {"**", false}, {"A", false}};
    for (const CComVariant& value : nothing)
        for (const auto& row : rows) {
            const CComVariant pattern(bstr(row.pattern));
            EXPECT_EQ(like.compare(value, pattern), row.matchesNothing) << value.vt << ' ' << row.pattern;
            EXPECT_EQ(notLike.compare(value, pattern), !row.matchesNothing) << value.vt << ' ' << row.pattern;
        }
    for (const CComVariant& pattern : nothing)
        for (const char* text : {"", "anything"}) {
            EXPECT_TRUE(like.compare(CComVariant(bstr(text)), pattern)) << pattern.vt << ' ' << text;
            EXPECT_FALSE(notLike.compare(CComVariant(bstr(text)), pattern)) << pattern.vt << ' ' << text;
        }
}

TEST_F(LikeTest, pairsWithoutATextNeverMatch) {
    constexpr VARTYPE types[] = {VT_NULL, VT_EMPTY, VT_I4};
    for (const VARTYPE value : types)
        for (const VARTYPE pattern : types) {
            EXPECT_FALSE(like.compare(typed(value), typed(pattern))) << value << ' ' << pattern;
            EXPECT_TRUE(notLike.compare(typed(value), typed(pattern))) << value << ' ' << pattern;
        }
}

TEST_F(LikeTest, valueThatCannotBeShownMatchesNoPattern) {
    EXPECT_FALSE(like.compare(typed(VT_DISPATCH), CComVariant(bstr("*"))));
    EXPECT_TRUE(notLike.compare(typed(VT_DISPATCH), CComVariant(bstr("*"))));
    EXPECT_FALSE(like.compare(CComVariant(bstr("anything")), typed(VT_DISPATCH)));
}

TEST_F(LikeTest, numberMatchesByItsText) {
    EXPECT_TRUE(like.compare(CComVariant(57), CComVariant(bstr("5*"))));
    EXPECT_FALSE(like.compare(CComVariant(75), CComVariant(bstr("5*"))));
    EXPECT_TRUE(like.compare(CComVariant(bstr("57")), CComVariant(57)));
}

}  // namespace
