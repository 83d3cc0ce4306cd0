// Counts what the C++ of this program allocates.
#pragma once

#include <cstddef>

/// Calls of operator new since the program began.
std::size_t allocations();
