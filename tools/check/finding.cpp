#include "finding.h"

#include <algorithm>
#include <map>
#include <ranges>
#include <set>
#include <tuple>
#include <utility>

namespace cxml {

std::vector<Finding> Findings::take() {
    std::set<Finding> known;
    std::erase_if(found_, [&](const Finding& finding) { return !known.insert(finding).second; });
    using Order = std::tuple<bool, std::string, bool, LONG>;
    std::multimap<Order, Finding> sorted;  // those of one line stay in the order in which they were found
    for (Finding& finding : found_) {
        Order order{finding.file != document_, finding.file, finding.line == 0, finding.line};
        sorted.emplace(std::move(order), std::move(finding));
    }
    std::ranges::move(std::views::values(sorted), found_.begin());
    return std::move(found_);
}

}  // namespace cxml
