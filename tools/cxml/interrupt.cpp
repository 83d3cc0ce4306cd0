#include "interrupt.h"

#include "watched_process.h"

#include <unistd.h>
#include <string_view>

namespace cxml {
namespace {

int interruptSignal = SIGINT;
std::atomic<bool> stop{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler may only touch lock-free atomics");

// What standard output is to hold when the process ends at once; null while it must not.
std::atomic<const char*> lastWordsToSay{nullptr};
static_assert(std::atomic<const char*>::is_always_lock_free);

void say(int file, std::string_view text) noexcept {
    while (!text.empty()) {
        const ssize_t written = write(file, text.data(), text.size());
        if (written <= 0) return;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

void requestStop(int /*signal*/) {
    if (const char* const lastWords = lastWordsToSay) {
        say(STDOUT_FILENO, lastWords);
        say(STDERR_FILENO, "cxml: interrupted\n");
        sayGoodbye(ExitStatus::Interrupted);
        _exit(static_cast<int>(ExitStatus::Interrupted));
    }
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

NothingToLose::NothingToLose(const char* lastWords) noexcept {
    lastWordsToSay = lastWords;
}

NothingToLose::~NothingToLose() {
    lastWordsToSay = nullptr;
}

const std::atomic<bool>& stopRequested() noexcept {
    return stop;
}

}  // namespace cxml
