// Which of the calls that tests can make fail does.
#pragma once

#include <atomic>

/// Counts calls up to the one that fails. Needs no constructor to run: calls may come before main().
class FailureCountdown {
public:
    /// The n-th call from now on fails (1 is the next), and with `allAfter` all later ones; 0 ends it.
    void arm(long nth, bool allAfter) noexcept {
        failed_ = false;
        failAllAfter_ = allAfter;
        untilFailure_ = nth;
    }
    /// Whether a call has failed since arm().
    bool hit() const noexcept { return failed_; }

    /// Counts a call. \return whether it has to fail.
    bool failsNow() noexcept {
        if (untilFailure_ == 0) return false;
        if (untilFailure_ > 1) {
            --untilFailure_;
            return false;
        }
        if (!failAllAfter_) untilFailure_ = 0;
        failed_ = true;
        return true;
    }

private:
    std::atomic<long> untilFailure_{0};  // calls up to the one that fails; 0 for none
    std::atomic<bool> failAllAfter_{false};
    std::atomic<bool> failed_{false};
};
