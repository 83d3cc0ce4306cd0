// The templates, parameters and fetched fields of query rules.
#include "checks.h"
#include "rules/query_rules.h"

#include <fmt/format.h>
#include <cctype>

namespace cxml {
namespace {

using ConditionalXml::QueryRule;
using ConditionalXml::QueryRuleFetch;

std::vector<CComPtr<IXMLDOMNode>> selected(IXMLDOMNode* node, const OLECHAR* xpath) {
    std::vector<CComPtr<IXMLDOMNode>> result;
    forEachSelected(node, xpath, [&](IXMLDOMNode* found) { result.emplace_back(found); });
    return result;
}

using Pieces = std::vector<ConditionalXml::WhereTemplate::Piece>;

bool hasPlaceholder(const Pieces& pieces, std::size_t index) {
    return WideView(pieces[index].text).ends_with(OLESTR("%s"));
}

// LIKE '%south' is more likely than a forgotten parameter when the s begins a word.
bool beginsWord(const Pieces& pieces, std::size_t index) {
    if (index + 1 >= pieces.size() || pieces[index + 1].text.empty()) return false;
    const OLECHAR next = pieces[index + 1].text.front();
    return next == OLESTR('_') || next >= 0x80 || (next < 0x80 && std::isalnum(static_cast<int>(next)) != 0);
}

void checkParameters(const CheckedRule& rule, const QueryRule& query, Findings& findings) {
    const std::vector<CComPtr<IXMLDOMNode>> params = selected(rule.element, OLESTR("params/param"));
    const Pieces& pieces = query.where.pieces();
    for (std::size_t i = 0; i < params.size(); ++i) {
        if (i >= pieces.size() || !hasPlaceholder(pieces, i))
            findings.add(spotOf(params[i]), "param-without-placeholder",
                         fmt::format("parameter {} has no placeholder %s in the query", i + 1));
        if (!attributeOf(params[i], OLESTR("value")))
            findings
                .add(spotOf(params[i]), "param-without-value",
                     fmt::format("parameter {} has no attribute 'value': the rule holds for no row", i + 1))
                .within = {spotOf(params[i])};
    }
    for (std::size_t i = params.size(); i < pieces.size(); ++i)
        if (hasPlaceholder(pieces, i) && !beginsWord(pieces, i))
            findings.add(
                rule.at, "placeholder-without-param",
                fmt::format("placeholder {} of the query has no parameter: %s stays in the where clause", i + 1));
}

// A field's value goes in as it is; one with a quotation mark is the row's fault.
void checkQuotes(const CheckedRule& rule, const QueryRule& query, Findings& findings) {
    char open = '\0';
    WideString clause;
    for (const auto& piece : query.where.pieces()) {
        clause += piece.text;
        if (piece.value.vt == VT_BSTR) clause += WideView(piece.value.bstrVal, SysStringLen(piece.value.bstrVal));
    }
    for (const OLECHAR c : clause)
        if (open == '\0' ? c == OLESTR('\'') || c == OLESTR('"') : c == static_cast<OLECHAR>(open))
            open = open == '\0' ? static_cast<char>(c) : '\0';
    if (open == '\0') return;
    const std::vector<CComPtr<IXMLDOMNode>> element = selected(rule.element, OLESTR("query"));
    findings.add(element.empty() ? rule.at : spotOf(element.front()), "query-quotes",
                 fmt::format("the where clause has a {} without its other: no database takes it", open));
}

void checkComplete(const CheckedRule& rule, Findings& findings) {
    const bool table = attributeOf(rule.element, OLESTR("table")).has_value();
    const bool query = !selected(rule.element, OLESTR("query")).empty();
    if (table && query) return;
    const char* const missing = table ? "query" : query ? "table" : "table and no query";
    findings.add(rule.at, "query-incomplete", fmt::format("the query rule has no {}: it holds for no row", missing))
        .within = {rule.at, rule.condition};
}

void checkFetchedFields(const CheckedRule& rule, Findings& findings) {
    for (const CComPtr<IXMLDOMNode>& field : selected(rule.element, OLESTR("fields/field")))
        for (const OLECHAR* attribute : {OLESTR("name"), OLESTR("alias")})
            if (!attributeOf(field, attribute))
                findings
                    .add(spotOf(field), "fetch-field-incomplete",
                         fmt::format("the field is not fetched: it has no attribute '{}'",
                                     WideView(attribute) == OLESTR("name") ? "name" : "alias"))
                    .within = {spotOf(field)};
}

void checkRule(const CheckedRule& rule, Findings& findings) {
    auto* const query = rule.as<QueryRule>();
    if (!query) return;
    checkComplete(rule, findings);
    checkParameters(rule, *query, findings);
    checkQuotes(rule, *query, findings);
    if (rule.as<QueryRuleFetch>()) checkFetchedFields(rule, findings);
}

}  // namespace

void checkQueries(const DocumentModel& model, Findings& findings) {
    model.forEachCondition([&](const CheckedCondition& condition) {
        for (const CheckedRule& rule : condition.rules) checkRule(rule, findings);
    });
}

}  // namespace cxml
