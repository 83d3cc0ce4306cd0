// Runs a body in a child process, for what would end or disturb this one.
#pragma once

#include <functional>
#include <string>

namespace host_test {

struct ChildResult {
    int exitStatus = -1;  // -1 when a signal ended it
    int signal = 0;
    std::string output;  // what the body returned
};

/// The child ends right after `body`; its text comes back. It is killed after 60 seconds.
ChildResult inChild(const std::function<std::string()>& body);

/// Lets the child run until it calls `ready`, then kills it without warning.
ChildResult killedWhenReady(const std::function<void(const std::function<void()>& ready)>& body);

}  // namespace host_test
