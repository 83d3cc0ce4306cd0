// Comparing values: compareVariants, and what each operator makes of it for every pair of types.
#include "rules/attribute_rules.h"
#include "rules/rule.h"
#include "support/loaded_map.h"

#include <gtest/gtest.h>
#include <cmath>
#include <limits>
#include <memory>

namespace {

using ConditionalXml::compareVariants;
using memhost::bstr;
using std::string;
using std::vector;

/// A value of each type that a row can have, made from a small number.
const VARTYPE numberTypes[] = {VT_I1,  VT_UI1, VT_I2, VT_UI2, VT_I4,   VT_UI4,    VT_I8,
                               VT_UI8, VT_R4,  VT_R8, VT_CY,  VT_DATE, VT_DECIMAL};

CComVariant valueOf(VARTYPE type, int number) {
    CComVariant value;
    value.vt = type;
    switch (type) {
        case VT_EMPTY:
        case VT_NULL:
            break;
        case VT_BOOL:
            value.boolVal = number ? VARIANT_TRUE : VARIANT_FALSE;
            break;
        case VT_I1:
            value.cVal = static_cast<CHAR>(number);
            break;
        case VT_UI1:
            value.bVal = static_cast<BYTE>(number);
            break;
        case VT_I2:
            value.iVal = static_cast<SHORT>(number);
            break;
        case VT_UI2:
            value.uiVal = static_cast<USHORT>(number);
            break;
        case VT_I4:
            value.lVal = number;
            break;
        case VT_UI4:
            value.ulVal = static_cast<ULONG>(number);
            break;
        case VT_I8:
            value.llVal = number;
            break;
        case VT_UI8:
            value.ullVal = static_cast<ULONGLONG>(number);
            break;
        case VT_R4:
            value.fltVal = static_cast<float>(number);
            break;
        case VT_R8:
            value.dblVal = number;
            break;
        case VT_CY:
            value.cyVal.int64 = static_cast<LONGLONG>(number) * 10000;
            break;
        case VT_DATE:
            value.date = number;
            break;
        case VT_DECIMAL:
            value.vt = VT_I4;
            value.lVal = number;
            EXPECT_EQ(value.ChangeType(VT_DECIMAL), S_OK);
            break;
        case VT_BSTR:
            value.bstrVal = bstr(std::to_string(number)).Detach();
            break;
        default:
            ADD_FAILURE() << "no value of type " << type;
    }
    return value;
}

/// One object of each operator that compares.
struct Operators {
    ConditionalXml::ConditionMap map;
    ConditionalXml::FeatureClassRule owner{map};
    ConditionalXml::CXAttributeRuleEqual equal{owner.ruleOwner()};
    ConditionalXml::CXAttributeRuleNotEqual notEqual{owner.ruleOwner()};
    ConditionalXml::CXAttributeRuleLt lt{owner.ruleOwner()};
    ConditionalXml::CXAttributeRuleLte lte{owner.ruleOwner()};
    ConditionalXml::CXAttributeRuleGt gt{owner.ruleOwner()};
    ConditionalXml::CXAttributeRuleGte gte{owner.ruleOwner()};
    ConditionalXml::CXAttributeRuleBetween between{owner.ruleOwner()};

