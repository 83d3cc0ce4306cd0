// The base of all rules, and how attribute rules read their field and operands and walk them.
#include "rules/rule.h"

#include "api/failures.h"
#include "cxml/condition_map.h"
#include "cxml/dom.h"

namespace ConditionalXml {

Rule::Rule(FeatureClassRule& owner) : conditionMap(owner.owner), featureClassRule(&owner) {}

Rule::~Rule() = default;

CXAttributeRule::CXAttributeRule(FeatureClassRule& owner, char type) : Rule(owner) {
    ruleType = type;
}

bool CXAttributeRule::compare(const VARIANT& fieldValue, const VARIANT& operand) const {
    if (fieldValue.vt != operand.vt) return false;
    if (fieldValue.vt == VT_NULL) return true;
    return compareVariants(fieldValue, operand) == VARCMP_EQ;
}

namespace {

/// Gives an operand the type of the row's value, in place; one that cannot be converted stays as it is.
void convertOperand(VARIANT& operand, const VARIANT& fieldValue) {
    if (operand.vt == fieldValue.vt || operand.vt == VT_NULL) return;
    if (fieldValue.vt == VT_EMPTY || fieldValue.vt == VT_NULL) return;
    checked(VariantChangeType(&operand, &operand, 0, fieldValue.vt));
}

}  // namespace

bool CXAttributeRule::evaluate(RowValueMap& rowValues, IGPMessages* messages) {
    static const CComVariant missing;
    const VARIANT* found = lookupField(rowValues);
    if (!found && messages)
        addMessage(messages, "Rule referenced field '" + narrow(view(fieldName)) + "' not found on '" +
                                 narrow(view(featureClassRule->name)) + "'");
    const VARIANT& fieldValue = found ? *found : missing;

    if (valueFieldName.Length() != 0) {
        const VARIANT* other = rowValues.first(valueFieldSlot_);
        if (!other) return false;
        if (other->vt == fieldValue.vt) return compare(fieldValue, *other);
        CComVariant operand(*other);
        convertOperand(operand, fieldValue);
        return compare(fieldValue, operand);
    }
    for (CComVariant& operand : values) {
        convertOperand(operand, fieldValue);
        if (compare(fieldValue, operand)) return true;
    }
    return false;
}

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

bool CXAttributeRule::readValues(IXMLDOMNode* element) {
    const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(element);
    if (!attributes) return false;
    std::optional<CComBSTR> name;
    if (!readAttribute(attributes, OLESTR("fieldValue"), name)) return false;
    if (name) {
        valueFieldName = std::move(*name);
        if (valueFieldName.Length() != 0) featureClassRule->registerReferencedField(valueFieldName);
        valueFieldSlot_ = featureClassRule->fieldNames->intern(valueFieldName);
        return true;
    }
    std::optional<CComBSTR> text;
    if (!readAttribute(attributes, OLESTR("value"), text)) return false;
    if (text) {
        values.push_back(makeOperand(view(*text)));
        return true;
    }
    const CComPtr<IXMLDOMNodeList> children = selectNodes(element, OLESTR("value"));
    if (!children) return false;
    return forEachNode(children, [&](IXMLDOMNode* child) {
        const auto operand = tryNodeText(child);
        if (operand) values.push_back(makeOperand(view(*operand)));
        return operand.has_value();
    });
}

bool CXAttributeRule::readField(IXMLDOMNode* element) {
    const CComPtr<IXMLDOMNamedNodeMap> attributes = attributesOf(element);
    if (!attributes) return false;
    auto name = attributeText(attributes, OLESTR("field"));
    if (!name) return false;
    fieldName = std::move(*name);
    featureClassRule->registerReferencedField(fieldName);
    fieldSlot_ = featureClassRule->fieldNames->intern(fieldName);
    return true;
}

const VARIANT* CXAttributeRule::lookupField(const RowValueMap& rowValues) const noexcept {
    return rowValues.first(fieldSlot_);
}

}  // namespace ConditionalXml
