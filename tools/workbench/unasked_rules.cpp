#include "unasked_rules.h"

#include "cxml/condition.h"
#include "rules/list_attribute_rules.h"
#include "rules/query_rules.h"

#include <algorithm>
#include <new>
#include <stdexcept>

namespace cxml {

using ConditionalXml::Condition;
using ConditionalXml::CXAttributeRule;
using ConditionalXml::ListAttributeRule;
using ConditionalXml::QueryRuleFetch;
using ConditionalXml::RowValueMap;
using ConditionalXml::Rule;

namespace {

// Asked for every row and rule: the letters of the families answer faster than casts.
CXAttributeRule* asAttributeRule(Rule& rule) {
    return rule.ruleType == 'Q' ? nullptr : static_cast<CXAttributeRule*>(&rule);
}

/// Gives a rule back what asking it changes.
class RuleState {
public:
    explicit RuleState(CXAttributeRule& rule)
        : rule_(rule),
          list_(rule.ruleType == 'L' ? static_cast<ListAttributeRule*>(&rule) : nullptr),
          operands_(rule.values) {
        if (list_) items_ = list_->listItems;
    }
    ~RuleState() {
        rule_.values.swap(operands_);
        if (list_) list_->listItems.swap(items_);
    }
    RuleState(const RuleState&) = delete;
    RuleState& operator=(const RuleState&) = delete;

private:
    CXAttributeRule& rule_;
    ListAttributeRule* list_;
    std::vector<CComVariant> operands_;
    std::vector<LONG> items_;
};

/// What the rule would answer; nothing when it cannot.
std::optional<bool> ask(CXAttributeRule& rule, const RowValueMap& values) {
    try {
        const RuleState state(rule);
        // Rules over fields only read the row's values.
        return rule.evaluate(const_cast<RowValueMap&>(values), nullptr);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const CAtlException& error) {
        if (error.m_hr == E_OUTOFMEMORY) throw;
        return std::nullopt;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

/// Whether values may be added to the row's when the rule holds.
bool mayFetch(const Rule& rule) {
    return (rule.ruleType == 'Q' && dynamic_cast<const QueryRuleFetch*>(&rule)) ||
           std::ranges::any_of(rule.nestedConditions, [](const auto& condition) {
               return std::ranges::any_of(condition->rules, [](const auto& inside) { return mayFetch(*inside); });
           });
}

/// Whether the rule's answer is the same with values added: the first one of a field counts.
bool hasItsValues(const CXAttributeRule& rule, const RowValueMap& values) {
    return values.contains(rule.fieldSlot()) &&
           (rule.valueFieldName.Length() == 0 || values.contains(rule.valueFieldSlot()));
}

}  // namespace

bool askBehind(const Condition& condition, std::size_t failed, const RowValueMap& values,
               const std::function<bool(std::optional<bool>)>& visit) {
    bool isFetched = false;
    for (std::size_t i = failed + 1; i < condition.rules.size(); ++i) {
        isFetched = isFetched || mayFetch(*condition.rules[i - 1]);
        CXAttributeRule* const attribute = asAttributeRule(*condition.rules[i]);
        std::optional<bool> answer;
        if (attribute && (!isFetched || hasItsValues(*attribute, values))) answer = ask(*attribute, values);
        if (!visit(answer)) return false;
    }
    return true;
}

}  // namespace cxml
