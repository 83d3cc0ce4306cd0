// From a `rule` element to a rule: its family, then its nested conditions.
#include "rules/attribute_rules.h"
#include "rules/list_attribute_rules.h"
#include "rules/query_rules.h"
#include "rules/rule.h"

#include "api/failures.h"
#include "cxml/condition_map.h"
#include "cxml/dom.h"

namespace ConditionalXml {

namespace {

using FamilyFactory = std::shared_ptr<Rule> (*)(IXMLDOMNode*, FeatureClassRule&, IGPMessages*);

struct Family {
    const OLECHAR* type;
    FamilyFactory create;
};

constexpr Family families[] = {
    {OLESTR("A"), createAttributeRule},
    {OLESTR("L"), createListAttributeRule},
    {OLESTR("Q"), createQueryRule},
};

/// The conditions inside a rule. Their faults are not reported: no messages are passed on.
void readNestedConditions(Rule& rule, IXMLDOMNode* ruleElement) {
    const CComPtr<IXMLDOMNodeList> nodes = selectNodes(ruleElement, OLESTR("condition"));
    if (!nodes) return;
    forEachNode(nodes, [&](IXMLDOMNode* node) {
        if (auto condition = Condition::build(node, *rule.featureClassRule, nullptr)) {
            rule.nestedConditions.push_back(condition);
            rule.conditionMap->conditions.push_back(std::move(condition));
        }
        return true;
    });
}

}  // namespace

std::shared_ptr<Rule> createRule(IXMLDOMNode* ruleElement, FeatureClassRule& owner, IGPMessages* messages) {
    const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(ruleElement);
    if (!attributes) return nullptr;
    const auto type = attributeText(attributes, OLESTR("type"));
    if (!type) return nullptr;
    for (const Family& family : families) {
        if (!equalNames(*type, family.type)) continue;
        std::shared_ptr<Rule> rule = family.create(ruleElement, owner, messages);
        if (rule) readNestedConditions(*rule, ruleElement);
        return rule;
    }
    return nullptr;
}

}  // namespace ConditionalXml
