// From an operator's keyword to a rule: what the factories of attribute and list attribute rules have in common.
#pragma once

#include "rules/rule.h"

#include <span>

namespace ConditionalXml {

struct RuleOperator {
    const OLECHAR* keyword;  // lower case
    std::shared_ptr<CXAttributeRule> (*make)(FeatureClassRule&);
};

/// For tables of operators.
template <class ConcreteRule>
std::shared_ptr<CXAttributeRule> makeRule(FeatureClassRule& owner) {
    return std::make_shared<ConcreteRule>(owner);
}

/// Builds the rule that the element's `operator` names, in any case, with its operands and field.
/// \param family as the message about an unknown operator calls it. \return null when the element makes no rule.
std::shared_ptr<Rule> createFromOperator(std::span<const RuleOperator> operators, std::string_view family,
                                         IXMLDOMNode* ruleElement, FeatureClassRule& owner, IGPMessages* messages);

}  // namespace ConditionalXml
