// What is shown of ledgers: tables for people, an object for programs.
#pragma once

#include "report.h"

#include <nlohmann/json_fwd.hpp>
#include <ostream>

namespace cxml {

/// "fid 3 7 12", with " ..." when there are more than are shown.
std::string firstRows(const embedded_host::RowList& rows);

/// One line for each layer, what decided, and what was said; see docs/workbench.md.
void writeLedgers(std::ostream& out, const Document& document, const std::vector<LayerResult>& results);

/// {"layers": [...], "rows": N, "accounted": N}
nlohmann::ordered_json ledgersJson(const Document& document, const std::vector<LayerResult>& results);

}  // namespace cxml
