#include "layer_choice.h"

#include "tools/text/similar.h"

#include <fmt/format.h>
#include <algorithm>

namespace cxml {
namespace {

using embedded_host::HostError;
using embedded_host::LayerInfo;

constexpr std::size_t longestList = 10;

std::vector<std::string> similarNames(const std::string& name, const std::vector<LayerInfo>& available) {
    std::vector<std::string> similar;
    for (const LayerInfo& layer : available)
        if (areSimilar(name, layer.name) || layer.alias == name) similar.push_back(layer.name);
    return similar;
}

[[noreturn]] void refuse(const std::string& name, const std::vector<LayerInfo>& available, const std::string& dataset) {
    std::string text = fmt::format("{}: there is no layer '{}'", dataset, name);
    const std::vector<std::string> similar = similarNames(name, available);
    std::vector<std::string> all;
    all.reserve(available.size());
    for (const LayerInfo& layer : available) all.push_back(layer.name);
    if (!similar.empty())
        text += fmt::format("; similar: {}", listOf(similar));
    else
        text += all.empty() ? "; the dataset has no layers" : fmt::format("; available: {}", listOf(all));
    throw HostError(text);
}

}  // namespace

std::string whyNoSymbols(embedded_host::GdalWorkspace& workspace, const std::string& layer) {
    if (workspace.fieldType(layer, "SYMBOL_C")) return {};
    return "no row has got a symbol: the layer has no field SYMBOL_C, which 'cxml symbolize' with --add-fields adds";
}

std::string listOf(const std::vector<std::string>& names) {
    std::string list;
    for (std::size_t i = 0; i < names.size() && i < longestList; ++i) list += (i == 0 ? "" : ", ") + names[i];
    if (names.size() > longestList) list += fmt::format(" and {} more", names.size() - longestList);
    return list;
}

const LayerInfo& findLayer(const std::vector<LayerInfo>& available, const std::string& name,
                           const std::string& dataset) {
    const auto found = std::ranges::find(available, name, &LayerInfo::name);
    if (found == available.end()) refuse(name, available, dataset);
    return *found;
}

std::vector<LayerInfo> chooseLayers(std::vector<LayerInfo> available, const std::vector<std::string>& names,
                                    const ConditionalXml::ConditionMap& map, const std::string& dataset) {
    if (names.empty()) {
        std::erase_if(available, [&](const LayerInfo& layer) { return !findConfiguration(map, layer.alias); });
        return available;
    }
    std::vector<LayerInfo> chosen;
    for (const std::string& name : names) {
        if (std::ranges::find(chosen, name, &LayerInfo::name) == chosen.end())
            chosen.push_back(findLayer(available, name, dataset));
    }
    return chosen;
}

}  // namespace cxml
