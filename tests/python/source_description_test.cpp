// What Python source defines, found without running it.
#include "host/python/source_description.h"

#include <gtest/gtest.h>
#include <ostream>

namespace {

using embedded_host::PythonSource;

struct Source {
    const char* name;
    const char* text;
    const char* description;  // as shown() gives it
};

void PrintTo(const Source& source, std::ostream* out) {
    *out << source.name;
}

// "3: message", "no", "maybe", or "1-2 (A B)", "1-* (A)", "1-1 (A) needs B".
std::string shown(const PythonSource& source) {
    if (source.error) return std::to_string(source.error->line) + ": " + source.error->message;
    if (!source.signature) return source.function == PythonSource::Defines::No ? "no" : "maybe";
    std::string text = std::to_string(source.signature->least) + "-" +
                       (source.signature->most ? std::to_string(*source.signature->most) : "*") + " (";
    for (const std::string& name : source.signature->names) text += (text.back() == '(' ? "" : " ") + name;
    text += ')';
    for (const std::string& name : source.signature->mustBeNamed) text += " needs " + name;
    return text;
}

class SourceDescription : public testing::TestWithParam<Source> {};

TEST_P(SourceDescription, IsAsExpected) {
    EXPECT_EQ(shown(embedded_host::describePythonSource(GetParam().text, "Generate")), GetParam().description);
}

const Source sources[] = {
    {"Empty", "", "no"},
    {"NoArguments", "def Generate(): pass", "0-0 ()"},
    {"Arguments", "def Generate(A, B): pass", "2-2 (A B)"},
    {"Defaults", "def Generate(A, /, B=1): pass", "1-2 (A B)"},
    {"Star", "def Generate(A, *rest, **more): pass", "1-* (A)"},
    {"KeywordOnly", "def Generate(A, *, B, C=1): pass", "1-1 (A) needs B"},
    {"LastDefinitionCounts", "def Generate(A): pass\ndef Generate(A, B): pass", "2-2 (A B)"},
    {"OtherCase", "def generate(A): pass", "no"},
    {"OnlyMentioned", "x = 'Generate'\nGenerate", "no"},
    {"Assigned", "Generate = len", "maybe"},
    {"Deleted", "def Generate(): pass\ndel Generate", "maybe"},
    {"Decorated", "import functools\n@functools.cache\ndef Generate(): pass", "maybe"},
    {"Conditional", "if 1:\n    def Generate(): pass", "maybe"},
    {"OfAClass", "class C:\n    def Generate(self): pass", "maybe"},
    {"Coroutine", "async def Generate(): pass", "maybe"},
    {"Imported", "from labels import Generate", "maybe"},
    {"ImportedAs", "from labels import label as Generate", "maybe"},
    {"StarImported", "from math import *", "maybe"},
    {"Executed", "exec('x = 1')", "maybe"},
    {"Globals", "globals()['Generate'] = len", "maybe"},
    {"ExceptionName", "try: pass\nexcept ValueError as Generate: pass", "maybe"},
    {"Pattern", "match 1:\n    case Generate: pass", "maybe"},
    {"NotPython", "x = 1\ndef Generate(:", "2: invalid syntax"},
    {"FoundByTheCompiler", "\nreturn 1", "2: 'return' outside function"},
    {"Indentation", "def Generate():\n  if 1:\n    a\n   b", "4: unindent does not match any outer indentation level"},
    {"NotUtf8", "x = '\xFF'",
     "1: (unicode error) 'utf-8' codec can't decode byte 0xff in position 0: invalid start byte"},
    {"Raises", "raise SystemExit\ndef Generate(A): pass", "1-1 (A)"},
    {"WarnsOnly", "def Generate(A): return '\\d'", "1-1 (A)"},
};

INSTANTIATE_TEST_SUITE_P(All, SourceDescription, testing::ValuesIn(sources),
                         [](const auto& tested) { return tested.param.name; });

// "5 6: a b | 3 feat": the lines of returned numbers, what is bound, and what is not.
std::string namesOf(const char* text) {
    const PythonSource source = embedded_host::describePythonSource(text, "Generate");
    std::string shown;
    for (const int line : source.numberLines) shown += std::to_string(line) + ' ';
    shown += ':';
    for (const std::string& name : source.binds) shown += ' ' + name;
    shown += " |";
    for (const auto& use : source.unbound) shown += ' ' + std::to_string(use.line) + ' ' + use.name;
    return shown;
}

TEST(SourceDescriptions, TellNumbersThatAreReturned) {
    const std::pair<const char*, const char*> rows[] = {
        {"def Generate(A): return 5", "1 : A Generate |"},
        {"def Generate(A):\n if A: return -1.5\n return len(A) + 1", "2 3 : A Generate |"},
        {"def Generate(A): return not A", "1 : A Generate |"},
        {"def Generate(A): return A", ": A Generate |"},
        {"def Generate(A): return A + 1", "1 : A Generate |"},
        {"def Generate(A): return '5'", ": A Generate |"},
        {"def Generate(A): return None", ": A Generate |"},
        {"def Generate(A): return str(5)", ": A Generate |"},
        {"def len(x): return ''\ndef Generate(A): return len(A)", ": A Generate len x |"},
        {"def Generate(A):\n def inner(): return 5\n return (lambda: 5)() and str(inner())", ": A Generate inner |"},
        {"def other(): return 5", ": other |"},
    };
    for (const auto& [source, names] : rows) EXPECT_EQ(namesOf(source), names) << source;
}

TEST(SourceDescriptions, TellNamesThatNothingBinds) {
    const std::pair<const char*, const char*> rows[] = {
        {"def Generate(A):\n return feat(A)", ": A Generate | 2 feat"},
        {"import math as m, os.path\nfrom a import b\nm, os, b, math", ": b m os | 3 math"},
        {"try: x = 1\nexcept ValueError as e: print(e, __name__, __file__)", ": e x |"},
        {"for i, (j, *k) in (): pass\n[a for a in i if (b := j)], k, b", ": a b i j k |"},
        {"match 1:\n case {'a': x, **y}: x, y\n case [*z]: z\n case p: p", ": p x y z |"},
        {"def f():\n global g\n g = 1\ndef h(*a, b=1, **c): a, b, c, g", ": a b c f g h |"},
        {"class C: pass\nwith C() as w: w\ndel w", ": C w |"},
        {"exec('feat = 1')\nfeat", ": * |"},
        {"from math import *\nsin(1)", ": * |"},
        {"globals()['feat'] = 1\nfeat", ": * |"},
    };
    for (const auto& [source, names] : rows) EXPECT_EQ(namesOf(source), names) << source;
}

TEST(SourceDescriptions, OfTooManyNestedExpressions) {
    std::string source = "x = ";
    for (int i = 0; i < 100'000; ++i) source += '-';
    EXPECT_TRUE(embedded_host::describePythonSource(source + "1", "Generate").error.has_value());
}

}  // namespace
