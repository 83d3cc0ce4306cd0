// Making the host's query filters.
#pragma once

#include "symbology/host_interfaces.h"

namespace GeodatabaseUtilities {

/// A new, empty filter; null when the host gives none.
CComPtr<IQueryFilter> createQueryFilter();

}  // namespace GeodatabaseUtilities
