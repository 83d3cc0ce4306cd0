#include "rules/list_attribute_rules.h"

#include "rules/rule_operators.h"
#include "text/failures.h"
#include "text/text.h"

#include <algorithm>
#include <optional>

namespace ConditionalXml {

namespace {

/// The code of a token. Short runs of digits, the common case, are read here; all else is the platform's to convert.
std::optional<LONG> codeOf(WideView token) {
    constexpr std::size_t safeDigits = 9;  // any nine digits fit 32 bits
    const auto isDigit = [](OLECHAR c) { return c >= OLESTR('0') && c <= OLESTR('9'); };
    if (token.size() <= safeDigits && std::ranges::all_of(token, isDigit)) {
        LONG code = 0;
        for (const OLECHAR digit : token) code = code * 10 + static_cast<LONG>(digit - OLESTR('0'));
        return code;
    }
    CComVariant value(makeBstr(token));
    if (FAILED(checked(VariantChangeType(&value, &value, 0, VT_I4)))) return std::nullopt;
    return value.lVal;
}

}  // namespace

void ListAttributeRule::splitList(const RowValueMap& rowValues) {
    listItems.clear();
    const VARIANT* value = lookupField(rowValues);
    if (!value || value->vt != VT_BSTR) return;
    WideView rest = view(value->bstrVal);
    while (!rest.empty()) {
        const std::size_t comma = rest.find(OLESTR(','));
        const WideView token = rest.substr(0, comma);
        if (!token.empty())
            if (const std::optional<LONG> code = codeOf(token)) addItem(*code);
        rest = comma == WideView::npos ? WideView{} : rest.substr(comma + 1);
    }
}

void ListAttributeRule::addItem(LONG code) {
    const auto place = std::ranges::lower_bound(listItems, code);
    if (place == listItems.end() || *place != code) listItems.insert(place, code);
}

bool ListAttributeRule::isMember(CComVariant& operand) const {
    if (operand.vt == VT_NULL) return listItems.empty();
    if (operand.vt != VT_I4 && FAILED(checked(VariantChangeType(&operand, &operand, 0, VT_I4)))) return false;
    return std::ranges::binary_search(listItems, operand.lVal);
}

bool ListAttributeRuleEqual::evaluate(RowValueMap& rowValues, IGPMessages* /*messages*/) {
    splitList(rowValues);
    if (listItems.size() != values.size())
        return listItems.empty() && values.size() == 1 && values.front().vt == VT_NULL;
    return std::ranges::all_of(values, [&](CComVariant& operand) { return isMember(operand); });
}

bool ListAttributeRuleNotEqual::evaluate(RowValueMap& rowValues, IGPMessages* messages) {
    return !ListAttributeRuleEqual::evaluate(rowValues, messages);
}

bool ListAttributeRuleContainsAny::evaluate(RowValueMap& rowValues, IGPMessages* /*messages*/) {
    splitList(rowValues);
    return std::ranges::any_of(values, [&](CComVariant& operand) { return isMember(operand); });
}

bool ListAttributeRuleContainsNone::evaluate(RowValueMap& rowValues, IGPMessages* messages) {
    return !ListAttributeRuleContainsAny::evaluate(rowValues, messages);
}

bool ListAttributeRuleContainsAll::evaluate(RowValueMap& rowValues, IGPMessages* /*messages*/) {
    splitList(rowValues);
    if (listItems.size() >= values.size()) return false;
    return std::ranges::all_of(values, [&](CComVariant& operand) { return isMember(operand); });
}

bool ListAttributeRuleHasMultiple::evaluate(RowValueMap& rowValues, IGPMessages* /*messages*/) {
    splitList(rowValues);
    return listItems.size() > 1;
}

std::shared_ptr<CXAttributeRule> makeListAttributeRule(const CComBSTR& keyword, const RuleOwner& owner) {
    static constexpr RuleOperator operators[] = {
        {OLESTR("equal"), makeRule<ListAttributeRuleEqual>},
        {OLESTR("equals"), makeRule<ListAttributeRuleEqual>},
        {OLESTR("notequal"), makeRule<ListAttributeRuleNotEqual>},
        {OLESTR("notequals"), makeRule<ListAttributeRuleNotEqual>},
        {OLESTR("containsany"), makeRule<ListAttributeRuleContainsAny>},
        {OLESTR("containsall"), makeRule<ListAttributeRuleContainsAll>},
        {OLESTR("containsnone"), makeRule<ListAttributeRuleContainsNone>},
        {OLESTR("hasmultiple"), makeRule<ListAttributeRuleHasMultiple>},
    };
    return makeFromOperator(operators, keyword, owner);
}

}  // namespace ConditionalXml
