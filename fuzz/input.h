// Cuts the bytes of a fuzzer into values, and stops the process when a run leaves anything alive.
#pragma once

#include "platform/platform.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace fuzzing {

/// Takes values from the front; what is not there reads as zero.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

    std::uint8_t byte() { return number<std::uint8_t>(); }
    template <class Number>
    Number number() {
        Number value{};
        const std::string_view taken = take(sizeof value);
        if (!taken.empty()) std::memcpy(&value, taken.data(), taken.size());
        return value;
    }
    /// The bytes up to a line feed, or all that are left.
    std::string_view line() {
        const std::size_t length = rest_.find('\n');
        const std::string_view taken = take(length);
        if (length != std::string_view::npos) rest_.remove_prefix(1);
        return taken;
    }
    std::string_view rest() { return take(rest_.size()); }

private:
    std::string_view take(std::size_t length) {
        const std::string_view taken = rest_.substr(0, length);
        rest_.remove_prefix(taken.size());
        return taken;
    }

    std::string_view rest_;
};

/// Ends the process, as a finding, when the condition does not hold.
inline void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "broken promise: %s\n", what);
    std::abort();
}

/// Requires that objects and BSTRs are as many at its end as at its beginning.
class NothingLeft {
public:
    NothingLeft() : objects_(PlatformLiveObjects()), texts_(PlatformHeldBstrs()) {}
    NothingLeft(const NothingLeft&) = delete;
    NothingLeft& operator=(const NothingLeft&) = delete;
    ~NothingLeft() {
        SetErrorInfo(0, nullptr);
        require(PlatformLiveObjects() == objects_, "no object is left");
        require(PlatformHeldBstrs() == texts_, "no BSTR is left");
    }

private:
    std::size_t objects_;
    std::size_t texts_;
};

}  // namespace fuzzing
