// From a failure of Python to an exception.
#pragma once

namespace ConditionalXml {

/// Takes the pending Python error of this thread, which must hold the interpreter lock, and raises it.
/// \throws PythonError, always.
[[noreturn]] void throwPythonError();

}  // namespace ConditionalXml
