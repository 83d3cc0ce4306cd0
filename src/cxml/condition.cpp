// A condition's evaluation.
#include "cxml/condition.h"

#include "cxml/condition_map.h"

namespace ConditionalXml {

Condition::Condition(FeatureClassRule& owner) : conditionMap(owner.owner), featureClassRule(&owner) {}

Condition::~Condition() = default;

void Condition::addArgument(CComBSTR name, bool isList, bool isQualified) {
    if (!isQualified) featureClassRule->registerReferencedField(name);
    argumentSlots_.push_back(featureClassRule->fieldNames->intern(name));
    generateArguments.emplace_back(std::move(name), isList);
}

bool Condition::evaluate(RowValueMap& rowValues, BSTR& ruleName, const Condition*& matched, IGPMessages* messages) {
    const Condition* candidate = this;
    for (const std::shared_ptr<Rule>& rule : rules) {
        if (!rule->evaluate(rowValues, messages)) return false;
        for (const std::shared_ptr<Condition>& nested : rule->nestedConditions)
            nested->evaluate(rowValues, ruleName, candidate, nullptr);
    }
    matched = candidate;
    if (rulename.Length() != 0) ruleName = rulename;
    if (callsExpression()) generate(rowValues);
    return true;
}

}  // namespace ConditionalXml
