#include "layer_choice.h"

#include <fmt/format.h>
#include <algorithm>
#include <cctype>
#include <numeric>

namespace cxml {
namespace {

using embedded_host::HostError;
using embedded_host::LayerInfo;

constexpr std::size_t longestList = 10;
constexpr std::size_t mostEdits = 2;  // between similar names, and never more than half of a name

std::string lowerAscii(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

// Insertions, removals and replacements of bytes that turn one text into the other.
std::size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

std::vector<std::string> similarNames(const std::string& name, const std::vector<LayerInfo>& available) {
    std::vector<std::string> similar;
    const std::string wanted = lowerAscii(name);
    const std::size_t closeEnough = std::min(mostEdits, name.size() / 2);
    for (const LayerInfo& layer : available)
        if (editDistance(wanted, lowerAscii(layer.name)) <= closeEnough || layer.alias == name)
            similar.push_back(layer.name);
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
