// Python's stable C interface, as far as it is used here. The library is not linked with a Python: it runs in processes
// that have one of their own, of any version from 3.10 on, and asks that one. Nothing else of Python is to be seen in
// this folder.
#pragma once

#include <cstddef>

struct _object;  // NOLINT(bugprone-reserved-identifier,readability-identifier-naming): PyObject's own name

namespace ConditionalXml {

using PyObject = _object;
using VisitReference = int (*)(PyObject* referred, void* context);

// The functions: name, result, parameters. A test compares each with Python's headers and with the list of what every
// Python from 3.10 on exports.
#define SYMBOLOGY_PYTHON_FUNCTIONS(FUNCTION)                                                                 \
    FUNCTION(Py_IsInitialized, int, ())                                                                      \
    FUNCTION(PyGILState_Ensure, int, ())                                                                     \
    FUNCTION(PyGILState_Release, void, (int state))                                                          \
    FUNCTION(Py_IncRef, void, (PyObject * object))                                                           \
    FUNCTION(Py_DecRef, void, (PyObject * object))                                                           \
    FUNCTION(Py_CompileString, PyObject*, (const char* source, const char* name, int start))                 \
    FUNCTION(PyEval_EvalCode, PyObject*, (PyObject * code, PyObject * globals, PyObject * locals))           \
    FUNCTION(PyEval_GetBuiltins, PyObject*, ())                                                              \
    FUNCTION(PyImport_ExecCodeModule, PyObject*, (const char* name, PyObject* code))                         \
    FUNCTION(PyImport_GetModuleDict, PyObject*, ())                                                          \
    FUNCTION(PyModule_NewObject, PyObject*, (PyObject * name))                                               \
    FUNCTION(PyModule_GetDict, PyObject*, (PyObject * module))                                               \
    FUNCTION(PyInterpreterState_Get, void*, ())                                                              \
    FUNCTION(PyInterpreterState_GetDict, PyObject*, (void* interpreter))                                     \
    FUNCTION(PyObject_Type, PyObject*, (PyObject * object))                                                  \
    FUNCTION(PyObject_Str, PyObject*, (PyObject * object))                                                   \
    FUNCTION(PyObject_GetAttrString, PyObject*, (PyObject * object, const char* name))                       \
    FUNCTION(PyObject_CallObject, PyObject*, (PyObject * callable, PyObject * arguments))                    \
    FUNCTION(PyObject_GC_IsTracked, int, (PyObject * object))                                                \
    FUNCTION(PyType_GetSlot, void*, (PyObject * type, int slot))                                             \
    FUNCTION(PyType_IsSubtype, int, (PyObject * type, PyObject * base))                                      \
    FUNCTION(PyDict_New, PyObject*, ())                                                                      \
    FUNCTION(PyDict_GetItemWithError, PyObject*, (PyObject * dict, PyObject * key))                          \
    FUNCTION(PyDict_GetItemString, PyObject*, (PyObject * dict, const char* key))                            \
    FUNCTION(PyDict_SetItem, int, (PyObject * dict, PyObject * key, PyObject * value))                       \
    FUNCTION(PyDict_SetItemString, int, (PyObject * dict, const char* key, PyObject* value))                 \
    FUNCTION(PyDict_DelItem, int, (PyObject * dict, PyObject * key))                                         \
    FUNCTION(PyDict_Clear, void, (PyObject * dict))                                                          \
    FUNCTION(PyDict_Update, int, (PyObject * dict, PyObject * from))                                         \
    FUNCTION(PyDict_Next, int, (PyObject * dict, std::ptrdiff_t* at, PyObject** key, PyObject** value))      \
    FUNCTION(PyTuple_New, PyObject*, (std::ptrdiff_t size))                                                  \
    FUNCTION(PyTuple_SetItem, int, (PyObject * tuple, std::ptrdiff_t at, PyObject* stolen))                  \
    FUNCTION(PyList_New, PyObject*, (std::ptrdiff_t size))                                                   \
    FUNCTION(PyList_Append, int, (PyObject * list, PyObject * item))                                         \
    FUNCTION(PyLong_FromLong, PyObject*, (long value))                                                       \
    FUNCTION(PyFloat_FromDouble, PyObject*, (double value))                                                  \
    FUNCTION(PyUnicode_FromString, PyObject*, (const char* utf8))                                            \
    FUNCTION(PyUnicode_AsWideChar, std::ptrdiff_t, (PyObject * text, wchar_t * buffer, std::ptrdiff_t size)) \
    FUNCTION(PyUnicode_AsUTF8AndSize, const char*, (PyObject * text, std::ptrdiff_t* size))                  \
    FUNCTION(PyFrame_GetCode, PyObject*, (PyObject * frame))                                                 \
    FUNCTION(PyErr_Occurred, PyObject*, ())                                                                  \
    FUNCTION(PyErr_Clear, void, ())                                                                          \
    FUNCTION(PyErr_NoMemory, PyObject*, ())                                                                  \
    FUNCTION(PyErr_SetString, void, (PyObject * type, const char* text))                                     \
    FUNCTION(PyErr_Fetch, void, (PyObject * *type, PyObject * *value, PyObject * *traceback))                \
    FUNCTION(PyErr_Restore, void, (PyObject * type, PyObject * value, PyObject * traceback))                 \
    FUNCTION(PyErr_NormalizeException, void, (PyObject * *type, PyObject * *value, PyObject * *traceback))

// The objects that a Python exports: those that are there themselves, and one that is pointed to.
#define SYMBOLOGY_PYTHON_OBJECTS(OBJECT) \
    OBJECT(_Py_NoneStruct)               \
    OBJECT(PyUnicode_Type)               \
    OBJECT(PyModule_Type)
#define SYMBOLOGY_PYTHON_POINTERS(OBJECT) OBJECT(PyExc_AttributeError)

/// The interface of one Python.
struct PythonCalls {
    static constexpr int fileInput = 257;    // Py_file_input
    static constexpr int traverseSlot = 71;  // Py_tp_traverse
    using Traverse = int (*)(PyObject* object, VisitReference visit, void* context);

// NOLINTBEGIN(readability-identifier-naming,bugprone-reserved-identifier,bugprone-macro-parentheses): Python's names
#define SYMBOLOGY_FUNCTION(name, result, parameters) result(*name) parameters = nullptr;
#define SYMBOLOGY_OBJECT(name) PyObject* name = nullptr;
    SYMBOLOGY_PYTHON_FUNCTIONS(SYMBOLOGY_FUNCTION)
    SYMBOLOGY_PYTHON_OBJECTS(SYMBOLOGY_OBJECT)
    SYMBOLOGY_PYTHON_POINTERS(SYMBOLOGY_OBJECT)
#undef SYMBOLOGY_FUNCTION
#undef SYMBOLOGY_OBJECT
    // NOLINTEND(readability-identifier-naming,bugprone-reserved-identifier,bugprone-macro-parentheses)
};

enum class PythonState { None, NotInitialized, Ready };

/// Looks for the process's Python until there is one: the program's own, or that of a library that is loaded. Of
/// several the first that is initialised is taken, and kept for good. On any thread, without a lock.
PythonState findPython();

/// The interface of the Python that was found Ready once.
const PythonCalls& py() noexcept;

/// Whether the object is of the type, or of one that is derived from it. With the interpreter lock.
bool isOfType(PyObject* object, PyObject* type);
bool isExactly(PyObject* object, PyObject* type);

}  // namespace ConditionalXml
