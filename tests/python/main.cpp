// The program of the tests of expressions: it starts the interpreter as a host does, before any document is loaded. Run
// with --scenario NAME it is a child process of its own tests.
#include "host/python/interpreter.h"
#include "python/expression_fixture.h"
#include "python/scenarios.h"
#include "support/leak_check.h"

#include <string_view>

int main(int argc, char** argv) {
    if (argc == 3 && std::string_view(argv[1]) == "--scenario") return runScenario(argv[2]);
    testing::InitGoogleTest(&argc, argv);
    installLeakCheck();
    registerLiveCounter("code objects", liveCodeObjects);
    const embedded_host::PythonInterpreter python;
    return RUN_ALL_TESTS();
}
