#include "out_of_memory.h"

#include "host/geodatabase/base/fatal_errors.h"
#include "host/geodatabase/new_file.h"
#include "host/library_call.h"
#include "tools/text/text.h"
#include "watched_process.h"

#include <unistd.h>
#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <new>

namespace cxml {
namespace {

// A line in pieces, none of which is put together. Standard error that cannot be written has nobody to tell.
void write(const char* text) noexcept {
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text, std::strlen(text));
}

constexpr const char* outOfMemory = "cxml: out of memory\n";

[[noreturn]] void giveUp(const char* endOfLine) noexcept {
    write(endOfLine);
    embedded_host::NewFile::removeUnfinished();
    sayGoodbye(ExitStatus::Failed);
    _exit(static_cast<int>(ExitStatus::Failed));
}

[[noreturn]] void endOfGdal(const char* message) noexcept {
    std::array<char, 500> line{};
    std::strncpy(line.data(), message, line.size() - 1);
    std::ranges::replace(line, '\n', ' ');
    write("cxml: GDAL gave up: ");
    write(line.data());
    giveUp("\n");
}

// GDAL and Python do not always say through a handler that they give up, but on standard error. Whoever else aborts,
// an expression, too, ends by the signal. Only what a signal handler may do.
void aborted(int signal, siginfo_t* sender, void* /*context*/) {
    const bool byItself = sender->si_code == SI_TKILL && sender->si_pid == getpid();
    if (const char* const library = embedded_host::LibraryCall::current(); library && byItself) {
        write("cxml: ");
        write(library);
        giveUp(" gave up\n");
    }
    raise(signal);  // on return, and not caught again
}

void catchAborts() {
    struct sigaction onAbort{};
    onAbort.sa_sigaction = aborted;
    onAbort.sa_flags = SA_SIGINFO | static_cast<int>(SA_RESETHAND);
    sigemptyset(&onAbort.sa_mask);
    sigaction(SIGABRT, &onAbort, nullptr);
}

std::terminate_handler usualEnd = nullptr;

[[noreturn]] void terminated() noexcept {
    if (std::current_exception() && isOutOfMemory()) giveUp(outOfMemory);
    std::signal(SIGABRT, SIG_DFL);  // it is this program that gives up
    usualEnd();
    std::abort();
}

}  // namespace

void endOutOfMemory() noexcept {
    std::cout.flush();
    std::fflush(stdout);
    giveUp(outOfMemory);
}

void installLastResorts() {
    // What a thread has of its own is entered when it is first used, and the C library aborts when that needs memory.
    SetErrorInfo(0, nullptr);
    const CComBSTR first(OLESTR("first"));
    usualEnd = std::set_terminate(terminated);
    embedded_host::onFatalError(endOfGdal);
    catchAborts();
}

bool isOutOfMemory() noexcept {
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return true;
    } catch (const CAtlException& failure) {
        return failure.m_hr == E_OUTOFMEMORY;
    } catch (...) {
        return false;
    }
}

}  // namespace cxml
