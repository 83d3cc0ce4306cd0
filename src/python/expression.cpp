#include "python/expression.h"

#include "python/get_gil.h"
#include "python/python_error.h"
#include "text/text.h"

namespace ConditionalXml {

void Expression::compile(WideView source) {
    const std::string utf8 = toUtf8(source);
    const GetGIL lock;
    code_ = Py_CompileString(utf8.c_str(), "CalcFields", Py_file_input);
    if (!code_) throwPythonError();
}

Expression::~Expression() {
    if (!code_) return;
    const GetGIL lock;
    Py_DECREF(code_);
}

}  // namespace ConditionalXml
