// PyRef: the owner of a Python reference within one guarded scope.
#pragma once

#include "python/python_calls.h"

#include <utility>

namespace ConditionalXml {

/// Owns one reference, or none; used and destroyed with the interpreter lock held.
class PyRef {
public:
    PyRef() = default;
    /// Takes over a new reference; null is fine.
    explicit PyRef(PyObject* stolen) noexcept : object_(stolen) {}
    PyRef(PyRef&& other) noexcept : object_(other.release()) {}
    PyRef& operator=(PyRef&& other) noexcept {
        PyRef(std::move(other)).swap(*this);
        return *this;
    }
    PyRef(const PyRef&) = delete;
    PyRef& operator=(const PyRef&) = delete;
    ~PyRef() {
        if (object_) py().Py_DecRef(object_);
    }

    static PyRef borrow(PyObject* object) noexcept {
        if (object) py().Py_IncRef(object);
        return PyRef(object);
    }

    PyObject* get() const noexcept { return object_; }
    PyObject* release() noexcept { return std::exchange(object_, nullptr); }
    explicit operator bool() const noexcept { return object_ != nullptr; }

private:
    void swap(PyRef& other) noexcept { std::swap(object_, other.object_); }

    PyObject* object_ = nullptr;
};

}  // namespace ConditionalXml
