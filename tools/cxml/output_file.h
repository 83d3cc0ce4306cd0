// Files that a command writes beside its output.
#pragma once

#include "console.h"
#include "exit_status.h"

#include <string>

namespace cxml {

/// Writes the file whole or not at all. One that is there stays unless it may be overwritten.
/// \return Unusable when it cannot be written, which is said.
ExitStatus writeOutput(Console& console, const std::string& path, const std::string& content, bool overwrite);

}  // namespace cxml
