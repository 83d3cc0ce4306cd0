// Running out of memory on purpose, wherever it is asked for: in texts, or in what operator new gives.
#pragma once

#include "support/platform_hooks.h"

#include <cstddef>

/// What runs out.
enum class Memory {
    Texts,  // BSTRs
    Blocks  // what operator new gives; for programs that have support/operator_new.cpp among their sources
};

/// Makes the n-th call of operator new from now on fail (1 is the next), and with `allAfter` all later ones; 0 ends it.
void failBlockAllocation(long nth, bool allAfter);
/// Whether one was made to fail since failBlockAllocation was last called.
bool blockAllocationFailed();

/// Which allocations fail.
struct MemoryPlan {
    Memory memory = Memory::Texts;
    long nth = 1;
    bool allAfter = false;
};

/// Fails allocations for as long as it lives.
class MemoryFault {
public:
    explicit MemoryFault(const MemoryPlan& plan) : memory_(plan.memory) { arm(plan.nth, plan.allAfter); }
    ~MemoryFault() { arm(0, false); }
    MemoryFault(const MemoryFault&) = delete;
    MemoryFault& operator=(const MemoryFault&) = delete;

    /// Whether an allocation has failed.
    bool hit() const { return memory_ == Memory::Texts ? bstrAllocationFailed() : blockAllocationFailed(); }

private:
    void arm(long nth, bool allAfter) const {
        if (memory_ == Memory::Texts)
            failBstrAllocation(nth, allAfter);
        else
            failBlockAllocation(nth, allAfter);
    }

    Memory memory_;
};
