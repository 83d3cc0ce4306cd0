// The object behind CLSID_QueryFilter.
#pragma once

#include "symbology/vel_core.h"

#include <cstddef>

/// Makes an empty query filter. \return E_NOINTERFACE, E_OUTOFMEMORY or S_OK with one reference in `object`.
HRESULT createQueryFilter(REFIID iid, void** object) noexcept;

/// Query filters that are alive.
std::size_t liveQueryFilters() noexcept;
