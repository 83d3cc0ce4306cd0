// EvaluationObserver: who wants to know how rows come to what is written into them.
#pragma once

#include "cxml/feature_class_rule.h"

#include <optional>

namespace ConditionalXml {

/// How a row was decided. All of it is borrowed for the call, but that conditions live as long as the document.
struct RowDecision {
    const FeatureClassRule::ConditionList& list;  // the conditions that counted for the row
    std::optional<LONG> subtype;                  // the row's, where the class has subtypes and it could be read
    const Condition* named;                       // the condition whose name is the symbol; null when none named one
    const Condition* matched;  // the condition whose placement counts, if it has one; null when none held
    const VARIANT* symbol;     // what the row holds in "SYMBOL_C" before
};

/// Is told of a run, row by row: beginRow; what is asked for it; onDecision; what is put into it; endRow. Nothing of
/// the run depends on it, and nothing that it is given may be changed. What it throws ends the row as an error of its
/// own would.
///
/// A run that remembers answers tells what is decided and put, and of each query what became of it; a run that
/// evaluates everything tells of every condition and rule. What either is at stands in the class's `evaluation`.
class EvaluationObserver {
public:
    virtual ~EvaluationObserver() = default;

    virtual void beginRow(IRow* /*row*/, const FeatureClassRule& /*rule*/) {}
    /// Before the message about a field that the document uses and the row does not have.
    virtual void onMissingField(const FeatureClassRule& /*rule*/, WideView /*name*/) {}
    /// Not when a value of the row, its subtype or "SYMBOL_C" could not be had: nothing is decided then.
    virtual void onDecision(const RowDecision& /*decision*/) {}
    /// \param field as the document or the language names it. \param before the row's value. \param status of the row's
    ///        answer.
    virtual void onPut(WideView /*field*/, const VARIANT& /*before*/, const VARIANT& /*value*/, HRESULT /*status*/) {}
    /// \param changed whether a value was put. \param status of storing a row that changed; S_OK for others, and
    ///        E_FAIL for a row that an error ended.
    virtual void endRow(bool /*changed*/, HRESULT /*status*/) {}

    /// Nested ones too, inside the condition that they are in, after the answer of their rule.
    virtual void beginCondition(const Condition& /*condition*/) {}
    /// \param values of the row, with what was fetched for it so far.
    virtual void beginRule(const Rule& /*rule*/, const RowValueMap& /*values*/) {}
    /// Of queries always. \param values with what the rule fetched. Its operands are what the value was compared with.
    virtual void endRule(const Rule& /*rule*/, const RowValueMap& /*values*/, bool /*answer*/) {}
    /// Before what the call accepts is put into the row.
    virtual void beginGenerate(const Condition& /*condition*/, const RowValueMap& /*values*/) {}
    virtual void endGenerate(const Condition& /*condition*/, Expression::Outcome /*outcome*/) {}
    virtual void endCondition(const Condition& /*condition*/, bool /*held*/) {}
    /// An error has ended a condition of the list, and with it those that were begun inside it.
    virtual void onError(const Condition& /*condition*/, const char* /*text*/) {}
};

}  // namespace ConditionalXml
