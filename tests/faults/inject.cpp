// Preloaded into a program, makes one kind of its calls into the system fail: the Nth, or all from the Nth on.
//
//   FAULT_CALLS   read, lock, write (also sync, truncate) or memory
//   FAULT_AT      which call fails, from 1; none when it is not set, the calls are counted only
//   FAULT_EVER    when set, those after it fail too
//   FAULT_ERROR   the errno that a failing call gives; a number
//   FAULT_PATH    only calls on files with this in their path; allocations from the first such call on
//   FAULT_REPORT  the file to which "read lock write memory failed", the numbers of all calls, is written at the end
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/limits.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
}

namespace {

enum class Calls { Read, Lock, Write, Memory, None };

struct Plan {
    Calls calls = Calls::None;
    long at = 0;
    bool ever = false;
    int error = EIO;
    const char* path = "";
    const char* report = nullptr;
};

Plan plan;
std::atomic<long> called[4];  // by kind
std::atomic<long> failed{0};
std::atomic<bool> armed{false};
std::atomic<bool> ended{true};  // before main() and at the end nothing is counted

Calls callsOf(const char* name) {
    if (!name) return Calls::None;
    if (std::strcmp(name, "read") == 0) return Calls::Read;
    if (std::strcmp(name, "lock") == 0) return Calls::Lock;
    if (std::strcmp(name, "write") == 0) return Calls::Write;
    if (std::strcmp(name, "memory") == 0) return Calls::Memory;
    return Calls::None;
}

long numberOf(const char* text, long otherwise) {
    return text ? std::strtol(text, nullptr, 10) : otherwise;
}

// Before main(): allocations that come earlier are not counted.
[[gnu::constructor]] void readPlan() {
    plan.at = numberOf(std::getenv("FAULT_AT"), 0);
    plan.ever = std::getenv("FAULT_EVER") != nullptr;
    plan.error = static_cast<int>(numberOf(std::getenv("FAULT_ERROR"), EIO));
    if (const char* path = std::getenv("FAULT_PATH")) plan.path = path;
    plan.report = std::getenv("FAULT_REPORT");
    plan.calls = callsOf(std::getenv("FAULT_CALLS"));
    ended = false;
}

[[gnu::destructor]] void report() {
    if (!plan.report) return;
    ended = true;
    char text[128];
    const int length = std::snprintf(text, sizeof text, "%ld %ld %ld %ld %ld\n", called[0].load(), called[1].load(),
                                     called[2].load(), called[3].load(), failed.load());
    const long file = syscall(SYS_openat, AT_FDCWD, plan.report, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (file < 0) return;
    syscall(SYS_write, file, text, length);
    syscall(SYS_close, file);
}

// Counts a call. True when it has to fail.
bool failsNow(Calls calls) {
    const long number = ++called[static_cast<int>(calls)];
    if (plan.calls != calls || plan.at == 0 || number < plan.at || (number > plan.at && !plan.ever)) return false;
    ++failed;
    errno = plan.error;
    return true;
}

bool isWatched(int file) {
    const int before = errno;
    char shortcut[64];
    char name[PATH_MAX + 1];
    std::snprintf(shortcut, sizeof shortcut, "/proc/self/fd/%d", file);
    const ssize_t length = readlink(shortcut, name, PATH_MAX);
    errno = before;
    if (length <= 0) return false;
    name[length] = '\0';
    return std::strstr(name, plan.path) != nullptr;
}

bool fails(Calls calls, int file) {
    if (ended || !isWatched(file)) return false;
    armed = true;
    return failsNow(calls);
}

bool memoryFails() {
    return armed && !ended && failsNow(Calls::Memory);
}

template <class Function>
Function original(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

long locked(int file, int command, void* argument) {
    if (command == F_SETLK || command == F_SETLKW) {
        const auto* lock = static_cast<const flock*>(argument);
        if (lock->l_type != F_UNLCK && fails(Calls::Lock, file)) return -1;
    }
    return syscall(SYS_fcntl, file, command, argument);
}

}  // namespace

extern "C" {

ssize_t read(int file, void* bytes, size_t size) {
    return fails(Calls::Read, file) ? -1 : syscall(SYS_read, file, bytes, size);
}
ssize_t pread(int file, void* bytes, size_t size, off_t offset) {
    return fails(Calls::Read, file) ? -1 : syscall(SYS_pread64, file, bytes, size, offset);
}
ssize_t pread64(int file, void* bytes, size_t size, off64_t offset) {
    return fails(Calls::Read, file) ? -1 : syscall(SYS_pread64, file, bytes, size, offset);
}
size_t fread(void* bytes, size_t size, size_t count, FILE* stream) {
    static const auto next = original<size_t (*)(void*, size_t, size_t, FILE*)>("fread");
    if (!fails(Calls::Read, fileno(stream))) return next(bytes, size, count, stream);
    stream->_flags |= 0x20;  // what ferror() looks at
    return 0;
}

ssize_t write(int file, const void* bytes, size_t size) {
    return fails(Calls::Write, file) ? -1 : syscall(SYS_write, file, bytes, size);
}
ssize_t pwrite(int file, const void* bytes, size_t size, off_t offset) {
    return fails(Calls::Write, file) ? -1 : syscall(SYS_pwrite64, file, bytes, size, offset);
}
ssize_t pwrite64(int file, const void* bytes, size_t size, off64_t offset) {
    return fails(Calls::Write, file) ? -1 : syscall(SYS_pwrite64, file, bytes, size, offset);
}
int fsync(int file) {
    return fails(Calls::Write, file) ? -1 : static_cast<int>(syscall(SYS_fsync, file));
}
int fdatasync(int file) {
    return fails(Calls::Write, file) ? -1 : static_cast<int>(syscall(SYS_fdatasync, file));
}
int ftruncate(int file, off_t size) noexcept {
    return fails(Calls::Write, file) ? -1 : static_cast<int>(syscall(SYS_ftruncate, file, size));
}
int ftruncate64(int file, off64_t size) noexcept {
    return fails(Calls::Write, file) ? -1 : static_cast<int>(syscall(SYS_ftruncate, file, size));
}

int fcntl(int file, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    return static_cast<int>(locked(file, command, argument));
}
int fcntl64(int file, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    return static_cast<int>(locked(file, command, argument));
}

void* malloc(size_t size) {
    if (!memoryFails()) return __libc_malloc(size);
    errno = ENOMEM;
    return nullptr;
}
void* calloc(size_t count, size_t size) {
    if (!memoryFails()) return __libc_calloc(count, size);
    errno = ENOMEM;
    return nullptr;
}
void* realloc(void* block, size_t size) {
    if (!memoryFails()) return __libc_realloc(block, size);
    errno = ENOMEM;
    return nullptr;
}
void* aligned_alloc(size_t alignment, size_t size) {
    if (!memoryFails()) return __libc_memalign(alignment, size);
    errno = ENOMEM;
    return nullptr;
}
int posix_memalign(void** block, size_t alignment, size_t size) {
    *block = memoryFails() ? nullptr : __libc_memalign(alignment, size);
    return *block ? 0 : ENOMEM;
}

}  // extern "C"
