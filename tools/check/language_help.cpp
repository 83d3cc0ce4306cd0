#include "language_help.h"

#include <algorithm>
#include <array>

namespace cxml {
namespace {

struct Help {
    std::string_view parent;  // empty: any
    std::string_view element;
    std::string_view attribute;  // empty: of the element itself
    std::string_view says;
    bool isNeeded = false;
};

constexpr std::array helps{
    Help{"", "conditionMap", "", "The document: which symbol each feature gets."},
    Help{"", "conditionMap", "name", "The document's name. Without it nothing is loaded.", true},
    Help{"", "conditionMap", "alias", "A title for people."},
    Help{"", "functionLibrary", "", "Python source that the conditions share, in named pieces."},
    Help{"functionLibrary", "expression", "", "A piece of Python source. Its last line ends with a line feed."},
    Help{"functionLibrary", "expression", "name", "What conditions call the piece by: library=\"...\".", true},
    Help{"", "expressionFile", "",
         "A file with Python source: its name, looked for beside the document, or its path. A name may be taken once."},
    Help{"", "expressionFile", "name", "What conditions call the piece by: library=\"...\".", true},
    Help{
        "", "featureClass", "",
        "The conditions for one class of features. Those that stand here directly are the default list, for rows whose "
        "subtype has no list of its own."},
    Help{"", "featureClass", "name",
         "The title of the class, in any case; its table name when it has no title. A second element adds to the first "
         "when it spells the name in capitals only, else it replaces the first.",
         true},
    Help{"", "subtype", "", "The list of conditions for rows of these subtypes, instead of the default list."},
    Help{"", "subtype", "number", "Subtype codes, separated by commas.", true},
    Help{"", "condition", "",
         "Matches a row when all of its rules hold; without rules it always matches. Of all conditions of a list that "
         "match, the last one decides: put the default first."},
    Help{"", "condition", "rulename",
         "The symbol, for SYMBOL_C. Without one the symbol is left to the conditions before."},
    Help{"", "condition", "type",
         "2: when the condition matches, its Python function Generate computes a text for the field that 'field' "
         "names."},
    Help{"", "condition", "field", "The field that the text of Generate goes to."},
    Help{"", "condition", "xoffset", "Millimetres to the right, for Xoffset_C. Zero is not written."},
    Help{"", "condition", "yoffset", "Millimetres up, for Yoffset_C. Zero is not written."},
    Help{"", "condition", "angle", "Degrees clockwise from north, for Rotate_C. Zero is not written."},
    Help{
        "condition", "expression", "",
        "Python source that defines Generate; its arguments are fields of the row. Write 'Generate(' without a blank."},
    Help{"condition", "expression", "library", "The piece of the functionLibrary that follows this source."},
    Help{"", "rule", "",
         "Something that must hold for the row. Conditions inside are tried when it does, and the last of them that "
         "matches takes the place of the outer one: put them into the last rule."},
    Help{"", "rule", "type",
         "A: one field against values. L: a field that holds a list of codes. Q: rows of another table.", true},
    Help{"", "rule", "field", "The field that the rule looks at; of types A and L."},
    Help{"", "rule", "operator", "How the field and the values are compared, or what the query is to find.", true},
    Help{"", "rule", "fieldValue", "The field of the row to compare with, instead of values."},
    Help{"", "rule", "value",
         "The value to compare with; several are <value> elements. NULL is no value; what begins with an apostrophe is "
         "text to the letter, without its first and last characters."},
    Help{"", "rule", "table", "Of type Q: the table that is asked, without database and owner."},
    Help{"", "rule", "selectOption", "Of fetch: multiple fetches the values of all rows, not only of the first one."},
    Help{"", "value", "", "One of several values to compare with."},
    Help{"", "query", "",
         "The condition, in the database's SQL. Each %s takes the next param as it is: write quotation marks around "
         "texts."},
    Help{"", "params", "", "The parameters of the query, one for each %s."},
    Help{"", "param", "", "A parameter of the query."},
    Help{"", "param", "value", "A field of the row, or, behind an apostrophe, a constant: \"'text'\".", true},
    Help{"", "fields", "", "What fetch brings."},
    Help{"", "field", "", "A field of the other table, and the name by which rules and expressions find its value."},
    Help{"", "field", "name", "The field of the other table.", true},
    Help{"", "field", "alias", "The name of its value here, by custom with a full stop: \"Light.COLOUR\".", true},
};

struct OperatorHelp {
    std::string_view type;
    std::string_view keyword;
    std::string_view says;
};

constexpr std::array operatorHelps{
    OperatorHelp{"A", "equal", "The field equals any of the values."},
    OperatorHelp{"A", "equals", "The same as equal."},
    OperatorHelp{"A", "notequal", "The field equals none of the values; holds for a field without a value."},
    OperatorHelp{"A", "notequals", "The same as notequal."},
    OperatorHelp{"A", "lt", "The field is less than any of the values."},
    OperatorHelp{"A", "lte", "The field is less than any of the values, or equal to it."},
    OperatorHelp{"A", "gt", "The field is greater than any of the values."},
    OperatorHelp{"A", "gte", "The field is greater than any of the values, or equal to it."},
    OperatorHelp{"A", "between", "The field lies between exactly two values, both included, the smaller one first."},
    OperatorHelp{"A", "like", "The field fits any of the patterns; * stands for any text, ** for an asterisk."},
    OperatorHelp{"A", "notlike", "The field does not fit at least one of the patterns."},
    OperatorHelp{"L", "equal", "There are as many codes as values, and every value is one of the codes."},
    OperatorHelp{"L", "equals", "The same as equal."},
    OperatorHelp{"L", "notequal", "What equal says is not so."},
    OperatorHelp{"L", "notequals", "The same as notequal."},
    OperatorHelp{"L", "containsany", "At least one of the values is one of the codes."},
    OperatorHelp{"L", "containsnone", "None of the values is one of the codes."},
    OperatorHelp{"L", "containsall",
                 "Every value is one of the codes, and there are more values than codes: mostly never."},
    OperatorHelp{"L", "hasmultiple", "There is more than one code; values are not looked at."},
    OperatorHelp{"Q", "exists", "The other table has such a row."},
    OperatorHelp{"Q", "exist", "The same as exists."},
    OperatorHelp{"Q", "fetch", "The other table has such a row; its fields are fetched under their aliases."},
};

}  // namespace

AttributeHelp helpOfAttribute(std::string_view parent, std::string_view element, std::string_view attribute) {
    const auto found = std::ranges::find_if(helps, [&](const Help& help) {
        return help.element == element && help.attribute == attribute && (help.parent.empty() || help.parent == parent);
    });
    return found == helps.end() ? AttributeHelp{} : AttributeHelp{found->says, found->isNeeded};
}

std::string_view helpOfElement(std::string_view parent, std::string_view element) {
    return helpOfAttribute(parent, element, {}).says;
}

std::string_view helpOfOperator(std::string_view type, std::string_view keyword) {
    const auto found = std::ranges::find_if(
        operatorHelps, [&](const OperatorHelp& help) { return help.type == type && help.keyword == keyword; });
    return found == operatorHelps.end() ? std::string_view{} : found->says;
}

}  // namespace cxml
