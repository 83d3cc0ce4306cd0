// Of each two conditions that stand one after the other: whether they may change places.
#include "checks.h"
#include "neighbours.h"

#include <fmt/format.h>
#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace cxml {
namespace {

using ConditionalXml::Condition;
using Pair = std::pair<Spot, Spot>;

class NeighbourCheck {
public:
    NeighbourCheck(const DocumentModel& model, Findings& findings) : findings_(findings) {
        model.forEachCondition([&](const CheckedCondition& condition) {
            if (condition.condition) conditions_.emplace(condition.condition.get(), &condition);
        });
    }

    // Conditions of several subtypes may be neighbours in each of their lists: where it matters for one, it matters.
    void add(const CheckedClass& checked) {
        std::map<Pair, NeighbourProof> proofs;
        std::set<CheckedClass::List> known;
        for (const CheckedClass::List* list : checked.lists()) {
            if (!known.insert(*list).second) continue;
            std::vector<Condition*> conditions;
            for (const CheckedCondition* condition : *list) conditions.push_back(condition->condition.get());
            NeighbourProofs proved = proveNeighbours(conditions, budget_);
            if (!proved.isComplete)
                findings_.add(list->front()->at, "order-unproved",
                              "not all neighbours of this list were looked at: there are too many conditions");
            for (NeighbourProof& proof : proved.proofs) {
                const Pair pair(conditions_.at(proof.first)->at, conditions_.at(proof.second)->at);
                const auto [entry, isNew] = proofs.try_emplace(pair, proof);
                if (!isNew && isStronger(proof.kind, entry->second.kind)) entry->second = std::move(proof);
            }
        }
        for (const auto& [pair, proof] : proofs) report(proof);
    }

private:
    static bool isStronger(NeighbourProof::Kind kind, NeighbourProof::Kind than) {
        return than != NeighbourProof::Kind::Matters && kind != NeighbourProof::Kind::Free;
    }

    void report(const NeighbourProof& proof) {
        const CheckedCondition& first = *conditions_.at(proof.first);
        const CheckedCondition& second = *conditions_.at(proof.second);
        const std::string resting = proof.assumptions.empty() ? "" : fmt::format(" (where {})", proof.assumptions);
        Finding& finding = findings_.add(second.at, kindOf(proof.kind), "");
        finding.other = Remark{{findings_.document(), first.at.line, first.at.column}, {}, "its neighbour"};
        switch (proof.kind) {
            case NeighbourProof::Kind::Free:
                finding.text =
                    fmt::format("{} and {} may change places: no row would have another symbol or placement{}",
                                first.title(), second.title(), resting);
                break;
            case NeighbourProof::Kind::Matters:
                finding.text = fmt::format("{} and {} may not change places: {} would have {}", first.title(),
                                           second.title(), proof.witness, change(proof));
                break;
            case NeighbourProof::Kind::Unknown:
                finding.text =
                    fmt::format("whether {} and {} may change places is not known", first.title(), second.title());
                break;
        }
    }

    static const char* kindOf(NeighbourProof::Kind kind) {
        return kind == NeighbourProof::Kind::Free      ? "order-free"
               : kind == NeighbourProof::Kind::Matters ? "order-matters"
                                                       : "order-unknown";
    }

    static std::string change(const NeighbourProof& proof) {
        return proof.now == proof.then ? "another placement"
                                       : fmt::format("'{}' instead of '{}'", proof.then, proof.now);
    }

    Findings& findings_;
    ProofBudget budget_;
    std::map<const Condition*, const CheckedCondition*> conditions_;
};

}  // namespace

void checkNeighbours(const DocumentModel& model, Findings& findings) {
    NeighbourCheck neighbours(model, findings);
    for (const CheckedClass& checked : model.classes())
        if (checked.isKept) neighbours.add(checked);
}

}  // namespace cxml
