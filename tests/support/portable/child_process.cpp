#include "support/child_process.h"

#include "tool/process.h"

#include <csignal>

ChildOutcome runThisProgram(const std::vector<std::string>& arguments, std::chrono::seconds limit) {
    std::vector<std::string> command{"/proc/self/exe"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    ProcessOptions options;
    options.limit = limit;
    const Outcome outcome = runProcess(command, options);
    const bool aborted = outcome.signalled && outcome.status == 128 + SIGABRT;
    return {outcome.timedOut, aborted, outcome.status, outcome.err};
}
