// Counts the memory allocations of the process.
#pragma once

#include <cstdint>

/// Calls of malloc, calloc and realloc since the process began, by any library in it.
std::int64_t allocationCount();
