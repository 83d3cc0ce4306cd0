// Comparing what documents make of a dataset.
#pragma once

#include "layer_run.h"

#include <functional>
#include <optional>
#include <string>

namespace cxml {

struct DatasetDifference;

struct DiffArguments : LayerArguments {
    std::optional<std::string> first;  // the document that `document` is held against; else what the dataset holds
    std::optional<std::string> only;   // the rows that are to change
    bool isFull = false;
    bool isStatic = false;                // over made-up rows; there is no dataset
    std::optional<std::string> rowsFile;  // a GeoPackage for the rows that are otherwise
    std::optional<std::string> page;      // HTML
    bool overwrite = false;
};

/// While Services are there: compares and hands the comparison over, which is good for the call, without showing it.
/// \return Good when it was handed over, whatever is otherwise; else why not has been said.
ExitStatus compareDocuments(const DiffArguments& arguments, const LayerWork& work,
                            std::function<void(const DatasetDifference&)> onDone);

/// Shows what a run with the document would change. \param work which rows.
/// \return Good when nothing is otherwise, or nothing that was not to change; Failed when something is.
ExitStatus showDifference(const DiffArguments& arguments, const LayerWork& work);

}  // namespace cxml
