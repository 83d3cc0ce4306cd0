// Query rules: related rows of other tables.
#pragma once

#include "rules/rule.h"
#include "rules/where_template.h"

#include <map>

namespace ConditionalXml {

/// A question about another table of the row's workspace. Everything asked of the host for a row is given back before
/// evaluate() returns.
class QueryRule : public Rule {
public:
    explicit QueryRule(FeatureClassRule& owner);

    /// Reads the element. A missing part leaves the rule without it; it then holds for no row.
    /// \return false when the DOM fails: a query with a part unread would ask something else.
    virtual bool parse(IXMLDOMNode* element);

    WhereTemplate where;
    CComBSTR queryText;
    CComBSTR tableName;

protected:
    /// The table with a filter for the row; the filter stays null when the host cannot make one.
    struct Query {
        ITable* table = nullptr;  // kept by the table manager
        CComPtr<IQueryFilter> filter;
    };

    /// \return a query without table when the rule is incomplete, the row lacks a parameter, the filter does not take
    /// what is asked or the table cannot be opened.
    Query prepare(const RowValueMap& rowValues, IGPMessages* messages);

    /// Has the filter fetch the fields of the queried table that the rule reads. \return false when it refuses one.
    virtual bool addFields(IQueryFilter* filter) const;

private:
    bool complete_ = false;
    WideString clause_;  // storage that rows share
};

/// Holds when the query finds a row.
class QueryRuleExists : public QueryRule {
public:
    using QueryRule::QueryRule;
    bool evaluate(RowValueMap& rowValues, IGPMessages* messages) override;
};

/// Copies values of the found row, or rows, into the row's values; holds when at least one row was read.
class QueryRuleFetch : public QueryRule {
public:
    using QueryRule::QueryRule;
    bool parse(IXMLDOMNode* element) override;
    bool evaluate(RowValueMap& rowValues, IGPMessages* messages) override;

    std::map<CComBSTR, CComBSTR, BstrLess> fetchFields;  // field of the queried table, alias in the row's values
    SelectionOption selectOption = selectionOnlyOne;

protected:
    bool addFields(IQueryFilter* filter) const override;

private:
    void fetchRow(IRow* row, RowValueMap& rowValues, IGPMessages* messages) const;

    std::vector<FieldNames::Slot> aliasSlots_;  // in the order of fetchFields
};

/// Builds the rule of an element whose `type` is "Q". \return null when its operator is unknown or the DOM fails.
std::shared_ptr<Rule> createQueryRule(IXMLDOMNode* ruleElement, FeatureClassRule& owner, IGPMessages* messages);

}  // namespace ConditionalXml
