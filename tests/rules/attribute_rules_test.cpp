// Evaluating attribute rules on rows: operands and their conversion, operand fields, missing fields, ranges.
#include "rules/attribute_rules.h"
#include "cxml/rule_reader.h"
#include "memhost/table.h"
#include "support/loaded_map.h"

#include <gtest/gtest.h>

namespace {

using ConditionalXml::CXAttributeRule;
using ConditionalXml::RowValueMap;
using memhost::bstr;
using memhost::Cell;
using memhost::describe;
using memhost::make;
using memhost::Messages;
using std::string;
using std::vector;

/// One rule of a class named Buoy and the values of rows for it.
class AttributeRuleTest : public testing::Test {
protected:
    void create(std::string_view op, std::string_view attributes, std::string_view children = "") {
        const auto document = parseDocument("<rule type='A' field='F' operator='" + string(op) + "' " +
                                            string(attributes) + ">" + string(children) + "</rule>");
        rule = std::dynamic_pointer_cast<CXAttributeRule>(
            ConditionalXml::createRule(selectNode(document, "/rule"), owner, nullptr));
        ASSERT_NE(rule, nullptr);
    }
    /// The answer for a row whose field F (and G) has that value.
    bool holds(const Cell& f) {
        RowValueMap values(owner.fieldNames);
        values.append(bstr("F"), f.value);
        return rule->evaluate(values, messages);
    }
    bool holds(const Cell& f, const Cell& g) {
        RowValueMap values(owner.fieldNames);
        values.append(bstr("F"), f.value);
        values.append(bstr("G"), g.value);
        return rule->evaluate(values, messages);
    }
    bool holdsWithoutField(IGPMessages* sink) {
        RowValueMap values(owner.fieldNames);
        return rule->evaluate(values, sink);
    }

