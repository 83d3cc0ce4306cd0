#include "field_uses.h"

#include "rules/query_rules.h"
#include "text/text.h"
#include "tools/places/places.h"

#include <algorithm>

namespace cxml {

using ConditionalXml::Condition;
using ConditionalXml::CXAttributeRule;
using ConditionalXml::equalNames;
using ConditionalXml::QueryRule;
using ConditionalXml::Rule;

namespace {

bool reads(const Rule& rule, const CComBSTR& field) {
    if (const auto* attribute = dynamic_cast<const CXAttributeRule*>(&rule))
        return equalNames(attribute->fieldName, field) || equalNames(attribute->valueFieldName, field);
    const auto* query = dynamic_cast<const QueryRule*>(&rule);
    return query && std::ranges::any_of(query->where.pieces(),
                                        [&](const auto& piece) { return equalNames(piece.fieldName, field); });
}

}  // namespace

LONG firstUse(const DocumentPlaces& places, const ConditionalXml::FeatureClassRule& configuration, WideView field) {
    const CComBSTR name = ConditionalXml::makeBstr(field);
    for (const Condition* condition : places.conditionsOf(configuration)) {
        for (const auto& rule : condition->rules)
            if (reads(*rule, name)) return places.lineOf(*rule);
        for (const auto& [argument, isList] : condition->generateArguments)
            if (equalNames(argument, name)) return places.lineOf(*condition);
    }
    return 0;
}

}  // namespace cxml
