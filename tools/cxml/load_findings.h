// What loading a document says, among the findings.
#pragma once

#include "tools/check/finding.h"
#include "tools/check/source_text.h"
#include "tools/reports/document.h"

namespace cxml {

/// Adds what loading said and no finding says with its place.
void addLoadFindings(const Document& document, const SourceText& source, Findings& findings);

}  // namespace cxml
