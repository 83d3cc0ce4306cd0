// CompiledExpression: the owner of a condition's Python code object.
#pragma once

struct _object;  // NOLINT(bugprone-reserved-identifier,readability-identifier-naming): PyObject's own name

namespace ConditionalXml {

/// Owns one reference to a code object, or none. Giving a reference back takes the interpreter lock, on whatever
/// thread that happens; without a reference the interpreter is not touched.
class CompiledExpression {
public:
    CompiledExpression() = default;
    ~CompiledExpression();  // NOLINT(performance-trivially-destructible): it is where there is no Python
    CompiledExpression(const CompiledExpression&) = delete;
    CompiledExpression& operator=(const CompiledExpression&) = delete;

    /// Takes over a new reference; there must be none yet.
    void attach(_object* code) noexcept { code_ = code; }
    _object* get() const noexcept { return code_; }
    explicit operator bool() const noexcept { return code_ != nullptr; }

private:
    _object* code_ = nullptr;
};

}  // namespace ConditionalXml
