// The module that a source is executed in, and the report of what goes wrong in it.
#include "python/expression_fixture.h"

#include <gmock/gmock.h>

namespace {

using std::string;

TEST(Module, conditionWithoutExpressionCallsNothing) {
    const LoadedMap loaded = LoadedMap::ofClass("Light", "<condition type='2' field='RESULT'/>");
    EXPECT_FALSE(loaded.map->conditions.at(0)->generate(ConditionalXml::RowValueMap(loaded.rule("LIGHT").fieldNames)));
}

TEST(Module, bodyRunsForEveryCall) {
    LoadedExpression loaded(
        "import builtins\nbuiltins.calls = getattr(builtins, 'calls', 0) + 1\n"
        "def Generate(): return str(builtins.calls)");
    loaded.generate();
    EXPECT_EQ(loaded.generated(), "1");
    loaded.generate();
    EXPECT_EQ(loaded.generated(), "2");
    EXPECT_TRUE(runHostPython("import builtins; del builtins.calls"));
}

TEST(Module, nothingOfAnEarlierCallIsSeen) {
    LoadedExpression loaded(
        "seen = globals().get('left', 'nothing')\nleft = 'something'\n"
        "def Generate(): return seen");
    loaded.generate();
    loaded.generate();
    EXPECT_EQ(loaded.generated(), "nothing");
}

TEST(Module, anotherConditionsGenerateIsNotSeen) {
    LoadedExpression with("def Generate(): return 'x'");
    LoadedExpression without("def Other(): return 'y'");
    EXPECT_TRUE(with.generate());
    EXPECT_THAT(without.report(), testing::HasSubstr("ptype = <class 'AttributeError'>"));
}

TEST(Module, isNamedCalcFields) {
    LoadedExpression loaded("def Generate(): return __name__ + ' ' + Generate.__module__");
    loaded.generate();
    EXPECT_EQ(loaded.generated(), "CalcFields CalcFields");
    EXPECT_TRUE(runHostPython("import sys; assert sys.modules['CalcFields'].__file__ == 'CalcFields'"))
        << "the module that was executed last stays";
}

TEST(Module, modulesOfTheStandardLibraryCanBeImported) {
    LoadedExpression loaded("import math, re, json, decimal, datetime\ndef Generate(): return str(math.floor(2.5))");
    loaded.generate();
    EXPECT_EQ(loaded.generated(), "2");
}

TEST(Report, missingGenerateIsNamed) {
    LoadedExpression loaded("x = 1");
    EXPECT_EQ(loaded.report(),
              "Encountered error processing Python in CXML!\n"
              "Rule Name: R\n"
              "Calculating Field: RESULT\n"
              "Function: x = 1\n"
              "ptype = <class 'AttributeError'>\n"
              "pvalue = the expression does not define the function 'Generate'\n");
}

TEST(Report, errorInTheBody) {
    LoadedExpression loaded("x = 1\nx / 0");
    EXPECT_EQ(loaded.report(),
              "Encountered error processing Python in CXML!\n"
              "Rule Name: R\n"
              "Calculating Field: RESULT\n"
              "Function: x = 1\nx / 0\n"
              "ptype = <class 'ZeroDivisionError'>\n"
              "pvalue = division by zero\n"
              "ptrace =\n"
              "frame0: CalcFields@2\n"
              "\n");
}

TEST(Report, everyFrameHasTheNumberZero) {
    LoadedExpression loaded("def f(): raise KeyError('deep')\ndef g():\n  f()\ndef Generate():\n  g()");
    EXPECT_EQ(loaded.report(),
              "Encountered error processing Python in CXML!\n"
              "Rule Name: R\n"
              "Calculating Field: RESULT\n"
              "Function: def f(): raise KeyError('deep')\ndef g():\n  f()\ndef Generate( ...\n"
              "ptype = <class 'KeyError'>\n"
              "pvalue = 'deep'\n"
              "ptrace =\n"
              "frame0: CalcFields@5\n"
              "frame0: CalcFields@3\n"
              "frame0: CalcFields@1\n"
              "\n");
}

TEST(Report, framesOfOtherFilesAreNamed) {
    LoadedExpression loaded("import json\ndef Generate(): return json.loads('{')");
    const string report = loaded.report();
    EXPECT_THAT(report, testing::HasSubstr("frame0: CalcFields@2\nframe0: "));
    EXPECT_THAT(report, testing::HasSubstr("json"));
}

TEST(Report, generateThatIsNoFunction) {
    LoadedExpression loaded("Generate = 5");
    EXPECT_THAT(loaded.report(), testing::HasSubstr("ptype = <class 'TypeError'>\n"
                                                    "pvalue = 'int' object is not callable\n"));
}

TEST(Report, linesWithoutNameAndField) {
    LoadedExpression loaded("x = 1", "type='2'");
    EXPECT_THAT(loaded.report(),
                testing::StartsWith("Encountered error processing Python in CXML!\nFunction: x = 1\n"));
}

TEST(Report, rowAndTextStayAsTheyWere) {
    LoadedExpression loaded("def Generate(): raise ValueError");
    loaded.condition().generatedValue = memhost::bstr("before");
    EXPECT_THAT(loaded.result("old").report(), testing::HasSubstr("ptype = <class 'ValueError'>\npvalue = \nptrace"));
    EXPECT_EQ(loaded.written(), "\"old\"");
    EXPECT_FALSE(loaded.changed());
    EXPECT_EQ(loaded.generated(), "before");
    EXPECT_TRUE(runHostPython("x = 1"));
}

TEST(Report, exceptionsThatRefuseToBeShown) {
    LoadedExpression loaded(
        "class E(Exception):\n  def __str__(self): raise ValueError\n"
        "def Generate(): raise E");
    EXPECT_THAT(loaded.report(), testing::HasSubstr("ptype = <class 'CalcFields.E'>\npvalue = ?\nptrace ="));
}

TEST(Report, exceptionTextWithLoneSurrogates) {
    LoadedExpression loaded("def Generate(): raise ValueError('\\ud800')");
    EXPECT_THAT(loaded.report(), testing::HasSubstr("pvalue = ?\n"));
}

}  // namespace
