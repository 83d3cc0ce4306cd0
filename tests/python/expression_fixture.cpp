#include "python/expression_fixture.h"

#include <Python.h>
#include <stdexcept>
#include <utility>

using memhost::bstr;
using memhost::Cell;

namespace {

class HostLock {
public:
    HostLock() : state_(PyGILState_Ensure()) {}
    ~HostLock() { PyGILState_Release(state_); }
    HostLock(const HostLock&) = delete;
    HostLock& operator=(const HostLock&) = delete;

private:
    PyGILState_STATE state_;
};

PyInterpreterState* watched = nullptr;
std::size_t codeMade = 0;
std::size_t codeGone = 0;

int countCode(PyCodeEvent event, PyCodeObject* code) {
    // Functions have code of their own, which lives in that of the whole source.
    if (PyUnicode_CompareWithASCIIString(code->co_filename, "CalcFields") == 0 &&
        PyUnicode_CompareWithASCIIString(code->co_name, "<module>") == 0)
        ++(event == PY_CODE_EVENT_CREATE ? codeMade : codeGone);
    return 0;
}

/// Python's allocator of objects, and which of its allocations fails: guarded by the interpreter lock.
struct {
    PyMemAllocatorEx real{};
    long untilFailure = 0;  // 1 is the next, 0 none
    bool failed = false;
} pythonMemory;

bool mustFail() {
    if (pythonMemory.untilFailure == 0) return false;
    --pythonMemory.untilFailure;
    if (pythonMemory.untilFailure != 0) return false;
    pythonMemory.failed = true;
    return true;
}

void* allocate(void* context, std::size_t size) {
    return mustFail() ? nullptr : pythonMemory.real.malloc(context, size);
}

void* allocateZeros(void* context, std::size_t count, std::size_t size) {
    return mustFail() ? nullptr : pythonMemory.real.calloc(context, count, size);
}

void* reallocate(void* context, void* block, std::size_t size) {
    return mustFail() ? nullptr : pythonMemory.real.realloc(context, block, size);
}

PyObject* failAllocation(PyObject* /*self*/, PyObject* number) {
    pythonMemory.untilFailure = PyLong_AsLong(number);
    return Py_NewRef(Py_None);
}

std::string documentOf(std::string_view source, std::string_view attributes, std::string_view library) {
    watchCode();
    return "<conditionMap name='test'><functionLibrary>" + std::string(library) +
           "</functionLibrary><featureClass name='Light'><condition " + std::string(attributes) + "><expression" +
           (library.empty() ? "" : " library='lib'") + ">" + cdata(source) +
           "</expression></condition></featureClass></conditionMap>";
}

}  // namespace

bool runHostPython(const std::string& code) {
    const HostLock lock;
    return PyRun_SimpleString(code.c_str()) == 0;
}

std::string resultOfPythonsOwnModule(const std::string& source) {
    const HostLock lock;
    PyDict_DelItemString(PyImport_GetModuleDict(), "CalcFields");  // it would be executed in the module that is there
    PyErr_Clear();
    PyObject* const code = Py_CompileString(source.c_str(), "CalcFields", Py_file_input);
    PyObject* const module = PyImport_ExecCodeModule("CalcFields", code);
    PyObject* const result = PyObject_CallMethod(module, "Generate", nullptr);
    const char* const text = result ? PyUnicode_AsUTF8(result) : nullptr;
    std::string copy = text ? text : "(no text)";
    PyErr_Clear();
    for (PyObject* const object : {code, module, result}) Py_XDECREF(object);
    return copy;
}

void forgetNamesOfModules() {
    const HostLock lock;
    PyDict_DelItemString(PyInterpreterState_GetDict(PyInterpreterState_Get()), "CalcFields");
    PyErr_Clear();
}

FailingPythonMemory::FailingPythonMemory() {
    static PyMethodDef function{"fail_allocation", failAllocation, METH_O, nullptr};
    const HostLock lock;
    PyObject* const made = PyCFunction_New(&function, nullptr);
    PyDict_SetItemString(PyEval_GetBuiltins(), function.ml_name, made);
    Py_DECREF(made);
    PyMem_GetAllocator(PYMEM_DOMAIN_OBJ, &pythonMemory.real);
    PyMemAllocatorEx failing{pythonMemory.real.ctx, allocate, allocateZeros, reallocate, pythonMemory.real.free};
    PyMem_SetAllocator(PYMEM_DOMAIN_OBJ, &failing);
}

FailingPythonMemory::~FailingPythonMemory() {
    const HostLock lock;
    PyMem_SetAllocator(PYMEM_DOMAIN_OBJ, &pythonMemory.real);
    pythonMemory.untilFailure = 0;
    PyDict_DelItemString(PyEval_GetBuiltins(), "fail_allocation");
}

bool FailingPythonMemory::takeFailed() {
    const HostLock lock;
    pythonMemory.untilFailure = 0;
    return std::exchange(pythonMemory.failed, false);
}

void watchCode() {
    const HostLock lock;
    if (watched == PyInterpreterState_Get()) return;
    if (PyCode_AddWatcher(countCode) < 0) throw std::runtime_error("Python cannot watch its code objects");
    watched = PyInterpreterState_Get();
    codeMade = codeGone = 0;
}

std::size_t madeCodeObjects() {
    const HostLock lock;
    return codeMade;
}

std::size_t liveCodeObjects() {
    if (!Py_IsInitialized()) return 0;
    const HostLock lock;
    return codeMade - codeGone;
}

std::string cdata(std::string_view text) {
    return "<![CDATA[" + std::string(text) + "]]>";
}

LoadedExpression::LoadedExpression(std::string_view source, std::string_view attributes, std::string_view library)
    : loaded_(documentOf(source, attributes, library)) {
    clearValues();
}

LoadedExpression& LoadedExpression::put(const char* name, const std::vector<Cell>& cells) {
    for (const Cell& cell : cells) values_->append(bstr(name), cell.value);
    return *this;
}

LoadedExpression& LoadedExpression::putText(const char* name, BSTR text) {
    CComVariant& value = values_->append(rule().fieldNames->intern(bstr(name)));
    value.vt = VT_BSTR;
    value.bstrVal = text;
    return *this;
}

LoadedExpression& LoadedExpression::clearValues() {
    values_ = std::make_unique<ConditionalXml::RowValueMap>(rule().fieldNames);
    return *this;
}

LoadedExpression& LoadedExpression::result(const Cell& before) {
    before_ = before;
    return *this;
}

bool LoadedExpression::generate() {
    const VARTYPE type = before_.value.vt == VT_NULL ? VARTYPE{VT_BSTR} : before_.value.vt;
    table_ = memhost::Table("LIGHT")
                 .symbologyFields()
                 .field("RESULT", type)
                 .row({nullptr, nullptr, nullptr, nullptr, before_})
                 .build();
    row_ = table_->row(0);
    rule().currentRow = row_;
    rule().changed = false;
    struct Leave {
        ConditionalXml::FeatureClassRule& rule;
        ~Leave() { rule.currentRow = nullptr; }
    } const leave{rule()};
    return condition().generate(*values_);
}

std::string LoadedExpression::report() {
    try {
        generate();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "(no error)";
}

std::string loadReport(std::string_view source, std::string_view attributes) {
    try {
        const LoadedExpression loaded(source, attributes);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "(no error)";
}
