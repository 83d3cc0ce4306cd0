// List attribute rules: a text field that holds a comma-separated list of codes, against a set of codes.
#pragma once

#include "rules/rule.h"

#include <vector>

namespace ConditionalXml {

/// The base of list rules. Evaluation writes the codes of the row and the type of the operands into the rule.
class ListAttributeRule : public CXAttributeRule {
public:
    explicit ListAttributeRule(const RuleOwner& owner) : CXAttributeRule(owner, 'L') {}

    bool evaluate(RowValueMap& rowValues, IGPMessages* messages) override = 0;

    /// The distinct codes of the row evaluated last, ascending.
    std::vector<LONG> listItems;

protected:
    /// Rebuilds listItems from the row; a field without text has none.
    void splitList(const RowValueMap& rowValues);
    /// Whether the operand is one of the row's codes; NULL is one exactly when there are none. The operand becomes a
    /// number in place; one that is no number is no member.
    bool isMember(CComVariant& operand) const;

private:
    /// Keeps the items distinct and in order.
    void addItem(LONG code);
};

/// As many codes as operands, and every operand one of them: counts are compared, not sets.
class ListAttributeRuleEqual : public ListAttributeRule {
public:
    using ListAttributeRule::ListAttributeRule;
    bool evaluate(RowValueMap& rowValues, IGPMessages* messages) override;
};

class ListAttributeRuleNotEqual : public ListAttributeRuleEqual {
public:
    using ListAttributeRuleEqual::ListAttributeRuleEqual;
    bool evaluate(RowValueMap& rowValues, IGPMessages* messages) override;
};

class ListAttributeRuleContainsAny : public ListAttributeRule {
public:
    using ListAttributeRule::ListAttributeRule;
    bool evaluate(RowValueMap& rowValues, IGPMessages* messages) override;
};

/// Every operand is one of the codes, and there are more operands than codes.
class ListAttributeRuleContainsAll : public ListAttributeRule {
public:
    using ListAttributeRule::ListAttributeRule;
    bool evaluate(RowValueMap& rowValues, IGPMessages* messages) override;
};

class ListAttributeRuleContainsNone : public ListAttributeRuleContainsAny {
public:
    using ListAttributeRuleContainsAny::ListAttributeRuleContainsAny;
    bool evaluate(RowValueMap& rowValues, IGPMessages* messages) override;
};

/// More than one distinct code, whatever the operands.
class ListAttributeRuleHasMultiple : public ListAttributeRule {
public:
    using ListAttributeRule::ListAttributeRule;
    bool evaluate(RowValueMap& rowValues, IGPMessages* messages) override;
};

/// The rule of an operator's keyword, which is in lower case; null when there is no such operator.
std::shared_ptr<CXAttributeRule> makeListAttributeRule(const CComBSTR& keyword, const RuleOwner& owner);

}  // namespace ConditionalXml
