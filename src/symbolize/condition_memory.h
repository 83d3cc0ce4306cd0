// ConditionMemory: what rules answered for values that rows had before.
#pragma once

#include "rules/row_value_map.h"
#include "symbolize/value_table.h"

#include <bit>
#include <cstdint>
#include <memory>
#include <span>
#include <unordered_map>
#include <vector>

namespace ConditionalXml {

class Condition;
class CXAttributeRule;

/// The conditions of one list, decided by remembered answers.
///
/// A rule over one field gives the same answer for the same value. So its answers are kept by value, for all rules over
/// a field together, one bit for each condition; the conditions that a row satisfies are then found by combining the
/// bits of its values. Only the leading rules of a condition are remembered, up to the first one that asks for more
/// than a value of the row (a second field, another table, nested conditions) or that is not settled: whose operands
/// plain evaluation has yet to give the type of the field. Remembered rules can be asked in any order, and by whom:
/// nothing changes by it. All else is left to plain evaluation.
class ConditionMemory {
public:
    using Slot = FieldNames::Slot;

    /// How many rows it takes to know which fields have few values.
    static constexpr std::size_t rowsBeforeOrder = 4096;

    /// \param conditions must outlive the memory.
    /// \param usable by slot, whether every row of the run has one value under the name.
    /// \param types by slot, the type of the values so far; VT_EMPTY when there was none but NULL.
    ConditionMemory(std::span<const std::shared_ptr<Condition>> conditions, const std::vector<bool>& usable,
                    const std::vector<VARTYPE>& types);

    /// Whether a rule was left out that may be settled by now.
    bool isComplete() const noexcept { return isComplete_; }

    /// Takes the answers that an earlier memory of the same conditions has for fields with the same rules.
    void inherit(ConditionMemory& earlier);

    /// Finds the conditions whose remembered rules the row satisfies.
    /// \param types by slot, the type that the values of a field have had so far, VT_EMPTY before the first.
    /// \return null, or the slot of a field that is not worth remembering: its values differ in type or come but once.
    ///         Nothing was found then.
    const Slot* select(RowValueMap& values, std::vector<VARTYPE>& types);

    /// After select(): stores the last condition that matched and the last name, as evaluating all conditions in order
    /// does. `evaluate` is called for conditions that need more than remembered answers.
    template <class Evaluate>
    void decide(BSTR& ruleName, const Condition*& matched, Evaluate&& evaluate) const {
        for (std::size_t word = 0; word < words_; ++word)
            if ((held_[word] & open_[word]) != 0) return visitAll(ruleName, matched, evaluate);
        takeLast(ruleName, matched);
    }

private:
    using Bits = std::vector<std::uint64_t>;

    /// A rule, and the condition that fails with it.
    struct Remembered {
        CXAttributeRule* rule;
        std::size_t condition;

        bool operator==(const Remembered&) const = default;
    };

    struct Field {
        Field(Slot itsSlot, std::size_t words) : slot(itsSlot), concerned(words) {}

        Slot slot;
        std::vector<Remembered> rules;  // none while all over the field are yet to be settled
        Bits concerned;                 // conditions with a remembered rule over the field
        ValueTable answers;             // of each value: which of the answers below
        Bits failures;                  // of each answer: the conditions of which a rule over the field fails
        // The answers that were given before: rules tell far fewer apart than there are values.
        std::unordered_multimap<std::uint64_t, ValueTable::Number> known;
        std::size_t lookups = 0;
    };

    void collect(std::size_t index, const std::vector<bool>& usable, const std::vector<VARTYPE>& types);
    void orderFields();
    bool isConcerned(const Field& field) const noexcept;
    Field& fieldOf(Slot slot);
    const std::uint64_t* failuresOf(Field& field, const VARIANT& value, RowValueMap& values);
    void answer(Field& field, RowValueMap& values);
    ValueTable::Number remember(Field& field) const;
    void takeLast(BSTR& ruleName, const Condition*& matched) const;
    void take(std::size_t condition, BSTR& ruleName, const Condition*& matched) const;

    template <class Evaluate>
    void visitAll(BSTR& ruleName, const Condition*& matched, Evaluate&& evaluate) const {
        for (std::size_t word = 0; word < words_; ++word)
            for (std::uint64_t held = held_[word]; held != 0; held &= held - 1) {
                const std::size_t i = word * 64 + static_cast<std::size_t>(std::countr_zero(held));
                if (test(open_, i))
                    evaluate(*conditions_[i]);
                else
                    take(i, ruleName, matched);
            }
    }

    static bool test(const Bits& bits, std::size_t i) noexcept { return (bits[i / 64] >> (i % 64) & 1) != 0; }
    static void set(Bits& bits, std::size_t i) noexcept { bits[i / 64] |= std::uint64_t{1} << (i % 64); }

    std::span<const std::shared_ptr<Condition>> conditions_;
    std::size_t words_;
    std::size_t capacity_;  // answers to remember of a field
    bool isComplete_ = true;
    Bits open_;             // conditions that remembered answers do not decide
    Bits named_;            // conditions with a rule name
    std::size_t rows_ = 0;  // that were asked for
    Bits all_;              // every condition
    std::vector<Field> fields_;

    Bits held_;    // of the row: conditions of which no remembered rule fails
    Bits answer_;  // of a field, for the row's value
};

}  // namespace ConditionalXml
