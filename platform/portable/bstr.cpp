// BSTR allocation: a length before the text, a terminator after it, and freed blocks kept for the next text.
//
// Like the platform that it stands in for, a thread keeps a few freed blocks of each size, so that a run that makes and
// frees texts of like sizes does not reach the heap. The environment variable OANOCACHE=1 turns that off, as it does
// there; a build with AddressSanitizer never keeps blocks, so that misuse is found.
#include "platform/portable/bstr.h"

#include <atomic>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string>

namespace {

#if defined(__SANITIZE_ADDRESS__)
#define SYMBOLOGY_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define SYMBOLOGY_ADDRESS_SANITIZER 1
#endif
#endif

#if defined(SYMBOLOGY_ADDRESS_SANITIZER)
constexpr bool cacheIsPossible = false;
#else
constexpr bool cacheIsPossible = true;
#endif

/// Stands directly before the text.
struct Header {
    std::uint32_t sizeClass;
    std::uint32_t bytes;
};

/// A freed block while it is kept.
struct FreeBlock {
    FreeBlock* next;
};

// Classes in steps of 32 bytes to 256, then 512, 1024, 2048 and 4096; a larger block goes back to the heap.
constexpr std::size_t step = 32;
constexpr std::uint32_t steppedClasses = 8;
constexpr std::uint32_t classes = steppedClasses + 4;
constexpr std::uint32_t uncached = classes;
constexpr std::uint32_t keptOfSmall = 64;
constexpr std::uint32_t keptOfLarge = 8;
constexpr std::size_t terminatorBytes = sizeof(OLECHAR);

constexpr std::uint32_t sizeClassOf(std::size_t blockBytes) {
    if (blockBytes <= step * steppedClasses) return static_cast<std::uint32_t>((blockBytes - 1) / step);
    std::size_t size = step * steppedClasses * 2;
    for (std::uint32_t sizeClass = steppedClasses; sizeClass < classes; ++sizeClass, size *= 2)
        if (blockBytes <= size) return sizeClass;
    return uncached;
}

constexpr std::size_t sizeOfClass(std::uint32_t sizeClass) {
    return sizeClass < steppedClasses ? (sizeClass + 1) * step
                                      : (step * steppedClasses * 2) << (sizeClass - steppedClasses);
}
static_assert(sizeClassOf(1) == 0 && sizeClassOf(32) == 0 && sizeClassOf(33) == 1 && sizeClassOf(256) == 7);
static_assert(sizeClassOf(257) == 8 && sizeClassOf(4096) == 11 && sizeClassOf(4097) == uncached);
static_assert(sizeOfClass(7) == 256 && sizeOfClass(8) == 512 && sizeOfClass(11) == 4096);

// The heap itself: there is nothing below to manage the blocks' memory.
void* takeFromHeap(std::size_t bytes) {
    return std::malloc(bytes);  // NOLINT(cppcoreguidelines-no-malloc)
}
void giveToHeap(void* block) {
    std::free(block);  // NOLINT(cppcoreguidelines-no-malloc)
}

enum class Phase : unsigned char { Unused, Live, Ended };

/// What one thread keeps. It has no constructor or destructor to run, so that texts may be made and freed as long as
/// the thread runs at all, its last destructors included.
struct ThreadState {
    FreeBlock* kept[classes];
    std::uint32_t keptCount[classes];
    /// Made less freed; negative in a thread that frees what others made. Written by its thread only.
    std::atomic<std::ptrdiff_t> held;
    ThreadState* next;
    ThreadState* previous;
    Phase phase;
    bool caching;
};

// Found without a call, which halves the time of a text's life; the loader keeps room for so little even when this
// library is loaded late.
[[gnu::tls_model("initial-exec")]] constinit thread_local ThreadState threadState{};

/// The threads that are alive, and the balance of those that have ended.
struct Registry {
    std::mutex mutex;
    ThreadState* first = nullptr;
    std::atomic<std::ptrdiff_t> heldByEnded{0};
};
constinit Registry registry;

struct Faults {
    std::atomic<bool> armed{false};
    std::atomic<long> remaining{0};
    std::atomic<bool> allAfter{false};
    std::atomic<bool> hit{false};
};
constinit Faults faults;

bool cacheIsWanted() {
    if constexpr (!cacheIsPossible) return false;
    const char* setting = std::getenv("OANOCACHE");
    return !setting || std::strcmp(setting, "1") != 0;
}

/// Enters the thread into the registry and takes it out again at its end.
struct Membership {
    Membership() {
        const std::scoped_lock lock(registry.mutex);
        threadState.next = registry.first;
        if (registry.first) registry.first->previous = &threadState;
        registry.first = &threadState;
        threadState.caching = cacheIsWanted();
        threadState.phase = Phase::Live;
    }
    Membership(const Membership&) = delete;
    Membership& operator=(const Membership&) = delete;
    ~Membership() {
        const std::scoped_lock lock(registry.mutex);
        ThreadState& state = threadState;
        state.phase = Phase::Ended;
        (state.previous ? state.previous->next : registry.first) = state.next;
        if (state.next) state.next->previous = state.previous;
        registry.heldByEnded += state.held.load(std::memory_order_relaxed);
        for (FreeBlock*& list : state.kept)
            while (FreeBlock* block = list) {
                list = block->next;
                giveToHeap(block);
            }
    }
};

ThreadState& currentThread() {
    if (threadState.phase == Phase::Unused) [[unlikely]] {
        // Its construction marks the state as live.
        static thread_local const Membership membership;
        static_cast<void>(membership);
    }
    return threadState;
}

void count(ThreadState& state, std::ptrdiff_t change) {
    if (state.phase == Phase::Live) [[likely]]
        // Only this thread writes, so no read-modify-write is needed.
        state.held.store(state.held.load(std::memory_order_relaxed) + change, std::memory_order_relaxed);
    else
        registry.heldByEnded += change;
}

bool mustFail() {
    const long left = --faults.remaining;
    if (left > 0 || (left < 0 && !faults.allAfter)) return false;
    faults.hit = true;
    return true;
}

void* takeBlock(ThreadState& state, std::uint32_t sizeClass, std::size_t bytes) {
    if (sizeClass == uncached) return takeFromHeap(bytes);
    if (FreeBlock* block = state.kept[sizeClass]) {
        state.kept[sizeClass] = block->next;
        --state.keptCount[sizeClass];
        return block;
    }
    // Without the cache the block has exactly the size asked for, and a sanitizer sees its end.
    return takeFromHeap(state.caching ? sizeOfClass(sizeClass) : bytes);
}

bool keepBlock(ThreadState& state, std::uint32_t sizeClass, void* block) {
    if (!state.caching || state.phase != Phase::Live || sizeClass == uncached) return false;
    if (state.keptCount[sizeClass] >= (sizeClass < steppedClasses ? keptOfSmall : keptOfLarge)) return false;
    state.kept[sizeClass] = ::new (block) FreeBlock{state.kept[sizeClass]};
    ++state.keptCount[sizeClass];
    return true;
}

Header* headerOf(BSTR text) {
    return reinterpret_cast<Header*>(text) - 1;
}

/// A terminated text of `bytes` bytes whose content is not set yet.
BSTR allocate(std::size_t bytes) {
    if (bytes > UINT_MAX - sizeof(Header) - 2 * terminatorBytes) return nullptr;
    if (faults.armed.load(std::memory_order_relaxed)) [[unlikely]]
        if (mustFail()) return nullptr;
    // An odd count of bytes gets a whole terminator too.
    const std::size_t terminator = bytes + bytes % sizeof(OLECHAR);
    const std::size_t blockBytes = sizeof(Header) + terminator + terminatorBytes;
    ThreadState& state = currentThread();
    const std::uint32_t sizeClass = sizeClassOf(blockBytes);
    void* block = takeBlock(state, sizeClass, blockBytes);
    if (!block) return nullptr;
    count(state, 1);
    const auto* header = ::new (block) Header{sizeClass, static_cast<std::uint32_t>(bytes)};
    char* text = static_cast<char*>(block) + sizeof *header;
    if (terminator != bytes) text[bytes] = 0;
    std::memset(text + terminator, 0, terminatorBytes);
    return reinterpret_cast<BSTR>(text);
}

}  // namespace

