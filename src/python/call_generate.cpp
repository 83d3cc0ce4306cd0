// Executing an expression and calling its "Generate".
#include "python/expression.h"

#include "python/get_gil.h"
#include "python/py_ref.h"
#include "python/python_calls.h"
#include "python/python_error.h"
#include "text/text.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <iterator>
#include <string>
#include <utility>

namespace ConditionalXml {

namespace {

constexpr const char* moduleName = "CalcFields";

/// The greatest length of any text that was generated, for statistics. Not every Python has one lock for all threads.
std::atomic<unsigned> longestGenerated = 0;

/// Whether the buffer of a text would be beyond what its size can say.
constexpr bool isTooLong(std::size_t length) {
    return length + 1 > 0x3FFFFFFF;
}
static_assert(!isTooLong(0x3FFFFFFE) && isTooLong(0x3FFFFFFF));

/// Writes the text as ASCII, which is the same in every code page. \return whether it is.
bool narrowAscii(WideView text, char* target) noexcept {
    unsigned all = 0;
    for (const OLECHAR unit : text) {
        all |= static_cast<unsigned>(unit);
        *target++ = static_cast<char>(unit);
    }
    return all < 0x80;
}

/// A text as the interpreter receives it: narrow text in twice as many bytes as the text has units, terminator
/// included. Null when it does not fit. `buffer` grows to the longest text and is used again.
PyRef narrowText(WideView text, std::string& buffer) {
    if (isTooLong(text.size())) return {};
    const std::size_t capacity = (text.size() + 1) * 2;
    if (buffer.size() < capacity) buffer.resize(capacity);
    std::size_t bytes = text.size();
    if (!narrowAscii(text, buffer.data())) {
        const int converted = WideCharToMultiByte(CP_THREAD_ACP, 0, text.data(), static_cast<int>(text.size()),
                                                  buffer.data(), static_cast<int>(capacity - 1), nullptr, nullptr);
        if (converted == 0) return {};
        bytes = static_cast<std::size_t>(converted);
    }
    buffer[bytes] = '\0';
    return PyRef(py().PyUnicode_FromString(buffer.c_str()));
}

PyRef toPython(const VARIANT& value, std::string& buffer) {
    switch (value.vt) {
        case VT_I4:
            return PyRef(py().PyLong_FromLong(value.lVal));
        case VT_R8:
            return PyRef(py().PyFloat_FromDouble(value.dblVal));
        case VT_BSTR:
            return narrowText(view(value.bstrVal), buffer);
        default:
            return PyRef::borrow(py()._Py_NoneStruct);
    }
}

PyRef toPythonList(std::span<const CComVariant> values, std::string& buffer) {
    PyRef list(py().PyList_New(0));
    for (const CComVariant& value : values) {
        const PyRef item = toPython(value, buffer);
        if (!item || py().PyList_Append(list.get(), item.get()) != 0) return {};
    }
    return list;
}

/// How many references an object has: the first word of every object whose Python counts under the lock.
std::ptrdiff_t referenceCount(PyObject* object) noexcept {
    std::ptrdiff_t count = 0;
    std::memcpy(&count, object, sizeof count);
    return count;
}

/// References to one object, as the garbage collector counts them.
struct References {
    PyObject* object;
    std::ptrdiff_t count;

