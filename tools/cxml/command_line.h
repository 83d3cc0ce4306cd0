// The command line: what it can say, and what it says.
#pragma once

#include "commands.h"

#include <string>

namespace cxml {

/// Wrong words on the command line: one line for people.
struct UsageError {
    std::string text;
};

/// What the arguments ask for. Help, the version and completions are written to standard output and leave nothing to
/// do: a command that is good. \throws UsageError
Command readCommandLine(int argc, char** argv);

}  // namespace cxml
