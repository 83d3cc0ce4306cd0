// How a dataset is opened.
#pragma once

#include <atomic>
#include <optional>
#include <string>

namespace embedded_host {

/// With Rehearse a run goes as it would: cursors open and rows take values and count as changed, and nothing of it
/// reaches the dataset, which is opened for reading. Its transactions hold one state of the dataset for the run.
enum class Access { Read, Rehearse, Update };

struct WorkspaceOptions {
    // Seconds to wait for what someone else has locked, all waits together; on a server each, and 0 is for ever.
    std::optional<double> lockTimeout;
    const std::atomic<bool>* stop = nullptr;         // when it turns true, what takes long ends
    std::optional<std::string> name = std::nullopt;  // of a file in messages, where it is to have another one
};

}  // namespace embedded_host
