// What is shown of tests: failing rows for people, everything for programs.
#pragma once

#include "mutation_run.h"
#include "test_files.h"
#include "tools/reports/console.h"
#include "tools/reports/document.h"

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace cxml {

struct TestCounts {
    std::size_t passed = 0;   // rows
    std::size_t failed = 0;   // rows, and tables that did not run
    std::size_t skipped = 0;  // sections
};
TestCounts countsOf(const std::vector<TestFile>& files);

/// Failing rows with what decided them, then the counts.
void writeTests(Console& console, const std::vector<TestFile>& files);

/// What --mutate found.
void writeMutants(Console& console, const MutationResult& mutants, const std::string& document);

/// {"passed", "failed", "skipped", "sections", "mutants"}
nlohmann::ordered_json testsJson(const Document& document, const std::vector<TestFile>& files,
                                 const MutationResult& mutants);

/// A test case for each row, as continuous integration reads them.
std::string junitXml(const std::vector<TestFile>& files);

}  // namespace cxml
