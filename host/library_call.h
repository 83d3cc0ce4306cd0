// Libraries that abort the process when they cannot go on.
#pragma once

namespace embedded_host {

/// While one lives, its thread is in a library that may abort, as a rule because it finds no memory; code of users,
/// such as that of expressions, does not run on the thread.
class LibraryCall {
public:
    /// \param library its name, a literal.
    explicit LibraryCall(const char* library) noexcept { innermost = library; }
    ~LibraryCall() { innermost = outer_; }
    LibraryCall(const LibraryCall&) = delete;
    LibraryCall& operator=(const LibraryCall&) = delete;

    /// The library that the calling thread is in; null in none. May be asked in a signal handler.
    static const char* current() noexcept { return innermost; }

private:
    static inline thread_local const char* innermost = nullptr;

    const char* outer_ = innermost;
};

}  // namespace embedded_host
