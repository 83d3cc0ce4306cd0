// How long to wait for what others have locked.
#pragma once

#include <atomic>
#include <chrono>
#include <optional>

struct sqlite3;

namespace embedded_host {

/// The time that may be spent in waiting for locks, all waits of a dataset together.
class LockWait {
public:
    using Clock = std::chrono::steady_clock;

    /// \param seconds five when not given. \param stop when it turns true, no wait goes on; null: never.
    LockWait(std::optional<double> seconds, const std::atomic<bool>* stop) noexcept;
    LockWait(const LockWait&) = delete;
    LockWait& operator=(const LockWait&) = delete;

    /// Has the connection's statements wait so. Must outlive it.
    void watch(sqlite3* connection) noexcept;
    /// Waits a moment, longer the more often it was done. \return false without waiting when there is no time left.
    bool pause(int earlierPauses) noexcept;
    /// Counts a wait that went on elsewhere.
    void spend(Clock::duration time) noexcept { left_ -= time; }
    /// The time left, at most `most`.
    std::chrono::milliseconds left(std::chrono::milliseconds most) const noexcept;

private:
    Clock::duration left_;
    const std::atomic<bool>* stop_;
};

}  // namespace embedded_host
