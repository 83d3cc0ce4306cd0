#include "interrupt.h"

namespace cxml {
namespace {

int interruptSignal = SIGINT;
std::atomic<bool> stop{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may only touch lock-free atomics");

void requestStop(int /*signal*/) {
    stop.store(true, std::memory_order_relaxed);
}

}  // namespace

void setInterruptSignal(int signal) {
    interruptSignal = signal;
    installSignalHandlers();
}

void installSignalHandlers() {
    // Also where the signal is ignored, as shells set it for background jobs: kill -INT must reach a run there too.
    struct sigaction onInterrupt{};
    onInterrupt.sa_handler = requestStop;
    onInterrupt.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    sigemptyset(&onInterrupt.sa_mask);
    sigaction(interruptSignal, &onInterrupt, nullptr);

    struct sigaction ignore{};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGXFSZ, &ignore, nullptr);
}

const std::atomic<bool>& stopRequested() noexcept {
    return stop;
}

}  // namespace cxml
