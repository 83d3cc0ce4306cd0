// Findings: what a document check has to say.
#pragma once

#include "kinds.h"
#include "place.h"

#include <deque>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace ConditionalXml {
class Condition;
}

namespace cxml {

/// Something that is said of a place beside the finding's own.
struct Remark {
    Place place;
    std::string kind;  // of a finding that was folded; empty else
    std::string text;
};

/// What somebody has decided not to hear of.
struct Ignored {
    bool inDocument;  // by a comment
    std::string why;
};

struct Finding {
    Place place;       // the document, a library file or the dataset
    std::string kind;  // a word that stays, see kinds.h
    std::string text;
    Severity severity = Severity::Warning;
    std::string help{};             // the way out; empty when the text says it
    std::optional<Remark> other{};  // a second place that is involved
    std::vector<Remark> follows{};  // what is only said because of this
    std::vector<Place> alsoAt{};    // where the same was found again
    std::string address{};          // of the condition; empty when it is about none
    std::optional<Ignored> ignored{};

    // For putting together what belongs together.

    const ConditionalXml::Condition* condition = nullptr;
    std::vector<Spot> within{};  // the element that it is about and those around it, innermost first
    std::vector<Spot> spoils{};  // elements in which nothing is as written because of it
    bool isMisspelling = false;  // what its element lacks is what was misspelled

    std::tuple<const Place&, const std::string&, const std::string&> identity() const { return {place, kind, text}; }
};

/// The findings of one document while they are made.
class Findings {
public:
    explicit Findings(std::string document) : document_(std::move(document)) {}

    /// \return it, for more to be said; good until findings are taken.
    Finding& add(Spot at, const char* kind, std::string text) {
        return addIn({document_, at.line, at.column}, kind, std::move(text));
    }
    Finding& addIn(Place place, const char* kind, std::string text);

    /// Each once: the document's by place, then those of other files; in a file those without a line come last.
    std::vector<Finding> take();

    const std::string& document() const noexcept { return document_; }
    std::deque<Finding>& all() noexcept { return found_; }

private:
    std::string document_;
    std::deque<Finding> found_;
};

/// The document's first, then those of other files; in a file by place, those without a line last, those of one place
/// in the order in which they were found.
void sortByPlace(std::vector<Finding>& findings, const std::string& document);

}  // namespace cxml
