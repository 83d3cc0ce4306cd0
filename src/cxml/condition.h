// Condition: rules that a row must satisfy and the symbology that applies when it does.
#pragma once

#include "python/compiled_expression.h"
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

    /// Builds the condition of a `condition` element. \return null when it is discarded; a rule that could not be
    /// built is reported to `messages` (may be null), other reasons are not.
    static std::shared_ptr<Condition> build(IXMLDOMNode* node, FeatureClassRule& owner, IGPMessages* messages);

    /// Whether the row satisfies the condition. A match stores the matched condition (the last nested one that
    /// matches, else this one) in `matched` and this condition's rule name, when it has one, in `ruleName`, a borrowed
    /// text that lives as long as the document. A nested condition's name is stored at once and stands even when a
    /// later rule fails.
    bool evaluate(RowValueMap& rowValues, BSTR& ruleName, const Condition*& matched, IGPMessages* messages);

    /// Takes over rule name, placement, type and field. \return false when a placement is not a number: what stands
    /// behind it is not read then.
    bool readAttributes(IXMLDOMNamedNodeMap* attributes);
    /// Puts the source together from the `expression` children and compiles it. \return false when the DOM does not
    /// give all of them. \throws std::runtime_error with the report when it is not Python; all but the code is kept.
    bool readExpressions(IXMLDOMNode* node);

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
    CompiledExpression compiledExpression;
    WideString expressionText;

    /// Calls "Generate" with the row's values and writes its text into the field of the current row.
    /// \return whether it was called and its result accepted; false without an expression, without a value for an
    ///         argument, or for a result that is neither a text nor None.
    /// \throws std::runtime_error with the report of a Python error.
    bool generate(const RowValueMap& rowValues);

private:
    void compileExpression();
    bool callGenerate(const RowValueMap& rowValues);
    void writeGenerated() const;
    bool readRules(IXMLDOMNode* node, IGPMessages* messages);

    std::vector<FieldNames::Slot> argumentSlots_;  // of generateArguments
    std::string argumentText_;                     // each text argument in turn, so that it needs no memory of its own
};

}  // namespace ConditionalXml
