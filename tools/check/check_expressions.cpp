// What is wrong with the Python of a document before anything runs it.
#include "checks.h"
#include "host/python/source_description.h"
#include "names.h"
#include "tools/text/similar.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <set>
#include <utility>

namespace cxml {
namespace {

using embedded_host::PythonSignature;
using embedded_host::PythonSource;
using Argument = ConditionalXml::ExpressionSource::Argument;

constexpr const char* function = "Generate";

// The name that an argument has in the finished source.
std::string pythonName(const Argument& argument) {
    std::string name = toUtf8(argument.name);
    std::ranges::replace(name, '.', '_');
    return name;
}

std::string argumentCount(std::size_t count) {
    return fmt::format("{} argument{}", count, count == 1 ? "" : "s");
}

std::string countOf(const PythonSignature& signature) {
    if (!signature.most) return "at least " + argumentCount(signature.least);
    if (signature.least == *signature.most) return argumentCount(signature.least);
    return fmt::format("{} to {}", signature.least, argumentCount(*signature.most));
}

// Why no row can have a value for an argument that is not the name of a field.
std::string whyUnsupplied(const Argument& argument) {
    Argument trimmed = argument;
    const auto isSpace = [](OLECHAR c) { return c <= OLESTR(' '); };
    std::erase_if(trimmed.name, isSpace);
    if (isFieldName(trimmed) && trimmed.name.size() != argument.name.size())
        return fmt::format(
            "the argument '{}' of Generate has white space around it that belongs to its name: no row has a "
            "value for it",
            toUtf8(trimmed.name));
    return fmt::format("no row has a value for the argument '{}' of Generate: it is not the name of a field",
                       oneLine(toUtf8(argument.name)));
}

class ExpressionCheck {
public:
    ExpressionCheck(const CheckedCondition& checked, Findings& findings)
        : checked_(checked), expression_(checked.expression), findings_(findings) {}

    PythonSource run() {
        const PythonSource python = embedded_host::describePythonSource(toUtf8(expression_.source), function);
        if (python.error)
            reportSyntax(*python.error);
        else if (checked_.condition->callsExpression())
            checkFunction(python);
        return python;
    }

    /// \param bound names that other sources leave in the module that all of them share.
    void checkNames(const std::vector<embedded_host::PythonName>& unbound, const std::set<std::string>& bound) {
        std::set<std::string> reported;
        for (const embedded_host::PythonName& use : unbound) {
            if (bound.contains(use.name) || !reported.insert(use.name).second) continue;
            Finding& finding =
                addInSource(use.line, "python-name", fmt::format("nothing defines the name '{}'", use.name));
            const std::string meant = mostSimilar(use.name, std::vector<std::string>(bound.begin(), bound.end()));
            if (!meant.empty()) finding.help = fmt::format("did you mean '{}'?", meant);
        }
    }

private:
    void reportSyntax(const embedded_host::PythonSyntaxError& error) {
        const Place place = expression_.lines.find(error.line, expression_.escapesResolved);
        findings_
            .addIn(place, "python-syntax", fmt::format("Python does not compile the expression: {}", error.message))
            .spoils = {checked_.at};
    }

    void checkFunction(const PythonSource& python) {
        if (python.function == PythonSource::Defines::No)
            add("generate-missing", fmt::format("the expression of {} does not define Generate", checked_.title()));
        for (const Argument& argument : expression_.arguments)
            if (!isFieldName(argument)) add("argument-unsupplied", whyUnsupplied(argument));
        if (python.signature) checkArguments(*python.signature);
        for (const int line : python.numberLines)
            addInSource(line, "generate-number",
                        "Generate returns a number where a text is wanted: nothing is written");
    }

    Finding& addInSource(int line, const char* kind, std::string text) {
        Finding& finding =
            findings_.addIn(expression_.lines.find(line, expression_.escapesResolved), kind, std::move(text));
        finding.condition = checked_.condition.get();
        finding.within = {checked_.at};
        return finding;
    }

    void checkArguments(const PythonSignature& signature) {
        const std::size_t found = expression_.arguments.size();
        if (found == 0 && signature.least > 0 && expression_.source.find(OLESTR("Generate (")) != WideString::npos)
            return add("generate-blank",
                       fmt::format("'Generate (' is written with a blank: its arguments are not found, and it takes {}",
                                   countOf(signature)));
        if (!signature.mustBeNamed.empty())
            return add("generate-arguments",
                       fmt::format("Generate is called without the keyword argument '{}' that it needs",
                                   signature.mustBeNamed.front()));
        if (found < signature.least || (signature.most && found > *signature.most))
            return add("generate-arguments",
                       fmt::format("Generate takes {}, but {} {} found between the first 'Generate(' and the next ')'",
                                   countOf(signature), argumentCount(found), found == 1 ? "is" : "are"));
        compareNames(signature);
    }

    // Another "Generate(" before the definition gives the values of its own arguments.
    void compareNames(const PythonSignature& signature) {
        for (std::size_t i = 0; i < std::min(expression_.arguments.size(), signature.names.size()); ++i) {
            const std::string given = pythonName(expression_.arguments[i]);
            if (given == signature.names[i] || !isFieldName(expression_.arguments[i])) continue;
            return add(
                "generate-arguments",
                fmt::format("the parameter '{}' of Generate gets the value of '{}': the first 'Generate(' is not "
                            "its definition",
                            signature.names[i], given));
        }
    }

    void add(const char* kind, std::string text) {
        Finding& finding = findings_.add(expression_.at, kind, std::move(text));
        finding.within = {checked_.at};
        finding.condition = checked_.condition.get();
    }

    const CheckedCondition& checked_;
    const CheckedExpression& expression_;
    Findings& findings_;
};

}  // namespace

void checkExpressions(const DocumentModel& model, Findings& findings) {
    std::set<std::string> bound;
    std::vector<std::pair<const CheckedCondition*, std::vector<embedded_host::PythonName>>> unbound;
    model.forEachCondition([&](const CheckedCondition& checked) {
        if (checked.expression.source.empty()) return;
        PythonSource python = ExpressionCheck(checked, findings).run();
        bound.insert(python.binds.begin(), python.binds.end());
        if (!python.unbound.empty()) unbound.emplace_back(&checked, std::move(python.unbound));
    });
    if (bound.contains("*")) return;
    for (const auto& [checked, names] : unbound) ExpressionCheck(*checked, findings).checkNames(names, bound);
}

}  // namespace cxml
