// Compiling a condition's source while its document loads.
#include "cxml/condition.h"
#include "python/get_gil.h"
#include "python/python_error.h"

#include <string>

namespace ConditionalXml {

namespace {

std::string toUtf8(const WideString& text) {
    const int units = static_cast<int>(text.size());
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), units, utf8.data(), bytes, nullptr, nullptr);
    return utf8;
}

}  // namespace

void Condition::compileExpression() {
    if (expressionText.empty()) return;
    const std::string source = toUtf8(expressionText);
    const GetGIL lock;
    compiledExpression.attach(Py_CompileString(source.c_str(), "CalcFields", Py_file_input));
    if (!compiledExpression) reportPythonError(*this);
}

}  // namespace ConditionalXml
