// Signals that end a run in order.
#pragma once

#include <atomic>
#include <csignal>

namespace cxml {

/// The signal that asks a run under watch to stop; see watched_process.h.
constexpr int interruptOfWorker = SIGUSR1;

/// Lets another signal than SIGINT stand for Ctrl-C, and sets its handler at once.
void setInterruptSignal(int signal);

/// From now on Ctrl-C (SIGINT) asks the running command to stop; a second one ends the process at once. Also makes a
/// file-size limit an ordinary write error.
void installSignalHandlers();

/// While it lives there is nothing to roll back: Ctrl-C ends the process at once, with status 130 and a line that says
/// so. One at a time.
class NothingToLose {
public:
    /// \param lastWords what standard output is to hold then; must outlive this.
    explicit NothingToLose(const char* lastWords) noexcept;
    ~NothingToLose();
    NothingToLose(const NothingToLose&) = delete;
    NothingToLose& operator=(const NothingToLose&) = delete;
};

/// Becomes true when the command is asked to stop.
const std::atomic<bool>& stopRequested() noexcept;
inline bool stopped() noexcept {
    return stopRequested().load(std::memory_order_relaxed);
}

}  // namespace cxml
