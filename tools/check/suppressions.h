// What somebody has decided not to hear of.
#pragma once

#include "finding.h"
#include "source_text.h"

#include <set>
#include <string>
#include <vector>

namespace cxml {

/// Gives findings the reason that a comment above their element states: <!-- cxml: expect KIND "why" -->. Each comment
/// is for one finding of its kind that stands in the start tag of the next element; one that silences nothing is a
/// finding itself.
void applyExpectations(const SourceText& source, const std::string& document, std::vector<Finding>& findings);

/// What stays of a finding when lines are added above it: 16 digits, and "-2" for the second of equal ones. One for
/// each finding, in their order.
std::vector<std::string> fingerprintsOf(const std::vector<Finding>& findings, const std::string& document);

/// Findings that were known before are ignored.
void applyBaseline(const std::set<std::string>& known, const std::string& document, std::vector<Finding>& findings);

}  // namespace cxml
