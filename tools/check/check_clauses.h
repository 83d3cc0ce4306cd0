// The where clauses of query rules, prepared by the dataset that they will be asked of.
#pragma once

#include "document_model.h"
#include "host/geodatabase/gdal_workspace.h"
#include "rules/query_rules.h"

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace cxml {

/// Clauses of which is said already what they lack in themselves are passed over.
class ClauseCheck {
public:
    /// The type of a field of the rows that ask; nothing when it is not known.
    using TypeOf = std::function<std::optional<VARTYPE>(const std::string& field)>;

    /// \param findings has those of checkQueries.
    ClauseCheck(embedded_host::GdalWorkspace& dataset, Findings& findings);

    /// \param query of the rule. \param table what the dataset calls the table that it asks.
    /// \throws embedded_host::HostError when the dataset does not answer.
    void check(const CheckedRule& rule, const ConditionalXml::QueryRule& query, const std::string& table,
               const TypeOf& typeOf);

private:
    struct Answer {
        std::optional<embedded_host::Refusal> refusal;
        Finding* finding = nullptr;  // of the first rule that asks so
    };
    using Question = std::pair<std::string, std::string>;  // table, clause

    std::vector<std::string> clausesOf(const CheckedRule& rule, const ConditionalXml::QueryRule& query,
                                       const TypeOf& typeOf) const;
    Answer& ask(const std::string& table, const std::string& clause);

    embedded_host::GdalWorkspace& dataset_;
    Findings& findings_;
    std::set<Spot> said_;
    std::map<Question, Answer> answers_;
};

}  // namespace cxml
