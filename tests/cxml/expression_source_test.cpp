// The Python source of a condition: how it is put together, what its "Generate" asks for, and how it is rewritten.
#include "cxml/expression_source.h"

#include "cxml/condition_reader.h"
#include "cxml/dom.h"
#include "support/loaded_map.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using std::string;
using std::vector;
using Arguments = vector<std::pair<string, bool>>;

/// The expression elements of one condition, and the pieces of the library beside it.
struct Source {
    const char* name;
    string expressions;
    string text;                     // expected
    Arguments arguments = {};        // expected
    vector<string> registered = {};  // expected, beside SYMBOL_C
    string library = {};
    int errorLine = 0;  // expected: where the compiler sees that this is not Python; 0 when it is
};

string cdata(std::string_view text) {
    return "<expression><![CDATA[" + string(text) + "]]></expression>";
}

std::ostream& operator<<(std::ostream& out, const Source& source) {
    return out << source.name;
}

class ExpressionSources : public testing::TestWithParam<Source> {};

TEST_P(ExpressionSources, areAssembledAndRewritten) {
    const Source& row = GetParam();
    const LoadedMap loaded("<conditionMap name='m'><functionLibrary>" + row.library +
                           "</functionLibrary></conditionMap>");
    ConditionalXml::FeatureClassRule owner(*loaded.map);
    const auto document = parseDocument("<condition type='2' field='F'>" + row.expressions + "</condition>");
    ConditionalXml::Condition condition(owner);
    string error;
    try {
        EXPECT_TRUE(ConditionalXml::readExpressions(condition, selectNode(document, "/condition"), {}));
    } catch (const std::runtime_error& failure) {  // what was read before the compiler saw it is there all the same
        error = failure.what();
    }
    EXPECT_EQ(memhost::utf8(WideView(condition.expressionText)), row.text);
    Arguments arguments;
    for (const auto& [name, isList] : condition.generateArguments)
        arguments.emplace_back(memhost::utf8(name.m_str), isList);
    EXPECT_EQ(arguments, row.arguments);
    vector<string> registered = textsOf(owner.referencedFields);
    std::erase(registered, "SYMBOL_C");
    EXPECT_THAT(registered, testing::UnorderedElementsAreArray(row.registered));
    if (row.errorLine == 0)
        EXPECT_EQ(error, "");
    else
        EXPECT_THAT(error,
                    testing::AllOf(testing::HasSubstr("\nptype = <class 'SyntaxError'>\npvalue = "),
                                   testing::EndsWith("(CalcFields, line " + std::to_string(row.errorLine) + ")\n")));
}

const Source assembly[] = {
    {.name = "no_expression", .expressions = "", .text = ""},
    {.name = "empty_expression", .expressions = "<expression/>", .text = ""},
    {.name = "one", .expressions = cdata("def Generate():\n  return 'x'\n"), .text = "def Generate():\n  return 'x'\n"},
    {.name = "several_are_joined_with_nothing_between",
     .expressions = cdata("def Gen") + cdata("erate():") + cdata(" return 1"),
     .text = "def Generate(): return 1"},
    {.name = "library_follows_a_line_feed",
     .expressions = "<expression library='f'>def Generate(): return f()</expression>",
     .text = "def Generate(): return f()\ndef f(): return 1\n",
     .library = "<expression name='f'>def f(): return 1</expression>"},
    {.name = "library_of_the_first_of_two_stands_between",
     .expressions = "<expression library='f'>Generate()</expression><expression library='g'>two</expression>",
     .text = "Generate()\nF\ntwo\nG\n",
     .library = "<expression name='f'>F</expression><expression name='g'>G</expression>"},
    {.name = "library_twice",
     .expressions = "<expression library='f'>Generate()</expression><expression library='f'/>",
     .text = "Generate()\nF\n\nF\n",
     .library = "<expression name='f'>F</expression>"},
    {.name = "unknown_library_adds_nothing",
     .expressions = "<expression library='F'>Generate()</expression>",
     .text = "Generate()",
     .library = "<expression name='f'>F</expression>"},
    {.name = "empty_library_name",
     .expressions = "<expression library=''>Generate()</expression>",
     .text = "Generate()"},
    {.name = "library_without_generate_keeps_its_backslash",
     .expressions = "<expression library='f'>x = 1</expression>",
     .text = "x = 1\nF\\n",
     .library = "<expression name='f'>F</expression>",
     .errorLine = 2},
};

