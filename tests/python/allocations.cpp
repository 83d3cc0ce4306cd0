#include "python/allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> count{0};

}  // namespace

std::size_t allocations() {
    return count.load(std::memory_order_relaxed);
}

void* operator new(std::size_t size) {
    count.fetch_add(1, std::memory_order_relaxed);
    // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): what is below operator new
    if (void* const block = std::malloc(size != 0 ? size : 1)) return block;
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept {
    std::free(block);  // NOLINT(cppcoreguidelines-no-malloc)
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
    std::free(block);  // NOLINT(cppcoreguidelines-no-malloc)
}
