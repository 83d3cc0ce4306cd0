// What is certain about the order of a list of conditions, whatever the rows are.
#pragma once

#include "cxml/condition.h"

#include <string>
#include <vector>

namespace cxml {

/// A condition that can never have an effect.
struct OrderProof {
    enum class Kind {
        NeverHolds,  // no values satisfy `rules`
        Replaced     // wherever it holds, one of `by` holds and comes later
    };

    Kind kind;
    const ConditionalXml::Condition* condition;
    std::vector<const ConditionalXml::Rule*> rules{};    // the fewest that cannot hold together; one that never does
    std::vector<const ConditionalXml::Condition*> by{};  // the fewest that were found, in the order of the list
    bool isByAll = false;                                // one that matches every row
    std::string witness{};      // "CATLAM = 1": a row for which it holds and is replaced, by the rules' own answers
    std::string assumptions{};  // "VALSOU holds numbers"; empty when it rests on nothing
};

/// How much may be done for one document. Counts work and not time: what is found depends on the document alone.
struct ProofBudget {
    static constexpr std::size_t most = 3'000'000;
    std::size_t spent = 0;

    bool isSpent() const noexcept { return spent >= most; }
};

struct OrderProofs {
    std::vector<OrderProof> proofs;  // nested conditions of a proved one are left out
    bool isComplete = true;          // not when the budget was spent before the end
    std::size_t rulesLeftOut = 0;    // of which it is not known for which values they hold: too many codes or texts
};

/// Proves what can be proved from rules over single fields. Queries, second fields and fetched values may answer
/// anything, and nothing rests on them. Conditions that a list has one after another are named and placed by the last
/// that holds; a nested name counts even when a later rule of its outer condition fails.
/// \param list of a run, in order; its operands are afterwards what they were.
OrderProofs proveOrder(const std::vector<ConditionalXml::Condition*>& list, ProofBudget& budget);

}  // namespace cxml
