// What cxml diff shows.
#pragma once

#include "made_up_rows.h"
#include "tools/reports/document.h"
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
    // Where the rows are made up: what is in them, and what they cannot tell.
    std::vector<MadeUpRows> madeUp;

    bool isStatic() const noexcept { return !madeUp.empty(); }
    /// "CATLAM = 2, BOYSHP = 5", by field and value.
    std::vector<std::pair<std::string, std::string>> witness(const std::string& layer, ObjectId row) const;
    /// Lines about classes that the rows may not have told apart.
    std::vector<std::string> undecided() const;
    std::int64_t sum(std::int64_t (Difference::*count)() const noexcept) const;
    std::int64_t sum(RowChange change) const;
};

/// What two explanations say is the cause, in one line.
std::string causeText(const DatasetDifference& all, const Cause& cause);
std::string differenceText(const DatasetDifference& all, bool isFull);
nlohmann::ordered_json differenceJson(const DatasetDifference& all);

}  // namespace cxml
