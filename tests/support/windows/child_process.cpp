#include "support/child_process.h"

#include "platform/platform.h"

#include <algorithm>
#include <stdexcept>
#include <thread>

namespace {

/// Closes its handle.
class Handle {
public:
    explicit Handle(HANDLE value = nullptr) : value_(value) {}
    ~Handle() { close(); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    HANDLE get() const noexcept { return value_; }
    HANDLE* put() noexcept { return &value_; }
    void close() {
        if (value_) CloseHandle(value_);
        value_ = nullptr;
    }

private:
    HANDLE value_;
};

void require(bool done, const char* what) {
    if (!done) throw std::runtime_error(std::string(what) + ": " + std::to_string(GetLastError()));
}

std::string commandLine(const std::vector<std::string>& arguments) {
    char program[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, program, MAX_PATH);
    std::string line = '"' + std::string(program) + '"';
    for (const std::string& argument : arguments) line += ' ' + argument;
    return line;
}

std::string readAll(HANDLE from) {
    std::string text;
    char block[4096];
    DWORD bytes = 0;
    while (ReadFile(from, block, sizeof block, &bytes, nullptr) && bytes != 0) text.append(block, bytes);
    std::erase(text, '\r');
    return text;
}

}  // namespace

ChildOutcome runThisProgram(const std::vector<std::string>& arguments, std::chrono::seconds limit) {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    Handle reader;
    Handle writer;
    require(CreatePipe(reader.put(), writer.put(), &inherited, 0), "pipe");
    SetHandleInformation(reader.get(), HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOA start{};
    start.cb = sizeof start;
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    start.hStdOutput = writer.get();
    start.hStdError = writer.get();
    PROCESS_INFORMATION started{};
    std::string line = commandLine(arguments);
    require(CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &started),
            "process");
    const Handle process(started.hProcess);
    const Handle thread(started.hThread);
    writer.close();

    ChildOutcome outcome;
    std::thread listener([&] { outcome.err = readAll(reader.get()); });
    outcome.timedOut = WaitForSingleObject(process.get(), static_cast<DWORD>(limit.count() * 1000)) == WAIT_TIMEOUT;
    if (outcome.timedOut) TerminateProcess(process.get(), 1);
    WaitForSingleObject(process.get(), INFINITE);
    listener.join();
    DWORD status = 0;
    GetExitCodeProcess(process.get(), &status);
    constexpr DWORD abortStatus = 3;  // the runtime's own
    outcome.aborted = !outcome.timedOut && status == abortStatus;
    outcome.status = static_cast<int>(status);
    return outcome;
}
