// Expressions in runs over a feature class.
#include "python/expression_fixture.h"
#include "support/loaded_manager.h"

#include <gmock/gmock.h>

namespace {

using std::string;
using std::vector;

TEST(Run, failureIsAMessageAndTheRestIsEvaluated) {
    SymbologyManager manager = managerOf(
        "<conditionMap name='m'><featureClass name='Light'>"
        "<condition rulename='FAILS' type='2' field='RESULT' xoffset='4'><expression>def Generate(): raise "
        "ValueError('no')"
        "</expression></condition>"
        "<condition type='2' field='RESULT'><rule type='A' operator='equal' field='CAT' value='1'/>"
        "<expression>def Generate(CAT): return 'CAT ' + str(CAT)</expression></condition>"
        "</featureClass></conditionMap>");
    const auto table = memhost::Table("LIGHT")
                           .symbologyFields()
                           .field("RESULT", VT_BSTR)
                           .field("CAT", VT_I4)
                           .row({nullptr, 0.0, 0.0, 0.0, nullptr, 1})
                           .row({nullptr, 0.0, 0.0, 0.0, "old", 2})
                           .build();
    const auto messages = memhost::make<memhost::Messages>();
    EXPECT_TRUE(manager.symbolize(table->featureClass(), nullptr, messages));
    EXPECT_EQ(table->text(0, "RESULT"), "\"CAT 1\"");
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "\"FAILS\"");
    EXPECT_EQ(table->text(1, "RESULT"), "\"old\"");
    EXPECT_EQ(table->text(1, "SYMBOL_C"), "\"FAILS\"") << "the name that the condition had stored stands";
    EXPECT_EQ(table->text(1, "Xoffset_C"), "R8 4");
    const vector<string> texts = messages->messages();
    ASSERT_EQ(texts.size(), 2U);
    EXPECT_EQ(texts[0],
              "Encountered error processing Python in CXML!\nRule Name: FAILS\nCalculating Field: RESULT\n"
              "Function: def Generate(): raise ValueError('no')\nptype = <class 'ValueError'>\npvalue = no\nptrace =\n"
              "frame0: CalcFields@1\n\n");
    EXPECT_EQ(texts[1], texts[0]);
}

TEST(Run, onlyTypeTwoCalls) {
    for (const char* type : {"", "type='1'", "type='3'", "type='two'"}) {
        SymbologyManager manager =
            managerOf("<conditionMap name='m'><featureClass name='Light'><condition field='RESULT' " + string(type) +
                      "><expression>def Generate(): return 'x'</expression></condition></featureClass></conditionMap>");
        const auto table = memhost::Table("LIGHT").symbologyFields().field("RESULT", VT_BSTR).row({}).build();
        EXPECT_TRUE(manager.symbolize(table->featureClass(), nullptr, nullptr)) << type;
        EXPECT_EQ(table->text(0, "RESULT"), "NULL") << type;
    }
}

TEST(Run, secondRunChangesNothing) {
    SymbologyManager manager = managerOf(
        "<conditionMap name='m'><featureClass name='Light'><condition type='2' field='RESULT'>"
        "<expression>def Generate(HEIGHT): return '%gm' % HEIGHT</expression>"
        "</condition></featureClass></conditionMap>");
    const auto table = memhost::Table("LIGHT")
                           .symbologyFields()
                           .unfetched(memhost::Unfetched::HasItsValue)
                           .field("RESULT", VT_BSTR)
                           .field("HEIGHT", VT_R8)
                           .row({nullptr, nullptr, nullptr, nullptr, nullptr, 12.5})
                           .build();
    EXPECT_TRUE(manager.symbolize(table->featureClass(), nullptr, nullptr));
    EXPECT_EQ(table->text(0, "RESULT"), "\"12.5m\"");
    EXPECT_EQ(table->updates.size(), 1U);
    EXPECT_TRUE(manager.symbolize(table->featureClass(), nullptr, nullptr));
    EXPECT_EQ(table->updates.size(), 1U);
}

TEST(Run, computedFieldMayBeTheFirst) {
    SymbologyManager manager = managerOf(
        "<conditionMap name='m'><featureClass name='Light'><condition type='2' field='RESULT'>"
        "<expression>def Generate(): return 'x'</expression></condition></featureClass></conditionMap>");
    const auto table = memhost::Table("LIGHT").field("RESULT", VT_BSTR).symbologyFields().row({nullptr}).build();
    EXPECT_TRUE(manager.symbolize(table->featureClass(), nullptr, nullptr));
    EXPECT_EQ(table->text(0, "RESULT"), "\"x\"");
}

TEST(Run, resetClearsTheComputedField) {
    SymbologyManager manager = managerOf(
        "<conditionMap name='m'><featureClass name='Light'><condition type='2' field='RESULT'>"
        "<expression>def Generate(): return 'x'</expression></condition></featureClass></conditionMap>");
    const auto table =
        memhost::Table("LIGHT").symbologyFields().field("RESULT", VT_BSTR).row({"S", 1.0, 1.0, 1.0, "x"}).build();
    EXPECT_TRUE(manager.resetReps(table->featureClass()));
    EXPECT_EQ(table->text(0, "RESULT"), "NULL");
    EXPECT_EQ(table->text(0, "SYMBOL_C"), "NULL");
}

}  // namespace
