// A layer's run with an explanation of each row.
#pragma once

#include "layer_run.h"
#include "tools/reports/explain_report.h"

#include <functional>

namespace cxml {

/// Symbolizes the layer's rows, evaluating everything; messages come to know their rows and lines.
/// \param onRow takes each explanation. \return false when the run failed.
bool runExplained(const LayerRun& run, const std::function<void(ExplainedRow&&)>& onRow);

}  // namespace cxml
