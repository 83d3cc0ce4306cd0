// What a report has on request: the difference to another document, and tests.
#pragma once

#include "report_run.h"
#include "tools/reports/document.h"

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace cxml {

/// What the report's document changes against another one, as cxml diff has it; "words" of a group are its causes.
/// \param work which rows. \param difference is filled. \return Good, or why not, which has been said.
ExitStatus compareWith(const std::string& against, const ReportArguments& arguments, const LayerWork& work,
                       nlohmann::ordered_json& difference);

/// {"passed", "failed", "skipped", "failures": [{"place", "text"}]} of files of tests.
/// \throws embedded_host::HostError when a file cannot be read.
nlohmann::ordered_json testsOf(const std::vector<std::string>& files, const Document& document);

}  // namespace cxml
