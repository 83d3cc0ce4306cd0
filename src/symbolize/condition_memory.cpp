#include "symbolize/condition_memory.h"

#include "cxml/condition.h"

#include <algorithm>
#include <bit>

namespace ConditionalXml {

namespace {

constexpr std::size_t wordBits = 64;
constexpr std::size_t mostValues = 8192;  // to remember of a field

/// The rule when its answer depends on the row's value of one field and on nothing else; else null.
CXAttributeRule* asSingleFieldRule(Rule& rule) noexcept {
    auto* const attribute = dynamic_cast<CXAttributeRule*>(&rule);
    return attribute && attribute->valueFieldName.Length() == 0 ? attribute : nullptr;
}

/// Whether evaluating the rule for values of the type leaves its operands as they are.
bool isSettled(const CXAttributeRule& rule, VARTYPE fieldType) {
    const VARTYPE type = rule.ruleType == 'L' ? VARTYPE{VT_I4} : fieldType;
    return fieldType != VT_EMPTY && std::ranges::all_of(rule.values, [&](const CComVariant& operand) {
               return operand.vt == VT_NULL || operand.vt == type;
           });
}

}  // namespace

ConditionMemory::ConditionMemory(std::span<const std::shared_ptr<Condition>> conditions,
                                 const std::vector<bool>& usable, const std::vector<VARTYPE>& types)
    : conditions_(conditions),
      words_((conditions.size() + wordBits - 1) / wordBits),
      open_(words_),
      named_(words_),
      all_(words_, ~std::uint64_t{0}),
      held_(words_),
      answer_(words_) {
    if (const std::size_t rest = conditions_.size() % wordBits; rest != 0) all_.back() = (std::uint64_t{1} << rest) - 1;
    constexpr std::size_t budget = 262144;  // words per field: 2 MB
    capacity_ = std::min(mostValues, budget / std::max<std::size_t>(words_, 1));
    for (std::size_t i = 0; i < conditions_.size(); ++i) collect(i, usable, types);
}

void ConditionMemory::collect(std::size_t index, const std::vector<bool>& usable, const std::vector<VARTYPE>& types) {
    const Condition& condition = *conditions_[index];
    if (condition.rulename.Length() != 0) set(named_, index);
    if (condition.callsExpression()) set(open_, index);
    bool allSettled = true;
    for (const std::shared_ptr<Rule>& rule : condition.rules) {
        CXAttributeRule* const single = asSingleFieldRule(*rule);
        if (!single || !rule->nestedConditions.empty() || single->fieldSlot() >= usable.size() ||
            !usable[single->fieldSlot()])
            return set(open_, index);
        // Behind one that is not settled, too: other lists may have the condition, and remember more of it.
        Field& field = fieldOf(single->fieldSlot());
        allSettled = allSettled && isSettled(*single, types[field.slot]);
        if (!allSettled) {
            isComplete_ = false;
            set(open_, index);
            continue;
        }
        field.rules.push_back({single, index});
        set(field.concerned, index);
    }
}

ConditionMemory::Field& ConditionMemory::fieldOf(Slot slot) {
    const auto known = std::ranges::find(fields_, slot, &Field::slot);
    return known != fields_.end() ? *known : fields_.emplace_back(slot, words_);
}

void ConditionMemory::inherit(ConditionMemory& earlier) {
    for (Field& old : earlier.fields_) {
        const auto field = std::ranges::find(fields_, old.slot, &Field::slot);
        if (field != fields_.end() && field->rules == old.rules) *field = std::move(old);
    }
    rows_ = earlier.rows_;
    if (rows_ >= rowsBeforeOrder) orderFields();
}

void ConditionMemory::orderFields() {
    // Fields of few values first: they are quickly looked up, and leave less to the others.
    std::ranges::sort(fields_, {}, [](const Field& field) { return field.answers.size(); });
}

const ConditionMemory::Slot* ConditionMemory::select(RowValueMap& values, std::vector<VARTYPE>& types) {
    if (++rows_ == rowsBeforeOrder) orderFields();
    held_ = all_;
    for (Field& field : fields_) {
        const VARIANT& value = *values.first(field.slot);
        if (!ValueTable::keepsType(value, types[field.slot])) return &field.slot;
        if (!isConcerned(field)) continue;
        const std::uint64_t* const failures = failuresOf(field, value, values);
        if (!failures) return &field.slot;
        for (std::size_t word = 0; word < words_; ++word) held_[word] &= ~failures[word];
    }
    return nullptr;
}

/// Whether the field matters to a condition that may still hold.
bool ConditionMemory::isConcerned(const Field& field) const noexcept {
    for (std::size_t word = 0; word < words_; ++word)
        if ((held_[word] & field.concerned[word]) != 0) return true;
    return false;
}

/// The remembered answers for a value; null when the field's values come too seldom twice.
const std::uint64_t* ConditionMemory::failuresOf(Field& field, const VARIANT& value, RowValueMap& values) {
    constexpr UINT longestText = 256;
    ++field.lookups;
    ValueTable::Number number = field.answers.find(value);
    if (number == ValueTable::none) {
        const bool full = field.answers.size() == mostValues || field.known.size() == capacity_;
        if (full && field.lookups < 2 * field.answers.size()) return nullptr;
        answer(field, values);
        if (full || (value.vt == VT_BSTR && SysStringLen(value.bstrVal) > longestText)) return answer_.data();
        number = remember(field);
        field.answers.add(value, number);
    }
    return field.failures.data() + number * answer_.size();
}

/// Asks all rules of the field for the row's value.
void ConditionMemory::answer(Field& field, RowValueMap& values) {
    std::ranges::fill(answer_, 0);
    for (const Remembered& remembered : field.rules)
        if (!remembered.rule->evaluate(values, nullptr)) set(answer_, remembered.condition);
}

/// The number of the field's answer_, which is a new one unless a value before had the same.
ValueTable::Number ConditionMemory::remember(Field& field) const {
    std::uint64_t hash = 0;
    for (const std::uint64_t word : answer_) hash = (std::rotl(hash, 7) ^ word) * 0x9E3779B97F4A7C15;
    const auto [first, last] = field.known.equal_range(hash);
    const auto same = std::find_if(first, last, [&](const auto& entry) {
        return std::ranges::equal(answer_,
                                  std::span(field.failures).subspan(entry.second * answer_.size(), answer_.size()));
    });
    if (same != last) return same->second;
    const auto number = static_cast<ValueTable::Number>(field.known.size());
    field.failures.insert(field.failures.end(), answer_.begin(), answer_.end());
    field.known.emplace(hash, number);
    return number;
}

void ConditionMemory::take(std::size_t condition, BSTR& ruleName, const Condition*& matched) const {
    matched = conditions_[condition].get();
    if (test(named_, condition)) ruleName = matched->rulename;
}

void ConditionMemory::takeLast(BSTR& ruleName, const Condition*& matched) const {
    const auto last = [&](const auto& bitsOf) -> const Condition* {
        for (std::size_t word = words_; word-- > 0;)
            if (const std::uint64_t bits = bitsOf(word); bits != 0)
                return conditions_[word * wordBits + wordBits - 1 - static_cast<std::size_t>(std::countl_zero(bits))]
                    .get();
        return nullptr;
    };
    if (const Condition* condition = last([&](std::size_t word) { return held_[word]; })) matched = condition;
    if (const Condition* condition = last([&](std::size_t word) { return held_[word] & named_[word]; }))
        ruleName = condition->rulename;
}

}  // namespace ConditionalXml
