// The report of a Python failure.
#pragma once

namespace ConditionalXml {

class Condition;

/// Takes the pending Python error of this thread, which must hold the interpreter lock, and raises it with what is
/// known of the condition.
/// \throws std::runtime_error with the report, always.
[[noreturn]] void reportPythonError(const Condition& condition);

}  // namespace ConditionalXml
