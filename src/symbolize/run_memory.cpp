#include "symbolize/run_memory.h"

namespace ConditionalXml {

void RunMemory::begin(std::vector<bool> usable) {
    forget();
    usable_ = std::move(usable);
    types_.assign(usable_.size(), VT_EMPTY);
}

const ConditionMemory* RunMemory::select(const ConditionList& conditions, RowValueMap& values) {
    if (++rows_ <= rowsBefore) return nullptr;
    auto known = memories_.find(&conditions);
    if (known == memories_.end()) known = memories_.try_emplace(&conditions, conditions, usable_).first;
    const Slot* const unfit = known->second.select(values, types_);
    if (!unfit) return &known->second;
    usable_[*unfit] = false;
    memories_.clear();  // the next row begins anew with what the rules have become
    types_.assign(types_.size(), VT_EMPTY);
    return nullptr;
}

void RunMemory::forget() noexcept {
    memories_.clear();
    rows_ = 0;
}

}  // namespace ConditionalXml
