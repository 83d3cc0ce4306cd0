// Pins: rows of a layer that hold what its rules do, as a section of tests.
#pragma once

#include "host/geodatabase/gdal_workspace.h"
#include "layer_run.h"
#include "tools/workbench/explanation.h"
#include "tools/workbench/operand_state.h"
#include "tools/workbench/row_cover.h"

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cxml {

/// Numbers for what can occur in a row: a condition that decides or places, one that computes and holds, a rule that
/// holds, a rule that does not. While the document lives.
class Occurrences {
public:
    RowCover::Elements of(const RowExplanation& row);

private:
    std::uint32_t number(const void* part, int what);
    void add(const std::vector<WalkedCondition>& conditions, RowCover::Elements& elements);

    std::map<std::pair<const void*, int>, std::uint32_t> numbers_;
};

/// A section of tests for rows of the layer.
struct PinnedSection {
    std::string text;  // Markdown; empty when nothing is to be added
    std::size_t rows = 0;
    std::vector<std::string> remarks;  // what could not be pinned
};

/// Chooses the fewest rows of a layer such that all that occurs in its rows and is not known to `cover` occurs in them,
/// and writes them down with the rows that their queries find. What is written passes as a test.
/// \param operands of the document, from before the first run. \param most rows; 0 for as many as it takes.
/// \return nothing when the run has failed.
std::optional<PinnedSection> pinLayer(const LayerRun& run, embedded_host::GdalWorkspace& workspace,
                                      OperandState& operands, Occurrences& occurrences, RowCover cover,
                                      std::size_t most);

}  // namespace cxml
