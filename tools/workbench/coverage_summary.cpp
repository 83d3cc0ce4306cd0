#include "coverage_summary.h"

#include "cxml/condition_map.h"
#include "text/text.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace cxml {

using ConditionalXml::Condition;
using ConditionalXml::ConditionMap;

namespace {

// Calls back with each thing that counts for the measure, and whether it was seen.
template <class Callback>
void forEach(Measure measure, const DocumentPlaces& places, Coverage& coverage, const CoveredClass& covered,
             Callback callback) {
    for (const Condition* condition : covered.conditions) {
        if (places.isFallback(*condition)) continue;
        ConditionCounts& counts = coverage.of(*condition);
        if (measure == Measure::Held) {
            callback(counts.held != 0, Missed{condition, nullptr, nullptr, counts.unmeasured});
        } else if (measure == Measure::Decided) {
            if (condition->rulename.Length() != 0)
                callback(counts.decided != 0, Missed{condition, nullptr, nullptr, counts.unmeasured});
        } else {
            for (std::size_t i = 0; i < condition->rules.size(); ++i)
                callback(counts.rules[i].isSeenBothWays(),
                         Missed{condition, condition->rules[i].get(), &counts.rules[i], counts.rules[i].unmeasured});
        }
    }
}

}  // namespace

std::int64_t Share::percent() const noexcept {
    constexpr std::int64_t all = 100;
    return of == 0 ? all : seen * all / of;
}

std::vector<CoveredClass> classesOf(const DocumentPlaces& places, const ConditionMap& map) {
    std::vector<CoveredClass> classes;
    classes.reserve(map.featureClassRules.size());
    for (const auto& [name, configuration] : map.featureClassRules)
        classes.push_back({configuration.get(), places.conditionsOf(*configuration)});
    std::ranges::sort(classes, {}, [&](const CoveredClass& covered) {
        const std::uint64_t order = covered.conditions.empty() ? std::numeric_limits<std::uint64_t>::max()
                                                               : places.orderOf(*covered.conditions.front());
        return std::pair(order, ConditionalXml::view(covered.configuration->name));
    });
    return classes;
}

Shares sharesOf(const DocumentPlaces& places, Coverage& coverage, const CoveredClass& covered) {
    Shares shares;
    for (std::size_t measure = 0; measure < shares.size(); ++measure)
        forEach(static_cast<Measure>(measure), places, coverage, covered, [&](bool isSeen, const Missed&) {
            ++shares[measure].of;
            if (isSeen) ++shares[measure].seen;
        });
    return shares;
}

Shares sharesOf(const DocumentPlaces& places, Coverage& coverage, const std::vector<CoveredClass>& classes) {
    Shares all;
    for (const CoveredClass& covered : classes) {
        const Shares shares = sharesOf(places, coverage, covered);
        for (std::size_t measure = 0; measure < all.size(); ++measure) {
            all[measure].seen += shares[measure].seen;
            all[measure].of += shares[measure].of;
        }
    }
    return all;
}

std::vector<Missed> missedBy(Measure measure, const DocumentPlaces& places, Coverage& coverage,
                             const std::vector<CoveredClass>& classes) {
    std::vector<Missed> all;
    for (const CoveredClass& covered : classes)
        forEach(measure, places, coverage, covered, [&](bool isSeen, const Missed& missed) {
            if (!isSeen) all.push_back(missed);
        });
    return all;
}

}  // namespace cxml
