#include "configurations.h"

#include "tools/text/text.h"

#include <algorithm>

namespace cxml {
namespace {

using ConditionList = std::vector<std::shared_ptr<ConditionalXml::Condition>>;

void addFieldsOf(const ConditionList& conditions, std::vector<std::string>& fields) {
    for (const auto& condition : conditions) {
        if (condition->callsExpression() && condition->field.Length() != 0) {
            std::string field = toUtf8(condition->field);
            if (std::ranges::find(fields, field) == fields.end()) fields.push_back(std::move(field));
        }
        for (const auto& rule : condition->rules) addFieldsOf(rule->nestedConditions, fields);
    }
}

void addNamesOf(const ConditionList& conditions, std::set<std::string>& names) {
    for (const auto& condition : conditions) {
        if (condition->rulename.Length() != 0) names.insert(toUtf8(condition->rulename));
        for (const auto& rule : condition->rules) addNamesOf(rule->nestedConditions, names);
    }
}

}  // namespace

std::shared_ptr<ConditionalXml::FeatureClassRule> findConfiguration(const ConditionalXml::ConditionMap& map,
                                                                    const std::string& alias) {
    return map.find(upperCase(toBstr(alias)));
}

std::vector<std::string> resultFields(const ConditionalXml::FeatureClassRule& configuration) {
    std::vector<std::string> fields;
    addFieldsOf(configuration.defaultConditions, fields);
    for (const auto& [code, conditions] : configuration.subtypeConditions) addFieldsOf(conditions, fields);
    return fields;
}

bool isTargetField(std::string_view name) {
    return std::ranges::any_of(targetFields, [&](std::string_view target) { return isSameName(target, name); });
}

std::vector<std::string> writtenFields(const ConditionalXml::FeatureClassRule& configuration) {
    std::vector<std::string> fields(targetFields.begin(), targetFields.end());
    for (const std::string& field : resultFields(configuration))
        if (!isTargetField(field)) fields.push_back(field);
    return fields;
}

std::set<std::string> symbolNames(const ConditionalXml::FeatureClassRule& configuration) {
    std::set<std::string> names;
    addNamesOf(configuration.defaultConditions, names);
    for (const auto& [code, conditions] : configuration.subtypeConditions) addNamesOf(conditions, names);
    return names;
}

}  // namespace cxml
