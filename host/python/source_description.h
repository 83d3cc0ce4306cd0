// What Python source defines, found without running it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace embedded_host {

struct PythonSyntaxError {
    int line;  // from 1; 0 when Python tells none
    std::string message;
};

/// How a function can be called with positional arguments.
struct PythonSignature {
    std::size_t least;
    std::optional<std::size_t> most;       // nothing for a function with *args
    std::vector<std::string> names;        // of the positional parameters, in order
    std::vector<std::string> mustBeNamed;  // parameters that positional arguments cannot supply
};

/// A name that the source reads.
struct PythonName {
    int line;
    std::string name;
};

/// What is known of a module's source.
struct PythonSource {
    enum class Defines { No, Yes, Maybe };

    std::optional<PythonSyntaxError> error;    // it does not compile; nothing else is known then
    Defines function = Defines::Maybe;         // the function that was asked for, in the module's own names
    std::optional<PythonSignature> signature;  // when it is certain
    std::vector<int> numberLines;              // where the function certainly returns a number, in ascending order
    std::vector<std::string> binds;            // the names that something in the source binds; "*" for any
    std::vector<PythonName> unbound;           // read, and neither bound nor Python's own; none where code makes names
};

/// Compiles the UTF-8 source as the library does and looks for a function. Nothing of the source is executed. Takes the
/// interpreter lock; the interpreter must be there.
/// \throws HostError when Python itself fails.
PythonSource describePythonSource(const std::string& source, const std::string& function);

}  // namespace embedded_host
