// RowSymbolization: the rows of a run, one after the other.
#pragma once

#include "cxml/feature_class_rule.h"
#include "symbolize/row_binding.h"

namespace ConditionalXml {

/// Symbolizes rows of one feature class. What is known of their columns and what rules answered is kept from row to row
/// and goes with this; so do the tables and the row that the configuration was lent.
class RowSymbolization {
public:
    /// Where the answers of rules come from. Nobody can tell, but by the time that it takes.
    enum class Answers { Remembered, Evaluated };

    /// \param rule must outlive this; no other run may use it meanwhile.
    explicit RowSymbolization(FeatureClassRule& rule, Answers answers = Answers::Remembered)
        : rule_(rule), binding_(rule), answers_(answers) {}
    ~RowSymbolization();
    RowSymbolization(const RowSymbolization&) = delete;
    RowSymbolization& operator=(const RowSymbolization&) = delete;

    /// Decides the row's symbology and writes into the row what differs; the row is not stored.
    /// \param subtypeField position of the subtype field, -1 without one. \param messages may be null.
    /// \return whether the row changed.
    /// \throws std::runtime_error when "SYMBOL_C" is missing or a value cannot be put.
    bool symbolize(IRow* row, LONG subtypeField, IGPMessages* messages);

private:
    using ConditionList = FeatureClassRule::ConditionList;

    /// What the conditions of a row came to.
    struct Decision {
        BSTR ruleName = nullptr;             // borrowed from a condition
        const Condition* matched = nullptr;  // whose placement counts
    };

    bool readValues(IRow* row, IGPMessages* messages);
    const ConditionList* selectConditions(IRow* row, LONG subtypeField) const;
    Decision decide(const ConditionList& conditions, IGPMessages* messages);
    [[noreturn]] void failRow(const std::string& text);
    void writeSymbol(IRow* row, BSTR ruleName);
    void writePlacements(IRow* row, const Condition& matched);
    void putPlacement(IRow* row, const RowBinding::Target& target, const Placement& placement, double wanted);

    FeatureClassRule& rule_;
    RowBinding binding_;
    Answers answers_;
};

}  // namespace ConditionalXml
