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
    sortByPlace(taken, document_);
    return taken;
}

void sortByPlace(std::vector<Finding>& findings, const std::string& document) {
    std::vector<std::size_t> order(findings.size());
    std::ranges::generate(order, [next = std::size_t{0}]() mutable { return next++; });
    std::ranges::sort(order, {}, [&](std::size_t index) {
        const Place& place = findings[index].place;
        return std::tuple(place.file != document, std::string_view(place.file), place.line == 0, place.line,
                          place.column, index);
    });
    std::vector<Finding> sorted;
    sorted.reserve(findings.size());
    for (const std::size_t index : order) sorted.push_back(std::move(findings[index]));
    findings = std::move(sorted);
}

}  // namespace cxml
