// Whether conditions that stand one after the other may change places.
#pragma once

#include "order_proof.h"

namespace cxml {

/// Two neighbours of a list, or of the conditions nested in one rule.
struct NeighbourProof {
    enum class Kind {
        Free,     // in either order each row has the same symbol and placement
        Matters,  // `witness` has another symbol or placement when they change places
        Unknown   // neither is proved
    };

    Kind kind;
    const ConditionalXml::Condition* first;
    const ConditionalXml::Condition* second;
    std::string witness{};      // "CATLAM = 1": a row for which the rules themselves answer otherwise
    std::string now{};          // the symbol that it has; empty when only the placement is another one
    std::string then{};         // the symbol that it would have
    std::string assumptions{};  // "VALSOU holds numbers"; empty when it rests on nothing
};

struct NeighbourProofs {
    std::vector<NeighbourProof> proofs;
    bool isComplete = true;  // not when the budget was spent before the end
};

/// Of each two neighbours, in the order of the list, those nested in a condition behind it. What a query answers, a
/// second field, what was fetched and what an expression raises are not known; neither is an order that they decide.
/// \param list of a run, in order; it is afterwards what it was.
NeighbourProofs proveNeighbours(const std::vector<ConditionalXml::Condition*>& list, ProofBudget& budget);

}  // namespace cxml
