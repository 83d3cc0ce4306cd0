// One mistake, one finding: what is only said because of another one stands below it.
#pragma once

#include "finding.h"

#include <vector>

namespace cxml {

/// \param findings in the order in which they are shown.
std::vector<Finding> fold(std::vector<Finding> findings);

}  // namespace cxml
