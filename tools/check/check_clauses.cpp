#include "check_clauses.h"

#include "cxml/feature_class_rule.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>

namespace cxml {
namespace {

using ConditionalXml::QueryRule;
using ConditionalXml::WhereTemplate;
using embedded_host::GdalWorkspace;

// Values that a field of the type may have. A text may be a name or a number, or many of them: "3,4".
std::vector<CComVariant> valuesOf(std::optional<VARTYPE> type) {
    CComVariant one(1);
    CComVariant value;
    if (type && *type != VT_EMPTY && *type != VT_BSTR && SUCCEEDED(value.ChangeType(*type, &one))) return {value};
    return {CComVariant(OLESTR("1")), CComVariant(OLESTR("x"))};
}

Spot querySpot(const CheckedRule& rule) {
    Spot at = rule.at;
    forEachSelected(rule.element, OLESTR("query[1]"), [&](IXMLDOMNode* query) { at = spotOf(query); });
    return at;
}

}  // namespace

ClauseCheck::ClauseCheck(GdalWorkspace& dataset, Findings& findings) : dataset_(dataset), findings_(findings) {
    for (const Finding& finding : findings.all())
        if (finding.kind == "query-quotes" || finding.kind == "placeholder-without-param")
            said_.insert({finding.place.line, finding.place.column});
}

void ClauseCheck::check(const CheckedRule& rule, const QueryRule& query, const std::string& table,
                        const TypeOf& typeOf) {
    const Spot at = querySpot(rule);
    if (said_.contains(at) || said_.contains(rule.at)) return;
    const std::vector<std::string> clauses = clausesOf(rule, query, typeOf);
    if (clauses.empty()) return;
    const bool isFilled = std::ranges::any_of(query.where.pieces(), [](const WhereTemplate::Piece& piece) {
        return piece.kind == WhereTemplate::Kind::Field;
    });
    for (const std::string& clause : clauses) {
        const Answer& answer = ask(table, clause);
        if (!answer.refusal || (isFilled && answer.refusal->isOfValues)) return;
    }
    Answer& answer = ask(table, clauses.front());
    const Place place{findings_.document(), at.line, at.column};
    if (answer.finding) {
        answer.finding->alsoAt.push_back(place);
        return;
    }
    Finding& finding = findings_.addIn(place, "clause-refused",
                                       fmt::format("the dataset refuses the where clause: {}", answer.refusal->words));
    finding.help = fmt::format("table '{}' would be asked: {}", oneLine(table), oneLine(clauses.front()));
    finding.within = {at, rule.at, rule.condition};
    answer.finding = &finding;
}

// The clause with the values that rows may have for its parameters, in all combinations of a few.
std::vector<std::string> ClauseCheck::clausesOf(const CheckedRule& rule, const QueryRule& query,
                                                const TypeOf& typeOf) const {
    constexpr std::size_t mostClauses = 16;
    std::vector<std::pair<ConditionalXml::FieldNames::Slot, std::vector<CComVariant>>> parameters;
    for (const WhereTemplate::Piece& piece : query.where.pieces()) {
        if (piece.kind != WhereTemplate::Kind::Field) continue;
        if (piece.fieldName.Length() == 0) return {};  // a parameter without value
        const bool isKnown =
            std::ranges::any_of(parameters, [&](const auto& parameter) { return parameter.first == piece.fieldSlot; });
        if (!isKnown) parameters.emplace_back(piece.fieldSlot, valuesOf(typeOf(toUtf8(piece.fieldName))));
    }
    std::vector<std::string> clauses;
    std::vector<std::size_t> choice(parameters.size(), 0);
    while (clauses.size() < mostClauses) {
        ConditionalXml::RowValueMap row(rule.rule->featureClassRule->fieldNames);
        for (std::size_t i = 0; i < parameters.size(); ++i)
            row.append(parameters[i].first) = parameters[i].second[choice[i]];
        WideString clause;
        if (query.where.fill(row, clause)) return {};
        clauses.push_back(toUtf8(clause));
        std::size_t digit = 0;
        while (digit < choice.size() && ++choice[digit] == parameters[digit].second.size()) choice[digit++] = 0;
        if (digit == choice.size()) break;
    }
    return clauses;
}

ClauseCheck::Answer& ClauseCheck::ask(const std::string& table, const std::string& clause) {
    const auto [known, isNew] = answers_.try_emplace({table, clause});
    if (isNew) known->second.refusal = dataset_.whyRefused(table, clause);
    return known->second;
}

}  // namespace cxml
