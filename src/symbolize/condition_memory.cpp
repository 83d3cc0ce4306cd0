#include "symbolize/condition_memory.h"

#include "cxml/condition.h"

#include <algorithm>
#include <bit>

namespace ConditionalXml {

namespace {

constexpr std::size_t wordBits = 64;
constexpr std::size_t mostPositions = 8;
constexpr std::size_t mostValues = 8192;  // to remember of a field

/// The rule when its answer depends on the row's value of one field and on nothing else; else null.
CXAttributeRule* asSingleFieldRule(Rule& rule) noexcept {
    auto* const attribute = dynamic_cast<CXAttributeRule*>(&rule);
    return attribute && attribute->valueFieldName.Length() == 0 ? attribute : nullptr;
}

/// How many of the condition's rules, from the first on, can be remembered.
std::size_t leadingRules(const Condition& condition, const std::vector<bool>& usable) {
    const auto isRemembered = [&](const std::shared_ptr<Rule>& rule) {
        const CXAttributeRule* single = asSingleFieldRule(*rule);
        return single && rule->nestedConditions.empty() && single->fieldSlot() < usable.size() &&
               usable[single->fieldSlot()];
    };
    const auto end = std::ranges::find_if_not(condition.rules, isRemembered);
    return std::min<std::size_t>(static_cast<std::size_t>(end - condition.rules.begin()), mostPositions);
}

/// Whether evaluating the rule for values of the type leaves its operands as they are.
bool isSettled(const CXAttributeRule& rule, VARTYPE fieldType) {
    const VARTYPE type = rule.operandType(fieldType);
    return std::ranges::all_of(rule.values,
                               [&](const CComVariant& operand) { return operand.vt == VT_NULL || operand.vt == type; });
}

/// Has a rule use other operands while it lives.
class OperandScope {
public:
    OperandScope(CXAttributeRule& rule, std::vector<CComVariant>& operands) : rule_(rule), operands_(operands) {
        rule_.values.swap(operands_);
    }
    ~OperandScope() { rule_.values.swap(operands_); }
    OperandScope(const OperandScope&) = delete;
    OperandScope& operator=(const OperandScope&) = delete;

private:
    CXAttributeRule& rule_;
    std::vector<CComVariant>& operands_;
};

}  // namespace

ConditionMemory::ConditionMemory(std::span<const std::shared_ptr<Condition>> conditions,
                                 const std::vector<bool>& usable)
    : conditions_(conditions),
      words_((conditions.size() + wordBits - 1) / wordBits),
      open_(words_),
      named_(words_),
      all_(words_, ~std::uint64_t{0}),
      held_(words_) {
    if (const std::size_t rest = conditions_.size() % wordBits; rest != 0) all_.back() = (std::uint64_t{1} << rest) - 1;
    std::vector<std::size_t> leading;
    leading.reserve(conditions_.size());
    for (const std::shared_ptr<Condition>& condition : conditions_) {
        leading.push_back(leadingRules(*condition, usable));
        positions_ = std::max(positions_, leading.back());
    }
    collect(leading);
    settledUpTo_.resize(unsettled_.size());  // nothing is settled yet
    failed_.resize(positions_ * words_);
    answer_.resize((1 + positions_) * words_);
    constexpr std::size_t budget = 262144;  // words per field: 2 MB
    capacity_ = std::min(mostValues, budget / std::max<std::size_t>(answer_.size(), 1));
}

void ConditionMemory::collect(const std::vector<std::size_t>& leading) {
    unsettled_.resize(positions_ * words_);
    for (std::size_t i = 0; i < conditions_.size(); ++i) {
        const Condition& condition = *conditions_[i];
        if (leading[i] < condition.rules.size() || condition.callsExpression()) set(open_, i);
        if (condition.rulename.Length() != 0) set(named_, i);
        for (std::size_t position = 0; position < leading[i]; ++position) {
            CXAttributeRule* const rule = asSingleFieldRule(*condition.rules[position]);
            Field& field = fieldOf(rule->fieldSlot());
            field.rules.push_back({.rule = rule, .operands = rule->values, .position = position, .condition = i});
            set(field.concerned, i);
            unsettled_[position * words_ + i / wordBits] |= std::uint64_t{1} << (i % wordBits);
        }
    }
}

ConditionMemory::Field& ConditionMemory::fieldOf(Slot slot) {
    const auto known = std::ranges::find(fields_, slot, &Field::slot);
    return known != fields_.end() ? *known : fields_.emplace_back(slot, words_);
}

const ConditionMemory::Slot* ConditionMemory::select(RowValueMap& values, std::vector<VARTYPE>& types) {
    // Fields of few values first: they are quickly looked up, and leave less to the others.
    if (++rows_ == rowsBeforeOrder)
        std::ranges::sort(fields_, {}, [](const Field& field) { return field.answers.size(); });
    held_ = all_;
    if (!settled_) std::ranges::fill(failed_, 0);
    for (Field& field : fields_) {
        const VARIANT& value = *values.first(field.slot);
        if (!keepsType(value, types[field.slot])) return &field.slot;
        if (!isConcerned(field)) continue;
        const std::uint64_t* const failures = failuresOf(field, value, values);
        if (!failures) return &field.slot;
        drop(failures);
    }
    if (!settled_) settleReached(values, types);
    return nullptr;
}

/// Whether the field matters to a condition that may still hold.
bool ConditionMemory::isConcerned(const Field& field) const noexcept {
    for (std::size_t word = 0; word < words_; ++word)
        if ((held_[word] & field.concerned[word]) != 0) return true;
    return false;
}

/// Whether a field's values are of one type still; the first one that is not NULL decides which.
bool ConditionMemory::keepsType(const VARIANT& value, VARTYPE& type) noexcept {
    if (value.vt == VT_NULL) return true;
    if (type == VT_EMPTY && ValueTable::knows(value.vt)) type = value.vt;
    return type != VT_EMPTY && value.vt == type;
}

/// Drops the conditions of which nothing else matters.
void ConditionMemory::drop(const std::uint64_t* failures) noexcept {
    if (settled_) {  // it is all the same which rule fails
        for (std::size_t word = 0; word < words_; ++word) held_[word] &= ~failures[word];
        return;
    }
    for (std::size_t at = 0, word = 0; at < failed_.size(); ++at) {
        const std::uint64_t fails = failures[words_ + at];
        failed_[at] |= fails;
        held_[word] &= ~(fails & settledUpTo_[at]);  // it fails before it comes to a rule that is not settled
        if (++word == words_) word = 0;
    }
}

/// Goes from position to position as plain evaluation does, to evaluate what it would evaluate for the first time.
void ConditionMemory::settleReached(RowValueMap& values, const std::vector<VARTYPE>& types) {
    bool evaluated = false;
    for (std::size_t position = 0; position < positions_; ++position)
        for (std::size_t word = 0; word < words_; ++word) {
            const std::size_t at = position * words_ + word;
            if (const std::uint64_t reached = held_[word] & unsettled_[at]; reached != 0) {
                settle(position, word, reached, values, types);
                evaluated = true;
            }
            held_[word] &= ~failed_[at];
        }
    if (evaluated) findSettled();
}

void ConditionMemory::findSettled() {
    settled_ = std::ranges::all_of(unsettled_, [](std::uint64_t word) { return word == 0; });
    for (std::size_t at = 0; at < unsettled_.size(); ++at)
        settledUpTo_[at] = ~unsettled_[at] & (at < words_ ? ~std::uint64_t{0} : settledUpTo_[at - words_]);
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
    for (Remembered& remembered : field.rules) {
        const OperandScope scope(*remembered.rule, remembered.operands);
        if (remembered.rule->evaluate(values, nullptr)) continue;
        const std::size_t word = remembered.condition / wordBits;
        const std::uint64_t bit = std::uint64_t{1} << (remembered.condition % wordBits);
        answer_[word] |= bit;
        answer_[(1 + remembered.position) * words_ + word] |= bit;
    }
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

/// Evaluates rules that the row reaches, for what that does to their operands.
void ConditionMemory::settle(std::size_t position, std::size_t word, std::uint64_t reached, RowValueMap& values,
                             const std::vector<VARTYPE>& types) {
    for (; reached != 0; reached &= reached - 1) {
        const auto bit = static_cast<std::size_t>(std::countr_zero(reached));
        auto& rule = static_cast<CXAttributeRule&>(*conditions_[word * wordBits + bit]->rules[position]);
        rule.evaluate(values, nullptr);
        const VARTYPE type = types[rule.fieldSlot()];
        if (type != VT_EMPTY && isSettled(rule, type))
            unsettled_[position * words_ + word] &= ~(std::uint64_t{1} << bit);
    }
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