const Source arguments[] = {
    {.name = "list_and_value",
     .expressions = cdata("def Generate(A[], B):\n  return A[] + B"),
     .text = "def Generate(A, B):\n  return A + B",
     .arguments = {{"A", true}, {"B", false}},
     .registered = {"A", "B"}},
    {.name = "none", .expressions = cdata("def Generate(): pass"), .text = "def Generate(): pass"},
    {.name = "qualified_name_is_not_registered",
     .expressions = cdata("def Generate(T.C): return T.C + AT.CX"),
     .text = "def Generate(T_C): return T_C + AT_CX",
     .arguments = {{"T.C", false}}},
    {.name = "qualified_list",
     .expressions = cdata("def Generate(T.C[]): return T.C[][0] or T.C"),
     .text = "def Generate(T_C): return T_C[0] or T_C",
     .arguments = {{"T.C", true}}},
    {.name = "several_full_stops",
     .expressions = cdata("def Generate(D.O.T): return D.O.T, O.T"),
     .text = "def Generate(D_O_T): return D_O_T, O.T",
     .arguments = {{"D.O.T", false}}},
    {.name = "blanks_are_trimmed",
     .expressions = cdata("def Generate(  A[]  ,  B  ): return A[]"),
     .text = "def Generate(  A  ,  B  ): return A",
     .arguments = {{"A", true}, {"B", false}},
     .registered = {"A", "B"}},
    {.name = "tabs_stay",
     .expressions = cdata("def Generate(A,\tB): pass"),
     .text = "def Generate(A,\tB): pass",
     .arguments = {{"A", false}, {"\tB", false}},
     .registered = {"\tB", "A"}},
    {.name = "line_feeds_stay",
     .expressions = cdata("def Generate(A,\nB): pass"),
     .text = "def Generate(A,\nB): pass",
     .arguments = {{"A", false}, {"\nB", false}},
     .registered = {"\nB", "A"}},
    {.name = "empty_pieces_are_skipped",
     .expressions = cdata("def Generate(,A,,B,): pass"),
     .text = "def Generate(,A,,B,): pass",
     .arguments = {{"A", false}, {"B", false}},
     .registered = {"A", "B"},
     .errorLine = 1},
    {.name = "blank_is_no_argument", .expressions = cdata("def Generate( ): pass"), .text = "def Generate( ): pass"},
    {.name = "same_name_twice",
     .expressions = cdata("def Generate(A, A[]): A[]"),
     .text = "def Generate(A, A): A",
     .arguments = {{"A", false}, {"A", true}},
     .registered = {"A"},
     .errorLine = 1},
    {.name = "double_list_mark",
     .expressions = cdata("def Generate(A[][]): A[][], A[]"),
     .text = "def Generate(A): A, A[]",
     .arguments = {{"A", true}},
     .registered = {"A"},
     .errorLine = 1},
    {.name = "replacement_is_plain_text",
     .expressions = cdata("def Generate(A[]): BA[] + 'A[]'"),
     .text = "def Generate(A): BA + 'A'",
     .arguments = {{"A", true}},
     .registered = {"A"}},
    {.name = "value_argument_leaves_the_mark_elsewhere",
     .expressions = cdata("def Generate(A): return A[]"),
     .text = "def Generate(A): return A[]",
     .arguments = {{"A", false}},
     .registered = {"A"},
     .errorLine = 1},
    {.name = "one_name_inside_another",
     .expressions = cdata("def Generate(A[], BA[]): A[], BA[]"),
     .text = "def Generate(A, BA): A, BA",
     .arguments = {{"A", true}, {"BA", true}},
     .registered = {"A", "BA"}},
    {.name = "arguments_are_rewritten_in_order",
     .expressions = cdata("def Generate(T.C, T.C.D): T.C.D"),
     .text = "def Generate(T_C, T_C.D): T_C.D",
     .arguments = {{"T.C", false}, {"T.C.D", false}},
     .errorLine = 1},
    {.name = "first_generate_counts",
     .expressions = cdata("# Generate(X)\ndef Generate(A): pass"),
     .text = "# Generate(X)\ndef Generate(A): pass",
     .arguments = {{"X", false}},
     .registered = {"X"}},
    {.name = "generate_with_a_blank_gives_no_arguments",
     .expressions = cdata("def Generate (A[]): 'a\\tb'"),
     .text = "def Generate (A[]): 'a\tb'",
     .errorLine = 1},
    {.name = "generate_without_blank_later_gives_them",
     .expressions = cdata("def Generate (A[]): pass\nGenerate(B[])"),
     .text = "def Generate (A[]): pass\nGenerate(B)",
     .arguments = {{"B", true}},
     .registered = {"B"},
     .errorLine = 1},
    {.name = "list_ends_at_the_next_parenthesis",
     .expressions = cdata("def Generate(A=(1,2), B): pass"),
     .text = "def Generate(A=(1,2), B): pass",
     .arguments = {{"A=(1", false}, {"2", false}},
     .registered = {"2", "A=(1"},
     .errorLine = 1},
    {.name = "arguments_in_the_library_piece",
     .expressions = "<expression library='f'>x</expression>",
     .text = "x\ndef Generate(A): pass\\n",
     .arguments = {{"A", true}},
     .registered = {"A"},
     .library = "<expression name='f'>def Generate(A[]): pass</expression>",
     .errorLine = 2},
};

