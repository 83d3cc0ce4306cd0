// What counts of coverage come to: three measures, and what each of them lacks.
#pragma once

#include "coverage.h"
#include "tools/places/places.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace cxml {

/// They are never mixed. Conditions that are defaults count for none: that nothing needs them is no fault.
enum class Measure : std::uint8_t {
    Held,     // conditions that held for a row
    Decided,  // conditions with a name: it became a row's symbol
    Rules     // rules that let a row pass, and were alone to blame for another one that did not
};
inline constexpr std::array<const char*, 3> measureNames{"held", "decided", "rules"};

struct Share {
    std::int64_t seen = 0;
    std::int64_t of = 0;

    /// Rounded down: 100 only when nothing is missing.
    std::int64_t percent() const noexcept;
};
using Shares = std::array<Share, measureNames.size()>;

/// What a measure lacks.
struct Missed {
    const ConditionalXml::Condition* condition;
    const ConditionalXml::Rule* rule;  // null: the condition
    const RuleCounts* counts;          // of the rule
    std::int64_t unmeasured;           // how often it was reached and could not be measured
};

/// A class of the document with its conditions, nested ones too, in the document's order.
struct CoveredClass {
    const ConditionalXml::FeatureClassRule* configuration;
    std::vector<const ConditionalXml::Condition*> conditions;
};

/// The classes that rows can come to, in the document's order; those without conditions last.
std::vector<CoveredClass> classesOf(const DocumentPlaces& places, const ConditionalXml::ConditionMap& map);

Shares sharesOf(const DocumentPlaces& places, Coverage& coverage, const CoveredClass& covered);
Shares sharesOf(const DocumentPlaces& places, Coverage& coverage, const std::vector<CoveredClass>& classes);

/// In the document's order.
std::vector<Missed> missedBy(Measure measure, const DocumentPlaces& places, Coverage& coverage,
                             const std::vector<CoveredClass>& classes);

}  // namespace cxml
