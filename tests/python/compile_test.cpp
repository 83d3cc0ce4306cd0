// Compiling the source of a condition while its document loads.
#include "python/expression_fixture.h"
#include "support/loaded_manager.h"

#include <gmock/gmock.h>

namespace {

using std::string;
using testing::StartsWith;

TEST(Compile, conditionWithoutExpressionHasNoCode) {
    const LoadedMap loaded = LoadedMap::ofClass("Light", "<condition rulename='R'/>");
    EXPECT_FALSE(loaded.map->conditions.at(0)->compiledExpression);
}

TEST(Compile, emptyExpressionHasNoCode) {
    const LoadedMap loaded = LoadedMap::ofClass("Light", "<condition type='2'><expression/></condition>");
    EXPECT_FALSE(loaded.map->conditions.at(0)->compiledExpression);
    EXPECT_TRUE(loaded.map->conditions.at(0)->expressionText.empty());
}

TEST(Compile, sourceIsCompiledWhateverTheType) {
    const LoadedExpression loaded("def Generate(): return 'x'", "type='1'");
    EXPECT_TRUE(loaded.condition().compiledExpression);
    EXPECT_EQ(liveCodeObjects(), 1U);
}

TEST(Compile, sourceIsAModuleThatIsNotRunYet) {
    const LoadedExpression loaded("raise ValueError('not before it is called')\nx = 1\ndef f(): pass");
    EXPECT_TRUE(loaded.condition().compiledExpression);
}

TEST(Compile, codeIsReleasedWithItsDocument) {
    {
        const LoadedExpression first("def Generate(): return 'x'");
        const LoadedExpression second("def Generate(): return 'y'");
        EXPECT_EQ(liveCodeObjects(), 2U);
    }
    EXPECT_EQ(liveCodeObjects(), 0U);
}

TEST(Compile, codeOfADiscardedConditionIsReleased) {
    const std::size_t before = madeCodeObjects();
    const LoadedMap loaded = LoadedMap::ofClass(
        "Light",
        "<condition><rule type='A' operator='equal' field='F'><condition type='2'><expression>def Generate(): "
        "pass</expression></condition></rule><rule type='Z'/></condition>");
    EXPECT_TRUE(loaded.map->conditions.empty());
    EXPECT_EQ(madeCodeObjects(), before + 1) << "the nested condition was compiled";
    EXPECT_EQ(liveCodeObjects(), 0U);
}

TEST(Compile, textBeyondAsciiReachesTheCompilerAsUtf8) {
    LoadedExpression loaded("def Generate(): return 'B\xC3\xB8je \xE2\x82\xAC \xF0\x9F\x9A\xA2'");
    EXPECT_TRUE(loaded.generate());
    EXPECT_EQ(loaded.generated(), "B\xC3\xB8je \xE2\x82\xAC \xF0\x9F\x9A\xA2");
}

TEST(Compile, libraryPieceIsCompiledWithIt) {
    LoadedExpression loaded("def Generate(): return lib()", "type='2' field='RESULT'",
                            "<expression name='lib'>def lib(): return 'from the library'</expression>");
    EXPECT_TRUE(loaded.generate());
    EXPECT_EQ(loaded.generated(), "from the library");
}

TEST(Compile, lineFeedPairEndsAPythonLiteral) {
    EXPECT_THAT(loadReport("def Generate(): return 'a\\nb'"),
                testing::HasSubstr("pvalue = unterminated string literal (detected at line 1) (CalcFields, line 1)\n"));
}

TEST(Compile, otherPairsPassUnchanged) {
    LoadedExpression loaded("import re\ndef Generate(): return re.sub('[\\d]', '#', 'a1b2')");
    EXPECT_TRUE(loaded.generate());
    EXPECT_EQ(loaded.generated(), "a#b#");
}

TEST(Compile, qualifiedAndListArgumentsAreValidPython) {
    LoadedExpression loaded("def Generate(A[], T.C): return '/'.join(A) + T.C");
    loaded.put("A", {"x", "y"}).put("T.C", {"z"});
    EXPECT_TRUE(loaded.generate());
    EXPECT_EQ(loaded.generated(), "x/yz");
}

// ---- failing ----

TEST(CompileReport, syntaxErrorIsReportedWhole) {
    EXPECT_EQ(loadReport("def Generate(:\n  pass"),
              "Encountered error processing Python in CXML!\n"
              "Rule Name: R\n"
              "Calculating Field: RESULT\n"
              "Function: def Generate(:\n  pass\n"
              "ptype = <class 'SyntaxError'>\n"
              "pvalue = invalid syntax (CalcFields, line 1)\n");
}

TEST(CompileReport, linesOfNameAndFieldAreMissingWithoutThem) {
    EXPECT_EQ(loadReport("1 +", ""),
              "Encountered error processing Python in CXML!\n"
              "Function: 1 +\n"
              "ptype = <class 'SyntaxError'>\n"
              "pvalue = invalid syntax (CalcFields, line 1)\n");
    EXPECT_THAT(loadReport("1 +", "field='F'"),
                StartsWith("Encountered error processing Python in CXML!\nCalculating Field: F\nFunction: 1 +\n"));
    EXPECT_THAT(loadReport("1 +", "rulename='R'"),
                StartsWith("Encountered error processing Python in CXML!\nRule Name: R\nFunction: 1 +\n"));
}

TEST(CompileReport, indentationError) {
    EXPECT_EQ(loadReport("def Generate():\nreturn 1", "rulename='R'"),
              "Encountered error processing Python in CXML!\n"
              "Rule Name: R\n"
              "Function: def Generate():\nreturn 1\n"
              "ptype = <class 'IndentationError'>\n"
              "pvalue = expected an indented block after function definition on line 1 (CalcFields, line 2)\n");
}

TEST(CompileReport, sixtyCharactersAreShownWhole) {
    const string source = "(" + string(59, 'x');
    EXPECT_THAT(loadReport(source, ""),
                StartsWith("Encountered error processing Python in CXML!\nFunction: " + source + "\nptype"));
}

TEST(CompileReport, sixtyOneCharactersAreCut) {
    const string source = "(" + string(60, 'x');
    EXPECT_THAT(
        loadReport(source, ""),
        StartsWith("Encountered error processing Python in CXML!\nFunction: " + source.substr(0, 60) + " ...\nptype"));
}

TEST(CompileReport, textsBeyondAsciiAreNarrowText) {
    EXPECT_THAT(loadReport("B\xC3\xB8je \xE2\x82\xAC = (", "rulename='\xC3\x86' field='\xC3\x98'"),
                StartsWith(memhost::narrowed("Encountered error processing Python in CXML!\nRule Name: \xC3\x86\n"
                                             "Calculating Field: \xC3\x98\nFunction: B\xC3\xB8je \xE2\x82\xAC = (\n")));
}

TEST(CompileReport, leavesTheNewDocumentUnfinished) {
    SymbologyManager manager =
        managerOf("<conditionMap name='first'><featureClass name='Former'><condition/></featureClass></conditionMap>");
    const TemporaryFolder folder;
    const CComBSTR path = memhost::bstr(folder.write(
        "second.xml",
        "<conditionMap name='second'><featureClass name='Done'><condition/></featureClass><featureClass name='L'>"
        "<condition rulename='R'><expression>1 +</expression></condition></featureClass></conditionMap>"));
    try {
        manager.loadCXML(path, nullptr);
        ADD_FAILURE() << "it loaded";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), StartsWith("Encountered error processing Python in CXML!\nRule Name: R\n"));
    }
    const auto map = SymbologyManagerAccess::currentMap(manager);
    ASSERT_TRUE(map);
    EXPECT_EQ(memhost::utf8(SymbologyManagerAccess::documentName(manager)), "second");
    EXPECT_FALSE(map->find(memhost::bstr("FORMER")));
    EXPECT_TRUE(map->find(memhost::bstr("DONE")));
    EXPECT_FALSE(map->find(memhost::bstr("L")));
}

TEST(CompileReport, nestedConditionsReportToo) {
    EXPECT_THROW(LoadedMap::ofClass("L",
                                    "<condition><rule type='A' operator='equal' field='F'><condition><expression>1 "
                                    "+</expression></condition></rule></condition>"),
                 std::runtime_error);
}

TEST(CompileReport, leavesNoErrorBehind) {
    loadReport("1 +");
    EXPECT_TRUE(runHostPython("x = 1"));
}

TEST(CompileHostile, deepNestingIsAnErrorOfTheDocument) {
    const string report = loadReport(string(100'000, '('));
    EXPECT_THAT(report, testing::HasSubstr("ptype = <class "));
}

TEST(CompileHostile, longSource) {
    string source = "def Generate(): return 'end'\n";
    for (int i = 0; i < 20'000; ++i) source += "x" + std::to_string(i) + " = " + std::to_string(i) + "\n";
    LoadedExpression loaded(source);
    EXPECT_TRUE(loaded.generate());
    EXPECT_EQ(loaded.generated(), "end");
}

}  // namespace
