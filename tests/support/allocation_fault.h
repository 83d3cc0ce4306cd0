// Running out of memory on purpose; off Windows, where the platform's BSTRs are the project's own.
#pragma once

#include "platform/platform.h"

/// Fails the n-th BSTR allocation from its creation on, or that one and all later ones.
class AllocationFault {
public:
    explicit AllocationFault(long nth, bool allAfter = false) { PlatformFailBstrAllocation(nth, allAfter); }
    ~AllocationFault() { PlatformFailBstrAllocation(0, false); }
    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;
};
