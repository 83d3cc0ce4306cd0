// What cxml report shows, as one page.
#pragma once

#include "report_run.h"

#include <string>

namespace cxml {

/// The report as a page of HTML that opens from disk, asks for nothing and can be printed. The same report gives the
/// same bytes.
std::string reportPage(Report& report, const ReportArguments& arguments);

}  // namespace cxml
