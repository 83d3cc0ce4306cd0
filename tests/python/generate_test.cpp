// Calling "Generate" with values of a row and writing what it returns.
#include "python/allocations.h"
#include "python/expression_fixture.h"

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
        {"text up to its first zero", string("ab\0cd", 5), "'ab'"},
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

TEST(Arguments, textsBeyondAsciiComeThroughWhereNarrowTextIsUtf8) {
    const bool narrowIsUtf8 = memhost::narrowed("\xC3\xB8") == "\xC3\xB8";
    LoadedExpression loaded("def Generate(A): return repr(A)");
    EXPECT_EQ(loaded.put("A", {"b\xC3\xB8je"}).generate(), narrowIsUtf8);
    EXPECT_EQ(loaded.generated(), narrowIsUtf8 ? "'b\xC3\xB8je'" : "");
    EXPECT_TRUE(loaded.clearValues().put("A", {"\xF0\x9F\x9A\xA2"}).generate()) << "beyond the first plane";
    EXPECT_EQ(loaded.generated(), narrowIsUtf8 ? "'\xF0\x9F\x9A\xA2'" : "'\?\?'");
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
    PORTABLE_ONLY("no text in a code page of single bytes takes more room than its units");
    LoadedExpression loaded("def Generate(A): return A");
    EXPECT_TRUE(loaded.put("A", {"\xE2\x82\xAC"}).generate()) << "3 bytes and the zero in 4";
    EXPECT_FALSE(loaded.clearValues().put("A", {"\xE2\x82\xAC\xE2\x82\xAC"}).generate()) << "6 bytes and the zero in 6";
    EXPECT_TRUE(loaded.clearValues().put("A", {"\xE2\x82\xAC\xE2\x82\xACx"}).generate()) << "7 bytes and the zero in 8";
    LoadedExpression list("def Generate(A[]): return 'x'");
    EXPECT_FALSE(list.put("A", {"a", "\xE2\x82\xAC\xE2\x82\xAC"}).generate());
    EXPECT_TRUE(runHostPython("x = 1")) << "no error is left";
}

TEST(Arguments, textOfNoGreaterLengthIsConverted) {
    PORTABLE_ONLY("memory that is not touched costs nothing");
    LoadedExpression loaded("def Generate(A): raise ValueError('called')");
    constexpr UINT oneTooMany = 0x3FFFFFFF;
    BSTR text = SysAllocStringLen(nullptr, oneTooMany);
    ASSERT_NE(text, nullptr);
    EXPECT_FALSE(loaded.putText("A", text).generate());
}

TEST(Arguments, textNeedsNoMemoryOfItsOwn) {
    PORTABLE_ONLY("only ASCII reaches Python elsewhere");
    LoadedExpression loaded("def Generate(A): return str(len(A))");
    const auto allocationsOf = [&](const string& text) {
        loaded.clearValues().put("A", {text});
        EXPECT_TRUE(loaded.generate());
        const std::size_t before = allocations();
        EXPECT_TRUE(loaded.generate());
        return allocations() - before;
    };
    const std::size_t none = allocationsOf("");
    for (const std::size_t length : {1U, 512U, 513U, 100'000U}) {
        string accented;
        for (std::size_t i = 0; i < length; ++i) accented += "\xC3\xB8";
        EXPECT_EQ(allocationsOf(accented), none) << length;
        EXPECT_EQ(loaded.generated(), std::to_string(length));
        EXPECT_EQ(allocationsOf(string(length, 'x')), none) << length;
    }
}

TEST(Arguments, loneSurrogatesBecomeReplacementCharacters) {
    PORTABLE_ONLY("a code page of single bytes has no replacement character");
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
    string text;
    text.resize(10'000'000, 'x');
    EXPECT_TRUE(loaded.put("A", {text}).generate());
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
    LoadedExpression loaded("def Generate(): return 'x'");
    const FaultScope fault({.op = Op::FieldsFindField, .status = S_OK, .out = memhost::Out::Untouched});
    EXPECT_TRUE(loaded.generate());
    EXPECT_TRUE(fault.hit());
    EXPECT_FALSE(loaded.changed()) << "found, and nobody says where";
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
    const LengthCase rows[] = {
        {"one less than fits", "'x' * 2046", 2046},
        {"what fits", "'x' * 2047", 2047},
        {"one more", "'x' * 2048", 2047},
        {"two more", "'x' * 2049", 2047},
        {"huge", "'x' * 10**8", 2047},
        {"pairs that fit", "'\\U0001F6A2' * 1023", 2046},
        {"half a pair is left out", "'\\U0001F6A2' * 1024", 2046},
        {"pair at the very end", "'x' + '\\U0001F6A2' * 1023", 2047},
        {"pair that ends beyond", "'x' * 2046 + '\\U0001F6A2'", 2046},
        {"surrogates that happen to pair", "'x' * 2046 + '\\ud83d' + '\\udea2'", 2046},
        {"first of a pair before the character behind all second ones", "'x' * 2046 + '\\ud83d' + '\\ue000'", 2047},
        {"two second ones", "'x' * 2046 + '\\udc00' + '\\udc00'", 2047}};
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

}  // namespace
