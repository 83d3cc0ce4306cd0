// A condition's evaluation.
#include "cxml/condition.h"

#include "cxml/condition_map.h"
#include "cxml/evaluation_observer.h"

namespace ConditionalXml {

Condition::Condition(FeatureClassRule& owner) : conditionMap(owner.owner), featureClassRule(&owner) {}

Condition::~Condition() = default;

void Condition::addArgument(CComBSTR name, bool isList, bool isQualified) {
    if (!isQualified) featureClassRule->registerReferencedField(name);
    argumentSlots_.push_back(featureClassRule->fieldNames->intern(name));
    generateArguments.emplace_back(std::move(name), isList);
}

bool Condition::evaluate(RowValueMap& rowValues, BSTR& ruleName, const Condition*& matched, IGPMessages* messages) {
    EvaluationObserver* const observer = featureClassRule->observer;
    if (observer) observer->beginCondition(*this);
    const Condition* candidate = this;
    for (const std::shared_ptr<Rule>& rule : rules) {
        if (observer) observer->beginRule(*rule, rowValues);
        const bool answer = rule->evaluate(rowValues, messages);
        if (observer) observer->endRule(*rule, rowValues, answer);
        if (!answer) {
            if (observer) observer->endCondition(*this, false);
            return false;
        }
        for (const std::shared_ptr<Condition>& nested : rule->nestedConditions)
            nested->evaluate(rowValues, ruleName, candidate, nullptr);
    }
    matched = candidate;
    if (rulename.Length() != 0) ruleName = rulename;
    if (callsExpression()) generate(rowValues);
    if (observer) observer->endCondition(*this, true);
    return true;
}

}  // namespace ConditionalXml
