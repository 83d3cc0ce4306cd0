// Findings as programs read them.
#pragma once

#include "tools/check/finding.h"
#include "tools/reports/document.h"

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace cxml {

/// The object of check --json.
void writeJson(std::ostream& out, const Document& document, const std::vector<Finding>& findings);

/// An array of them all; those that are ignored have the member "ignored".
nlohmann::ordered_json findingsJson(const std::string& document, const std::vector<Finding>& findings);

/// A SARIF log of one run. Paths are as given.
void writeSarif(std::ostream& out, const std::string& document, const std::vector<Finding>& findings);

/// The fingerprints that are in a SARIF log or in what --json wrote. \throws embedded_host::HostError when the file is
/// neither.
std::set<std::string> readBaseline(const std::string& path);

}  // namespace cxml
