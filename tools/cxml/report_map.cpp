#include "report_map.h"

#include "chart_order.h"
#include "tools/text/text.h"

#include <algorithm>
#include <utility>

namespace cxml {

void DecidedValues::beginLayer(const std::string& layer, std::vector<std::string> shownFields) {
    layer_ = &layers_[layer];
    layer_->fields = std::move(shownFields);
}

void DecidedValues::add(const RowOutcome& outcome) {
    Values values;
    for (const RowOutcome::Put& put : outcome.puts) {
        const bool isShown = put.field == "SYMBOL_C" || isPlacementField(put.field) ||
                             std::ranges::find(layer_->fields, put.field) != layer_->fields.end();
        if (isShown)
            values.emplace_back(put.field, put.value.type == "null" ? std::nullopt : std::optional(put.value.text));
    }
    if (values.empty() && !isLimited_) return;
    if (layer_->rows.size() < mostFeatures) {
        layer_->rows.emplace(outcome.row, std::move(values));
    } else if (!layer_->lastKept) {
        layer_->lastKept = outcome.row - 1;
        isCut_ = true;
    }
}

bool DecidedValues::apply(HeldRow& row) const {
    const auto layer = layers_.find(row.layer);
    if (layer == layers_.end()) return false;
    const auto found = layer->second.rows.find(row.id);
    if (found == layer->second.rows.end())
        return !isLimited_ && (!layer->second.lastKept || row.id <= *layer->second.lastKept);
    for (const auto& [field, value] : found->second)
        for (std::size_t i = 0; i < row.fields.size(); ++i)
            if (isSameName(row.fields[i], field)) row.values[i] = value;
    return true;
}

ReportMap drawReportMap(embedded_host::ShapeSource& source, FeatureQuery query, const DecidedValues& decided,
                        SymbolSet& symbols) {
    ReportMap map;
    // Of layers that the document configures and that have nothing to draw, nothing is drawn.
    std::erase_if(query.layers, [&](const std::string& name) {
        const auto layers = source.layers();
        const auto found = std::ranges::find(layers, name, &embedded_host::LayerInfo::name);
        return found == layers.end() || !found->spatial || !source.findFields(name, {"SYMBOL_C"}).front();
    });
    if (query.layers.empty()) {
        map.whyNone = "no layer of the run has both a shape and the field SYMBOL_C";
        return map;
    }
    query.onRow = [&](HeldRow& row) { return decided.apply(row); };
    try {
        const Features features = collectFeatures(source, query, symbols.styles());
        const auto bounds = features.bounds();
        if (!bounds) {
            map.whyNone = "no row of the run has both a shape and a symbol";
            return map;
        }
        const Page page(withMargin(*bounds), std::nullopt);
        for (const FeatureLayer& layer : features.layers)
            if (!layer.features.empty()) map.layers.emplace_back(layer.name, layer.features.size());
        map.features = features.count();
        map.cutIn = features.cutIn;
        map.scale = page.scale();
        map.picture = drawChart(features, nullptr, page, symbols);
    } catch (const DrawError& error) {
        map.whyNone = error.what();
    }
    return map;
}

}  // namespace cxml
