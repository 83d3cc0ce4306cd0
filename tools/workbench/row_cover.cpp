#include "row_cover.h"

#include <algorithm>
#include <queue>
#include <tuple>

namespace cxml {

RowCover::State& RowCover::stateOf(std::uint32_t element) {
    if (element >= states_.size()) states_.resize(std::size_t{element} + 1, Unseen);
    return states_[element];
}

void RowCover::know(const Elements& elements) {
    for (const std::uint32_t element : elements) stateOf(element) = Known;
}

void RowCover::add(ObjectId row, const Elements& elements) {
    bool hasNew = false;
    for (const std::uint32_t element : elements) {
        State& state = stateOf(element);
        if (state != Unseen) continue;
        state = Seen;
        hasNew = true;
    }
    if (!hasNew && size_ >= elementsKept) return;
    if (rows_.try_emplace(elements, row).second) size_ += elements.size();
}

std::vector<ObjectId> RowCover::choose(std::size_t most) const {
    std::vector<State> states = states_;
    const auto gainOf = [&](const Elements& elements) {
        return std::ranges::count_if(elements, [&](std::uint32_t element) { return states[element] == Seen; });
    };
    // What a row would add only becomes less, so that a sum that is out of date is never too small.
    struct Entry {
        std::ptrdiff_t gain;
        ObjectId row;
        const Elements* elements;

        bool operator<(const Entry& other) const { return std::tuple(gain, -row) < std::tuple(other.gain, -other.row); }
    };
    std::priority_queue<Entry> queue;
    for (const auto& [elements, row] : rows_) queue.push({gainOf(elements), row, &elements});
    std::vector<ObjectId> chosen;
    while (!queue.empty() && (most == 0 || chosen.size() < most)) {
        Entry best = queue.top();
        queue.pop();
        best.gain = gainOf(*best.elements);
        if (best.gain == 0) continue;
        if (!queue.empty() && best < queue.top()) {
            queue.push(best);
            continue;
        }
        chosen.push_back(best.row);
        for (const std::uint32_t element : *best.elements) states[element] = Known;
    }
    std::ranges::sort(chosen);
    return chosen;
}

}  // namespace cxml
