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
/// a field together, one bit each; the conditions that a row satisfies are then found by combining the bits of its
/// values. Only the leading rules of a condition are remembered, up to the first one that asks for more than a value of
/// the row (a second field, another table, nested conditions).
///
/// Nobody can tell: a rule that a row reaches for the first time is evaluated as ever, until its operands have taken
/// the type of the field; answers that are made ahead are made with copies of the operands.
class ConditionMemory {
public:
    using Slot = FieldNames::Slot;

    /// How many rows it takes to know which fields have few values.
    static constexpr std::size_t rowsBeforeOrder = 4096;

    /// \param conditions must outlive the memory.
    /// \param usable by slot, whether every row of the run has one value under the name.
    ConditionMemory(std::span<const std::shared_ptr<Condition>> conditions, const std::vector<bool>& usable);

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

    /// A rule and its operands as they were when the memory was made, converted by the answers made since.
    struct Remembered {
        CXAttributeRule* rule;
        std::vector<CComVariant> operands;
        std::size_t position;
        std::size_t condition;
    };

    struct Field {
        Field(Slot itsSlot, std::size_t words) : slot(itsSlot), concerned(words) {}

        Slot slot;
        std::vector<Remembered> rules;
        Bits concerned;      // conditions with a rule over the field
        ValueTable answers;  // of each value: which of the answers below
        // Of each answer, by condition: whether any of its rules over the field fails; then the same by position.
        Bits failures;
        // The answers that were given before: rules tell far fewer apart than there are values.
        std::unordered_multimap<std::uint64_t, ValueTable::Number> known;
        std::size_t lookups = 0;
    };

    void collect(const std::vector<std::size_t>& leading);
    static bool keepsType(const VARIANT& value, VARTYPE& type) noexcept;
    bool isConcerned(const Field& field) const noexcept;
    void findSettled();
    void drop(const std::uint64_t* failures) noexcept;
    void settleReached(RowValueMap& values, const std::vector<VARTYPE>& types);
    Field& fieldOf(Slot slot);
    const std::uint64_t* failuresOf(Field& field, const VARIANT& value, RowValueMap& values);
    void answer(Field& field, RowValueMap& values);
    ValueTable::Number remember(Field& field) const;
    void settle(std::size_t position, std::size_t word, std::uint64_t reached, RowValueMap& values,
                const std::vector<VARTYPE>& types);
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
    std::size_t positions_ = 0;
    std::size_t capacity_ = 0;  // answers to remember of a field
    Bits open_;                 // conditions that remembered answers do not decide
    Bits named_;                // conditions with a rule name
    Bits unsettled_;            // by position: rules whose operands rows may still convert
    Bits settledUpTo_;          // by position: conditions whose rules up to there are settled
    bool settled_ = false;      // all are
    std::size_t rows_ = 0;      // that were asked for
    Bits all_;                  // every condition
    std::vector<Field> fields_;

    Bits held_;    // of the row: conditions of which no remembered rule is known to fail; in the end, those that hold
    Bits failed_;  // of the row: by position, rules that fail
    Bits answer_;  // of a field, for the row's value
};

}  // namespace ConditionalXml
