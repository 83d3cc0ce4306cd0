// Calling "Generate" with values of a row and writing what it returns.
#include "python/expression_fixture.h"

#include "support/loaded_manager.h"

#include <gmock/gmock.h>
#include <limits>

namespace {

using memhost::Cell;
using memhost::FaultScope;
using memhost::Op;
using std::string;
using std::vector;

// ---- arguments ----

CComVariant typed(VARTYPE type, LONGLONG number) {
    CComVariant value;
    value.vt = type;
    value.llVal = number;
    return value;
}

struct ArgumentCase {
    const char* name;
    Cell value;
    string shown;  // repr() in Python
};

TEST(Arguments, eachTypeBecomesItsPythonObject) {
    const ArgumentCase rows[] = {
        {"NULL", nullptr, "None"},
        {"number", 42, "42"},
        {"negative number", -1, "-1"},
        {"least number", std::numeric_limits<int>::min(), "-2147483648"},
        {"double", 2.5, "2.5"},
        {"whole double", 3.0, "3.0"},
        {"infinity", std::numeric_limits<double>::infinity(), "inf"},
        {"not a number", std::numeric_limits<double>::quiet_NaN(), "nan"},
        {"text", "Fl(2)", "'Fl(2)'"},
        {"empty text", "", "''"},
        {"text with quotes", "it's \"so\"", R"('it\'s "so"')"},
        {"text with line feed", "a\nb", R"('a\nb')"},
        {"text with percent and semicolon", "100%;", "'100%;'"},
        {"text beyond ASCII", "b\xC3\xB8je", "'b\xC3\xB8je'"},
        {"text up to its first zero", string("ab\0cd", 5), "'ab'"},
        {"text beyond the first plane", "\xF0\x9F\x9A\xA2", "'\xF0\x9F\x9A\xA2'"},
        {"short", typed(VT_I2, 7), "None"},
        {"64 bits", typed(VT_I8, 7), "None"},
        {"float", typed(VT_R4, 0), "None"},
        {"boolean", typed(VT_BOOL, -1), "None"},
        {"date", typed(VT_DATE, 0), "None"},
        {"empty", typed(VT_EMPTY, 0), "None"},
        {"null text", typed(VT_BSTR, 0), "''"},
    };
    LoadedExpression loaded("def Generate(A): return repr(A)");
    for (const ArgumentCase& row : rows) {
        EXPECT_TRUE(loaded.clearValues().put("A", {row.value}).generate()) << row.name;
        EXPECT_EQ(loaded.generated(), row.shown) << row.name;
    }
}

TEST(Arguments, listTakesAllValuesAlsoOfOne) {
    LoadedExpression loaded("def Generate(A[]): return repr(A)");
    EXPECT_TRUE(loaded.put("A", {"x"}).generate());
    EXPECT_EQ(loaded.generated(), "['x']");
    EXPECT_TRUE(loaded.clearValues().put("A", {1, nullptr, "x", 2.5}).generate());
    EXPECT_EQ(loaded.generated(), "[1, None, 'x', 2.5]");
}

TEST(Arguments, withoutTheMarkOnlyTheFirstValue) {
    LoadedExpression loaded("def Generate(A): return repr(A)");
    EXPECT_TRUE(loaded.put("A", {1, 2, 3}).generate());
    EXPECT_EQ(loaded.generated(), "1");
}

TEST(Arguments, keepTheirOrder) {
    LoadedExpression loaded("def Generate(B, A[], C): return repr((B, A, C))");
    EXPECT_TRUE(loaded.put("A", {1, 2}).put("B", {"b"}).put("C", {nullptr}).generate());
    EXPECT_EQ(loaded.generated(), "('b', [1, 2], None)");
}

TEST(Arguments, missingFieldCallsNothing) {
    LoadedExpression loaded("def Generate(A, B): raise ValueError('called')");
    loaded.condition().generatedValue = memhost::bstr("before");
    EXPECT_FALSE(loaded.result("old").put("A", {1}).generate());
    EXPECT_EQ(loaded.generated(), "before");
    EXPECT_EQ(loaded.written(), "\"old\"");
    EXPECT_FALSE(loaded.changed());
}

TEST(Arguments, namesMatchExactly) {
    LoadedExpression loaded("def Generate(A): return 'x'");
    EXPECT_FALSE(loaded.put("a", {1}).generate());
}

TEST(Arguments, moduleBodyRunsBeforeTheArgumentsAreLookedFor) {
    LoadedExpression loaded("raise ValueError('body')\ndef Generate(A): pass");
    EXPECT_THAT(loaded.report(), testing::HasSubstr("pvalue = body\n"));
}

TEST(Arguments, textThatDoesNotFitItsBufferIsNotConverted) {
    LoadedExpression loaded("def Generate(A): return A");
    EXPECT_TRUE(loaded.put("A", {"\xE2\x82\xAC"}).generate()) << "3 bytes and the zero in 4";
    EXPECT_FALSE(loaded.clearValues().put("A", {"\xE2\x82\xAC\xE2\x82\xAC"}).generate()) << "6 bytes and the zero in 6";
    EXPECT_TRUE(loaded.clearValues().put("A", {"\xE2\x82\xAC\xE2\x82\xACx"}).generate()) << "7 bytes and the zero in 8";
    LoadedExpression list("def Generate(A[]): return 'x'");
    EXPECT_FALSE(list.put("A", {"a", "\xE2\x82\xAC\xE2\x82\xAC"}).generate());
    EXPECT_TRUE(runHostPython("x = 1")) << "no error is left";
}

TEST(Arguments, loneSurrogatesBecomeReplacementCharacters) {
    LoadedExpression loaded("def Generate(A): return ascii(A)");
    CComVariant value;
    const OLECHAR units[] = {OLESTR('a'), OLECHAR(0xD800), OLESTR('b')};
    value.vt = VT_BSTR;
    value.bstrVal = SysAllocStringLen(units, 3);
    EXPECT_TRUE(loaded.put("A", {value}).generate());
    EXPECT_EQ(loaded.generated(), R"('a\ufffdb')");
}

TEST(Arguments, tenMegabytesOfText) {
    LoadedExpression loaded("def Generate(A): return str(len(A))");
    EXPECT_TRUE(loaded.put("A", {string(10'000'000, 'x')}).generate());
    EXPECT_EQ(loaded.generated(), "10000000");
}

TEST(Arguments, wrongNumberIsAnErrorOfTheCall) {
    LoadedExpression loaded("# Generate(A)\ndef Generate(): return 'x'");
    EXPECT_THAT(loaded.put("A", {1}).report(),
                testing::HasSubstr("ptype = <class 'TypeError'>\n"
                                   "pvalue = Generate() takes 0 positional arguments but 1 was given\n"));
}

// ---- results ----

TEST(Results, noneWritesNullOverAText) {
    LoadedExpression loaded("def Generate(): return None");
    EXPECT_TRUE(loaded.result("old").generate());
    EXPECT_EQ(loaded.written(), "NULL");
    EXPECT_TRUE(loaded.changed());
    EXPECT_EQ(loaded.generated(), "");
}

TEST(Results, emptyTextWritesNullOverAText) {
    LoadedExpression loaded("def Generate(): return ''");
    EXPECT_TRUE(loaded.result("old").generate());
    EXPECT_EQ(loaded.written(), "NULL");
    EXPECT_TRUE(loaded.changed());
}

TEST(Results, noneLeavesAnEmptyText) {
    LoadedExpression loaded("def Generate(): return None");
    EXPECT_TRUE(loaded.result("").generate());
    EXPECT_EQ(loaded.written(), "\"\"");
    EXPECT_FALSE(loaded.changed());
}

TEST(Results, valueThatIsNoTextIsWrittenAgain) {
    LoadedExpression none("def Generate(): return None");
    EXPECT_TRUE(none.result(nullptr).generate());
    EXPECT_EQ(none.written(), "NULL");
    EXPECT_TRUE(none.changed());
    LoadedExpression text("def Generate(): return '5'");
    EXPECT_TRUE(text.result(5).generate());
    EXPECT_EQ(text.written(), "\"5\"");
    EXPECT_TRUE(text.changed());
}

TEST(Results, equalTextIsNotWritten) {
    LoadedExpression loaded("def Generate(): return 'Fl R'");
    const memhost::CallCount puts(Op::RowPutValue);
    EXPECT_TRUE(loaded.result("Fl R").generate());
    EXPECT_EQ(puts(), 0);
    EXPECT_FALSE(loaded.changed());
    EXPECT_EQ(loaded.generated(), "Fl R");
}

TEST(Results, equalTextLeavesWhatChangedBefore) {
    LoadedExpression loaded("def Generate(): return 'x'");
    loaded.result("x").generate();
    const auto table = memhost::Table("LIGHT").field("RESULT", VT_BSTR).row({"x"}).build();
    const auto row = table->row(0);
    loaded.rule().currentRow = row;
    loaded.rule().changed = true;
    EXPECT_TRUE(loaded.condition().generate(ConditionalXml::RowValueMap(loaded.rule().fieldNames)));
    EXPECT_TRUE(loaded.changed());
    loaded.rule().currentRow = nullptr;
}

TEST(Results, textThatDiffersInCaseIsWritten) {
    LoadedExpression loaded("def Generate(): return 'fl r'");
    EXPECT_TRUE(loaded.result("Fl R").generate());
    EXPECT_EQ(loaded.written(), "\"fl r\"");
    EXPECT_TRUE(loaded.changed());
}

TEST(Results, subclassOfStrIsAText) {
    LoadedExpression loaded("class T(str): pass\ndef Generate(): return T('x')");
    EXPECT_TRUE(loaded.generate());
    EXPECT_EQ(loaded.written(), "\"x\"");
}

TEST(Results, otherTypesAreRefusedAndToldToTheDebugger) {
    for (const char* value : {"5", "2.5", "True", "['x']", "b'x'", "object()"}) {
        const DebugRecorder debugger;
        const string source = "def Generate(): return " + string(value);
        LoadedExpression loaded(source);
        loaded.condition().generatedValue = memhost::bstr("before");
        EXPECT_FALSE(loaded.result("old").generate()) << value;
        EXPECT_EQ(loaded.written(), "\"old\"") << value;
        EXPECT_FALSE(loaded.changed()) << value;
        EXPECT_EQ(loaded.generated(), "before") << value;
        EXPECT_EQ(debugger.texts, vector<string>{"Unexpected return type from python function:\n" + source});
    }
}

TEST(Results, missingTargetFieldIsSilent) {
    LoadedExpression loaded("def Generate(): return 'x'", "type='2' field='ABSENT'");
    EXPECT_TRUE(loaded.generate());
    EXPECT_FALSE(loaded.changed());
    EXPECT_EQ(loaded.generated(), "x");
}

TEST(Results, noTargetFieldIsSilent) {
    LoadedExpression loaded("def Generate(): return 'x'", "type='2'");
    EXPECT_TRUE(loaded.generate());
    EXPECT_FALSE(loaded.changed());
}

TEST(Results, refusedWriteIsNotAsked) {
    LoadedExpression loaded("def Generate(): return 'x'");
    const FaultScope fault({.op = Op::RowPutValue});
    EXPECT_TRUE(loaded.generate());
    EXPECT_TRUE(fault.hit());
    EXPECT_TRUE(loaded.changed());
}

TEST(Results, fieldsThatCannotBeHadAreNotWritten) {
    for (const Op op : {Op::RowGetFields, Op::FieldsFindField}) {
        LoadedExpression loaded("def Generate(): return 'x'");
        const FaultScope fault({.op = op, .everAfter = true});
        EXPECT_TRUE(loaded.generate());
        EXPECT_FALSE(loaded.changed());
    }
}

TEST(Results, valueThatCannotBeReadIsWritten) {
    LoadedExpression loaded("def Generate(): return 'x'");
    const FaultScope fault({.op = Op::RowGetValue});
    EXPECT_TRUE(loaded.result("x").generate());
    EXPECT_TRUE(loaded.changed());
}

struct LengthCase {
    const char* name;
    const char* expression;
    std::size_t units;
};

TEST(Results, longTextsAreCutAtTheBuffer) {
    const LengthCase rows[] = {{"one less than fits", "'x' * 2046", 2046},
                               {"what fits", "'x' * 2047", 2047},
                               {"one more", "'x' * 2048", 2047},
                               {"two more", "'x' * 2049", 2047},
                               {"huge", "'x' * 10**8", 2047},
                               {"pairs that fit", "'\\U0001F6A2' * 1023", 2046},
                               {"half a pair is left out", "'\\U0001F6A2' * 1024", 2046},
                               {"pair at the very end", "'x' + '\\U0001F6A2' * 1023", 2047},
                               {"pair that ends beyond", "'x' * 2046 + '\\U0001F6A2'", 2046},
                               {"surrogates that happen to pair", "'x' * 2046 + '\\ud83d' + '\\udea2'", 2046}};
    for (const LengthCase& row : rows) {
        LoadedExpression loaded("def Generate(): return " + string(row.expression));
        EXPECT_TRUE(loaded.generate()) << row.name;
        EXPECT_EQ(loaded.condition().generatedValue.Length(), row.units) << row.name;
    }
}

TEST(Results, loneSurrogateIsKept) {
    LoadedExpression loaded("def Generate(): return 'a\\ud800b'");
    EXPECT_TRUE(loaded.generate());
    const CComBSTR& text = loaded.condition().generatedValue;
    ASSERT_EQ(text.Length(), 3U);
    EXPECT_EQ(text.m_str[1], OLECHAR(0xD800));
}

TEST(Results, embeddedZeroEndsTheText) {
    LoadedExpression loaded("def Generate(): return 'ab\\0cd'");
    EXPECT_TRUE(loaded.generate());
    EXPECT_EQ(loaded.written(), "\"ab\"");
}

TEST(Results, textBeyondTheFirstPlane) {
    LoadedExpression loaded("def Generate(): return '\\U0001F6A2'");
    EXPECT_TRUE(loaded.generate());
    EXPECT_EQ(loaded.written(), "\"\xF0\x9F\x9A\xA2\"");
}

// ---- module ----

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

// ---- report ----

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

// ---- hostile ----

TEST(Hostile, exitIsAnError) {
    for (const char* call : {"import sys\ndef Generate(): sys.exit(3)", "def Generate(): raise SystemExit(3)",
                             "import sys\nsys.exit(3)\ndef Generate(): pass"}) {
        LoadedExpression loaded(call);
        EXPECT_THAT(loaded.report(), testing::HasSubstr("ptype = <class 'SystemExit'>\npvalue = 3\n"));
    }
}

TEST(Hostile, interruptIsAnError) {
    LoadedExpression loaded("def Generate(): raise KeyboardInterrupt");
    EXPECT_THAT(loaded.report(), testing::HasSubstr("ptype = <class 'KeyboardInterrupt'>"));
}

TEST(Hostile, recursionWithoutEndIsAnError) {
    LoadedExpression loaded("def Generate(): return Generate()");
    EXPECT_THAT(loaded.report(), testing::HasSubstr("ptype = <class 'RecursionError'>\n"
                                                    "pvalue = maximum recursion depth exceeded"));
    LoadedExpression after("def Generate(): return 'fine'");
    EXPECT_TRUE(after.generate());
}

TEST(Hostile, moduleReplacedOrTakenOutOfTheTable) {
    for (const char* body : {"sys.modules['CalcFields'] = 5", "sys.modules['CalcFields'] = sys",
                             "del sys.modules['CalcFields']", "sys.modules[__name__] = None"}) {
        LoadedExpression inBody("import sys\n" + string(body) + "\ndef Generate(): return 'x'");
        EXPECT_TRUE(inBody.generate()) << body;
        EXPECT_EQ(inBody.generated(), "x") << body;
        LoadedExpression inCall("import sys\ndef Generate():\n  " + string(body) + "\n  return 'y'");
        EXPECT_TRUE(inCall.generate()) << body;
        EXPECT_TRUE(inCall.generate()) << body;
        EXPECT_EQ(inCall.generated(), "y") << body;
    }
}

TEST(Hostile, moduleTableReplaced) {
    ASSERT_TRUE(runHostPython("import sys, builtins; builtins.kept = sys.modules"));
    LoadedExpression loaded("import sys\nsys.modules = {}\ndef Generate(): return 'x'");
    loaded.report();
    EXPECT_TRUE(
        runHostPython("import builtins; s = builtins.kept['sys']; s.modules = builtins.kept; del builtins.kept"));
    LoadedExpression after("import json\ndef Generate(): return 'fine'");
    EXPECT_TRUE(after.generate());
}

TEST(Hostile, functionThatDeletesItself) {
    LoadedExpression loaded(
        "import gc\nclass F:\n  def __call__(self):\n    global Generate\n    del Generate\n"
        "    gc.collect()\n    return 'x' + type(self).__name__\nGenerate = F()\n# Generate()");
    EXPECT_TRUE(loaded.generate());
    EXPECT_EQ(loaded.generated(), "xF");
}

TEST(Hostile, moduleThatClearsItself) {
    LoadedExpression loaded("def Generate():\n  globals().clear()\n  return 'x'");
    EXPECT_TRUE(loaded.generate());
    EXPECT_EQ(loaded.generated(), "x");
}

TEST(Hostile, argumentsAreTheExpressionsToChange) {
    LoadedExpression loaded("def Generate(A[]):\n  A.clear()\n  return str(len(A))");
    EXPECT_TRUE(loaded.put("A", {1, 2}).generate());
    EXPECT_TRUE(loaded.generate());
    EXPECT_EQ(loaded.generated(), "0") << "the next call has a list of its own";
}

TEST(Hostile, threadThatEnds) {
    LoadedExpression loaded(
        "import threading\ndef Generate():\n  r = []\n"
        "  t = threading.Thread(target=lambda: r.append('done'))\n  t.start()\n  t.join()\n"
        "  return r[0]");
    EXPECT_TRUE(loaded.generate());
    EXPECT_EQ(loaded.generated(), "done");
}

TEST(Hostile, memoryThatCannotBeHad) {
    LoadedExpression loaded("def Generate(): return 'x' * (1 << 62)");
    EXPECT_THAT(loaded.report(), testing::HasSubstr("ptype = <class 'MemoryError'>"));
}

// ---- in a run ----

TEST(Run, failureIsAMessageAndTheRestIsEvaluated) {
    SymbologyManager manager = managerOf(
        "<conditionMap name='m'><featureClass name='Light'>"
        "<condition rulename='FAILS' type='2' field='RESULT' xoffset='4'><expression>def Generate(): raise "
        "ValueError('no')"
        "</expression></condition>"
        "<condition type='2' field='RESULT'><rule type='A' operator='equal' field='CAT' value='1'/>"
        "<expression>def Generate(CAT): return 'CAT ' + str(CAT)</expression></condition>"
        "</featureClass></conditionMap>");
    watchCode(*SymbologyManagerAccess::currentMap(manager));
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
