// The changes that a document's tests are tried with: which, where, and the text that they make.
#include "tools/workbench/document_mutants.h"
#include "tools/workbench/markup_tree.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using cxml::mutantsOf;
using std::string;
using std::vector;

string mapOf(const string& content) {
    return "<conditionMap name='M'><featureClass name='C'>" + content + "</featureClass></conditionMap>";
}

// The changes' descriptions, and what each makes of the content.
vector<string> changesOf(const string& content) {
    const string text = mapOf(content);
    const string frame = mapOf("");
    const std::size_t head = frame.find("</featureClass>");
    vector<string> all;
    for (const cxml::Mutant& mutant : mutantsOf(text)) {
        const string changed = mutant.applied(text);
        all.push_back(mutant.change + ": " + changed.substr(head, changed.size() - frame.size()));
    }
    return all;
}

TEST(DocumentMutants, rulesTurnedIntoTheirContraries) {
    const struct {
        const char* rule;
        const char* changed;
    } rows[] = {
        {"type='A' operator='equal' field='F' value='1'", "type='A' operator='notequal' field='F' value='1'"},
        {"type='A' operator=\"NotEquals\" field='F'", "type='A' operator=\"equals\" field='F'"},
        {"type='A' operator='lt' field='F'", "type='A' operator='gte' field='F'"},
        {"type='A' operator='gt' field='F'", "type='A' operator='lte' field='F'"},
        {"type='L' operator='containsany' field='F'", "type='L' operator='containsnone' field='F'"},
        {"type='A' operator='between' field='F' fieldValue='G'", "type='A' operator='equal' field='F' "},
        {"type='L' operator='hasmultiple' field='F'", "type='A' operator='equal' field='F'"},
        {"type='Q' operator='exists' table='T'", " field=\"SYMBOL_C\" type='A' operator='equal' table='T'"},
    };
    for (const auto& row : rows) {
        const vector<string> changes =
            changesOf(string("<condition rulename='N'><rule ") + row.rule + "/></condition>");
        ASSERT_EQ(changes.size(), 2U) << row.rule;
        EXPECT_NE(changes[1].find(string(row.changed) + "/></condition>"), string::npos) << changes[1];
    }
}

TEST(DocumentMutants, operandsConditionsAndNeighbours) {
    EXPECT_EQ(changesOf("<condition rulename='A'/><condition rulename='B'/>"),
              (vector<string>{
                  "condition A removed: <condition rulename='B'/>", "condition B removed: <condition rulename='A'/>",
                  "condition B swapped with A of line 1: <condition rulename='B'/><condition rulename='A'/>"}));
    EXPECT_EQ(changesOf("<condition/><condition/>").size(), 2U) << "swapping the same changes nothing";
    const auto equals = [](const char* name, const char* value) {
        return string("<condition rulename='") + name + "'><rule type='A' operator='equal' field='F' value='" + value +
               "'/></condition>";
    };
    EXPECT_EQ(changesOf(equals("A", "1") + equals("B", "2")).size(), 4U) << "never both";
    EXPECT_EQ(changesOf(equals("A", "1") + equals("B", "1")).size(), 5U);
    EXPECT_EQ(changesOf(equals("A", "1") + equals("B", "01")).size(), 5U) << "1 and 01 are one number";
    const vector<string> dropped = changesOf(
        "<condition><rule type='A' operator='equal' field='F'><value>1</value><value>2</value></rule></condition>");
    ASSERT_EQ(dropped.size(), 4U);
    EXPECT_EQ(dropped[2],
              "F equal: operand 1 dropped: <condition><rule type='A' operator='equal' "
              "field='F'><value>2</value></rule></condition>");
    EXPECT_EQ(changesOf("<condition><rule type='A' operator='between' "
                        "field='F'><value>1</value><value>2</value></rule></condition>")
                  .size(),
              2U);
}

TEST(DocumentMutants, nestedOnesSubtypesAndLines) {
    const string text =
        "<conditionMap name='M'>\n<!-- <featureClass name='X'><condition/></featureClass> -->\n"
        "<featureClass name='C'>\n<subtype number='1'>\n<condition>\n"
        "<rule type='A' operator='equal' field='F' value='a>b'>\n<condition rulename='IN'/>\n</rule>\n"
        "<expression><![CDATA[<condition/>]]></expression></condition></subtype></featureClass></conditionMap>";
    vector<string> all;
    for (const cxml::Mutant& mutant : mutantsOf(text))
        all.push_back(std::to_string(mutant.line) + " " + mutant.className + " " + mutant.change);
    EXPECT_EQ(all, (vector<string>{"5 C condition  removed", "6 C F equal turned into notequal",
                                   "7 C condition IN removed"}));
}

TEST(MarkupTree, textThatEndsTooSoonIsNotReadBeyond) {
    const string text = "<a b='c'><!-- x --><![CDATA[y]]><?p q?><d e = \"f\"/></a>";
    for (std::size_t length = 0; length <= text.size(); ++length) cxml::readMarkup(text.substr(0, length));
    const cxml::MarkupElement root = cxml::readMarkup(text);
    EXPECT_EQ(root.name, "a");
    EXPECT_EQ(root.end, text.size());
    ASSERT_EQ(root.children.size(), 1U);
    EXPECT_EQ(root.children[0].attribute("e")->name, "e");
}

}  // namespace
