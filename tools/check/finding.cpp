#include "finding.h"

#include <algorithm>
#include <set>
#include <tuple>

namespace cxml {

std::vector<Finding> Findings::take() {
    std::set<Finding> known;
    std::erase_if(found_, [&](const Finding& finding) { return !known.insert(finding).second; });
    std::ranges::stable_sort(found_, {}, [this](const Finding& finding) {
        return std::make_tuple(finding.file != document_, finding.file, finding.line == 0, finding.line);
    });
    return std::move(found_);
}

}  // namespace cxml
