// Rule, the base of every test that a condition makes on a row.
#pragma once

#include "rules/row_value_map.h"
#include "symbology/host_interfaces.h"

#include <memory>
#include <vector>

namespace ConditionalXml {

class Condition;
class ConditionMap;
class CXTableManager;
class FeatureClassRule;

/// The feature class that rules belong to, as far as they look at it. It outlives them.
struct RuleOwner {
    ConditionMap* conditionMap;          // whose rule it is: for others to ask, nothing here looks inside
    FeatureClassRule* featureClassRule;  // the same
    const CComBSTR* className;           // as written in the document
    CXTableManager* tables;              // of the run
};

/// A test on a row. Built once while its document loads; evaluated on one thread at a time.
class Rule {
public:
    explicit Rule(const RuleOwner& owner);
    virtual ~Rule();
    Rule(const Rule&) = delete;
    Rule& operator=(const Rule&) = delete;

    /// Whether the row passes. `messages` may be null. May throw std::exception or CAtlException.
    virtual bool evaluate(RowValueMap& rowValues, IGPMessages* messages) = 0;

    ConditionMap* conditionMap;                                // not owned
    FeatureClassRule* featureClassRule;                        // not owned
    char ruleType = '_';                                       // 'A' attribute, 'L' list attribute, 'Q' query
    std::vector<std::shared_ptr<Condition>> nestedConditions;  // document order

protected:
    const CComBSTR& className() const noexcept { return *className_; }
    CXTableManager& tables() const noexcept { return *tables_; }

private:
    const CComBSTR* className_;
    CXTableManager* tables_;
};

/// A rule over one field of the row. Its operands change their type in place as rows demand it (see evaluateOperands in
/// the attribute rules); that is the only state kept between rows.
class CXAttributeRule : public Rule {
public:
    explicit CXAttributeRule(const RuleOwner& owner, char type = 'A');

    bool evaluate(RowValueMap& rowValues, IGPMessages* messages) override;
    /// Compares the row's value with one operand; equality unless a class says otherwise.
    virtual bool compare(const VARIANT& fieldValue, const VARIANT& operand) const;

    /// The field that the rule tests, and the number of its name.
    void setField(CComBSTR name, FieldNames::Slot slot);
    /// The field whose value is the operand, and the number of its name.
    void setValueField(CComBSTR name, FieldNames::Slot slot);
    /// The row's value of the rule's field; null when the row has none. Borrowed from `rowValues`.
    const VARIANT* lookupField(const RowValueMap& rowValues) const noexcept;
    FieldNames::Slot fieldSlot() const noexcept { return fieldSlot_; }
    FieldNames::Slot valueFieldSlot() const noexcept { return valueFieldSlot_; }

    CComBSTR fieldName;
    std::vector<CComVariant> values;  // operands in document order
    CComBSTR valueFieldName;          // null when absent

protected:
    FieldNames::Slot fieldSlot_ = 0;       // of fieldName
    FieldNames::Slot valueFieldSlot_ = 0;  // of valueFieldName
};

/// Compares as VarCmp does, but small integer types directly. \return a VARCMP code or a failure status.
HRESULT compareVariants(const VARIANT& a, const VARIANT& b);

}  // namespace ConditionalXml
