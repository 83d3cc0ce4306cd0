// Calling a condition's "Generate" with the values of a row, and writing what it returns.
#include "cxml/condition.h"

#include "api/failures.h"
#include "cxml/feature_class_rule.h"
#include "python/get_gil.h"
#include "python/py_ref.h"
#include "python/python_error.h"

#include <algorithm>
#include <optional>

namespace ConditionalXml {

namespace {

constexpr const char* moduleName = "CalcFields";

/// The greatest length of any text that was generated, for statistics; guarded by the interpreter lock.
unsigned longestGenerated = 0;

bool isPlain(WideView text) noexcept {
    return std::ranges::all_of(text, [](OLECHAR c) { return c != 0 && c < 0x80; });
}

/// A text as the interpreter receives it: narrow text in twice as many bytes as the text has units, terminator
/// included. Null when it does not fit.
PyRef narrowText(BSTR text) {
    constexpr UINT greatestLength = 0x3FFFFFFE;
    constexpr UINT stackUnits = 512;
    const UINT length = SysStringLen(text);
    if (length == 0) return PyRef(PyUnicode_FromString(""));
    if (length > greatestLength) return {};
    static_assert(sizeof(OLECHAR) == sizeof(Py_UCS2));
    if (isPlain(WideView(text, length)))  // the same in every code page
        return PyRef(PyUnicode_FromKindAndData(PyUnicode_2BYTE_KIND, text, static_cast<Py_ssize_t>(length)));
    const UINT capacity = (length + 1) * 2;
    char onStack[(stackUnits + 1) * 2];
    std::string onHeap;
    char* buffer = onStack;
    if (length > stackUnits) {
        onHeap.resize(capacity);
        buffer = onHeap.data();
    }
    const int bytes = WideCharToMultiByte(CP_THREAD_ACP, 0, text, static_cast<int>(length), buffer,
                                          static_cast<int>(capacity - 1), nullptr, nullptr);
    if (bytes == 0) return {};
    buffer[bytes] = '\0';
    return PyRef(PyUnicode_FromString(buffer));
}

PyRef toPython(const VARIANT& value) {
    switch (value.vt) {
        case VT_I4:
            return PyRef(PyLong_FromLong(value.lVal));
        case VT_R8:
            return PyRef(PyFloat_FromDouble(value.dblVal));
        case VT_BSTR:
            return narrowText(value.bstrVal);
        default:
            return PyRef::borrow(Py_None);
    }
}

PyRef toPythonList(std::span<const CComVariant> values) {
    PyRef list(PyList_New(0));
    for (const CComVariant& value : values) {
        const PyRef item = toPython(value);
        if (!item || PyList_Append(list.get(), item.get()) != 0) return {};
    }
    return list;
}

/// Whether only the module's own names keep its functions, and only they and the module keep the names: then nothing
/// can reach any of it once the module goes.
bool keepsItselfOnly(PyObject* names) {
    Py_ssize_t expected = 1;  // the module's own reference
    PyObject* value = nullptr;
    for (Py_ssize_t at = 0; PyDict_Next(names, &at, nullptr, &value);)
        if (Py_REFCNT(value) == 1 && PyFunction_Check(value) && PyFunction_GetGlobals(value) == names) ++expected;
    return Py_REFCNT(names) == expected;
}

/// Enters the module under its name, in the place of the call before. A module and its functions refer to each other,
/// and so the earlier one would wait for the garbage collector; it goes at once where nothing else refers to it.
bool enterModule(PyObject* name, PyObject* module) {
    PyObject* const modules = PyImport_GetModuleDict();
    const PyRef earlier = PyRef::borrow(PyDict_GetItemWithError(modules, name));
    if (PyErr_Occurred() || PyDict_SetItem(modules, name, module) != 0) return false;
    if (!earlier || !PyModule_CheckExact(earlier.get()) || Py_REFCNT(earlier.get()) != 1) return true;
    PyObject* const names = PyModule_GetDict(earlier.get());
    if (keepsItselfOnly(names)) PyDict_Clear(names);
    return true;
}

/// Adds a name to a new module's. It is not interned, as the usual calls would: it is looked up hardly ever.
bool addName(PyObject* names, const char* name, PyObject* value) {
    const PyRef key(PyUnicode_FromString(name));
    return key && PyDict_SetItem(names, key.get(), value) == 0;
}

/// The code, executed in a new module: nothing of an earlier call is to be seen in it. The module is made here and not
/// looked up by its name afterwards, because the name is everyone's: while the code waits for something, another
/// thread may execute another document's.
PyRef executeModule(const Condition& condition) {
    const PyRef name(PyUnicode_FromString(moduleName));
    PyRef module(name ? PyModule_NewObject(name.get()) : nullptr);
    if (!module) reportPythonError(condition);
    PyObject* const names = PyModule_GetDict(module.get());
    if (!addName(names, "__builtins__", PyEval_GetBuiltins()) || !addName(names, "__file__", name.get()) ||
        !enterModule(name.get(), module.get()))
        reportPythonError(condition);
    const PyRef executed(PyEval_EvalCode(condition.compiledExpression.get(), names, names));
    if (!executed) reportPythonError(condition);
    return module;
}

/// The function. It is owned: what it runs may take it out of the module.
PyRef findGenerate(const Condition& condition, const PyRef& module) {
    PyRef function = PyRef::borrow(PyDict_GetItemString(PyModule_GetDict(module.get()), "Generate"));
    if (function) return function;
    PyErr_SetString(PyExc_AttributeError, "the expression does not define the function 'Generate'");
    reportPythonError(condition);
}

/// Whether it is one of the 1,024 surrogates from `first` on.
constexpr bool isSurrogate(Py_UCS4 unit, Py_UCS4 first) {
    return unit - first < 0x400;
}

/// What the text that "Generate" returned leaves in the field: up to 2,047 units, never half a surrogate pair, up to
/// the first zero.
WideString acceptedText(PyObject* text) {
    constexpr std::size_t greatestLength = 2047;
    constexpr Py_UCS4 beyondUnit = 0x10000;
    const Py_ssize_t length = PyUnicode_GetLength(text);
    if (PyUnicode_KIND(text) == PyUnicode_1BYTE_KIND) {  // Latin-1: each character is a unit
        const Py_UCS1* const first = PyUnicode_1BYTE_DATA(text);
        const Py_UCS1* const last = std::find(first, first + std::min<Py_ssize_t>(length, greatestLength), 0);
        return {first, last};
    }
    WideString accepted;
    for (Py_ssize_t i = 0; i < length; ++i) {
        const Py_UCS4 character = PyUnicode_READ_CHAR(text, i);
        const std::size_t units = character < beyondUnit ? 1 : 2;
        if (character == 0) break;
        if (accepted.size() + units > greatestLength) {
            // Surrogates that the text has one by one may be a pair, too.
            if (isSurrogate(character, 0xDC00) && isSurrogate(accepted.back(), 0xD800)) accepted.pop_back();
            break;
        }
        if (units == 1) {
            accepted.push_back(static_cast<OLECHAR>(character));
        } else {
            accepted.push_back(static_cast<OLECHAR>(0xD800 + ((character - beyondUnit) >> 10)));
            accepted.push_back(static_cast<OLECHAR>(0xDC00 + ((character - beyondUnit) & 0x3FF)));
        }
    }
    return accepted;
}

}  // namespace

bool Condition::callGenerate(const RowValueMap& rowValues) {
    const PyRef module = executeModule(*this);
    const PyRef function = findGenerate(*this, module);
    const PyRef arguments(PyTuple_New(static_cast<Py_ssize_t>(generateArguments.size())));
    if (!arguments) reportPythonError(*this);
    for (std::size_t i = 0; i < generateArguments.size(); ++i) {
        const FieldNames::Slot slot = argumentSlots_[i];
        if (!rowValues.contains(slot)) return false;
        PyRef argument =
            generateArguments[i].second ? toPythonList(rowValues.values(slot)) : toPython(*rowValues.first(slot));
        if (!argument) {
            PyErr_Clear();
            return false;
        }
        PyTuple_SetItem(arguments.get(), static_cast<Py_ssize_t>(i), argument.release());
    }
    const PyRef result(PyObject_CallObject(function.get(), arguments.get()));
    if (!result) reportPythonError(*this);
    if (result.get() == Py_None) {
        generatedValue = makeBstr({});
    } else if (PyUnicode_Check(result.get())) {
        generatedValue = makeBstr(acceptedText(result.get()));
    } else {
        const std::string text = "Unexpected return type from python function:\n" + narrow(expressionText);
        OutputDebugStringA(text.c_str());
        return false;
    }
    longestGenerated = std::max(longestGenerated, generatedValue.Length());
    return true;
}

void Condition::writeGenerated() const {
    IRow* const row = featureClassRule->currentRow;
    CComPtr<IFields> fields;
    LONG position = -1;
    if (FAILED(row->get_Fields(&fields)) || !fields || FAILED(fields->FindField(field, &position)) || position < 0)
        return;
    CComVariant current;
    row->get_Value(position, &current);
    if (current.vt == VT_BSTR && VarBstrCmp(generatedValue, current.bstrVal, LOCALE_USER_DEFAULT, 0) == VARCMP_EQ)
        return;
    VARIANT value;  // borrows the text: put_Value copies what it keeps
    VariantInit(&value);
    value.vt = VT_NULL;
    if (generatedValue.Length() != 0) {
        value.vt = VT_BSTR;
        value.bstrVal = generatedValue;
    }
    row->put_Value(position, value);
    featureClassRule->changed = true;
}

bool Condition::generate(const RowValueMap& rowValues) {
    if (!compiledExpression) return false;
    const GetGIL lock;
    if (!callGenerate(rowValues)) return false;
    writeGenerated();
    return true;
}

}  // namespace ConditionalXml
