// Signals that end a run in order.
#pragma once

#include <atomic>

namespace cxml {

/// From now on Ctrl-C (SIGINT) asks the running command to stop; a second one ends the process at once. Also makes a
/// file-size limit an ordinary write error.
void installSignalHandlers();

/// Becomes true when the command is asked to stop.
const std::atomic<bool>& stopRequested() noexcept;

}  // namespace cxml
