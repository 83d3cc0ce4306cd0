// The Python of a condition: compiling it, calling it with the values of a row, and writing what it returns.
#include "cxml/condition.h"

#include "cxml/evaluation_observer.h"
#include "text/failures.h"
#include "text/text.h"

#include <utility>

namespace ConditionalXml {

void Condition::reportPythonError(const PythonError& error) const {
    constexpr std::size_t shownSourceUnits = 60;
    std::string report = "Encountered error processing Python in CXML!\n";
    if (rulename.Length() != 0) report += "Rule Name: " + narrow(view(rulename)) + '\n';
    if (field.Length() != 0) report += "Calculating Field: " + narrow(view(field)) + '\n';
    const WideView source = expressionText;
    if (!source.empty()) {
        report += "Function: " + narrow(source.substr(0, shownSourceUnits));
        report += source.size() > shownSourceUnits ? " ...\n" : "\n";
    }
    throwText(report + error.what());
}

void Condition::compileExpression() try {
    if (!expressionText.empty()) compiledExpression.compile(expressionText);
} catch (const PythonError& error) {
    reportPythonError(error);
}

bool Condition::generate(const RowValueMap& rowValues) try {
    if (!compiledExpression) return false;
    Evaluation& evaluation = featureClassRule->evaluation;
    evaluation.rule = nullptr;
    evaluation.condition = this;
    if (evaluation.walker) evaluation.walker->beginGenerate(*this, rowValues);
    arguments_.clear();
    for (std::size_t i = 0; i < generateArguments.size(); ++i)
        arguments_.push_back({rowValues.values(argumentSlots_[i]), generateArguments[i].second});
    const Expression::Outcome outcome = compiledExpression.call(arguments_, [this](CComBSTR&& text) {
        generatedValue = std::move(text);
        writeGenerated();
    });
    if (outcome == Expression::Outcome::NotText) refuse("Unexpected return type from python function:\n");
    if (outcome == Expression::Outcome::NotCopied)
        refuse("Failed to convert return value to unicode string from python function:\n");
    if (evaluation.walker) evaluation.walker->endGenerate(*this, outcome);
    return outcome == Expression::Outcome::Accepted;
} catch (const PythonError& error) {
    reportPythonError(error);
}

/// Tells the debugger about a result that is not accepted.
void Condition::refuse(const char* why) const {
    const std::string text = why + narrow(expressionText);
    OutputDebugStringA(text.c_str());
}

void Condition::writeGenerated() const {
    IRow* const row = featureClassRule->currentRow;
    CComPtr<IFields> fields;
    LONG position = -1;
    if (FAILED(checked(row->get_Fields(&fields))) || !fields || FAILED(checked(fields->FindField(field, &position))) ||
        position < 0)
        return;
    CComVariant current;
    checked(row->get_Value(position, &current));
    if (current.vt == VT_BSTR && VarBstrCmp(generatedValue, current.bstrVal, LOCALE_USER_DEFAULT, 0) == VARCMP_EQ)
        return;
    VARIANT value;  // borrows the text: put_Value copies what it keeps
    VariantInit(&value);
    value.vt = VT_NULL;
    if (generatedValue.Length() != 0) {
        value.vt = VT_BSTR;
        value.bstrVal = generatedValue;
    }
    const HRESULT status = checked(row->put_Value(position, value));
    featureClassRule->changed = true;
    if (EvaluationObserver* const observer = featureClassRule->evaluation.observer)
        observer->onPut(view(field), current, value, status);
}

}  // namespace ConditionalXml
