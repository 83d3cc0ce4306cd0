// How long to wait for what others have locked.
#include "host/geodatabase/sqlite/lock_wait.h"

#include <sqlite3.h>

#include <algorithm>
#include <thread>

namespace embedded_host {

namespace {

constexpr double defaultSeconds = 5;
constexpr double mostSeconds = 1e6;

}  // namespace

LockWait::LockWait(std::optional<double> seconds, const std::atomic<bool>* stop) noexcept
    : left_(std::chrono::duration_cast<Clock::duration>(
          std::chrono::duration<double>(std::clamp(seconds.value_or(defaultSeconds), 0.0, mostSeconds)))),
      stop_(stop) {}

void LockWait::watch(sqlite3* connection) noexcept {
    sqlite3_busy_handler(
        connection, [](void* wait, int earlier) { return static_cast<LockWait*>(wait)->pause(earlier) ? 1 : 0; }, this);
}

bool LockWait::pause(int earlierPauses) noexcept {
    if (left_ <= Clock::duration::zero() || (stop_ && stop_->load(std::memory_order_relaxed))) return false;
    constexpr int most = 50;
    const std::chrono::milliseconds moment(std::min(1 + earlierPauses * 5, most));
    const Clock::time_point start = Clock::now();
    std::this_thread::sleep_for(std::min<Clock::duration>(moment, left_));
    left_ -= Clock::now() - start;
    return true;
}

std::chrono::milliseconds LockWait::left(std::chrono::milliseconds most) const noexcept {
    return std::clamp(std::chrono::ceil<std::chrono::milliseconds>(left_), std::chrono::milliseconds(0), most);
}

}  // namespace embedded_host
