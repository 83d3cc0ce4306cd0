// The conditions of a list as parts of the space of rows, and which of them cover another.
#pragma once

#include "order_proof.h"
#include "row_space.h"

#include <unordered_map>

namespace cxml {

/// A part of a row space: what it allows of some axes; of the others everything.
class Box {
public:
    using Part = std::pair<std::size_t, CellSet>;  // axis, cells

    void restrict(std::size_t axis, const CellSet& cells);
    bool isEmpty() const noexcept;
    /// Null when everything is allowed.
    const CellSet* find(std::size_t axis) const noexcept;
    const std::vector<Part>& parts() const noexcept { return parts_; }
    bool contains(const std::vector<CellSet::Cell>& point) const noexcept;
    /// Adds what is in this and not in the other, in pieces.
    void subtract(const Box& other, const RowSpace& space, std::vector<Box>& pieces) const;

private:
    std::vector<Part> parts_;  // by axis
};

/// Something that evaluating a list does in its order: a condition matches.
struct MatchStep {
    ConditionalXml::Condition* condition;
    ConditionalXml::Condition* top;              // of the list, that it is nested in or is
    std::vector<std::size_t> outer{};            // steps of the conditions that it is nested in
    std::vector<ConditionalXml::Rule*> rules{};  // all that must hold before it matches
    Box may{};                                   // the rows for which it matches are all in it
    Box must{};                                  // it matches for all rows in it
    bool isKnown = true;                         // whether `must` means anything
    bool isNamed() const { return condition->rulename.Length() != 0; }
    bool isTop() const { return condition == top; }
};

/// All that a list can do, nested conditions before the one that they are in.
std::vector<MatchStep> stepsOf(const std::vector<ConditionalXml::Condition*>& list);
/// Gives each step its boxes.
void addBoxes(std::vector<MatchStep>& steps, const RowSpace& space);

/// The rules of all of them, each once.
std::vector<ConditionalXml::Rule*> rulesOf(const std::vector<MatchStep>& steps);
/// Whether evaluating the condition does nothing but choose symbol and placement.
bool onlyChooses(const ConditionalXml::Condition& condition);
/// What cells of fields that the rules look at rest on: "VALSOU holds numbers"; empty when that is nothing.
std::string assumptionsOf(const RowSpace& space, const std::vector<const ConditionalXml::Rule*>& rules);

/// Looks for later steps that cover an earlier one.
class CoverSearch {
public:
    /// All must outlive this.
    CoverSearch(const std::vector<MatchStep>& steps, const RowSpace& space, ProofBudget& budget);

    /// The fewest later steps that match, between them, for all rows for which the step does: those of named conditions
    /// when it is named, else those of the list itself. Empty when there are none, or none were found.
    std::vector<std::size_t> find(std::size_t step);

private:
    std::vector<std::size_t> covering(const std::vector<CellSet::Cell>& point) const;
    bool canReplace(std::size_t later) const;
    std::vector<CellSet::Cell> pointOf(const Box& box) const;
    std::vector<Box> without(const std::vector<Box>& boxes, std::size_t step) const;
    bool takeLatest();
    bool choose(const std::vector<Box>& rest, std::size_t more);

    const std::vector<MatchStep>& steps_;
    const RowSpace& space_;
    ProofBudget& budget_;
    std::unordered_map<std::uint64_t, std::vector<std::size_t>> narrow_;  // steps by axis and cell
    std::vector<std::size_t> wide_;
    std::vector<bool> isNarrowAxis_;

    // Of a search.
    std::size_t step_ = 0;
    std::size_t tries_ = 0;
    std::vector<std::size_t> chosen_;
};

}  // namespace cxml
