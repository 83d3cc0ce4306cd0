#include "cxml/rule_reader.h"

#include "cxml/condition_map.h"
#include "cxml/condition_reader.h"
#include "cxml/dom.h"
#include "rules/attribute_rules.h"
#include "rules/list_attribute_rules.h"
#include "rules/query_rules.h"
#include "text/failures.h"
#include "text/text.h"

namespace ConditionalXml {

CComVariant makeOperand(WideView text) {
    CComVariant operand;
    if (text == OLESTR("NULL") || text == OLESTR("null")) {
        operand.vt = VT_NULL;
        return operand;
    }
    if (text.starts_with(OLESTR('\'')))  // quoted: without the first and the last character, whatever the last is
        text = text.size() > 2 ? text.substr(1, text.size() - 2) : WideView{};
    operand.bstrVal = makeBstr(text).Detach();
    operand.vt = VT_BSTR;
    return operand;
}

bool readValues(CXAttributeRule& rule, IXMLDOMNode* element) {
    const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(element);
    if (!attributes) return false;
    std::optional<CComBSTR> name;
    if (!readAttribute(attributes, OLESTR("fieldValue"), name)) return false;
    if (name) {
        FeatureClassRule& owner = *rule.featureClassRule;
        if (name->Length() != 0) owner.registerReferencedField(*name);
        const FieldNames::Slot slot = owner.fieldNames->intern(*name);
        rule.setValueField(std::move(*name), slot);
        return true;
    }
    std::optional<CComBSTR> text;
    if (!readAttribute(attributes, OLESTR("value"), text)) return false;
    if (text) {
        rule.values.push_back(makeOperand(view(*text)));
        return true;
    }
    const CComPtr<IXMLDOMNodeList> children = selectNodes(element, OLESTR("value"));
    if (!children) return false;
    return forEachNode(children, [&](IXMLDOMNode* child) {
        const auto operand = tryNodeText(child);
        if (operand) rule.values.push_back(makeOperand(view(*operand)));
        return operand.has_value();
    });
}

bool readField(CXAttributeRule& rule, IXMLDOMNode* element) {
    std::optional<CComBSTR> name = attributeText(element, OLESTR("field"));
    if (!name) return false;
    FeatureClassRule& owner = *rule.featureClassRule;
    owner.registerReferencedField(*name);
    const FieldNames::Slot slot = owner.fieldNames->intern(*name);
    rule.setField(std::move(*name), slot);
    return true;
}

namespace {

void reportOperator(const CComBSTR& keyword, const char* family, const Reading& reading) {
    addMessage(reading.messages,
               "Operator '" + narrow(view(keyword)) + "' not recognized for " + std::string(family) + " rule.");
}

using MakeFromKeyword = std::shared_ptr<CXAttributeRule> (*)(const CComBSTR&, const RuleOwner&);

/// A rule over a field, with its operands. Its operator is written in any case.
template <MakeFromKeyword Make>
std::shared_ptr<Rule> readFieldRule(IXMLDOMNode* element, const char* family, FeatureClassRule& owner,
                                    const Reading& reading) {
    std::optional<CComBSTR> keyword = attributeText(element, OLESTR("operator"));
    if (!keyword) return nullptr;
    if (keyword->Length() != 0) CharLowerBuffW(keyword->m_str, keyword->Length());
    const std::shared_ptr<CXAttributeRule> rule = Make(*keyword, owner.ruleOwner());
    if (!rule) {
        reportOperator(*keyword, family, reading);
        return nullptr;
    }
    const bool hasValues = readValues(*rule, element);
    const bool hasField = readField(*rule, element);
    return hasValues && hasField ? rule : nullptr;
}

/// A parameter of the where clause: a constant in quotes, else a field of the row.
QueryElement::Parameter readParameter(IXMLDOMNode* element, FeatureClassRule& owner) {
    const std::optional<CComBSTR> value = attributeText(element, OLESTR("value"));
    const WideView text = value ? view(*value) : WideView{};
    if (text.starts_with(OLESTR('\'')))
        return {makeBstr(text.size() > 2 ? text.substr(1, text.size() - 2) : WideView{}), true, 0};
    const CComBSTR name = makeBstr(text);
    owner.registerReferencedField(name);
    return {name, false, owner.fieldNames->intern(name)};
}

/// \return false when the DOM fails: a query with a part unread would ask something else.
bool readQuery(QueryElement& read, IXMLDOMNode* element, FeatureClassRule& owner) {
    read.table = attributeText(element, OLESTR("table"));
    CComPtr<IXMLDOMNode> query;
    if (FAILED(checked(element->selectSingleNode(CComBSTR(OLESTR("query")), &query)))) return false;
    if (query) {
        read.query = tryNodeText(query);
        if (!read.query) return false;
    }
    const CComPtr<IXMLDOMNodeList> params = selectNodes(element, OLESTR("params/param"));
    if (!params) return false;
    return forEachNode(params, [&](IXMLDOMNode* param) {
        read.parameters.push_back(readParameter(param, owner));
        return true;
    });
}

/// What only a rule that fetches has.
bool readFetch(QueryElement& read, IXMLDOMNode* element, FeatureClassRule& owner) {
    const std::optional<CComBSTR> option = attributeText(element, OLESTR("selectOption"));
    read.selectsAll = option && equalNames(*option, OLESTR("multiple"));
    const CComPtr<IXMLDOMNodeList> fields = selectNodes(element, OLESTR("fields/field"));
    if (!fields) return false;
    return forEachNode(fields, [&](IXMLDOMNode* field) {
        const std::optional<CComBSTR> name = attributeText(field, OLESTR("name"));
        const std::optional<CComBSTR> alias = attributeText(field, OLESTR("alias"));
        if (name && alias) read.fields.push_back({*name, *alias, owner.fieldNames->intern(*alias)});
        return true;
    });
}

std::shared_ptr<Rule> readQueryRule(IXMLDOMNode* element, const char* family, FeatureClassRule& owner,
                                    const Reading& reading) {
    const std::optional<CComBSTR> keyword = attributeText(element, OLESTR("operator"));
    const CComBSTR name = keyword ? *keyword : makeBstr({});
    const std::shared_ptr<QueryRule> rule = makeQueryRule(name, owner.ruleOwner());
    if (!rule) {
        reportOperator(name, family, reading);
        return nullptr;
    }
    QueryElement read;
    if (!readQuery(read, element, owner)) return nullptr;
    if (dynamic_cast<QueryRuleFetch*>(rule.get()) && !readFetch(read, element, owner)) return nullptr;
    rule->parse(read);
    return rule;
}

struct Family {
    const OLECHAR* type;
    const char* name;  // in messages
    std::shared_ptr<Rule> (*read)(IXMLDOMNode*, const char* family, FeatureClassRule&, const Reading&);
};

constexpr Family families[] = {
    {OLESTR("A"), "attribute", readFieldRule<makeAttributeRule>},
    {OLESTR("L"), "list attribute", readFieldRule<makeListAttributeRule>},
    {OLESTR("Q"), "query", readQueryRule},
};

std::shared_ptr<Rule> readOfFamily(IXMLDOMNode* element, FeatureClassRule& owner, const Reading& reading) {
    const std::optional<CComBSTR> type = attributeText(element, OLESTR("type"));
    if (!type) return nullptr;
    for (const Family& family : families)
        if (equalNames(*type, family.type)) return family.read(element, family.name, owner, reading);
    return nullptr;
}

/// The conditions inside a rule, which is null when it is looked into only. Their faults are not reported: no messages
/// are passed on.
void readNestedConditions(Rule* rule, IXMLDOMNode* element, FeatureClassRule& owner, const Reading& reading) {
    const CComPtr<IXMLDOMNodeList> nodes = selectNodes(element, OLESTR("condition"));
    if (!nodes) return;
    const Reading silent = reading.silent();
    forEachNode(nodes, [&](IXMLDOMNode* node) {
        auto condition = readCondition(node, owner, silent);
        if (condition && rule) {
            rule->nestedConditions.push_back(condition);
            owner.owner->conditions.push_back(std::move(condition));
        }
        return true;
    });
}

}  // namespace

std::shared_ptr<Rule> readRule(IXMLDOMNode* element, FeatureClassRule& owner, const Reading& reading) {
    reading.tell(&LoadObserver::beginRule, element);
    std::shared_ptr<Rule> rule = readOfFamily(element, owner, reading);
    reading.tell(&LoadObserver::onRule, rule);
    if (rule || reading.goesOn) readNestedConditions(rule.get(), element, owner, reading);
    reading.tell(&LoadObserver::endRule);
    return rule;
}

std::shared_ptr<Rule> createRule(IXMLDOMNode* ruleElement, FeatureClassRule& owner, IGPMessages* messages) {
    return readRule(ruleElement, owner, {.messages = messages});
}

}  // namespace ConditionalXml
