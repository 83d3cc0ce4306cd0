// What loading a document says, among the findings.
#pragma once

#include "document.h"
#include "tools/check/finding.h"
#include "tools/check/source_text.h"

namespace cxml {

/// Adds what loading said and no finding says with its place.
void addLoadFindings(const Document& document, const SourceText& source, Findings& findings);

}  // namespace cxml
