// Floors of coverage, as options give them.
#pragma once

#include "tools/workbench/coverage_summary.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace cxml {

/// --fail-under held=N,decided=N,rules=N.
CLI::Option* addFloors(CLI::App& command, std::vector<std::string>& floors);

/// Percent by measure, of texts that the option has taken; the last of a measure counts.
std::map<Measure, std::int64_t> floorsOf(const std::vector<std::string>& texts);

}  // namespace cxml
