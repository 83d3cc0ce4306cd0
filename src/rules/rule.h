// Rule, the base of every test that a condition makes on a row, and the factory that builds rules from a document.
#pragma once

#include "rules/row_value_map.h"
#include "symbology/host_interfaces.h"

#include <memory>
#include <vector>

namespace ConditionalXml {

class Condition;
class ConditionMap;
class FeatureClassRule;

/// A test on a row. Built once while its document loads; evaluated on one thread at a time.
class Rule {
public:
    explicit Rule(FeatureClassRule& owner);
    virtual ~Rule();
    Rule(const Rule&) = delete;
    Rule& operator=(const Rule&) = delete;

    /// Whether the row passes. `messages` may be null. May throw std::exception or CAtlException.
    virtual bool evaluate(RowValueMap& rowValues, IGPMessages* messages) = 0;

    ConditionMap* conditionMap;                                // not owned
    FeatureClassRule* featureClassRule;                        // not owned
    char ruleType = '_';                                       // 'A' attribute, 'L' list attribute, 'Q' query
    std::vector<std::shared_ptr<Condition>> nestedConditions;  // document order
};

/// A rule over one field of the row. Its operands change their type in place as rows demand it (see evaluateOperands in
/// the attribute rules); that is the only state kept between rows.
class CXAttributeRule : public Rule {
public:
    explicit CXAttributeRule(FeatureClassRule& owner, char type = 'A');

    bool evaluate(RowValueMap& rowValues, IGPMessages* messages) override;
    /// Compares the row's value with one operand; equality unless a class says otherwise.
    virtual bool compare(const VARIANT& fieldValue, const VARIANT& operand) const;
    /// The type that operands take when the field's values are of `fieldType`.
    virtual VARTYPE operandType(VARTYPE fieldType) const noexcept { return fieldType; }

    /// Reads `fieldValue`, `value` or the child `value` elements, the first of these that is there. A field named by
    /// `fieldValue` is registered with the owner.
    /// \return false when the element's attributes or children cannot be had.
    bool readValues(IXMLDOMNode* element);
    /// Reads `field` and registers it with the owner. \return false when it is absent.
    bool readField(IXMLDOMNode* element);
    /// The row's value of the rule's field; null when the row has none. Borrowed from `rowValues`.
    const VARIANT* lookupField(const RowValueMap& rowValues) const noexcept;
    FieldNames::Slot fieldSlot() const noexcept { return fieldSlot_; }

    CComBSTR fieldName;
    std::vector<CComVariant> values;  // operands in document order
    CComBSTR valueFieldName;          // null when absent

protected:
    FieldNames::Slot fieldSlot_ = 0;       // of fieldName
    FieldNames::Slot valueFieldSlot_ = 0;  // of valueFieldName
};

/// Turns the text of an operand into its value: quoted text, NULL, or plain text.
CComVariant makeOperand(WideView text);

/// Compares as VarCmp does, but small integer types directly. \return a VARCMP code or a failure status.
HRESULT compareVariants(const VARIANT& a, const VARIANT& b);

/// Builds the rule of a `rule` element with its nested conditions.
/// \return null when the element makes no rule; only an unknown operator is reported, to `messages` (may be null).
std::shared_ptr<Rule> createRule(IXMLDOMNode* ruleElement, FeatureClassRule& owner, IGPMessages* messages);

}  // namespace ConditionalXml
