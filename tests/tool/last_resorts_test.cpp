// Who is said to have given up when something aborts the process.
#include "host/geodatabase/base/gdal_errors.h"
#include "host/library_call.h"
#include "out_of_memory.h"

#include <gtest/gtest.h>
#include <unistd.h>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <thread>

namespace {

using embedded_host::GdalErrors;
using embedded_host::LibraryCall;
using testing::ExitedWithCode;
using testing::KilledBySignal;

// Each in a process of its own.
template <class Work>
[[noreturn]] void withLastResorts(Work&& work) {
    cxml::installLastResorts();
    work();
    _exit(0);
}

TEST(LastResortsDeathTest, LibraryThatAbortsGivesUp) {
    EXPECT_EXIT(withLastResorts([] {
                    const LibraryCall call("Python");
                    std::abort();
                }),
                ExitedWithCode(1), "^cxml: Python gave up\n$");
    EXPECT_EXIT(withLastResorts([] {
                    const GdalErrors errors;
                    std::abort();
                }),
                ExitedWithCode(1), "^cxml: GDAL gave up\n$");
    EXPECT_EXIT(withLastResorts([] {
                    const LibraryCall outer("GDAL");
                    {
                        const LibraryCall inner("Python");
                    }
                    std::abort();
                }),
                ExitedWithCode(1), "^cxml: GDAL gave up\n$");
}

TEST(LastResortsDeathTest, NobodyElseDoes) {
    EXPECT_EXIT(withLastResorts([] { std::abort(); }), KilledBySignal(SIGABRT), "^$");
    EXPECT_EXIT(withLastResorts([] { raise(SIGABRT); }), KilledBySignal(SIGABRT), "^$");
    EXPECT_EXIT(withLastResorts([] {
                    {
                        const LibraryCall call("GDAL");
                    }
                    std::abort();
                }),
                KilledBySignal(SIGABRT), "^$")
        << "the call is over";
    EXPECT_EXIT(withLastResorts([] {
                    const LibraryCall call("GDAL");
                    std::thread([] { std::abort(); }).join();
                }),
                KilledBySignal(SIGABRT), "^$")
        << "another thread";
    EXPECT_EXIT(withLastResorts([] {
                    const LibraryCall call("GDAL");
                    kill(getpid(), SIGABRT);
                }),
                KilledBySignal(SIGABRT), "^$")
        << "sent, as by somebody else";
    EXPECT_EXIT(withLastResorts([] {
                    const LibraryCall call("GDAL");
                    std::terminate();
                }),
                KilledBySignal(SIGABRT), "")
        << "the program itself";
}

}  // namespace
