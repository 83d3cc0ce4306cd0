// How a dataset is opened.
#pragma once

#include <atomic>
#include <optional>

namespace embedded_host {

enum class Access { Read, Update };

struct WorkspaceOptions {
    // Seconds to wait for what someone else has locked, all waits together; on a server each, and 0 is for ever.
    std::optional<double> lockTimeout;
    const std::atomic<bool>* stop = nullptr;  // when it turns true, what takes long ends
};

}  // namespace embedded_host
