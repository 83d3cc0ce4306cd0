// From an operator's keyword to a rule: what attribute and list attribute rules have in common.
#pragma once

#include "rules/rule.h"

#include <span>

namespace ConditionalXml {

struct RuleOperator {
    const OLECHAR* keyword;  // lower case
    std::shared_ptr<CXAttributeRule> (*make)(const RuleOwner&);
};

/// For tables of operators.
template <class ConcreteRule>
std::shared_ptr<CXAttributeRule> makeRule(const RuleOwner& owner) {
    return std::make_shared<ConcreteRule>(owner);
}

/// The rule that the table has for the keyword; null when it has none.
inline std::shared_ptr<CXAttributeRule> makeFromOperator(std::span<const RuleOperator> operators,
                                                         const CComBSTR& keyword, const RuleOwner& owner) {
    for (const RuleOperator& candidate : operators)
        if (equalNames(keyword, candidate.keyword)) return candidate.make(owner);
    return nullptr;
}

}  // namespace ConditionalXml
