// What cxml diff shows.
#pragma once

#include "document.h"
#include "tools/workbench/cause.h"
#include "tools/workbench/cross_reads.h"
#include "tools/workbench/difference.h"

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace cxml {

/// The rows of one layer.
struct LayerDifference {
    std::string layer;
    Difference difference;
    std::vector<ChangeGroup> groups;
    std::vector<std::vector<Cause>> causes;  // of the first of the groups
};

/// Two documents over a dataset, or one and what the dataset holds.
struct DatasetDifference {
    const Document* first = nullptr;  // null: what the dataset holds
    const Document* second = nullptr;
    std::string dataset;
    bool hasIntention = false;          // whether only some rows were to change
    std::vector<CrossRead> crossReads;  // that made the runs real ones
    std::vector<LayerDifference> layers;

    std::int64_t sum(std::int64_t (Difference::*count)() const noexcept) const;
    std::int64_t sum(RowChange change) const;
};

std::string differenceText(const DatasetDifference& all, bool isFull);
nlohmann::ordered_json differenceJson(const DatasetDifference& all);

}  // namespace cxml
