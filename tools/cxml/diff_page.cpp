#include "diff_page.h"

#include "tools/pages/page.h"
#include "tools/pages/templates.h"
#include "tools/reports/ledger_report.h"

#include <array>
#include <nlohmann/json.hpp>
#include <utility>

namespace cxml {
namespace {

using nlohmann::ordered_json;

constexpr std::array<std::pair<RowChange, const char*>, 7> counted{
    {{RowChange::Same, "the same"},
     {RowChange::Symbol, "another symbol"},
     {RowChange::Lost, "the symbol is lost"},
     {RowChange::Gained, "a symbol is gained"},
     {RowChange::Placement, "the symbol is placed otherwise"},
     {RowChange::Fields, "another computed value"},
     {RowChange::Error, "otherwise by an error on one side only"}}};

ordered_json sideOf(const ChangeSide& side, const Document* document) {
    const bool isThere = !side.value.text.empty() || side.value.isText();
    ordered_json json{{"value", isThere ? inWords(side.value) : "no value"}, {"line", 0}, {"address", ""}};
    if (side.value.isText() && !side.value.text.empty()) json["value"] = side.value.text;
    if (!side.by || !document) return json;
    json["line"] = document->places.lineOf(*side.by);
    json["address"] = document->places.addressOf(*side.by);
    return json;
}

ordered_json groupOf(const DatasetDifference& all, const LayerDifference& layer, std::size_t i) {
    const ChangeGroup& group = layer.groups[i];
    ordered_json causes = ordered_json::array();
    if (i < layer.causes.size())
        for (const Cause& cause : layer.causes[i]) causes.push_back(causeText(all, cause));
    return {{"rows", group.rows.rows},
            {"fields", group.fields},
            {"outside", all.hasIntention ? group.outside : 0},
            {"from", sideOf(group.from, all.first)},
            {"to", sideOf(group.to, all.second)},
            {"causes", std::move(causes)},
            {"sample", firstRows(group.rows)}};
}

}  // namespace

std::string differencePage(const DatasetDifference& all) {
    ordered_json content{{"first", all.first ? all.first->path : "what the dataset holds"},
                         {"second", all.second->path},
                         {"dataset", all.dataset},
                         {"hasIntention", all.hasIntention},
                         {"outside", all.hasIntention ? all.sum(&Difference::outside) : 0},
                         {"real_runs", ordered_json::array()},
                         {"counts", ordered_json::array()},
                         {"layers", ordered_json::array()}};
    for (const CrossRead& read : all.crossReads)
        content["real_runs"].push_back({{"line", read.line}, {"field", read.field}});
    for (const auto& [change, what] : counted)
        content["counts"].push_back({{"rows", std::to_string(all.sum(change))}, {"what", what}});
    for (const LayerDifference& layer : all.layers) {
        if (layer.groups.empty()) continue;
        ordered_json groups = ordered_json::array();
        for (std::size_t i = 0; i < layer.groups.size(); ++i) groups.push_back(groupOf(all, layer, i));
        content["layers"].push_back({{"layer", layer.layer}, {"groups", std::move(groups)}});
    }
    return page(templates::diff_html, content);
}

}  // namespace cxml
