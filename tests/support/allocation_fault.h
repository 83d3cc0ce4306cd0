// Running out of memory on purpose.
#pragma once

#include "support/platform_hooks.h"

/// Fails the n-th BSTR allocation from its creation on, or that one and all later ones.
class AllocationFault {
public:
    explicit AllocationFault(long nth, bool allAfter = false) { failBstrAllocation(nth, allAfter); }
    ~AllocationFault() { failBstrAllocation(0, false); }
    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;
};
