// The comparisons of attribute rules, and their operators.
#include "rules/attribute_rules.h"

#include "rules/rule_operators.h"
#include "text/failures.h"
#include "text/text.h"

#include <optional>

namespace ConditionalXml {

bool CXAttributeRuleNotEqual::evaluate(RowValueMap& rowValues, IGPMessages* messages) {
    return !CXAttributeRule::evaluate(rowValues, messages);
}

namespace {

/// NULL is never less or greater than anything, and types must be alike.
bool ordered(const VARIANT& fieldValue, const VARIANT& operand, HRESULT wanted) {
    return fieldValue.vt == operand.vt && fieldValue.vt != VT_NULL && compareVariants(fieldValue, operand) == wanted;
}

/// As ordered(), or equal; two NULLs count as equal.
bool orderedOrEqual(const VARIANT& fieldValue, const VARIANT& operand, HRESULT wanted) {
    if (fieldValue.vt != operand.vt) return false;
    if (fieldValue.vt == VT_NULL) return true;
    const HRESULT order = compareVariants(fieldValue, operand);
    return order == wanted || order == VARCMP_EQ;
}

}  // namespace

bool CXAttributeRuleLt::compare(const VARIANT& fieldValue, const VARIANT& operand) const {
    return ordered(fieldValue, operand, VARCMP_LT);
}

bool CXAttributeRuleLte::compare(const VARIANT& fieldValue, const VARIANT& operand) const {
    return orderedOrEqual(fieldValue, operand, VARCMP_LT);
}

bool CXAttributeRuleGt::compare(const VARIANT& fieldValue, const VARIANT& operand) const {
    return ordered(fieldValue, operand, VARCMP_GT);
}

bool CXAttributeRuleGte::compare(const VARIANT& fieldValue, const VARIANT& operand) const {
    return orderedOrEqual(fieldValue, operand, VARCMP_GT);
}

namespace {

/// Whether the value lies beyond the bound, in the `beyond` direction, or on it.
bool withinBound(const VARIANT& fieldValue, const VARIANT& bound, HRESULT beyond) {
    const HRESULT order = compareVariants(fieldValue, bound);
    return order == beyond || (order == VARCMP_EQ && fieldValue.vt == bound.vt);
}

}  // namespace

bool CXAttributeRuleBetween::evaluate(RowValueMap& rowValues, IGPMessages* /*messages*/) {
    static const CComVariant missing;
    const VARIANT* found = lookupField(rowValues);
    const VARIANT& fieldValue = found ? *found : missing;
    if (values.size() != 2 || fieldValue.vt == VT_NULL) return false;
    for (CComVariant& bound : values)
        if (bound.vt != fieldValue.vt) checked(VariantChangeType(&bound, &bound, 0, fieldValue.vt));
    return withinBound(fieldValue, values[0], VARCMP_GT) && withinBound(fieldValue, values[1], VARCMP_LT);
}

namespace {

/// The text that a value is matched by: no value is the empty text. `converted` holds it when the value is not a text
/// itself. Nothing for a value that cannot be shown as text.
std::optional<WideView> displayText(const VARIANT& value, CComVariant& converted) {
    if (value.vt == VT_BSTR) return view(value.bstrVal);
    if (value.vt == VT_EMPTY || value.vt == VT_NULL) return WideView{};
    if (FAILED(checked(converted.ChangeType(VT_BSTR, &value)))) return std::nullopt;
    return view(converted.bstrVal);
}

}  // namespace

bool CXAttributeRuleLike::compare(const VARIANT& fieldValue, const VARIANT& operand) const {
    if (fieldValue.vt != VT_BSTR && operand.vt != VT_BSTR) return false;
    CComVariant convertedValue;
    CComVariant convertedPattern;
    const std::optional<WideView> text = displayText(fieldValue, convertedValue);
    const std::optional<WideView> pattern = displayText(operand, convertedPattern);
    return text && pattern && patternFor(operand, *pattern).matches(*text);
}

const LikePattern& CXAttributeRuleLike::patternFor(const VARIANT& operand, WideView text) const {
    LikePattern* pattern = &otherPattern_;
    if (patterns_.size() != values.size()) patterns_.resize(values.size());
    for (std::size_t i = 0; i < values.size(); ++i)
        if (&values[i] == &operand) pattern = &patterns_[i];
    if (pattern->source() != text) *pattern = LikePattern(text);
    return *pattern;
}

bool CXAttributeRuleNotLike::compare(const VARIANT& fieldValue, const VARIANT& operand) const {
    return !CXAttributeRuleLike::compare(fieldValue, operand);
}

std::shared_ptr<CXAttributeRule> makeAttributeRule(const CComBSTR& keyword, const RuleOwner& owner) {
    static constexpr RuleOperator operators[] = {
        {OLESTR("equal"), makeRule<CXAttributeRuleEqual>},
        {OLESTR("equals"), makeRule<CXAttributeRuleEqual>},
        {OLESTR("notequal"), makeRule<CXAttributeRuleNotEqual>},
        {OLESTR("notequals"), makeRule<CXAttributeRuleNotEqual>},
        {OLESTR("lt"), makeRule<CXAttributeRuleLt>},
        {OLESTR("lte"), makeRule<CXAttributeRuleLte>},
        {OLESTR("gt"), makeRule<CXAttributeRuleGt>},
        {OLESTR("gte"), makeRule<CXAttributeRuleGte>},
        {OLESTR("between"), makeRule<CXAttributeRuleBetween>},
        {OLESTR("like"), makeRule<CXAttributeRuleLike>},
        {OLESTR("notlike"), makeRule<CXAttributeRuleNotLike>},
    };
    return makeFromOperator(operators, keyword, owner);
}

}  // namespace ConditionalXml
