// The program's own operator new, which fails when a test wants it to.
#include "support/memory_fault.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long> untilFailure{0};  // calls up to the one that fails; 0 for none
std::atomic<bool> failAllAfter{false};
std::atomic<bool> failed{false};

bool failsNow() {
    if (untilFailure == 0) return false;
    if (untilFailure > 1) {
        --untilFailure;
        return false;
    }
    if (!failAllAfter) untilFailure = 0;
    failed = true;
    return true;
}

}  // namespace

void failBlockAllocation(long nth, bool allAfter) {
    failed = false;
    failAllAfter = allAfter;
    untilFailure = nth;
}

bool blockAllocationFailed() {
    return failed;
}

// The other forms end in these, but for those of greater alignment, which nothing here uses.
// NOLINTBEGIN(cppcoreguidelines-no-malloc)
void* operator new(std::size_t bytes) {
    void* const block = failsNow() ? nullptr : std::malloc(bytes == 0 ? 1 : bytes);
    if (!block) throw std::bad_alloc();
    return block;
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t /*bytes*/) noexcept {
    std::free(block);
}
// NOLINTEND(cppcoreguidelines-no-malloc)
