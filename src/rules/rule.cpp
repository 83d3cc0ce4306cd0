// The base of all rules, and how attribute rules walk their operands.
#include "rules/rule.h"

#include "text/failures.h"
#include "text/text.h"

namespace ConditionalXml {

Rule::Rule(const RuleOwner& owner)
    : conditionMap(owner.conditionMap),
      featureClassRule(owner.featureClassRule),
      className_(owner.className),
      tables_(owner.tables) {}

Rule::~Rule() = default;

CXAttributeRule::CXAttributeRule(const RuleOwner& owner, char type) : Rule(owner) {
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
                                 narrow(view(className())) + "'");
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

void CXAttributeRule::setField(CComBSTR name, FieldNames::Slot slot) {
    fieldName = std::move(name);
    fieldSlot_ = slot;
}

void CXAttributeRule::setValueField(CComBSTR name, FieldNames::Slot slot) {
    valueFieldName = std::move(name);
    valueFieldSlot_ = slot;
}

const VARIANT* CXAttributeRule::lookupField(const RowValueMap& rowValues) const noexcept {
    return rowValues.first(fieldSlot_);
}

}  // namespace ConditionalXml
