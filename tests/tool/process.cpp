#include "process.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace {

class Descriptor {
public:
    explicit Descriptor(int value = -1) : value_(value) {}
    ~Descriptor() { close(); }
    Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(value_, other.value_);
        return *this;
    }
    int get() const { return value_; }
    void close() {
        if (value_ >= 0) ::close(value_);
        value_ = -1;
    }

private:
    int value_;
};

[[noreturn]] void fail(const char* what) {
    throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
}

// A reading and a writing end.
struct Channel {
    Descriptor reader;
    Descriptor writer;
};

Channel openPipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) fail("pipe");
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

Channel openTerminal(unsigned short columns) {
    Descriptor reader(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (reader.get() < 0 || grantpt(reader.get()) != 0 || unlockpt(reader.get()) != 0) fail("posix_openpt");
    Descriptor writer(open(ptsname(reader.get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (writer.get() < 0) fail("terminal");
    const winsize size{40, columns, 0, 0};
    ioctl(writer.get(), TIOCSWINSZ, &size);
    return {std::move(reader), std::move(writer)};
}

void dropRights() {
    constexpr unsigned nobody = 65534;
    if (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0) _exit(126);
}

[[noreturn]] void becomeProgram(const std::vector<std::string>& arguments, const ProcessOptions& options, int out,
                                int err) {
    const int input = open(options.inFile.c_str(), O_RDONLY);
    dup2(input, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    std::signal(SIGINT, options.interruptIgnored ? SIG_IGN : SIG_DFL);
    if (options.fileSizeLimit) {
        const rlimit limit{*options.fileSizeLimit, *options.fileSizeLimit};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    if (options.addressSpaceLimit) {
        const rlimit limit{*options.addressSpaceLimit, *options.addressSpaceLimit};
        setrlimit(RLIMIT_AS, &limit);
    }
    if (options.asNobody) dropRights();
    std::vector<char*> argv;
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    execvp(argv[0], argv.data());
    _exit(127);
}

// Appends what is there; false at the end of the stream (a terminal says so with an error).
bool readSome(int from, std::string& to) {
    std::array<char, 65536> buffer{};
    const ssize_t count = read(from, buffer.data(), buffer.size());
    if (count <= 0) return count < 0 && errno == EINTR;
    to.append(buffer.data(), static_cast<std::size_t>(count));
    return true;
}

void collect(pid_t pid, Descriptor out, Descriptor err, const ProcessOptions& options, Outcome& outcome) {
    const auto deadline = std::chrono::steady_clock::now() + options.limit;
    while (out.get() >= 0 || err.get() >= 0) {
        std::array<pollfd, 2> ready{{{out.get(), POLLIN, 0}, {err.get(), POLLIN, 0}}};
        poll(ready.data(), ready.size(), 200);
        if (ready[0].revents != 0 && !readSome(out.get(), outcome.out)) out.close();
        if (ready[1].revents != 0) {
            if (!readSome(err.get(), outcome.err))
                err.close();
            else if (options.onErrorText)
                options.onErrorText(pid, outcome.err);
        }
        if (std::chrono::steady_clock::now() > deadline && !outcome.timedOut) {
            outcome.timedOut = true;
            kill(pid, SIGKILL);
        }
    }
}

}  // namespace

Outcome runProcess(const std::vector<std::string>& arguments, const ProcessOptions& options) {
    Channel out = openPipe();
    Channel err = options.errorsToTerminal ? openTerminal(options.columns) : openPipe();
    if (options.outFile) out.writer = Descriptor(open(options.outFile->c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    const pid_t pid = fork();
    if (pid < 0) fail("fork");
    if (pid == 0) becomeProgram(arguments, options, out.writer.get(), err.writer.get());
    out.writer.close();
    err.writer.close();
    Outcome outcome;
    collect(pid, std::move(out.reader), std::move(err.reader), options, outcome);
    int state = 0;
    while (waitpid(pid, &state, 0) < 0 && errno == EINTR) {
    }
    outcome.signalled = WIFSIGNALED(state);
    outcome.status = outcome.signalled ? 128 + WTERMSIG(state) : WEXITSTATUS(state);
    return outcome;
}
