// Where GDAL's tables of S-57 are not installed.
#pragma once

#include "tools/reports/console.h"

namespace cxml {

/// Says that there are no meanings to show, when there are none.
void complainOfMissingTables(Console& console);

}  // namespace cxml
