// The declarations of Python's functions against Python's own.
#include "python/python_calls.h"

#include <Python.h>
#include <gtest/gtest.h>
#include <type_traits>

namespace {

// As a call passes it: an enumeration is its number, and whatever a pointer to an object points to, it is a pointer.
template <class Type>
struct Passed {
    using T = Type;
};
template <class Type>
    requires std::is_enum_v<Type>
struct Passed<Type> {
    using T = int;
};
template <class Type>
    requires std::is_class_v<std::remove_cv_t<Type>> || std::is_void_v<Type>
struct Passed<Type*> {
    using T = void*;
};
template <class Type>
    requires std::is_pointer_v<Type>
struct Passed<Type*> {
    using T = typename Passed<Type>::T*;
};
template <class Result, class... Parameters>
struct Passed<Result (*)(Parameters...)> {
    using T = typename Passed<Result>::T (*)(typename Passed<Parameters>::T...);
};

template <class Ours, class Theirs>
constexpr bool agree = std::is_same_v<typename Passed<Ours>::T, typename Passed<Theirs>::T>;

static_assert(agree<int (*)(PyObject*, Py_ssize_t*), int (*)(PyTypeObject*, Py_ssize_t*)>);
static_assert(!agree<int (*)(PyObject*), int (*)(PyObject*, int)>);
static_assert(!agree<int (*)(PyObject*), void (*)(PyObject*)>);
static_assert(!agree<int (*)(PyObject*), int (*)(PyObject**)>);
static_assert(!agree<void (*)(long), void (*)(int)>);

// Python.h has a macro of that name.
#undef Py_CompileString
#define AGREES(name, result, parameters) \
    static_assert(agree<decltype(ConditionalXml::PythonCalls::name), decltype(&::name)>, #name);
SYMBOLOGY_PYTHON_FUNCTIONS(AGREES)

static_assert(ConditionalXml::PythonCalls::fileInput == Py_file_input);
static_assert(ConditionalXml::PythonCalls::traverseSlot == Py_tp_traverse);
static_assert(agree<ConditionalXml::PythonCalls::Traverse, traverseproc>);

TEST(PythonCalls, areThoseOfThisProcess) {
    ASSERT_EQ(ConditionalXml::findPython(), ConditionalXml::PythonState::Ready);
    const ConditionalXml::PythonCalls& calls = ConditionalXml::py();
    EXPECT_EQ(calls._Py_NoneStruct, Py_None);
    EXPECT_EQ(calls.PyUnicode_Type, reinterpret_cast<PyObject*>(&PyUnicode_Type));
    EXPECT_EQ(calls.PyModule_Type, reinterpret_cast<PyObject*>(&PyModule_Type));
    EXPECT_EQ(calls.PyExc_AttributeError, PyExc_AttributeError);
    EXPECT_EQ(calls.PyDict_Next, &PyDict_Next);
}

}  // namespace
