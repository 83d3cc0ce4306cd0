// Expression: a Python source that defines "Generate", compiled once and called with values.
#pragma once

#include "platform/platform.h"

#include <functional>
#include <span>
#include <stdexcept>
#include <string>

struct _object;  // NOLINT(bugprone-reserved-identifier,readability-identifier-naming): PyObject's own name

namespace ConditionalXml {

/// What Python says of an error, a line each: its type, its value, its traceback.
class PythonError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Owns one compiled source, or none. What touches Python takes the interpreter lock itself, on whatever thread that
/// happens; without a source the interpreter is not touched.
class Expression {
public:
    /// What an argument of "Generate" is made of.
    struct Argument {
        std::span<const CComVariant> values;  // borrowed; without any, there is no call
        bool isList = false;                  // all of the values; else the first one
    };

    enum class Outcome {
        Accepted,
        NoArgument,  // one has no value, or none that Python can be given
        NotText,     // what it returned is neither a text nor None
        NotCopied    // the text cannot be had as UTF-16
    };

    Expression() = default;
    ~Expression();
    Expression(const Expression&) = delete;
    Expression& operator=(const Expression&) = delete;

    /// Compiles a source that is not empty; there must be none yet.
    /// \throws PythonError when it is not Python, std::runtime_error when there is no Python in the process.
    void compile(WideView source);
    explicit operator bool() const noexcept { return code_ != nullptr; }
    /// The code object, borrowed.
    _object* get() const noexcept { return code_; }

    /// Executes the source in a new module and calls its "Generate". There must be a source.
    /// \param accepted is given the text that was returned, the empty one for None, before the lock is given back; with
    ///        what it throws, the call ends.
    /// \throws PythonError
    Outcome call(std::span<const Argument> arguments, const std::function<void(CComBSTR&& text)>& accepted);

private:
    _object* code_ = nullptr;
    std::string argumentText_;  // each text argument in turn, so that it needs no memory of its own
};

}  // namespace ConditionalXml
