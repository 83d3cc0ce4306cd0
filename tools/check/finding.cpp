#include "finding.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <tuple>
#include <utility>

namespace cxml {

Finding& Findings::addIn(Place place, const char* kind, std::string text) {
    Finding& finding = found_.emplace_back();
    finding.place = std::move(place);
    finding.kind = kind;
    finding.text = std::move(text);
    if (const Kind* const known = findKind(kind)) finding.severity = known->severity;
    return finding;
}

std::vector<Finding> Findings::take() {
    std::set<std::tuple<Place, std::string, std::string>> known;
    std::vector<Finding> taken;
    for (Finding& finding : found_)
        if (known.emplace(finding.identity()).second) taken.push_back(std::move(finding));
    found_.clear();
    for (Finding& finding : taken)
        if (const Kind* const kind = findKind(finding.kind); kind && finding.help.empty()) finding.help = kind->help;
    const auto order = [this](const Finding& finding) {
        const Place& place = finding.place;
        return std::tuple(place.file != document_, std::string_view(place.file), place.line == 0, place.line,
                          place.column);
    };
    // Those of one place stay in the order in which they were found.
    std::ranges::stable_sort(taken, {}, order);
    return taken;
}

}  // namespace cxml
