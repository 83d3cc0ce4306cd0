// FeatureClassRule: the configuration of one feature class.
#pragma once

#include "cxml/condition.h"

#include <map>
#include <memory>
#include <set>
#include <vector>

namespace ConditionalXml {

class CXTableManager;
class RowBinding;

/// The conditions of one feature class, for rows of any subtype and per subtype, the fields that they need, and the
/// state of the row that is being symbolized.
class FeatureClassRule {
public:
    using ConditionList = std::vector<std::shared_ptr<Condition>>;

    explicit FeatureClassRule(ConditionMap& map);
    ~FeatureClassRule();
    FeatureClassRule(const FeatureClassRule&) = delete;
    FeatureClassRule& operator=(const FeatureClassRule&) = delete;

    /// Loads a `featureClass` element into `map`: into the object that the map holds under the name as written, else
    /// into a new one that the map then holds under the upper-case name. \return null when the element is rejected.
    static std::shared_ptr<FeatureClassRule> load(IXMLDOMNode* node, ConditionMap& map, IGPMessages* messages);

    /// Has the field fetched for every row, unless the name is qualified or already known.
    void registerReferencedField(const CComBSTR& fieldName);

    /// Decides the row's symbology and writes into the row what differs; the row is not stored.
    /// \param subtypeField position of the subtype field, -1 without one.
    /// \return whether the row changed.
    /// \throws std::runtime_error when "SYMBOL_C" is missing or a value cannot be put.
    bool symbolizeRow(IRow* row, LONG subtypeField, IGPMessages* messages);

    /// Drops what was kept of the table and the rows of a run.
    void endRun() noexcept;

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
    bool remembersAnswers = true;  // false: every rule is evaluated for every row, for comparison

    /// Numbers of the names that the rules of this class use; shared with the values of its rows.
    std::shared_ptr<FieldNames> fieldNames;

private:
    bool loadSubtypes(IXMLDOMNode* node, IGPMessages* messages);
    bool loadSubtype(IXMLDOMNode* node, IGPMessages* messages);
    void loadConditions(IXMLDOMNode* node, ConditionList& target, IGPMessages* messages);

    std::unique_ptr<RowBinding> binding_;
};

/// The subtype codes of a `number` attribute; pieces that are no integers are passed over.
std::set<LONG> subtypeCodes(WideView text);

}  // namespace ConditionalXml
