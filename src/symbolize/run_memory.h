// RunMemory: the remembered answers of a run.
#pragma once

#include "symbolize/condition_memory.h"

#include <optional>
#include <unordered_map>

namespace ConditionalXml {

/// One ConditionMemory for each list of conditions that rows of a run are decided by. All of them agree on what cannot
/// be remembered, because lists share conditions.
class RunMemory {
public:
    using Slot = FieldNames::Slot;
    using ConditionList = std::vector<std::shared_ptr<Condition>>;

    /// Rows that are evaluated before anything is remembered: short runs are over sooner without.
    static constexpr std::size_t rowsBefore = 32;

    /// A run begins.
    /// \param usable by slot, whether every row of the run has one value under the name.
    void begin(std::vector<bool> usable);

    /// The memory that has found the conditions of the row; null when they must all be evaluated.
    const ConditionMemory* select(const ConditionList& conditions, RowValueMap& values);

    void forget() noexcept;

private:
    std::vector<bool> usable_;
    std::vector<VARTYPE> types_;  // by slot, of the values so far; VT_EMPTY before the first
    std::size_t rows_ = 0;
    std::unordered_map<const ConditionList*, ConditionMemory> memories_;
};

}  // namespace ConditionalXml
