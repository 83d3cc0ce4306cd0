// The program's own operator new, which fails when a test wants it to.
#include "support/failure_countdown.h"
#include "support/memory_fault.h"

#include <cstdlib>
#include <new>

namespace {

constinit FailureCountdown blocks;

}  // namespace

void failBlockAllocation(long nth, bool allAfter) {
    blocks.arm(nth, allAfter);
}

bool blockAllocationFailed() {
    return blocks.hit();
}

// The other forms end in these, but for those of greater alignment, which nothing here uses; a sanitizer has its own of
// those that do not throw.
// NOLINTBEGIN(cppcoreguidelines-no-malloc)
void* operator new(std::size_t bytes, const std::nothrow_t& /*tag*/) noexcept {
    return blocks.failsNow() ? nullptr : std::malloc(bytes == 0 ? 1 : bytes);
}
void* operator new(std::size_t bytes) {
    void* const block = operator new(bytes, std::nothrow);
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