BSTR SysAllocString(const OLECHAR* text) {
    if (!text) return nullptr;
    const std::size_t length = std::char_traits<OLECHAR>::length(text);
    return length > UINT_MAX ? nullptr : SysAllocStringLen(text, static_cast<UINT>(length));
}

BSTR SysAllocStringLen(const OLECHAR* text, UINT length) {
    BSTR result = allocate(std::size_t{length} * sizeof(OLECHAR));
    if (result && text) std::memcpy(result, text, length * sizeof(OLECHAR));
    return result;
}

BSTR SysAllocStringByteLen(const char* data, UINT bytes) {
    BSTR result = allocate(bytes);
    if (result && data) std::memcpy(result, data, bytes);
    return result;
}

void SysFreeString(BSTR text) {
    if (!text) return;
    ThreadState& state = currentThread();
    count(state, -1);
    Header* header = headerOf(text);
    if (!keepBlock(state, header->sizeClass, header)) giveToHeap(header);
}

UINT SysStringLen(BSTR text) {
    return SysStringByteLen(text) / static_cast<UINT>(sizeof(OLECHAR));
}

UINT SysStringByteLen(BSTR text) {
    return text ? headerOf(text)->bytes : 0;
}

std::size_t PlatformHeldBstrs() {
    const std::scoped_lock lock(registry.mutex);
    std::ptrdiff_t held = registry.heldByEnded;
    for (const ThreadState* state = registry.first; state; state = state->next)
        held += state->held.load(std::memory_order_relaxed);
    return static_cast<std::size_t>(held);
}

void PlatformFailBstrAllocation(long nth, bool allAfter) {
    faults.armed = false;
    faults.hit = false;
    faults.remaining = nth;
    faults.allAfter = allAfter;
    faults.armed = nth > 0;
}

bool PlatformBstrAllocationFailed() {
    return faults.hit;
}