    ConditionalXml::ConditionMap map;
    ConditionalXml::FeatureClassRule owner{map};
    std::shared_ptr<CXAttributeRule> rule;
    CComPtr<Messages> messages = make<Messages>();
};

const Cell null(nullptr);
const Cell empty{CComVariant()};

struct EvaluateCase {
    const char* name;
    const char* op;
    const char* operands;  // child elements
    Cell field;
    bool holds;
};

vector<EvaluateCase> evaluateCases() {
    return {
        {"number_equals_text_of_it", "equal", "<value>5</value>", 5, true},
        {"number_and_other_number", "equal", "<value>6</value>", 5, false},
        {"number_and_word", "equal", "<value>five</value>", 5, false},
        {"number_and_rounded_text", "equal", "<value>5.0</value>", 5, true},
        {"real_and_text", "equal", "<value>1.5</value>", 1.5, true},
        {"text_and_text", "equal", "<value>abc</value>", "abc", true},
        {"text_and_other_case", "equal", "<value>ABC</value>", "abc", false},
        {"text_of_digits_is_compared_as_text", "equal", "<value>5.0</value>", "5", false},
        {"membership_first", "equal", "<value>1</value><value>2</value><value>3</value>", 1, true},
        {"membership_last", "equal", "<value>1</value><value>2</value><value>3</value>", 3, true},
        {"membership_none", "equal", "<value>1</value><value>2</value><value>3</value>", 4, false},
        {"no_operand_equals_nothing", "equal", "", 5, false},
        {"no_operand_is_notequal_to_all", "notequal", "", 5, true},
        {"notequal_of_one", "notequal", "<value>5</value>", 5, false},
        {"notequal_of_any", "notequal", "<value>4</value><value>5</value>", 5, false},
        {"notequal_of_none", "notequal", "<value>4</value><value>6</value>", 5, true},
        {"notequal_of_a_word", "notequal", "<value>five</value>", 5, true},
        {"null_equals_null", "equal", "<value>NULL</value>", null, true},
        {"null_notequal_null", "notequal", "<value>NULL</value>", null, false},
        {"null_lt_null", "lt", "<value>NULL</value>", null, false},
        {"null_lt_number", "lt", "<value>5</value>", null, false},
        {"null_gt_null", "gt", "<value>NULL</value>", null, false},
        {"null_lte_null", "lte", "<value>NULL</value>", null, true},
        {"null_gte_null", "gte", "<value>null</value>", null, true},
        {"null_lte_number", "lte", "<value>5</value>", null, false},
        {"null_between", "between", "<value>NULL</value><value>NULL</value>", null, false},
        {"null_equals_the_quoted_word", "equal", "<value>'NULL'</value>", null, false},
        {"null_equals_number", "equal", "<value>5</value>", null, false},
        {"null_notequal_number", "notequal", "<value>5</value>", null, true},
        {"number_equals_null", "equal", "<value>NULL</value>", 5, false},
        {"number_notequal_null", "notequal", "<value>NULL</value>", 5, true},
        {"number_gte_null", "gte", "<value>NULL</value>", 5, false},
        {"word_null_in_a_text_field", "equal", "<value>'NULL'</value>", "NULL", true},
        {"null_among_several", "equal", "<value>1</value><value>NULL</value>", null, true},
        {"lt", "lt", "<value>5</value>", 4, true},
        {"lt_same", "lt", "<value>5</value>", 5, false},
        {"lt_any_of_several", "lt", "<value>1</value><value>9</value>", 5, true},
        {"lte_same", "lte", "<value>5</value>", 5, true},
        {"lte_above", "lte", "<value>5</value>", 6, false},
        {"gt", "gt", "<value>5</value>", 6, true},
        {"gt_same", "gt", "<value>5</value>", 5, false},
        {"gte_same", "gte", "<value>5</value>", 5, true},
        {"gte_below", "gte", "<value>5</value>", 4, false},
        {"numbers_do_not_compare_as_text", "lt", "<value>10</value>", 9, true},
        {"texts_do", "lt", "<value>10</value>", "9", false},
        {"word_is_never_below", "lt", "<value>x</value>", 5, false},
        {"real_below_real", "lt", "<value>2.5</value>", 2.25, true},
        {"like", "like", "<value>A*</value>", "ABC", true},
        {"like_any_of_several", "like", "<value>X*</value><value>A*</value>", "ABC", true},
        {"like_none", "like", "<value>X*</value><value>Y*</value>", "ABC", false},
        {"like_of_a_number_and_its_digits", "like", "<value>5</value>", 5, false},
        {"notlike_of_all", "notlike", "<value>X*</value><value>Y*</value>", "XY", true},
        {"notlike_of_the_other", "notlike", "<value>X*</value><value>Y*</value>", "ABC", true},
        {"notlike_of_one", "notlike", "<value>X*</value>", "XY", false},
        {"notlike_of_a_number_and_its_digits", "notlike", "<value>5</value>", 5, true},
        {"like_of_null", "like", "<value>*</value>", null, true},
        {"like_of_null_empty_pattern", "like", "<value/>", null, true},
        {"like_of_null_and_a_letter", "like", "<value>A*</value>", null, false},
        {"like_of_null_any_of_several", "like", "<value>A*</value><value>*</value>", null, true},
        {"like_of_null_and_null", "like", "<value>NULL</value>", null, false},
        {"like_of_an_empty_value", "like", "<value>*</value>", empty, true},
        {"like_of_an_empty_value_empty_pattern", "like", "<value/>", empty, true},
        {"like_of_an_empty_value_and_a_letter", "like", "<value>A*</value>", empty, false},
        {"like_of_text_and_null", "like", "<value>NULL</value>", "ABC", true},
        {"like_of_number_and_null", "like", "<value>NULL</value>", 5, false},
        {"notlike_of_null", "notlike", "<value>*</value>", null, false},
        {"notlike_of_null_empty_pattern", "notlike", "<value/>", null, false},
        {"notlike_of_null_and_a_letter", "notlike", "<value>A*</value>", null, true},
        {"notlike_of_null_and_null", "notlike", "<value>NULL</value>", null, true},
        {"notlike_of_an_empty_value", "notlike", "<value>*</value>", empty, false},
        {"notlike_of_an_empty_value_and_a_letter", "notlike", "<value>A*</value>", empty, true},
        {"notlike_of_text_and_null", "notlike", "<value>NULL</value>", "ABC", false},
        {"notlike_without_operand", "notlike", "", "x", false},
        {"between_lower_bound", "between", "<value>10</value><value>20</value>", 10, true},
        {"between_upper_bound", "between", "<value>10</value><value>20</value>", 20, true},
        {"between_inside", "between", "<value>10</value><value>20</value>", 15, true},
        {"between_below", "between", "<value>10</value><value>20</value>", 9, false},
        {"between_above", "between", "<value>10</value><value>20</value>", 21, false},
        {"between_reversed", "between", "<value>20</value><value>10</value>", 15, false},
        {"between_reversed_at_a_bound", "between", "<value>20</value><value>10</value>", 20, false},
        {"between_one_operand", "between", "<value>10</value>", 10, false},
        {"between_three_operands", "between", "<value>10</value><value>20</value><value>30</value>", 15, false},
        {"between_no_operand", "between", "", 10, false},
        {"between_equal_bounds", "between", "<value>10</value><value>10</value>", 10, true},
        {"between_texts", "between", "<value>b</value><value>d</value>", "c", true},
        {"between_texts_of_digits", "between", "<value>10</value><value>20</value>", "9", false},
        {"between_reals", "between", "<value>0.5</value><value>1.5</value>", 1.5, true},
        {"between_null_bound", "between", "<value>NULL</value><value>20</value>", 15, false},
        {"between_null_upper_bound", "between", "<value>10</value><value>NULL</value>", 15, false},
        {"between_word_as_upper_bound", "between", "<value>10</value><value>x</value>", 15, true},
        {"between_word_bound", "between", "<value>x</value><value>20</value>", 15, false},
    };
}

class AttributeRuleRows : public AttributeRuleTest, public testing::WithParamInterface<EvaluateCase> {};

TEST_P(AttributeRuleRows, evaluate) {
    const EvaluateCase& row = GetParam();
    create(row.op, "", row.operands);
    EXPECT_EQ(holds(row.field), row.holds);
    EXPECT_EQ(holds(row.field), row.holds) << "again, now that operands have been converted";
    EXPECT_TRUE(messages->entries().empty());
}

INSTANTIATE_TEST_SUITE_P(Rows, AttributeRuleRows, testing::ValuesIn(evaluateCases()),
                         [](const auto& entry) { return std::string(entry.param.name); });

TEST_F(AttributeRuleTest, missingFieldIsReportedAndEmpty) {
    owner.name = bstr("B\xC3\xB8je");
    const struct {
        const char* op;
        const char* operands;
        bool holds;
        bool reports;
    } rows[] = {
        {"equal", "<value>5</value>", false, true},
        {"equal", "<value>NULL</value>", false, true},
        {"equal", "<value></value>", false, true},
        {"notequal", "<value>5</value>", true, true},
        {"notequal", "<value>NULL</value>", true, true},
        {"lt", "<value>5</value>", false, true},
        {"gte", "<value>5</value>", false, true},
        {"lte", "<value>NULL</value>", false, true},
        {"like", "<value>*</value>", true, true},
        {"notlike", "<value>*</value>", false, true},
        {"like", "<value/>", true, true},
        {"notlike", "<value/>", false, true},
        {"like", "<value>A*</value>", false, true},
        {"notlike", "<value>A*</value>", true, true},
        {"like", "<value>NULL</value>", false, true},
        {"notlike", "<value>NULL</value>", true, true},
    };
    for (const auto& row : rows) {
        create(row.op, "", row.operands);
        messages->clear();
        EXPECT_EQ(holdsWithoutField(messages), row.holds) << row.op << row.operands;
        EXPECT_EQ(messages->messages(), row.reports
                                            ? vector<string>{"Rule referenced field 'F' not found on 'B\xC3\xB8je'"}
                                            : vector<string>{})
            << row.op << row.operands;
        EXPECT_EQ(holdsWithoutField(nullptr), row.holds) << row.op << row.operands;
    }
}

TEST_F(AttributeRuleTest, rangeOfAMissingFieldIsSilentAndHolds) {
    // The bounds become the empty value of the field, and equal it; NULL cannot.
    const struct {
        const char* operands;
        bool holds;
    } rows[] = {
        {"<value>1</value><value>5</value>", true},     {"<value>5</value><value>1</value>", true},
        {"<value></value><value>x</value>", true},      {"<value>NULL</value><value>5</value>", false},
        {"<value>1</value><value>NULL</value>", false}, {"<value>1</value>", false},
    };
    for (const auto& row : rows) {
        create("between", "", row.operands);
        EXPECT_EQ(holdsWithoutField(messages), row.holds) << row.operands;
        EXPECT_EQ(holdsWithoutField(messages), row.holds) << row.operands << ", now that they are converted";
    }
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(AttributeRuleTest, missingFieldIsReportedOncePerEvaluation) {
    create("equal", "", "<value>1</value><value>2</value><value>3</value>");
    EXPECT_FALSE(holdsWithoutField(messages));
    EXPECT_EQ(messages->messages().size(), 1U);
}

TEST_F(AttributeRuleTest, emptyValueConvertsNoOperand) {
    create("equal", "", "<value>5</value>");
    EXPECT_FALSE(holds(empty));
    EXPECT_FALSE(holds(null));
    EXPECT_EQ(describe(rule->values.at(0)), "\"5\"");
}

TEST_F(AttributeRuleTest, operandKeepsTheTypeOfTheFirstRow) {
    create("equal", "", "<value>007</value>");
    EXPECT_TRUE(holds("007"));
    EXPECT_EQ(describe(rule->values.at(0)), "\"007\"");
    EXPECT_TRUE(holds(7));
    EXPECT_EQ(describe(rule->values.at(0)), "I4 7");
    EXPECT_FALSE(holds("007")) << "the operand has lost its zeros for good";
    EXPECT_EQ(describe(rule->values.at(0)), "\"7\"");
    EXPECT_TRUE(holds("7"));
}

TEST_F(AttributeRuleTest, operandIsConvertedThroughEveryTypeOnTheWay) {
    create("equal", "", "<value>1.5</value>");
    EXPECT_TRUE(holds(1.5));
    EXPECT_TRUE(holds(2)) << "rounded half to even";
    EXPECT_EQ(describe(rule->values.at(0)), "I4 2");
    EXPECT_FALSE(holds(1.5)) << "and the half is gone";
    EXPECT_EQ(describe(rule->values.at(0)), "R8 2");
}

TEST_F(AttributeRuleTest, operandThatDoesNotConvertStays) {
    create("equal", "", "<value>five</value><value>5</value>");
    EXPECT_TRUE(holds(5));
    EXPECT_EQ(describe(rule->values.at(0)), "\"five\"");
    EXPECT_EQ(describe(rule->values.at(1)), "I4 5");
    EXPECT_TRUE(holds("five"));
}

TEST_F(AttributeRuleTest, operandsAfterAMatchAreNotConverted) {
    create("equal", "", "<value>1</value><value>2</value>");
    EXPECT_TRUE(holds(1));
    EXPECT_EQ(describe(rule->values.at(0)), "I4 1");
    EXPECT_EQ(describe(rule->values.at(1)), "\"2\"");
}

TEST_F(AttributeRuleTest, nullOperandIsNeverConverted) {
    create("equal", "", "<value>NULL</value>");
    EXPECT_FALSE(holds(5));
    EXPECT_FALSE(holds("NULL"));
    EXPECT_EQ(describe(rule->values.at(0)), "NULL");
}

TEST_F(AttributeRuleTest, operandsConvertToEveryNumberType) {
    for (const VARENUM type :
         {VT_I1, VT_UI1, VT_I2, VT_UI2, VT_I4, VT_UI4, VT_I8, VT_UI8, VT_R4, VT_R8, VT_CY, VT_DECIMAL, VT_DATE}) {
        CComVariant field(5);
        ASSERT_EQ(field.ChangeType(static_cast<VARTYPE>(type)), S_OK) << type;
        for (const auto& [op, operand, expected] :
             {std::tuple{"equal", "5", true}, {"equal", "4", false}, {"lt", "6", true}, {"gte", "6", false}}) {
            if (type == VT_DATE) continue;  // a text of digits is a date of its own
            create(op, "value='" + string(operand) + "'");
            EXPECT_EQ(holds(Cell(field)), expected) << type << op << operand;
            EXPECT_EQ(rule->values.at(0).vt, type);
        }
    }
}

TEST_F(AttributeRuleTest, truthOperands) {
    CComVariant yes;
    yes.vt = VT_BOOL;
    yes.boolVal = VARIANT_TRUE;
    for (const char* text : {"True", "-1", "1"}) {
        create("equal", "value='" + string(text) + "'");
        EXPECT_TRUE(holds(Cell(yes))) << text;
    }
    create("equal", "value='False'");
    EXPECT_FALSE(holds(Cell(yes)));
}

TEST_F(AttributeRuleTest, operandField) {
    create("lt", "fieldValue='G'");
    EXPECT_TRUE(holds(4, 5));
    EXPECT_FALSE(holds(5, 5));
    EXPECT_TRUE(holds(4, "5")) << "converted to the field's type";
    EXPECT_FALSE(holds(4, "x"));
    EXPECT_FALSE(holds(4, null));
    EXPECT_FALSE(holds(null, 5));
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(AttributeRuleTest, operandFieldThatIsNullEqualsNull) {
    create("equal", "fieldValue='G'");
    EXPECT_TRUE(holds(null, null));
    EXPECT_FALSE(holds(5, null));
    EXPECT_FALSE(holds(null, 5));
    EXPECT_FALSE(holds(empty, 5)) << "an empty value converts nothing";
}

TEST_F(AttributeRuleTest, operandFieldAsPattern) {
    create("like", "fieldValue='G'");
    EXPECT_TRUE(holds(null, "*"));
    EXPECT_TRUE(holds(empty, "")) << "an empty pattern";
    EXPECT_FALSE(holds(null, "A*"));
    EXPECT_TRUE(holds("ABC", null)) << "no pattern is the empty one";
    EXPECT_TRUE(holds("ABC", empty));
    EXPECT_FALSE(holds(null, null));
    EXPECT_FALSE(holds(5, null));
}

TEST_F(AttributeRuleTest, operandFieldIsNotConvertedInTheRow) {
    create("equal", "fieldValue='G'");
    RowValueMap values(owner.fieldNames);
    values.append(bstr("F"), CComVariant(5));
    values.append(bstr("G"), CComVariant(bstr("5")));
    EXPECT_TRUE(rule->evaluate(values, messages));
    const auto slot = owner.fieldNames->find(bstr("G"));
    ASSERT_TRUE(slot.has_value());
    EXPECT_EQ(describe(*values.first(*slot)), "\"5\"");
}

TEST_F(AttributeRuleTest, missingOperandFieldIsFalseAndSilent) {
    for (const char* op : {"equal", "lt", "lte", "gt", "gte", "like", "notlike"}) {
        create(op, "fieldValue='ABSENT'");
        EXPECT_FALSE(holds(5)) << op;
    }
    create("notequal", "fieldValue='ABSENT'");
    EXPECT_TRUE(holds(5));
    EXPECT_TRUE(holds(null));
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(AttributeRuleTest, operandFieldOfEmptyNameFallsBackToTheEmptyList) {
    create("equal", "fieldValue='' value='5'");
    EXPECT_FALSE(holds(5));
    create("notequal", "fieldValue='' value='5'");
    EXPECT_TRUE(holds(5));
    EXPECT_TRUE(messages->entries().empty());
}

TEST_F(AttributeRuleTest, rangeIgnoresTheOperandField) {
    create("between", "fieldValue='G'");
    EXPECT_FALSE(holds(5, 5));
}

TEST_F(AttributeRuleTest, rangeConvertsItsBoundsInPlace) {
    create("between", "", "<value>10</value><value>20.4</value>");
    EXPECT_TRUE(holds(20));
    EXPECT_EQ(describe(rule->values.at(0)), "I4 10");
    EXPECT_EQ(describe(rule->values.at(1)), "I4 20");
    EXPECT_FALSE(holds(20.3)) << "the upper bound is 20 from now on";
}

TEST_F(AttributeRuleTest, rangeConvertsTheUpperBoundThoughTheLowerFails) {
    create("between", "", "<value>10</value><value>20</value>");
    EXPECT_FALSE(holds(5));
    EXPECT_EQ(describe(rule->values.at(1)), "I4 20");
}

TEST_F(AttributeRuleTest, nullFieldConvertsNoBound) {
    create("between", "", "<value>10</value><value>20</value>");
    EXPECT_FALSE(holds(null));
    EXPECT_EQ(describe(rule->values.at(0)), "\"10\"");
}

TEST_F(AttributeRuleTest, firstOfSeveralValuesOfAnEntryCounts) {
    create("equal", "value='1'");
    RowValueMap values(owner.fieldNames);
    values.append(bstr("F"), CComVariant(1));
    values.append(bstr("F"), CComVariant(2));
    EXPECT_TRUE(rule->evaluate(values, messages));
    create("equal", "value='2'");
    EXPECT_FALSE(rule->evaluate(values, messages));
}

TEST_F(AttributeRuleTest, fieldNamesAreCaseSensitive) {
    create("equal", "value='1'");
    RowValueMap values(owner.fieldNames);
    values.append(bstr("f"), CComVariant(1));
    EXPECT_FALSE(rule->evaluate(values, messages));
    EXPECT_EQ(messages->messages().size(), 1U);
}

TEST_F(AttributeRuleTest, rowsAreReadNotChanged) {
    create("equal", "value='5'");
    RowValueMap values(owner.fieldNames);
    values.append(bstr("F"), CComVariant(bstr("5")));
    EXPECT_TRUE(rule->evaluate(values, messages));
    EXPECT_EQ(describe(*values.first(*owner.fieldNames->find(bstr("F")))), "\"5\"");
}

class RowValueMapTest : public testing::Test {
protected:
    std::shared_ptr<ConditionalXml::FieldNames> names = std::make_shared<ConditionalXml::FieldNames>();
    RowValueMap values{names};
};

TEST_F(RowValueMapTest, nameHasItsValuesInOrder) {
    values.append(bstr("A"), CComVariant(1));
    values.append(bstr("B"), CComVariant(bstr("x")));
    values.append(bstr("A"), CComVariant(2));
    const auto slot = names->find(bstr("A"));
    ASSERT_TRUE(slot.has_value());
    ASSERT_EQ(values.values(*slot).size(), 2U);
    EXPECT_EQ(describe(values.values(*slot)[0]), "I4 1");
    EXPECT_EQ(describe(values.values(*slot)[1]), "I4 2");
    EXPECT_EQ(describe(*values.first(*slot)), "I4 1");
    EXPECT_TRUE(values.contains(*slot));
}

TEST_F(RowValueMapTest, nameThatWasInternedOnlyIsAbsent) {
    const auto slot = names->intern(bstr("A"));
    EXPECT_FALSE(values.contains(slot));
    EXPECT_EQ(values.first(slot), nullptr);
    EXPECT_TRUE(values.values(slot).empty());
    EXPECT_FALSE(names->find(bstr("a")).has_value());
}

TEST_F(RowValueMapTest, clearForgetsTheRowAndReleasesItsTexts) {
    const std::size_t before = names->size();
    values.append(bstr("A"), CComVariant(bstr("x")));
    values.clear();
    const auto slot = names->find(bstr("A"));
    ASSERT_TRUE(slot.has_value());
    EXPECT_FALSE(values.contains(*slot));
    CComVariant& value = values.append(*slot);
    EXPECT_EQ(describe(value), "EMPTY") << "nothing of the row before shows through";
    EXPECT_EQ(names->size(), before + 1);
}

TEST_F(RowValueMapTest, clearForgetsWhatThePlatformCannotRelease) {
    const auto slot = names->intern(bstr("A"));
    CComVariant& array = values.append(slot);
    array.llVal = 0;
    array.vt = VT_ARRAY | VT_I4;
    values.clear();
    EXPECT_EQ(describe(values.append(slot)), "EMPTY");
}

TEST_F(RowValueMapTest, namesKeepTheirNumbers) {
    const auto first = names->intern(bstr("A"));
    const auto second = names->intern(bstr("B"));
    EXPECT_NE(first, second);
    EXPECT_EQ(names->intern(bstr("A")), first);
    EXPECT_EQ(memhost::utf8(names->name(second).m_str), "B");
    EXPECT_EQ(names->size(), 2U);
}

}  // namespace
