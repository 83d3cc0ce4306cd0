// TriedRows: made up rows that rules tell apart.
#pragma once

#include "condition_boxes.h"
#include "rules/attribute_rules.h"

#include <string>
#include <vector>

namespace cxml {

/// Everything that evaluating the condition asks of the row and of nothing else.
/// \return false when there is more: a query, or an expression.
bool collectRules(const ConditionalXml::Condition& condition, std::vector<ConditionalXml::CXAttributeRule*>& rules);

/// Rows with a few values for each field that some rules ask, in all combinations up to a bound.
class TriedRows {
public:
    /// \param rules that are asked for the rows. \param first those whose fields are changed first; a field that only
    ///        others ask is mostly NULL. \param within which the rows are, as far as that is known.
    TriedRows(const RowSpace& space, const std::vector<ConditionalXml::CXAttributeRule*>& rules,
              const std::vector<ConditionalXml::CXAttributeRule*>& first, const Box& within);

    /// Goes to the next row. \return false behind the last one.
    bool next();
    /// Adds the row's values.
    void fill(ConditionalXml::RowValueMap& values) const;
    /// "CATLAM = 1, COLOUR = '3'", "any row".
    std::string inWords() const;

private:
    struct Field {
        ConditionalXml::FieldNames::Slot slot;
        CComBSTR name;
        std::vector<CComVariant> values;
        std::size_t chosen = 0;
    };

    void addFields(const std::vector<ConditionalXml::CXAttributeRule*>& rules, const Box& within, bool nullFirst);
    void addValues(std::size_t axis, const CellSet& cells, const std::vector<ConditionalXml::CXAttributeRule*>& rules,
                   std::vector<CComVariant>& values) const;

    const RowSpace& space_;
    std::vector<Field> fields_;
    std::size_t tried_ = 0;
};

/// Rules that convert their operands for the rows they are asked for get back the ones they had.
class KeptOperands {
public:
    explicit KeptOperands(const std::vector<ConditionalXml::CXAttributeRule*>& rules);
    void putBack() const;

private:
    std::vector<std::pair<ConditionalXml::CXAttributeRule*, std::vector<CComVariant>>> kept_;
};

}  // namespace cxml
