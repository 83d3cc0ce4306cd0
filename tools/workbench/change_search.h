// The smallest change of a row's values by which a condition would decide its symbol.
#pragma once

#include "why_not.h"

namespace cxml {

/// Whether the condition is one of the list, or nested in one.
bool stands(const ConditionalXml::Condition& condition, const ConditionalXml::FeatureClassRule::ConditionList& list);

struct FoundChange {
    std::vector<Change> changes;  // of at most mostChangedFields fields
    RowExplanation evaluated;     // with the change
};

/// Tries values that the document itself names: operands and their neighbours, in the fields that keep the condition
/// from holding, then in those of the conditions that replace it. Fewest fields first; every proposal is evaluated as
/// a row is, at most `mostTrials` of them, fewer where each takes many conditions.
/// \return nothing when none of them makes the condition decide.
std::optional<FoundChange> findChange(const TriedRow& row, const ConditionalXml::Condition& condition,
                                      const DocumentPlaces& places);

inline constexpr std::size_t mostTrials = 4000;
inline constexpr std::size_t mostConditions = 1000000;  // of all trials together

}  // namespace cxml
