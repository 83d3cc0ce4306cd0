// The module that a source is executed in, and the report of what goes wrong in it.
#include "python/expression_fixture.h"

#include <gmock/gmock.h>
#include <regex>

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

TEST(Module, hasTheNamesThatPythonGivesOne) {
    const string source =
        "def Generate():\n  names = sorted(n for n in globals() if n.startswith('__'))\n  s = __spec__\n"
        "  return repr((names, __name__, __file__, __cached__, __package__, __doc__, type(__loader__).__name__,\n"
        "    __loader__.name, __loader__.path, s.loader is __loader__, s.name, s.origin, s.cached, s.has_location,\n"
        "    s.submodule_search_locations, s.parent))";
    const string expected = resultOfPythonsOwnModule(source);
    EXPECT_THAT(expected, testing::HasSubstr("'__builtins__', '__cached__', '__doc__', '__file__', '__loader__', "));
    LoadedExpression loaded(source);
    for (int call = 0; call < 2; ++call) {
        EXPECT_TRUE(loaded.generate());
        EXPECT_EQ(loaded.generated(), expected);
    }
}

TEST(Module, namesThatAnotherCallChangedAreAsTheyWere) {
    LoadedExpression changes(
        "def Generate():\n  global __spec__, __loader__, __file__\n  __spec__ = __loader__ = __file__ = 5\n"
        "  del globals()['__cached__']\n  return 'x'");
    EXPECT_TRUE(changes.generate());
    LoadedExpression after("def Generate(): return repr((__spec__.name, __loader__.name, __file__, __cached__))");
    EXPECT_TRUE(after.generate());
    EXPECT_EQ(after.generated(), "('CalcFields', 'CalcFields', 'CalcFields', None)");
}

TEST(Module, thatFailsDoesNotStay) {
    LoadedExpression good("def Generate(): return 'x'");
    LoadedExpression fails("import sys\nhere = sys.modules[__name__].__dict__ is globals()\nraise ValueError(here)");
    EXPECT_TRUE(good.generate());
    EXPECT_THAT(fails.report(), testing::HasSubstr("pvalue = True\n"));
    EXPECT_TRUE(runHostPython("import sys; assert 'CalcFields' not in sys.modules"));
    LoadedExpression raises("def Generate(): raise ValueError");
    EXPECT_THAT(raises.report(), testing::HasSubstr("ptype = <class 'ValueError'>"));
    EXPECT_TRUE(runHostPython("import sys; assert 'CalcFields' in sys.modules")) << "its body did not fail";
}

TEST(Module, thatFailsLeavesWhatStandsInItsPlace) {
    // Another thread's module, say.
    LoadedExpression fails("import sys\nsys.modules[__name__] = sys\nraise ValueError");
    EXPECT_THAT(fails.report(), testing::HasSubstr("ptype = <class 'ValueError'>"));
    EXPECT_TRUE(runHostPython("import sys; assert sys.modules['CalcFields'] is sys"));
}

TEST(Module, goesWithTheNextCall) {
    ASSERT_TRUE(runHostPython("import builtins, gc; gc.disable(); builtins.seen = []"));
    LoadedExpression loaded(
        "import builtins, weakref\ndef helper(): return Generate\ndef Generate():\n"
        "  alive = sum(1 for one in builtins.seen if one() is not None)\n"
        "  builtins.seen.append(weakref.ref(helper))\n  return str(alive)");
    for (const char* alive : {"0", "0", "0"}) {
        EXPECT_TRUE(loaded.generate());
        EXPECT_EQ(loaded.generated(), alive) << "without the garbage collector";
    }
    EXPECT_TRUE(runHostPython("gc.enable(); del builtins.seen"));
}

TEST(Module, whatIsKeptOfItStaysWhole) {
    // A function, a class, a generator and a closure are kept in turn: each still finds the module's names.
    ASSERT_TRUE(runHostPython("import builtins; builtins.kept = []"));
    LoadedExpression loaded(
        "import builtins\nword = 'whole'\ndef plain(): return word\nclass Kept:\n  def say(self): return word\n"
        "def steps():\n  yield 1\n  yield word\ndef around():\n  def inner(): return word\n  return inner\n"
        "def Generate():\n  n = len(builtins.kept)\n  s = steps(); next(s)\n"
        "  builtins.kept.append([plain, Kept().say, lambda: next(s), around()][n % 4])\n  return 'x'");
    for (int call = 0; call < 5; ++call) EXPECT_TRUE(loaded.generate());
    EXPECT_TRUE(runHostPython("assert [one() for one in builtins.kept] == ['whole'] * 5\ndel builtins.kept"));
}

TEST(Module, anEntryOfSomeoneElsesIsReplacedAndStaysWhole) {
    for (const bool firstCall : {true, false}) {
        if (firstCall) forgetNamesOfModules();
        ASSERT_TRUE(
            runHostPython("import sys, types; mine = types.ModuleType('CalcFields'); mine.x = 1; "
                          "before = dict(vars(mine)); sys.modules['CalcFields'] = mine"));
        LoadedExpression loaded("def Generate(): return 'x'");
        EXPECT_TRUE(loaded.generate());
        EXPECT_TRUE(runHostPython("assert vars(mine) == before and sys.modules['CalcFields'] is not mine; del mine"))
            << (firstCall ? "first call" : "later call");
    }
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

TEST(Report, shortOfMemoryItHasWhatCouldBeHad) {
    const FailingPythonMemory memory;
    // From the exception's text on, one allocation after the other fails. Line numbers beyond 256 need one, too.
    LoadedExpression loaded(string(300, '\n') +
                            "class E(Exception):\n  def __str__(self):\n    fail_allocation(N)\n    return 'short'\n"
                            "def Generate(N):\n  globals()['N'] = N\n  raise E");
    const std::regex whole(
        "Encountered error processing Python in CXML!\n[^]*\nptype = <class 'CalcFields\\.E'>\npvalue = (short|\\?)\n"
        "ptrace =\n(frame0: (CalcFields|\\?)@(307|\\?)\n)?\n");
    int failures = 0;
    for (int nth = 1;; ++nth, ++failures) {
        const string report = loaded.clearValues().put("N", {nth}).report();
        EXPECT_TRUE(std::regex_match(report, whole)) << nth << ": " << report;
        if (!FailingPythonMemory::takeFailed()) break;
    }
    EXPECT_GT(failures, 3) << "the names of the frame and of the line, the line";
}

TEST(Report, exceptionTextWithLoneSurrogates) {
    LoadedExpression loaded("def Generate(): raise ValueError('\\ud800')");
    EXPECT_THAT(loaded.report(), testing::HasSubstr("pvalue = ?\n"));
}

}  // namespace
