// One call for programs of any kind: an expression, evaluated by the Python that their process has.
#include "python/expression.h"
#include "text/text.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int raised = -1;
constexpr int noPython = -2;

WideString wide(const char* ascii) {
    return {ascii, ascii + std::strlen(ascii)};
}

int evaluate(const char* source, const std::vector<CComVariant>& values, std::string& said) {
    using ConditionalXml::Expression;
    Expression expression;
    try {
        expression.compile(wide(source));
        std::vector<Expression::Argument> arguments;
        arguments.reserve(values.size());
        for (const CComVariant& value : values) arguments.push_back({{&value, 1}, false});
        return static_cast<int>(expression.call(
            arguments, [&](const CComBSTR& text) { said = ConditionalXml::toUtf8(ConditionalXml::view(text)); }));
    } catch (const ConditionalXml::PythonError& error) {
        said = error.what();
        return raised;
    } catch (const std::runtime_error& error) {
        said = error.what();
        return noPython;
    }
}

}  // namespace

/// Calls "Generate" of an ASCII source with an integer, a number and a text.
/// \param said its result, or what went wrong, as UTF-8; cut at `size` with its terminator.
/// \return 0 accepted, 2 not a text, -1 an error of Python, -2 no Python.
extern "C" __attribute__((visibility("default"))) int evaluateExpression(const char* source, char* said,
                                                                         std::size_t size);
extern "C" int evaluateExpression(const char* source, char* said, std::size_t size) {
    std::string text;
    const std::vector<CComVariant> values{CComVariant(LONG{7}), CComVariant(2.5), CComVariant(OLESTR("tide"))};
    const int outcome = evaluate(source, values, text);
    text.resize(std::min(text.size(), size - 1));
    std::memcpy(said, text.c_str(), text.size() + 1);
    return outcome;
}
