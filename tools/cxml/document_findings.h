// What there is to find in a loaded document, or in one that did not load.
#pragma once

#include "finding_text.h"
#include "tools/check/document_check.h"
#include "tools/reports/document.h"

#include <string>
#include <vector>

namespace cxml {

/// In the order in which they are shown, those that a comment of the document silences are marked. Python must be
/// there; no expression is run. \param leftOut kinds of findings that are left out.
/// \throws embedded_host::HostError
std::vector<Finding> findingsOf(const Document& document, const CheckScope& scope, Sources& sources,
                                const std::vector<std::string>& leftOut = {});

}  // namespace cxml
