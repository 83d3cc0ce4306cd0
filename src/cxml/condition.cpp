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
    Evaluation& evaluation = featureClassRule->evaluation;
    EvaluationObserver* const walker = evaluation.walker;
    if (walker) walker->beginCondition(*this);
    const Condition* candidate = this;
    for (const std::shared_ptr<Rule>& rule : rules) {
        evaluation.rule = rule.get();
        if (walker) walker->beginRule(*rule, rowValues);
        const bool answer = rule->evaluate(rowValues, messages);
        if (walker || (evaluation.observer && rule->ruleType == 'Q'))
            evaluation.observer->endRule(*rule, rowValues, answer);
        if (!answer) {
            if (walker) walker->endCondition(*this, false);
            return false;
        }
        for (const std::shared_ptr<Condition>& nested : rule->nestedConditions)
            nested->evaluate(rowValues, ruleName, candidate, nullptr);
    }
    matched = candidate;
    if (rulename.Length() != 0) ruleName = rulename;
    if (callsExpression()) generate(rowValues);
    if (walker) walker->endCondition(*this, true);
    return true;
}

}  // namespace ConditionalXml
