// What a report tells of a document's classes and symbols.
#pragma once

#include "tools/check/finding.h"
#include "tools/draw/symbol_set.h"
#include "tools/reports/document.h"
#include "tools/reports/report.h"
#include "tools/workbench/coverage.h"

#include <nlohmann/json_fwd.hpp>
#include <vector>

namespace cxml {

/// A run over layers, with what was counted and found.
struct ReportedRun {
    const Document& document;
    Coverage& coverage;
    const std::vector<LayerResult>& results;
    const std::vector<Finding>& findings;
    std::size_t samples;  // rows of each condition
};

/// The classes that layers were run with, each with its conditions in the order of the document: what became of them,
/// first rows, and why nothing comes of those that decide nothing.
nlohmann::ordered_json reportedClasses(const ReportedRun& run);

/// The names that conditions of these classes have, each with where it decides, how often, and whether it has a picture
/// or a style.
nlohmann::ordered_json reportedSymbols(const ReportedRun& run, SymbolSet& symbols);

}  // namespace cxml
