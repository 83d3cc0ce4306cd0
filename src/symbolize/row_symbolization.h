// RowSymbolization: the rows of a run, one after the other.
#pragma once

#include "cxml/evaluation_observer.h"
#include "symbolize/row_binding.h"

#include <unordered_map>

namespace ConditionalXml {

/// Symbolizes rows of one feature class. What is known of their columns and what rules answered is kept from row to row
/// and goes with this; so do the tables and the row that the configuration was lent.
class RowSymbolization {
public:
    /// Where the answers of rules come from. Nobody can tell, but by the time that it takes.
    enum class Answers { Remembered, Evaluated };

    /// \param rule must outlive this; no other run may use it meanwhile.
    /// \param observer null, or told of each row; must outlive this.
    explicit RowSymbolization(FeatureClassRule& rule, Answers answers = Answers::Remembered,
                              EvaluationObserver* observer = nullptr);
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

    /// The conditions that count for a row; no list when its subtype cannot be read.
    struct Selection {
        const ConditionList* list = nullptr;
        std::optional<LONG> subtype;
    };
    /// What the conditions of a row came to.
    struct Decision {
        BSTR ruleName = nullptr;             // borrowed from a condition
        const Condition* matched = nullptr;  // whose placement counts
    };

    bool readValues(IRow* row, IGPMessages* messages);
    Selection selectConditions(IRow* row, LONG subtypeField) const;
    Decision decide(const ConditionList& conditions, IGPMessages* messages);
    void tell(const Selection& selection, const Decision& decision);
    void collectNames(const ConditionList& conditions);
    [[noreturn]] void failRow(const std::string& text);
    void writeSymbol(IRow* row, BSTR ruleName);
    void writePlacements(IRow* row, const Condition& matched);
    void putPlacement(IRow* row, const RowBinding::Target& target, const Placement& placement, double wanted);

    FeatureClassRule& rule_;
    RowBinding binding_;
    Answers answers_;
    EvaluationObserver* observer_;
    // For an observer: the conditions by their names, which are texts of their own even where they read the same.
    std::unordered_map<const OLECHAR*, const Condition*> named_;
};

}  // namespace ConditionalXml
