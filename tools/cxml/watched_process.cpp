#include "watched_process.h"

#include "interrupt.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>

namespace cxml {
namespace {

int goodbyes = -1;  // the pipe's end to write to, or that to read from

// ---- the watching process ----

volatile sig_atomic_t worker = 0;
volatile sig_atomic_t interrupts = 0;

void passInterruptOn(int /*signal*/) {
    const int error = errno;
    interrupts = interrupts + 1;
    kill(worker, interruptOfWorker);
    errno = error;
}

void say(const std::string& text) {
    const std::string line = "cxml: " + text + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

/// The status that the worker said goodbye with.
std::optional<int> goodbye() {
    unsigned char status = 0;
    return read(goodbyes, &status, 1) == 1 ? std::optional<int>(status) : std::nullopt;
}

[[noreturn]] void endBySignal(int signal) {
    const rlimit none{};  // the worker has left its image, if anybody
    setrlimit(RLIMIT_CORE, &none);
    std::signal(signal, SIG_DFL);
    sigset_t just;
    sigemptyset(&just);
    sigaddset(&just, signal);
    sigprocmask(SIG_UNBLOCK, &just, nullptr);
    raise(signal);
    _exit(128 + signal);
}

[[noreturn]] void watch() {
    int state = 0;
    while (waitpid(worker, &state, 0) < 0 && errno == EINTR) {
    }
    if (WIFSIGNALED(state)) {
        const int signal = WTERMSIG(state);
        if (signal == interruptOfWorker && interrupts != 0) endBySignal(SIGINT);
        // Of a closed pipe nobody says anything: whoever reads has seen enough.
        if (signal != SIGINT && signal != SIGTERM && signal != SIGHUP && signal != SIGPIPE)
            say(std::string("the run was ended by a signal: ") + strsignal(signal));
        endBySignal(signal);
    }
    const int status = WEXITSTATUS(state);
    if (goodbye() == status) _exit(status);
    say("the run was ended in its middle, with status " + std::to_string(status) +
        ", by an expression or what it uses");
    _exit(status != 0 ? status : static_cast<int>(ExitStatus::Failed));
}

// ---- the working process ----

void endCopy() {
    _exit(1);
}

void work(pid_t watcher) {
    // It may have ended already.
    if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || getppid() != watcher) _exit(1);
    // Fails only where there is no memory; no expression has been called yet.
    if (pthread_atfork(nullptr, nullptr, endCopy) != 0) throw std::runtime_error("out of memory");
    // A terminal sends it to both: it is the watcher's to pass on. Programs that are started do not inherit this.
    std::signal(SIGINT, [](int) {});
    setInterruptSignal(interruptOfWorker);
}

}  // namespace

void goOnWatched() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        throw std::runtime_error(std::string("no pipe can be had: ") + std::strerror(errno));
    sigset_t interrupt;
    sigset_t before;
    sigemptyset(&interrupt);
    sigaddset(&interrupt, SIGINT);
    sigaddset(&interrupt, interruptOfWorker);
    sigprocmask(SIG_BLOCK, &interrupt, &before);
    const pid_t watcher = getpid();
    const pid_t started = fork();
    if (started < 0) throw std::runtime_error(std::string("no process can be started: ") + std::strerror(errno));
    if (started == 0) {
        close(ends[0]);
        goodbyes = ends[1];
        work(watcher);
        sigprocmask(SIG_SETMASK, &before, nullptr);
        return;
    }
    close(ends[1]);
    goodbyes = ends[0];
    worker = started;
    struct sigaction onInterrupt{};
    onInterrupt.sa_handler = passInterruptOn;
    sigemptyset(&onInterrupt.sa_mask);
    sigaction(SIGINT, &onInterrupt, nullptr);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    watch();
}

void sayGoodbye(ExitStatus status) noexcept {
    const auto byte = static_cast<unsigned char>(status);
    // Without it the watching process says that there was none.
    if (goodbyes >= 0 && write(goodbyes, &byte, 1) < 0) close(goodbyes);
}

}  // namespace cxml
