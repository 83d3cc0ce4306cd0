// The program of the tests of expressions: it starts the interpreter as a host does, before any document is loaded. Run
// with --scenario NAME it is a child process of its own tests.
#include "host/python/interpreter.h"
#include "python/expression_fixture.h"
#include "python/scenarios.h"
#include "support/leak_check.h"
#include "support/platform_hooks.h"

#include <string_view>

/// A test asks for more memory than there is: that is Python's to refuse, not the sanitizer's to end the process for.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming): the sanitizer's own name
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();
extern "C" const char* __asan_default_options() {  // NOLINT(bugprone-reserved-identifier,readability-identifier-naming)
    return "allocator_may_return_null=1";
}

int main(int argc, char** argv) {
    const SystemSession session;
    if (argc == 3 && std::string_view(argv[1]) == "--scenario") return runScenario(argv[2]);
    testing::InitGoogleTest(&argc, argv);
    installLeakCheck();
    registerLiveCounter("code objects", liveCodeObjects);
    const embedded_host::PythonInterpreter python;
    watchCode();
    return RUN_ALL_TESTS();
}
