// Runs this very program once more, for tests of what ends a process or would make it wait for ever.
#pragma once

#include <chrono>
#include <string>
#include <vector>

/// How the child ended.
struct ChildOutcome {
    bool timedOut = false;
    bool aborted = false;  // by abort()
    int status = -1;       // the exit status, when it was neither
    std::string err;       // what it wrote to standard error, with line feeds alone
};

ChildOutcome runThisProgram(const std::vector<std::string>& arguments, std::chrono::seconds limit);
