// RunMemory: the remembered answers of a run.
#pragma once

#include "symbolize/condition_memory.h"

#include <optional>
#include <unordered_map>

namespace ConditionalXml {

/// One ConditionMemory for each list of conditions that rows of a run are decided by. All of them agree on what cannot
/// be remembered, because lists share conditions. What rows had yet to settle is looked at again after 64, 128, 256 and
/// so on: rules that few rows come to are remembered late, and nothing is looked at often.
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
    void learnTypes(const RowValueMap& values);

    std::vector<bool> usable_;
    std::vector<VARTYPE> types_;  // by slot, of the values so far; VT_EMPTY before the first that is not NULL
    std::size_t rows_ = 0;
    std::size_t nextLook_ = 2 * rowsBefore;  // the row at which memories that left something out are made anew
    std::unordered_map<const ConditionList*, ConditionMemory> memories_;
};

}  // namespace ConditionalXml
