// FeatureClassRule: the configuration of one feature class.
#pragma once

#include "cxml/condition.h"

#include <map>
#include <memory>
#include <set>
#include <vector>

namespace ConditionalXml {

class CXTableManager;
class EvaluationObserver;

/// Who watches a run, and what it is at.
struct Evaluation {
    EvaluationObserver* observer = nullptr;  // not owned; may be null
    EvaluationObserver* walker = nullptr;    // the same, when it is told of every condition and rule
    // What is being evaluated for the row: the rule that was asked last, or the condition that calls "Generate".
    const Rule* rule = nullptr;
    const Condition* condition = nullptr;
};

/// The conditions of one feature class, for rows of any subtype and per subtype, and the fields that they need. What
/// rules and expressions ask of the row that is being symbolized is here for them while a run goes on.
class FeatureClassRule {
public:
    using ConditionList = std::vector<std::shared_ptr<Condition>>;

    explicit FeatureClassRule(ConditionMap& map);
    ~FeatureClassRule();
    FeatureClassRule(const FeatureClassRule&) = delete;
    FeatureClassRule& operator=(const FeatureClassRule&) = delete;

    /// What rules of this class are made with.
    RuleOwner ruleOwner() noexcept;

    /// Has the field fetched for every row, unless the name is qualified or already known.
    void registerReferencedField(const CComBSTR& fieldName);

    ConditionMap* owner;  // not owned
    std::set<CComBSTR, BstrLess> referencedFields;
    std::set<CComBSTR, BstrLess> additionalFields;
    ConditionList defaultConditions;
    std::map<LONG, ConditionList> subtypeConditions;
    IRow* currentRow = nullptr;  // not owned
    bool changed = false;
    CComBSTR name;  // as written in the document
    std::shared_ptr<CXTableManager> tableManager;
    std::map<CComBSTR, LONGLONG, BstrLess> knownFields;
    std::map<CComBSTR, LONGLONG, BstrLess> additionalFieldValues;
    bool enabled = true;
    Evaluation evaluation;

    /// Numbers of the names that the rules of this class use; shared with the values of its rows.
    std::shared_ptr<FieldNames> fieldNames;
};

}  // namespace ConditionalXml
