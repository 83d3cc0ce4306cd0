// The Python that expressions of documents run in, for a process that has none.
#pragma once

#include "platform/export.h"

#include <stdexcept>
#include <string>

#ifdef SYMBOLOGY_PYTHON_BUILDING
#define SYMBOLOGY_PYTHON_API SYMBOLOGY_DLL_EXPORT
#else
#define SYMBOLOGY_PYTHON_API SYMBOLOGY_DLL_IMPORT
#endif

namespace symbology::python {

// All texts are UTF-8.

/// Why there is no Python.
class SYMBOLOGY_PYTHON_API Error : public std::runtime_error {
public:
    /// \param text one line.
    explicit Error(const std::string& text);
    ~Error() override;
};

/// Which Python expressions run in.
struct Python {
    std::string version;  ///< "3.13.0"
    std::string file;     ///< the program or library that it is in
    bool isOurs;          ///< whether start() has started it; else somebody else had
};

/// How a Python is started.
struct StartOptions {
    /// Whether the packages of the user can be imported. Of a Python that somebody else has started, that is their
    /// affair.
    bool userPackages = false;
};

/// Finds the Python that the process has initialised; where there is none, starts the one that this library was built
/// with, until the process ends: isolated from the environment, with the standard library that was installed with it.
/// It handles no signals, writes no files, and what expressions print goes to standard error. Its lock is not held
/// afterwards. From any thread, and as often as one likes: all get the same answer.
///
/// To be called before the first document with expressions: a process that is linked with this library has a Python,
/// and one that is not initialised ends the process when the first expression is loaded.
/// \throws Error when Python cannot start.
SYMBOLOGY_PYTHON_API Python start(const StartOptions& options = {});

}  // namespace symbology::python
