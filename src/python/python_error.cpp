#include "python/python_error.h"

#include "python/expression.h"
#include "python/py_ref.h"
#include "text/text.h"

#include <sstream>

namespace ConditionalXml {

namespace {

/// Takes the pending error of this thread with its traceback, as one exception: before 3.12 Python keeps type, value
/// and traceback apart, and the value may be what the exception is yet to be made of.
struct PendingError {
    PendingError() {
        PyObject* parts[3]{};
        py().PyErr_Fetch(&parts[0], &parts[1], &parts[2]);
        if (parts[1] && PyRef(py().PyObject_Type(parts[1])).get() != parts[0])
            py().PyErr_NormalizeException(&parts[0], &parts[1], &parts[2]);
        type = PyRef(parts[0]);
        value = PyRef(parts[1]);
        traceback = PyRef(parts[2]);
    }

    PyRef type, value, traceback;  // each may be null
};

/// The UTF-8 text of str(object). An object that refuses to give one is shown as a question mark.
std::string textOf(PyObject* object) {
    const PyRef text(py().PyObject_Str(object));
    const char* utf8 = text ? py().PyUnicode_AsUTF8AndSize(text.get(), nullptr) : nullptr;
    std::string result = utf8 ? utf8 : "?";
    py().PyErr_Clear();
    return result;
}

PyRef attribute(const PyRef& object, const char* name) {
    PyRef value(py().PyObject_GetAttrString(object.get(), name));
    py().PyErr_Clear();
    return value;
}

void writeTraceback(std::ostream& report, PyRef traceback) {
    report << "ptrace =\n";
    while (traceback && traceback.get() != py()._Py_NoneStruct) {
        const PyRef frame = attribute(traceback, "tb_frame");
        const PyRef line = attribute(traceback, "tb_lineno");
        if (!frame || !line) break;
        const PyRef code(py().PyFrame_GetCode(frame.get()));
        const PyRef file = attribute(code, "co_filename");
        // The number does not count: every frame shows the same.
        report << "frame0: " << (file ? textOf(file.get()) : "?") << '@' << textOf(line.get()) << '\n';
        traceback = attribute(traceback, "tb_next");
    }
    report << '\n';
}

}  // namespace

void throwPythonError() {
    std::ostringstream report;
    PendingError error;
    if (error.type) report << "ptype = " << textOf(error.type.get()) << '\n';
    if (error.value) report << "pvalue = " << textOf(error.value.get()) << '\n';
    if (error.traceback) writeTraceback(report, std::move(error.traceback));
    throw PythonError(report.str());
}

}  // namespace ConditionalXml
