// A row that shows that a condition is replaced.
#pragma once

#include "condition_boxes.h"

#include <optional>
#include <string>

namespace cxml {

/// A row for which the step's condition holds and one of the later ones takes its place, asked of the conditions
/// themselves: "CATLAM = 1, COLOUR = '3'", "any row". Nothing when none was found, or evaluating them would ask or call
/// something else than the row.
std::optional<std::string> findWitness(const std::vector<MatchStep>& steps, std::size_t step,
                                       const std::vector<std::size_t>& by, const RowSpace& space);

}  // namespace cxml
