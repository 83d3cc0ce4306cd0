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

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    count.fetch_add(1, std::memory_order_relaxed);
    // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): what is below operator new
    return std::malloc(size != 0 ? size : 1);
}

void* operator new(std::size_t size) {
    if (void* const block = operator new(size, std::nothrow)) return block;
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept {
    std::free(block);  // NOLINT(cppcoreguidelines-no-malloc)
}

void operator delete(void* block, std::size_t /*size*/) noexcept {
    std::free(block);  // NOLINT(cppcoreguidelines-no-malloc)
}