const Source backslashes[] = {
    {.name = "pairs",
     .expressions = cdata(R"(Generate() \n|\t|\\|\d|\r|\")"),
     .text = "Generate() \n|\t|\\|\\d|\\r|\\\"",
     .errorLine = 2},
    {.name = "line_break_inside_a_literal",
     .expressions = cdata(R"(def Generate(): return "a\nb")"),
     .text = "def Generate(): return \"a\nb\"",
     .errorLine = 1},
    {.name = "one_pass_from_the_left",
     .expressions = cdata(R"(Generate()\\n\\\n\\\\t)"),
     .text = "Generate()\\n\\\n\\\\t",
     .errorLine = 1},
    {.name = "at_the_very_end", .expressions = cdata(R"(Generate()\)"), .text = "Generate()\\", .errorLine = 1},
    {.name = "pair_then_end", .expressions = cdata(R"(Generate()\\\)"), .text = "Generate()\\\\", .errorLine = 1},
    {.name = "without_generate_nothing_is_resolved",
     .expressions = cdata(R"(x\n\t\\)"),
     .text = R"(x\n\t\\)",
     .errorLine = 1},
    {.name = "small_letters_do_not_mention_it",
     .expressions = cdata(R"(generate()\n)"),
     .text = R"(generate()\n)",
     .errorLine = 1},
    {.name = "mention_without_parenthesis",
     .expressions = cdata(R"(Generate\n)"),
     .text = R"(Generate\n)",
     .errorLine = 1},
    {.name = "mention_in_the_second_expression",
     .expressions = cdata(R"(x\n)") + cdata(R"(Generate()\n)"),
     .text = "x\nGenerate()\n"},
    {.name = "mention_split_over_two_expressions_is_none",
     .expressions = cdata(R"(def Gen)") + cdata(R"(erate(A):\n)"),
     .text = R"(def Generate(A):\n)",
     .arguments = {{"A", false}},
     .registered = {"A"},
     .errorLine = 1},
    {.name = "mention_in_the_library_is_none",
     .expressions = R"(<expression library='f'>x\t</expression>)",
     .text = "x\\t\nGenerate()\\n",
     .library = "<expression name='f'>Generate()</expression>",
     .errorLine = 1},
    {.name = "windows_path",
     .expressions = cdata(R"(Generate('C:\new\table'))"),
     .text = "Generate('C:\new\table')",
     .arguments = {{"'C:\\new\\table'", false}},
     .registered = {"'C:\\new\\table'"},
     .errorLine = 1},
};

std::string nameOf(const testing::TestParamInfo<Source>& entry) {
    return entry.param.name;
}

INSTANTIATE_TEST_SUITE_P(Assembly, ExpressionSources, testing::ValuesIn(assembly), nameOf);
INSTANTIATE_TEST_SUITE_P(Arguments, ExpressionSources, testing::ValuesIn(arguments), nameOf);
INSTANTIATE_TEST_SUITE_P(Backslashes, ExpressionSources, testing::ValuesIn(backslashes), nameOf);

TEST(ExpressionSourceTest, knownFieldIsNotRegistered) {
    const auto document =
        parseDocument("<condition><expression>def Generate(DEPTH, COLOUR): pass</expression></condition>");
    ConditionalXml::ConditionMap map;
    ConditionalXml::FeatureClassRule rule(map);
    rule.knownFields[memhost::bstr("DEPTH")] = 1;
    const auto condition = ConditionalXml::readCondition(selectNode(document, "/condition"), rule, {});
    ASSERT_NE(condition, nullptr);
    EXPECT_EQ(condition->generateArguments.size(), 2U);
    EXPECT_EQ(textsOf(rule.referencedFields), (vector<string>{"COLOUR", "SYMBOL_C"}));
}

TEST(ExpressionSourceTest, sourceThatNeverEndsItsArguments) {
    ConditionalXml::ExpressionSource source;
    source.addExpression(OLESTR("def Generate(A, B"));
    EXPECT_TRUE(source.takeArguments().empty());
    EXPECT_EQ(memhost::utf8(WideView(source.finish())), "def Generate(A, B");
}

TEST(ExpressionSourceTest, embeddedFileKeepsItsLineFeeds) {
    const TemporaryFolder folder;
    const string file = folder.write("lib.py", "def f():\n    return '\\\\d'\n");
    const LoadedMap loaded("<conditionMap name='m'><functionLibrary><expressionFile name='f'>" + file +
                           "</expressionFile></functionLibrary><featureClass name='B'><condition>"
                           "<expression library='f'>def Generate(): return f()</expression></condition>"
                           "</featureClass></conditionMap>");
    ASSERT_EQ(loaded.map->conditions.size(), 1U);
    EXPECT_EQ(memhost::utf8(WideView(loaded.map->conditions[0]->expressionText)),
              "def Generate(): return f()\ndef f():\n    return '\\d'\n\n");
}

}  // namespace
