#include "cell_set.h"

#include <algorithm>

namespace cxml {

void CellSet::append(Cell begin, Cell end) {
    if (begin >= end) return;
    if (!runs_.empty() && runs_.back().second == begin)
        runs_.back().second = end;
    else
        runs_.emplace_back(begin, end);
}

bool CellSet::contains(Cell cell) const noexcept {
    const auto behind = std::ranges::upper_bound(runs_, cell, {}, &Run::first);
    return behind != runs_.begin() && cell < std::prev(behind)->second;
}

std::size_t CellSet::count() const noexcept {
    std::size_t cells = 0;
    for (const auto& [begin, end] : runs_) cells += end - begin;
    return cells;
}

CellSet operator&(const CellSet& a, const CellSet& b) {
    CellSet both;
    auto left = a.runs_.begin();
    auto right = b.runs_.begin();
    while (left != a.runs_.end() && right != b.runs_.end()) {
        both.append(std::max(left->first, right->first), std::min(left->second, right->second));
        if (left->second < right->second)
            ++left;
        else
            ++right;
    }
    return both;
}

CellSet operator-(const CellSet& a, const CellSet& b) {
    CellSet rest;
    auto taken = b.runs_.begin();
    for (auto [begin, end] : a.runs_) {
        while (taken != b.runs_.end() && taken->second <= begin) ++taken;
        for (auto next = taken; next != b.runs_.end() && next->first < end; ++next) {
            rest.append(begin, std::min(end, next->first));
            begin = std::max(begin, next->second);
        }
        rest.append(begin, end);
    }
    return rest;
}

}  // namespace cxml
