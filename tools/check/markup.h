// Markup: what can be said of a text that is not, or not yet, a tree.
#pragma once

#include "finding.h"
#include "source_text.h"

#include <optional>
#include <vector>

namespace cxml {

/// Where a parser gave up.
struct MarkupFailure {
    Place place;
    std::string reason;
};

/// The finding for a document that is not well-formed: where the mistake is likely to be, and where it was noticed.
void addNotWellFormed(const MarkupFailure& failure, const SourceText& source, Findings& findings);

/// A comment and the start tag behind it, between which nothing but white space and comments stands.
struct CommentedTag {
    std::string_view comment;  // without its marks
    Spot at;                   // of the comment
    Spot tag;                  // where the tag begins; without a line when there is none
    Spot tagEnd;               // behind it
};

/// The comments that begin with a word.
std::vector<CommentedTag> commentsWith(std::string_view word, const SourceText& source);

}  // namespace cxml
