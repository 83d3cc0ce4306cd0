// Condition: rules that a row must satisfy and the symbology that applies when it does.
#pragma once

#include "python/expression.h"
#include "rules/rule.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace ConditionalXml {

/// One entry of a feature class's ordered condition lists. Never changed after it was built, except that its rules
/// convert their operands.
class Condition {
public:
    explicit Condition(FeatureClassRule& owner);
    virtual ~Condition();
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    /// Whether the row satisfies the condition. A match stores the matched condition (the last nested one that
    /// matches, else this one) in `matched` and this condition's rule name, when it has one, in `ruleName`, a borrowed
    /// text that lives as long as the document. A nested condition's name is stored at once and stands even when a
    /// later rule fails.
    bool evaluate(RowValueMap& rowValues, BSTR& ruleName, const Condition*& matched, IGPMessages* messages);

    /// Whether a match calls "Generate".
    bool callsExpression() const noexcept { return type == expressionType; }

    /// Adds an argument of "Generate". One that belongs to no other table is registered with the feature class.
    void addArgument(CComBSTR name, bool isList, bool isQualified);

    ConditionMap* conditionMap;          // not owned
    FeatureClassRule* featureClassRule;  // not owned
    std::vector<std::shared_ptr<Rule>> rules;
    double xoffset = 0;
    double yoffset = 0;
    double angle = 0;
    bool hasPlacement = false;
    LONG type = 1;
    CComBSTR field;
    CComBSTR rulename;
    std::vector<std::pair<CComBSTR, bool>> generateArguments;  // name, whether it is a list
    CComBSTR generatedValue;                                   // the last accepted result of "Generate"
    Expression compiledExpression;
    WideString expressionText;

    /// Calls "Generate" with the row's values and writes its text into the field of the current row.
    /// \return whether it was called and its result accepted; false without an expression, without a value for an
    ///         argument, or for a result that is neither a text nor None.
    /// \throws std::runtime_error with the report of a Python error.
    bool generate(const RowValueMap& rowValues);
    /// Compiles `expressionText`, if there is any. \throws std::runtime_error with the report when it is not Python.
    void compileExpression();

private:
    static constexpr LONG expressionType = 2;

    [[noreturn]] void reportPythonError(const PythonError& error) const;
    void refuse(const char* why) const;
    void writeGenerated() const;

    std::vector<FieldNames::Slot> argumentSlots_;  // of generateArguments
    std::vector<Expression::Argument> arguments_;  // of the call, storage that rows share
};

}  // namespace ConditionalXml
