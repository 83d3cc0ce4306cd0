#include "symbolize/run_memory.h"

#include <utility>

namespace ConditionalXml {

void RunMemory::begin(std::vector<bool> usable) {
    forget();
    usable_ = std::move(usable);
    types_.assign(usable_.size(), VT_EMPTY);
}

const ConditionMemory* RunMemory::select(const ConditionList& conditions, RowValueMap& values) {
    if (++rows_ <= rowsBefore) {
        learnTypes(values);
        return nullptr;
    }
    if (rows_ == nextLook_) {  // by now, rows may have settled what was left out
        nextLook_ *= 2;
        for (auto& [list, memory] : memories_) {
            if (memory.isComplete()) continue;
            ConditionMemory later(*list, usable_, types_);
            later.inherit(memory);
            memory = std::move(later);
        }
    }
    auto known = memories_.find(&conditions);
    if (known == memories_.end()) known = memories_.try_emplace(&conditions, conditions, usable_, types_).first;
    const Slot* const unfit = known->second.select(values, types_);
    if (!unfit) return &known->second;
    usable_[*unfit] = false;
    memories_.clear();  // the next row begins anew with what the rules have become
    return nullptr;
}

void RunMemory::learnTypes(const RowValueMap& values) {
    for (Slot slot = 0; slot < usable_.size(); ++slot)
        if (usable_[slot]) usable_[slot] = ValueTable::keepsType(*values.first(slot), types_[slot]);
}

void RunMemory::forget() noexcept {
    memories_.clear();
    rows_ = 0;
    nextLook_ = 2 * rowsBefore;
}

}  // namespace ConditionalXml
