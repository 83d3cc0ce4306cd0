// Causes: what in two documents makes them decide a row otherwise.
#pragma once

#include "difference.h"
#include "explanation.h"

#include <string>
#include <vector>

namespace cxml {

struct Cause {
    enum class Kind {
        Rule,          // answers otherwise
        OnlyInFirst,   // the condition that decides has no counterpart of its address
        OnlyInSecond,  // the same
        Order          // both conditions hold in both documents
    };
    /// A rule, or a condition, as its document has it.
    struct Place {
        LONG line = 0;
        std::string text;  // "BOYSHP equal 4", or the condition's address
        bool answer = false;

        bool operator==(const Place&) const = default;
    };

    Kind kind{};
    Place first;
    Place second;

    bool operator==(const Cause&) const = default;
};

/// How a document came to a row.
struct ExplainedSide {
    const RowExplanation& explanation;
    const DocumentPlaces& places;
};

/// What explains the change of one of the group's rows; empty when nothing is found, for what the dataset holds too.
std::vector<Cause> causesOf(const ChangeGroup& group, const ExplainedSide& first, const ExplainedSide& second);

}  // namespace cxml
