#include "kinds.h"

#include <algorithm>

namespace cxml {
namespace {

using enum Severity;

constexpr Kind kinds[] = {
    {"always-replaced", Warning, "Later conditions take the place of a condition for every row that it matches.",
     "Put conditions that match more rows before those that match fewer: the last match wins."},
    {"argument-unsupplied", Error, "No row has a value for an argument of Generate.",
     "Name a field of the layer, or fetch the value before it is used."},
    {"attribute-not-of-class", Warning, "In S-57 the class does not have the attribute.",
     "Name an attribute of the class; nothing is to be done when the dataset has the field all the same."},
    {"between-operands", Error, "The operator between has another number of operands than two.",
     "Write two <value> elements, the smaller one first."},
    {"catalogue-missing", Note, "The tables of S-57 that GDAL comes with are not installed.",
     "Install them (in Debian the package gdal-data), or name their folder in the environment variable S57_CSV."},
    {"class-replaced", Error, "A featureClass takes the place of an earlier one.",
     "Put the conditions of both into one element, or write the name in upper case in both."},
    {"class-unnamed", Error, "A featureClass has no name.", "Give it the alias name of the layer: name=\"...\"."},
    {"clause-refused", Error, "The dataset does not take the where clause of a query.",
     "Correct the clause; the dataset's own words tell what it does not understand."},
    {"code-unknown", Warning, "In S-57 the attribute does not have the code.",
     "Use a code of the attribute; nothing is to be done when the data have codes of their own."},
    {"code-without-row", Note, "No row of a layer has a value that rules ask for.",
     "Nothing is to be done when other data have it."},
    {"condition-discarded", Error, "A condition is discarded while the document is loaded.",
     "Correct the number or the rule; a placement has a decimal point and no unit."},
    {"condition-repeated", Warning, "A condition stands in its list twice.", "Remove the first one."},
    {"configuration-without-layer", Note, "The dataset has no layer for a featureClass.",
     "Nothing is to be done when the document serves other datasets, too."},
    {"contradiction", Error, "Two rules of a condition cannot hold together.",
     "All rules of a condition must hold; write the values into one rule when any of them will do."},
    {"expect-unused", Warning, "A comment that expects a finding silences nothing.",
     "Remove it; what it expected is not found any more."},
    {"fetch-field-incomplete", Error, "A field is not fetched because its name or alias is missing.",
     R"(Give it both: name="COLUMN" alias="TABLE.COLUMN".)"},
    {"field-missing", Error, "A field that a rule or query reads is missing in the dataset.",
     "Name a field of the layer, or fetch the value before it is used."},
    {"field-unsupplied", Error, "No fetch rule supplies a qualified name before it is used.",
     "Fetch it in an earlier rule under this alias."},
    {"generate-arguments", Error, "Generate takes other arguments than it gets.",
     "Write 'def Generate(' once, with the names of the fields."},
    {"generate-blank", Error, "Generate is written with a blank before its parenthesis.",
     "Write 'Generate(' without the blank."},
    {"generate-missing", Error, "A condition of type 2 has no Generate.",
     "Define it in an <expression>: def Generate(FIELD): return ..."},
    {"generate-number", Error, "Generate returns a number.", "Return a text: str(...) or f\"{...}\"."},
    {"layer-unconfigured", Note, "Layers of the dataset have no configuration.",
     "Nothing is to be done when their features need no symbol."},
    {"library-duplicate", Error, "Two pieces of the function library have one name.", "Rename one of them."},
    {"library-file", Error, "An expression file cannot be read.",
     "Paths are relative to the document's folder; correct the path or supply the file."},
    {"library-unknown", Error, "An expression asks for a library piece that there is not.",
     "Name a piece of the functionLibrary, or add one."},
    {"library-unnamed", Error, "A piece of the function library has no name.", "Give it a name: name=\"...\"."},
    {"list-compared", Note, "A list of codes is compared as one text.",
     "To ask for members of the list, in any order, use a list attribute rule (type L) with a <value> for each code."},
    {"list-field-type", Error, "The field of a list attribute rule does not hold text.",
     "Use an attribute rule (type A) for a single value."},
    {"load-message", Error, "The document does not load, or says something while it loads.",
     "Correct what the text names."},
    {"never-holds", Warning, "No value satisfies a rule.", "Write between with the smaller value first."},
    {"not-well-formed", Error, "The document is not well-formed XML.", "Correct the markup at this place."},
    {"operand-misread", Warning, "An operand is read otherwise than it looks.",
     "Write numbers with a decimal point and without other marks, and each code as a <value> of its own."},
    {"operand-never-fits", Error, "No value of a field equals or fits an operand.",
     "Write a value as the field has it."},
    {"operand-type", Error, "An operand is not of the type that it is compared with.",
     "Write the value as the field has it."},
    {"operator-unknown", Error, "The rule's family does not have the operator.",
     "Use one of the operators of the family."},
    {"order-free", Note, "Two neighbours may change places.", "Write them in the order that reads best."},
    {"order-matters", Note, "Two neighbours give other answers when they change places.",
     "Let the one that is to count come later: the last match wins."},
    {"order-unknown", Note, "It is not known whether two neighbours may change places.",
     "Ask rows with both orders: cxml diff DOCUMENT OTHER DATASET."},
    {"order-unproved", Note, "It is not known whether all conditions of a list can have an effect.",
     "Nothing is to be done; the list is too big to be sure of."},
    {"outer-rulename", Error, "A condition's rulename replaces the symbols of the conditions nested in it.",
     "Remove the outer rulename; to keep it for rows that match none of them, nest a condition with it first."},
    {"param-without-placeholder", Warning, "A parameter of a query goes nowhere.",
     "Remove it, or write %s where its value belongs."},
    {"param-without-value", Error, "A parameter of a query has no value.",
     R"(Give it value="FIELD", or value="'text'" for a constant.)"},
    {"placeholder-without-param", Error, "A placeholder of a query has no parameter.",
     "Add a <param> for it, in the order of the placeholders."},
    {"python-name", Error, "An expression reads a name that nothing defines.",
     "Correct the name, define it, or name the library piece that does."},
    {"python-syntax", Error, "An expression does not compile.", "Correct the Python in this line."},
    {"query-incomplete", Error, "A query rule has no table or no query.",
     "Give it table=\"...\" and a <query> element."},
    {"query-quotes", Error, "The where clause has a quotation mark without its other.",
     "Put each text between two quotation marks; one in a text is written twice."},
    {"rule-discarded", Error, "A rule is discarded while the document is loaded.",
     "Give it type (A, L or Q), operator and, but for type Q, field."},
    {"subtype-field-missing", Warning, "A layer has no subtype field, and its configuration has subtypes.",
     "Name the field: --subtype-field [LAYER=]FIELD, or SUBTYPE_FIELD in the layer's metadata."},
    {"subtype-number", Error, "A subtype has no number that holds a code.", "Give it codes: number=\"1,2\"."},
    {"subtype-without-row", Note, "No row of a layer has the code of a subtype.",
     "Nothing is to be done when other data have it."},
    {"symbol-without-picture", Warning, "The folder of pictures has none of a symbol.",
     "Correct the name, or add the picture NAME.svg."},
    {"table-missing", Warning, "The dataset has no table that a query asks.",
     "Name a table of the dataset; nothing is to be done when other datasets have it."},
    {"target-missing", Note, "The dataset lacks fields that a run writes.", "Run 'cxml symbolize' with --add-fields."},
    {"target-refuses", Error, "A field does not take what a run writes.",
     "Name a field that holds texts, wide enough for it."},
    {"type2-without-field", Error, "A condition of type 2 has no field to write to.",
     "Name the field that takes the text: field=\"LABEL_C\"."},
    {"unreachable", Error, "A condition has no effect on any row.",
     "Put conditions that match more rows before those that match fewer: the last match wins."},
    {"unread-attribute", Warning, "Nothing reads an attribute.", "Remove it, or correct its name."},
    {"unread-element", Warning, "Nothing reads an element.",
     "Remove it, correct its name, or move it to where it is read."},
    {"value-unreadable", Warning, "A field holds values that are not of its type.", "Correct the rows named."},
};

static_assert(std::ranges::is_sorted(kinds, {}, [](const Kind& kind) { return std::string_view(kind.name); }));

}  // namespace

const char* nameOf(Severity severity) noexcept {
    return severity == Error ? "error" : severity == Warning ? "warning" : "note";
}

std::span<const Kind> allKinds() noexcept {
    return kinds;
}

const Kind* findKind(std::string_view name) noexcept {
    const auto found = std::ranges::find(kinds, name, [](const Kind& kind) { return std::string_view(kind.name); });
    return found == std::end(kinds) ? nullptr : found;
}

}  // namespace cxml
