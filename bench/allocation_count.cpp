// Takes the place of the C library's allocator entry points and passes every call on, counted.
#include "allocation_count.h"

#include <atomic>
#include <cstddef>

namespace {

std::atomic<std::int64_t> count{0};

}  // namespace

std::int64_t allocationCount() {
    return count.load(std::memory_order_relaxed);
}

// NOLINTBEGIN(bugprone-reserved-identifier): the C library's own names
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t items, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

void* malloc(std::size_t size) {
    count.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}

void* calloc(std::size_t items, std::size_t size) {
    count.fetch_add(1, std::memory_order_relaxed);
    return __libc_calloc(items, size);
}

void* realloc(void* block, std::size_t size) {
    count.fetch_add(1, std::memory_order_relaxed);
    return __libc_realloc(block, size);
}
}
// NOLINTEND(bugprone-reserved-identifier)
