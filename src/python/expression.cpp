#include "python/expression.h"

#include "python/get_gil.h"
#include "python/python_calls.h"
#include "python/python_error.h"
#include "text/text.h"

namespace ConditionalXml {

void Expression::compile(WideView source) {
    const std::string utf8 = toUtf8(source);
    if (findPython() == PythonState::None)
        throw std::runtime_error("There is no Python in this process: it has no expressions.");
    const GetGIL lock;
    code_ = py().Py_CompileString(utf8.c_str(), "CalcFields", PythonCalls::fileInput);
    if (!code_) throwPythonError();
}

Expression::~Expression() {
    if (!code_) return;
    const GetGIL lock;
    py().Py_DecRef(code_);
}

}  // namespace ConditionalXml