    /// Which of E, L, LE, G, GE hold, as in "E LE GE".
    string holding(const VARIANT& a, const VARIANT& b) const {
        string names;
        const auto add = [&](const char* name, bool holds) {
            if (holds) names += names.empty() ? name : string(" ") + name;
        };
        add("E", equal.compare(a, b));
        add("L", lt.compare(a, b));
        add("LE", lte.compare(a, b));
        add("G", gt.compare(a, b));
        add("GE", gte.compare(a, b));
        return names;
    }
};

TEST(CompareTest, sameTypeOrdersByValue) {
    const Operators operators;
    for (const VARTYPE type : numberTypes) {
        const CComVariant three = valueOf(type, 3);
        const CComVariant alsoThree = valueOf(type, 3);
        const CComVariant four = valueOf(type, 4);
        EXPECT_EQ(operators.holding(three, four), "L LE") << type;
        EXPECT_EQ(operators.holding(four, three), "G GE") << type;
        EXPECT_EQ(operators.holding(three, alsoThree), "E LE GE") << type;
    }
}

TEST(CompareTest, otherTypeIsNeverAnything) {
    const Operators operators;
    vector<VARTYPE> types(std::begin(numberTypes), std::end(numberTypes));
    for (const VARENUM type : {VT_EMPTY, VT_NULL, VT_BOOL, VT_BSTR}) types.push_back(static_cast<VARTYPE>(type));
    for (const VARTYPE a : types)
        for (const VARTYPE b : types) {
            if (a == b) continue;
            for (const auto& [left, right] : {std::pair{0, 0}, {1, 0}, {0, 1}})
                EXPECT_EQ(operators.holding(valueOf(a, left), valueOf(b, right)), "") << a << " and " << b;
        }
}

TEST(CompareTest, nullEqualsNullOnly) {
    const Operators operators;
    const CComVariant null = valueOf(VT_NULL, 0);
    EXPECT_EQ(operators.holding(null, null), "E LE GE");
}

TEST(CompareTest, emptyEqualsEmpty) {
    const Operators operators;
    EXPECT_EQ(operators.holding(CComVariant(), CComVariant()), "E LE GE");
}

TEST(CompareTest, truthComparesAsItsNumber) {
    const Operators operators;
    const CComVariant yes = valueOf(VT_BOOL, 1);  // -1
    const CComVariant no = valueOf(VT_BOOL, 0);
    EXPECT_EQ(operators.holding(yes, yes), "E LE GE");
    EXPECT_EQ(operators.holding(yes, no), "L LE");
    EXPECT_EQ(operators.holding(no, yes), "G GE");
}

TEST(CompareTest, textComparesByLanguageAndCase) {
    const Operators operators;
    const struct {
        const char* a;
        const char* b;
        const char* holding;
    } rows[] = {{"abc", "abc", "E LE GE"}, {"abc", "abd", "L LE"},   {"abc", "ABC", "L LE"}, {"ABC", "abc", "G GE"},
                {"B", "a", "G GE"},        {"", "", "E LE GE"},      {"", "a", "L LE"},      {"10", "9", "L LE"},
                {"a", "a ", "L LE"},       {"co-op", "coop", "G GE"}};
    for (const auto& row : rows)
        EXPECT_EQ(operators.holding(CComVariant(bstr(row.a)), CComVariant(bstr(row.b))), row.holding)
            << row.a << " and " << row.b;
}

TEST(CompareTest, nullTextIsTheEmptyText) {
    const Operators operators;
    CComVariant null;
    null.vt = VT_BSTR;
    null.bstrVal = nullptr;
    EXPECT_EQ(operators.holding(null, CComVariant(bstr(""))), "E LE GE");
    EXPECT_EQ(operators.holding(CComVariant(bstr("a")), null), "G GE");
}

TEST(CompareTest, directTypesCompareTheirOwnRange) {
    EXPECT_EQ(compareVariants(valueOf(VT_I1, -128), valueOf(VT_I1, 127)), VARCMP_LT);
    EXPECT_EQ(compareVariants(valueOf(VT_I1, -1), valueOf(VT_I1, -2)), VARCMP_GT);
    EXPECT_EQ(compareVariants(valueOf(VT_UI2, 65535), valueOf(VT_UI2, 1)), VARCMP_GT);
    CComVariant greatest = valueOf(VT_UI4, 0);
    greatest.ulVal = std::numeric_limits<ULONG>::max();
    EXPECT_EQ(compareVariants(greatest, valueOf(VT_UI4, 1)), VARCMP_GT);
    EXPECT_EQ(compareVariants(valueOf(VT_UI4, 1), greatest), VARCMP_LT);
    greatest = valueOf(VT_UI8, 0);
    greatest.ullVal = std::numeric_limits<ULONGLONG>::max();
    EXPECT_EQ(compareVariants(greatest, valueOf(VT_UI8, 1)), VARCMP_GT);
    EXPECT_EQ(compareVariants(greatest, greatest), VARCMP_EQ);
}

TEST(CompareTest, directTypesReadTheOtherSideAsTheirOwn) {
    EXPECT_EQ(compareVariants(valueOf(VT_I1, 1), valueOf(VT_I4, 0x101)), VARCMP_EQ);
    EXPECT_EQ(compareVariants(valueOf(VT_UI2, 1), valueOf(VT_I4, 0x10001)), VARCMP_EQ);
    EXPECT_EQ(compareVariants(valueOf(VT_UI4, 7), valueOf(VT_I4, 7)), VARCMP_EQ);
    EXPECT_EQ(compareVariants(valueOf(VT_UI8, 7), valueOf(VT_I8, 8)), VARCMP_LT);
}

TEST(CompareTest, otherTypesCompareAsThePlatformDoes) {
    vector<VARTYPE> types(std::begin(numberTypes), std::end(numberTypes));
    for (const VARENUM type : {VT_EMPTY, VT_NULL, VT_BOOL, VT_BSTR}) types.push_back(static_cast<VARTYPE>(type));
    for (const VARTYPE a : types) {
        if (a == VT_I1 || a == VT_UI2 || a == VT_UI4 || a == VT_UI8) continue;
        for (const VARTYPE b : types)
            for (const auto& [left, right] : {std::pair{1, 1}, {1, 0}, {0, 1}}) {
                CComVariant first = valueOf(a, left);
                CComVariant second = valueOf(b, right);
                EXPECT_EQ(compareVariants(first, second), VarCmp(&first, &second, LOCALE_USER_DEFAULT, 0))
                    << a << " and " << b;
            }
    }
}

TEST(CompareTest, comparisonChangesNeitherSide) {
    const Operators operators;
    const CComVariant number = valueOf(VT_I4, 5);
    const CComVariant text = valueOf(VT_BSTR, 5);
    const OLECHAR* const address = text.bstrVal;
    operators.holding(number, text);
    operators.holding(text, number);
    EXPECT_EQ(memhost::describe(number), "I4 5");
    EXPECT_EQ(text.bstrVal, address);
}

TEST(CompareTest, notANumberIsAsThePlatformOrdersIt) {
    const Operators operators;
    for (const VARTYPE type : {VARTYPE{VT_R4}, VARTYPE{VT_R8}}) {
        CComVariant nan = valueOf(type, 0);
        if (type == VT_R4)
            nan.fltVal = std::numeric_limits<float>::quiet_NaN();
        else
            nan.dblVal = std::numeric_limits<double>::quiet_NaN();
        CComVariant one = valueOf(type, 1);
        for (const auto& [a, b] : {std::pair{&nan, &one}, {&one, &nan}, {&nan, &nan}}) {
            const HRESULT order = VarCmp(a, b, LOCALE_USER_DEFAULT, 0);
            EXPECT_EQ(operators.equal.compare(*a, *b), order == VARCMP_EQ);
            EXPECT_EQ(operators.lt.compare(*a, *b), order == VARCMP_LT);
            EXPECT_EQ(operators.gt.compare(*a, *b), order == VARCMP_GT);
            EXPECT_EQ(operators.lte.compare(*a, *b), order == VARCMP_LT || order == VARCMP_EQ);
            EXPECT_EQ(operators.gte.compare(*a, *b), order == VARCMP_GT || order == VARCMP_EQ);
        }
    }
}

TEST(CompareTest, equalityIsTheComparisonOfThoseWithoutTheirOwn) {
    const Operators operators;
    const CComVariant three = valueOf(VT_I4, 3);
    const CComVariant four = valueOf(VT_I4, 4);
    for (const ConditionalXml::CXAttributeRule* rule :
         {static_cast<const ConditionalXml::CXAttributeRule*>(&operators.notEqual),
          static_cast<const ConditionalXml::CXAttributeRule*>(&operators.between)}) {
        EXPECT_TRUE(rule->compare(three, three));
        EXPECT_FALSE(rule->compare(three, four));
    }
}

}  // namespace
