// Runs programs as a user would and hands back what they said.
#pragma once

#include <sys/types.h>
#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// How a program ended.
struct Outcome {
    int status = -1;  // exit status; 128 + signal when a signal ended it
    bool signalled = false;
    bool timedOut = false;
    std::string out;
    std::string err;
};

struct ProcessOptions {
    std::optional<unsigned long> fileSizeLimit;      // bytes, as ulimit -f sets it
    std::optional<unsigned long> addressSpaceLimit;  // bytes, as ulimit -v sets it
    bool errorsToTerminal = false;                   // standard error is a terminal of `columns` columns
    unsigned short columns = 100;
    bool asNobody = false;                         // drop root's rights
    bool interruptIgnored = false;                 // as shells start background jobs
    std::optional<std::filesystem::path> outFile;  // standard output goes there instead
    std::filesystem::path inFile = "/dev/null";    // what standard input is
    /// Called with the process and everything on its standard error so far, each time something comes.
    std::function<void(pid_t, const std::string&)> onErrorText;
    std::chrono::seconds limit{240};
};

/// Runs arguments[0], found along PATH.
Outcome runProcess(const std::vector<std::string>& arguments, const ProcessOptions& options = {});
