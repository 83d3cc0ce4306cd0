// The embedded host's Python interpreter.
#pragma once

#include <string>

namespace embedded_host {

struct PythonOptions {
    bool userSitePackages = false;  // whether the user's own packages can be imported
    // Where its standard library is; empty: as said below.
    std::string home{};  // NOLINT(readability-redundant-member-init): designated initializers leave it out
};

/// Initialises the interpreter for as long as it lives: isolated from the environment, with the standard library that
/// was installed with the program, or else that of the interpreter it was built with. It writes no files, handles no
/// signals, and what Python prints goes to standard error. The creating thread gives the interpreter lock back at once,
/// so that any thread may take it; the same thread destroys it, when no document with expressions is left.
class PythonInterpreter {
public:
    /// \throws HostError when the interpreter cannot start.
    explicit PythonInterpreter(const PythonOptions& options = {});
    ~PythonInterpreter();
    PythonInterpreter(const PythonInterpreter&) = delete;
    PythonInterpreter& operator=(const PythonInterpreter&) = delete;

private:
    void* mainThread_;
};

}  // namespace embedded_host
