// The map of a report: what a run would show where.
#pragma once

#include "tools/draw/chart.h"
#include "tools/workbench/row_outcome.h"

#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace cxml {

/// What a run that writes nothing would put into rows, for the fields that charts show. Memory does not grow with rows:
/// beyond the first ones of a layer nothing is kept.
class DecidedValues {
public:
    /// \param isLimited whether the run is over some rows only, so that others are not to be shown.
    explicit DecidedValues(bool isLimited) : isLimited_(isLimited) {}

    /// \param shownFields of the class, beside symbol and placement.
    void beginLayer(const std::string& layer, std::vector<std::string> shownFields);
    void add(const RowOutcome& outcome);

    /// Gives the row the values that it would get. \return false for one that is not to be shown.
    bool apply(HeldRow& row) const;
    /// Whether there were more rows than are kept.
    bool isCut() const noexcept { return isCut_; }

private:
    using Values = std::vector<std::pair<std::string, std::optional<std::string>>>;
    struct Layer {
        std::vector<std::string> fields;
        std::unordered_map<ObjectId, Values> rows;
        std::optional<ObjectId> lastKept;  // where there were too many
    };

    bool isLimited_;
    bool isCut_ = false;
    std::map<std::string, Layer> layers_;
    Layer* layer_ = nullptr;
};

struct ReportMap {
    std::optional<ChartPicture> picture;
    std::string whyNone;                                      // where there is no picture
    std::vector<std::pair<std::string, std::size_t>> layers;  // in drawing order, with their features
    std::size_t features = 0;
    std::string cutIn;  // the layer in which there were too many features; empty when all are there
    double scale = 0;
};

/// Draws what the run would show of these layers. \throws embedded_host::HostError
ReportMap drawReportMap(embedded_host::ShapeSource& source, FeatureQuery query, const DecidedValues& decided,
                        SymbolSet& symbols);

}  // namespace cxml
