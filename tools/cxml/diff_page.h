// What cxml diff --html shows.
#pragma once

#include "diff_report.h"

#include <string>

namespace cxml {

/// The whole comparison as one page that opens from disk and can be printed.
std::string differencePage(const DatasetDifference& all);

}  // namespace cxml
