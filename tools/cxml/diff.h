// Comparing what documents make of a dataset.
#pragma once

#include "layer_run.h"

#include <optional>
#include <string>

namespace cxml {

struct DiffArguments : LayerArguments {
    std::optional<std::string> first;  // the document that `document` is held against; else what the dataset holds
    std::optional<std::string> only;   // the rows that are to change
    bool isFull = false;
};

/// Shows what a run with the document would change. \param work which rows.
/// \return Good when nothing is otherwise, or nothing that was not to change; Failed when something is.
ExitStatus showDifference(const DiffArguments& arguments, const LayerWork& work);

}  // namespace cxml
