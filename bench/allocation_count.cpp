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

// The C library's allocator under its inner names, and its entry points under ours.
extern "C" {
void* realMalloc(std::size_t size) __asm__("__libc_malloc");
void* realCalloc(std::size_t items, std::size_t size) __asm__("__libc_calloc");
void* realRealloc(void* block, std::size_t size) __asm__("__libc_realloc");
void* countedMalloc(std::size_t size) __asm__("malloc");
void* countedCalloc(std::size_t items, std::size_t size) __asm__("calloc");
void* countedRealloc(void* block, std::size_t size) __asm__("realloc");
}

void* countedMalloc(std::size_t size) {
    count.fetch_add(1, std::memory_order_relaxed);
    return realMalloc(size);
}

void* countedCalloc(std::size_t items, std::size_t size) {
    count.fetch_add(1, std::memory_order_relaxed);
    return realCalloc(items, size);
}

void* countedRealloc(void* block, std::size_t size) {
    count.fetch_add(1, std::memory_order_relaxed);
    return realRealloc(block, size);
}
