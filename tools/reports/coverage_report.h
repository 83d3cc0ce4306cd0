// What is shown of coverage: text for people, an object for programs, a tracefile for what draws coverage beside lines.
#pragma once

#include "report.h"
#include "tools/workbench/coverage_summary.h"

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <ostream>
#include <string>
#include <vector>

namespace cxml {

struct CoverageView {
    const Document& document;
    Coverage& coverage;
    std::vector<CoveredClass> classes;
    std::map<Measure, std::int64_t> floors;  // percent

    bool isBelow(Measure measure) const;
};

/// "CATLAM equal 1", "exists LIGHTS": the rule, the first of its operands.
std::string inWords(const DocumentPlaces& places, const ConditionalXml::Rule& rule);

/// What is missing of a rule or condition, in words.
std::string whyMissed(Measure measure, const Missed& missed);

/// Rows of the classes, and how many of them could not be measured as a whole.
struct RowCounts {
    std::int64_t rows = 0;
    std::int64_t unmeasured = 0;
};
RowCounts rowsOf(const CoverageView& view);

/// The classes with their conditions, the measures, and file:line of what keeps a measure below its floor.
void writeCoverage(std::ostream& out, const CoverageView& view);

/// The members "layers", "classes", "rows", "unmeasured", "measures", "floors", "missed", "files", "conditions".
nlohmann::ordered_json coverageJson(const CoverageView& view, const std::vector<LayerResult>& results);

/// Adds what coverageJson() gave for earlier runs with the same document.
/// \param path of the file. \throws embedded_host::HostError when it is something else, or of another document.
void addEarlier(const std::string& path, const Document& document, Coverage& coverage);

/// Lines: how often conditions held and rules were true. Functions: the names, and how often they decided. Branches:
/// two for each rule, true and alone to blame.
std::string coverageLcov(const CoverageView& view);

}  // namespace cxml
