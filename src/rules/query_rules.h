// Query rules: related rows of other tables.
#pragma once

#include "rules/rule.h"
#include "rules/where_template.h"

#include <map>
#include <optional>
#include <vector>

namespace ConditionalXml {

/// What a `rule` element of a query says.
struct QueryElement {
    struct Parameter {
        CComBSTR text;  // a constant, or the name of a field of the row
        bool isConstant;
        FieldNames::Slot slot;  // of the field's name
    };
    struct Field {
        CComBSTR name;
        CComBSTR alias;
        FieldNames::Slot slot;  // of the alias
    };

    std::optional<CComBSTR> table;
    std::optional<CComBSTR> query;
    std::vector<Parameter> parameters;
    std::vector<Field> fields;  // to fetch; a later one of a name takes the place of an earlier one
    bool selectsAll = false;    // rows to fetch, not only one
};

/// A question about another table of the row's workspace. Everything asked of the host for a row is given back before
/// evaluate() returns.
class QueryRule : public Rule {
public:
    explicit QueryRule(const RuleOwner& owner);

    /// Takes over what the element says. Without a table or a query the rule holds for no row.
    virtual void parse(const QueryElement& element);

    /// What became of the question that was asked last.
    enum class Outcome {
        NotAsked,  // the rule is incomplete, or the row lacks a parameter
        NoFilter,  // the host makes none, or it does not take what is asked
        NoTable,   // the table cannot be opened
        Refused,   // the table does not answer
        Answered
    };
    Outcome outcome() const noexcept { return outcome_; }
    /// The where clause of that question, borrowed until the next one.
    WideView clause() const noexcept { return clause_; }
    /// How many rows it gave.
    LONG rowsFound() const noexcept { return rowsFound_; }

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
    void answered(LONG rows) noexcept;

    /// Has the filter fetch the fields of the queried table that the rule reads. \return false when it refuses one.
    virtual bool addFields(IQueryFilter* filter) const;

private:
    bool complete_ = false;
    WideString clause_;  // storage that rows share
    Outcome outcome_ = Outcome::NotAsked;
    LONG rowsFound_ = 0;
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
    bool evaluate(RowValueMap& rowValues, IGPMessages* messages) override;
    void parse(const QueryElement& element) override;

    std::map<CComBSTR, CComBSTR, BstrLess> fetchFields;  // field of the queried table, alias in the row's values
    SelectionOption selectOption = selectionOnlyOne;

protected:
    bool addFields(IQueryFilter* filter) const override;

private:
    void fetchRow(IRow* row, RowValueMap& rowValues, IGPMessages* messages) const;

    std::vector<FieldNames::Slot> aliasSlots_;  // in the order of fetchFields
};

/// The rule of an operator's keyword, as written; null when there is no such operator.
std::shared_ptr<QueryRule> makeQueryRule(const CComBSTR& keyword, const RuleOwner& owner);

}  // namespace ConditionalXml