    void addThoseOf(PyObject* holder) {
        if (!py().PyObject_GC_IsTracked(holder)) return;
        const PyRef type(py().PyObject_Type(holder));
        const auto traverse =
            reinterpret_cast<PythonCalls::Traverse>(py().PyType_GetSlot(type.get(), PythonCalls::traverseSlot));
        traverse(holder, visit, this);
    }

private:
    static int visit(PyObject* referred, void* self) {
        auto* const references = static_cast<References*>(self);
        if (referred == references->object) ++references->count;
        return 0;
    }
};

/// Whether only the module keeps the names, and what only they keep, such as its functions: then nothing can reach any
/// of it once the module goes.
bool keepsItselfOnly(PyObject* names) {
    References known{names, 1};  // the module's own
    PyObject* value = nullptr;
    for (std::ptrdiff_t at = 0; py().PyDict_Next(names, &at, nullptr, &value);)
        if (referenceCount(value) == 1) known.addThoseOf(value);
    return referenceCount(names) == known.count;
}

/// Enters the module under its name, in the place of the call before. A module and its functions refer to each other,
/// and so the earlier one would wait for the garbage collector; it goes at once where nothing else refers to it.
/// Pythons that keep their counts elsewhere, such as those without the lock, leave that to their collector.
bool enterModule(PyObject* name, const PyRef& module) {
    PyObject* const modules = py().PyImport_GetModuleDict();
    const PyRef earlier = PyRef::borrow(py().PyDict_GetItemWithError(modules, name));
    const bool countsHere = referenceCount(module.get()) == 1;
    if (py().PyErr_Occurred() || py().PyDict_SetItem(modules, name, module.get()) != 0) return false;
    if (!earlier || !countsHere || referenceCount(module.get()) != 2) return true;
    if (referenceCount(earlier.get()) != 1 || !isExactly(earlier.get(), py().PyModule_Type)) return true;
    PyObject* const names = py().PyModule_GetDict(earlier.get());
    if (keepsItselfOnly(names)) py().PyDict_Clear(names);
    return true;
}

/// Takes the module out again, if it is still there. The pending error stays.
void leaveModule(PyObject* name, PyObject* module) {
    PyObject* error[3]{};
    py().PyErr_Fetch(&error[0], &error[1], &error[2]);
    PyObject* const modules = py().PyImport_GetModuleDict();
    if (py().PyDict_GetItemWithError(modules, name) == module) py().PyDict_DelItem(modules, name);
    py().PyErr_Restore(error[0], error[1], error[2]);
}

/// The names that Python gives a module of ours when it makes one, but for its builtins: loader and file, say. The
/// interpreter keeps them; making them takes longer than calling most expressions. Borrowed; null with an error.
PyObject* usualNames(PyObject* moduleKey) {
    PyObject* const kept = py().PyInterpreterState_GetDict(py().PyInterpreterState_Get());
    if (!kept) return py().PyErr_NoMemory();
    PyObject* const known = py().PyDict_GetItemWithError(kept, moduleKey);
    if (known || py().PyErr_Occurred()) return known;
    // A module that is there would be changed.
    PyObject* const modules = py().PyImport_GetModuleDict();
    if (py().PyDict_GetItemWithError(modules, moduleKey)) py().PyDict_DelItem(modules, moduleKey);
    if (py().PyErr_Occurred()) return nullptr;
    const PyRef nothing(py().Py_CompileString("", moduleName, PythonCalls::fileInput));
    const PyRef module(nothing ? py().PyImport_ExecCodeModule(moduleName, nothing.get()) : nullptr);
    const PyRef names(module ? py().PyDict_New() : nullptr);
    if (!names) return nullptr;
    for (const char* name : {"__file__", "__cached__", "__loader__", "__spec__"}) {
        PyObject* const value = py().PyDict_GetItemString(py().PyModule_GetDict(module.get()), name);
        if (value && py().PyDict_SetItemString(names.get(), name, value) != 0) return nullptr;
    }
    return py().PyDict_SetItem(kept, moduleKey, names.get()) == 0 ? names.get() : nullptr;
}

/// The code, executed in a new module: nothing of an earlier call is to be seen in it. The module is made here and not
/// looked up by its name afterwards, because the name is everyone's: while the code waits for something, another
/// thread may execute another document's.
PyRef executeModule(PyObject* code) {
    const PyRef name(py().PyUnicode_FromString(moduleName));
    PyObject* const usual = name ? usualNames(name.get()) : nullptr;
    PyRef module(usual ? py().PyModule_NewObject(name.get()) : nullptr);
    if (!module) throwPythonError();
    PyObject* const names = py().PyModule_GetDict(module.get());
    if (py().PyDict_Update(names, usual) != 0 ||
        py().PyDict_SetItemString(names, "__builtins__", py().PyEval_GetBuiltins()) != 0 ||
        !enterModule(name.get(), module))
        throwPythonError();
    const PyRef executed(py().PyEval_EvalCode(code, names, names));
    if (!executed) {
        leaveModule(name.get(), module.get());
        throwPythonError();
    }
    return module;
}

/// The function. It is owned: what it runs may take it out of the module.
PyRef findGenerate(const PyRef& module) {
    PyRef function = PyRef::borrow(py().PyDict_GetItemString(py().PyModule_GetDict(module.get()), "Generate"));
    if (function) return function;
    py().PyErr_SetString(py().PyExc_AttributeError, "the expression does not define the function 'Generate'");
    throwPythonError();
}

/// Whether it is one of the 1,024 surrogates from `first` on.
constexpr bool isSurrogate(char32_t unit, char32_t first) {
    return unit - first < 0x400;
}

/// What the text that "Generate" returned leaves in the field: up to 2,047 units, never half a surrogate pair, up to
/// the first zero. Null when it cannot be copied.
CComBSTR acceptedText(PyObject* text) {
    constexpr std::size_t greatestLength = 2047;
    constexpr char32_t beyondUnit = 0x10000;
    wchar_t copy[greatestLength + 1];  // characters, or on Windows units
    const std::ptrdiff_t copied = py().PyUnicode_AsWideChar(text, copy, std::ssize(copy));
    if (copied < 0) return {};
    OLECHAR accepted[greatestLength];
    std::size_t length = 0;
    for (const wchar_t* next = copy; next != copy + copied; ++next) {
        const auto character = static_cast<char32_t>(*next);
        const std::size_t units = character < beyondUnit ? 1 : 2;
        if (character == 0) break;
        if (length + units > greatestLength) {
            // Surrogates that the text has one by one may be a pair, too.
            if (isSurrogate(character, 0xDC00) && isSurrogate(accepted[length - 1], 0xD800)) --length;
            break;
        }
        if (units == 1) {
            accepted[length++] = static_cast<OLECHAR>(character);
        } else {
            accepted[length++] = static_cast<OLECHAR>(0xD800 + ((character - beyondUnit) >> 10));
            accepted[length++] = static_cast<OLECHAR>(0xDC00 + ((character - beyondUnit) & 0x3FF));
        }
    }
    return makeBstr(WideView(accepted, length));
}

/// The arguments for "Generate"; null when one of them has no value or none that Python can be given.
PyRef makeArguments(std::span<const Expression::Argument> arguments, std::string& buffer) {
    PyRef tuple(py().PyTuple_New(std::ssize(arguments)));
    if (!tuple) throwPythonError();
    std::ptrdiff_t position = 0;
    for (const Expression::Argument& argument : arguments) {
        if (argument.values.empty()) return {};
        PyRef value =
            argument.isList ? toPythonList(argument.values, buffer) : toPython(argument.values.front(), buffer);
        if (!value) {
            py().PyErr_Clear();
            return {};
        }
        py().PyTuple_SetItem(tuple.get(), position++, value.release());
    }
    return tuple;
}

}  // namespace

Expression::Outcome Expression::call(std::span<const Argument> arguments,
                                     const std::function<void(CComBSTR&& text)>& accepted) {
    const GetGIL lock;
    const PyRef module = executeModule(code_);
    const PyRef function = findGenerate(module);
    const PyRef tuple = makeArguments(arguments, argumentText_);
    if (!tuple) return Outcome::NoArgument;
    const PyRef result(py().PyObject_CallObject(function.get(), tuple.get()));
    if (!result) throwPythonError();
    const bool isNone = result.get() == py()._Py_NoneStruct;
    if (!isNone && !isOfType(result.get(), py().PyUnicode_Type)) return Outcome::NotText;
    CComBSTR text = isNone ? makeBstr({}) : acceptedText(result.get());
    if (!text) {
        py().PyErr_Clear();
        return Outcome::NotCopied;
    }
    longestGenerated = std::max(longestGenerated.load(), text.Length());
    accepted(std::move(text));
    return Outcome::Accepted;
}

}  // namespace ConditionalXml
