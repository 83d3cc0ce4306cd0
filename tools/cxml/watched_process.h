// A command in a process of its own, so that somebody is left to say how it ended.
#pragma once

#include "tools/runs/exit_status.h"

namespace cxml {

/// Goes on in a new process, and watches it from the old one, which never returns from here. It passes Ctrl-C on and
/// ends as the new process does: with its exit status or by its signal; with a line when that ended before
/// sayGoodbye(), and never with 0 then. The new process ends when the old one does, however that happens, and processes
/// that are forked from it (and do not become other programs) end at once: they share its files.
/// To be called while there is one thread. \throws std::runtime_error when there can be no process.
void goOnWatched();

/// Tells the watching process, if there is one, that the command has come to its end with this status.
void sayGoodbye(ExitStatus status) noexcept;

}  // namespace cxml
