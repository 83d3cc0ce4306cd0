#include "row_cover.h"

#include <algorithm>
#include <iterator>

namespace cxml {

void RowCover::add(ObjectId row, const Elements& elements) {
    const bool hasNew = !std::ranges::includes(seen_, elements);
    if (hasNew) seen_.insert(elements.begin(), elements.end());
    if (hasNew || rows_.size() < distinctRows) rows_.try_emplace(elements, row);
}

std::vector<ObjectId> RowCover::choose(std::size_t most) const {
    Elements left;
    std::ranges::set_difference(seen_, known_, std::inserter(left, left.end()));
    std::vector<ObjectId> chosen;
    while (!left.empty() && (most == 0 || chosen.size() < most)) {
        std::size_t best = 0;
        auto bestRow = rows_.end();
        for (auto row = rows_.begin(); row != rows_.end(); ++row) {
            const auto gain = static_cast<std::size_t>(
                std::ranges::count_if(row->first, [&](std::uint32_t element) { return left.contains(element); }));
            if (gain > best || (gain != 0 && gain == best && row->second < bestRow->second)) {
                best = gain;
                bestRow = row;
            }
        }
        if (bestRow == rows_.end()) break;
        chosen.push_back(bestRow->second);
        for (const std::uint32_t element : bestRow->first) left.erase(element);
    }
    std::ranges::sort(chosen);
    return chosen;
}

}  // namespace cxml
