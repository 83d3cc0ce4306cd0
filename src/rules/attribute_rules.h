// Attribute rules: one field of the row against operands or against a second field of the row.
#pragma once

#include "rules/like_pattern.h"
#include "rules/rule.h"

namespace ConditionalXml {

class CXAttributeRuleEqual : public CXAttributeRule {
public:
    using CXAttributeRule::CXAttributeRule;
};

/// Holds exactly when equality does not, special outcomes included.
class CXAttributeRuleNotEqual : public CXAttributeRule {
public:
    using CXAttributeRule::CXAttributeRule;
    bool evaluate(RowValueMap& rowValues, IGPMessages* messages) override;
};

class CXAttributeRuleLt : public CXAttributeRule {
public:
    using CXAttributeRule::CXAttributeRule;
    bool compare(const VARIANT& fieldValue, const VARIANT& operand) const override;
};

class CXAttributeRuleLte : public CXAttributeRule {
public:
    using CXAttributeRule::CXAttributeRule;
    bool compare(const VARIANT& fieldValue, const VARIANT& operand) const override;
};

class CXAttributeRuleGt : public CXAttributeRule {
public:
    using CXAttributeRule::CXAttributeRule;
    bool compare(const VARIANT& fieldValue, const VARIANT& operand) const override;
};

class CXAttributeRuleGte : public CXAttributeRule {
public:
    using CXAttributeRule::CXAttributeRule;
    bool compare(const VARIANT& fieldValue, const VARIANT& operand) const override;
};

/// Inclusive at both ends; false unless there are exactly two operands, the lower bound first.
class CXAttributeRuleBetween : public CXAttributeRule {
public:
    using CXAttributeRule::CXAttributeRule;
    bool evaluate(RowValueMap& rowValues, IGPMessages* messages) override;
};

/// `*` stands for any text, `**` for one asterisk; the first occurrence of a piece decides. At least one side must be a
/// text: the other is taken by its display text then, and NULL, an empty value and a field that the row lacks are the
/// empty text.
class CXAttributeRuleLike : public CXAttributeRule {
public:
    using CXAttributeRule::CXAttributeRule;
    bool compare(const VARIANT& fieldValue, const VARIANT& operand) const override;

private:
    const LikePattern& patternFor(const VARIANT& operand, WideView text) const;

    mutable std::vector<LikePattern> patterns_;  // of the operands, by position, cut when first needed
    mutable LikePattern otherPattern_;           // of the last operand that came from the row
};

class CXAttributeRuleNotLike : public CXAttributeRuleLike {
public:
    using CXAttributeRuleLike::CXAttributeRuleLike;
    bool compare(const VARIANT& fieldValue, const VARIANT& operand) const override;
};

/// The rule of an operator's keyword, which is in lower case; null when there is no such operator.
std::shared_ptr<CXAttributeRule> makeAttributeRule(const CComBSTR& keyword, const RuleOwner& owner);

}  // namespace ConditionalXml
