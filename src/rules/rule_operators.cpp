#include "rules/rule_operators.h"

#include "api/failures.h"
#include "cxml/dom.h"

namespace ConditionalXml {

std::shared_ptr<Rule> createFromOperator(std::span<const RuleOperator> operators, std::string_view family,
                                         IXMLDOMNode* ruleElement, FeatureClassRule& owner, IGPMessages* messages) {
    const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(ruleElement);
    if (!attributes) return nullptr;
    const auto keyword = attributeText(attributes, OLESTR("operator"));
    if (!keyword) return nullptr;
    if (keyword->Length() != 0) CharLowerBuffW(keyword->m_str, keyword->Length());
    for (const RuleOperator& candidate : operators) {
        if (!equalNames(*keyword, candidate.keyword)) continue;
        std::shared_ptr<CXAttributeRule> rule = candidate.make(owner);
        const bool hasValues = rule->readValues(ruleElement);
        const bool hasField = rule->readField(ruleElement);
        return hasValues && hasField ? rule : nullptr;
    }
    addMessage(messages,
               "Operator '" + narrow(view(*keyword)) + "' not recognized for " + std::string(family) + " rule.");
    return nullptr;
}

}  // namespace ConditionalXml
