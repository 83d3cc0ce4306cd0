#include "python/get_gil.h"

#include "python/python_calls.h"

#include <cstdio>
#include <cstdlib>

namespace ConditionalXml {

namespace {

/// Ends the process as a failed assertion does. An interpreter that is not there is a mistake in the host's code: there
/// is nothing to go on with.
[[noreturn]] void failAssertion(const char* expression, const char* source, int line) {
    std::fprintf(stderr, "Assertion failed: %s, file %s, line %d\n", expression, source, line);
    std::fflush(stderr);
    std::abort();
}

}  // namespace

GetGIL::GetGIL() {
    constexpr int assertionLine = 12;
    if (findPython() != PythonState::Ready) failAssertion("Py_IsInitialized()", "GetGIL", assertionLine);
    state_ = py().PyGILState_Ensure();
}

GetGIL::~GetGIL() {
    py().PyGILState_Release(state_);
}

}  // namespace ConditionalXml
