#include "chart_order.h"

#include "cxml/target_fields.h"
#include "tools/reports/configurations.h"
#include "tools/text/text.h"

#include <algorithm>
#include <set>
#include <utility>

namespace cxml {
namespace {

bool isPlacement(const std::string& field) {
    return std::ranges::any_of(ConditionalXml::placements, [&](const ConditionalXml::Placement& placement) {
        return isSameName(field, toUtf8(CComBSTR(placement.field)));
    });
}

}  // namespace

std::vector<std::string> labelFields(const ConditionalXml::FeatureClassRule& configuration) {
    std::vector<std::string> labels = resultFields(configuration);
    std::erase_if(labels, isPlacement);
    return labels;
}

std::vector<ClassOrder> chartOrderOf(const ConditionalXml::ConditionMap& map) {
    std::vector<ClassOrder> classes;
    std::set<const ConditionalXml::FeatureClassRule*> known;
    for (const auto& condition : map.conditions) {
        const ConditionalXml::FeatureClassRule* const owner = condition->featureClassRule;
        const CComBSTR upperName = upperCase(owner->name);
        // Another class of the name has taken the place of one that is not found.
        if (map.find(upperName).get() != owner || !known.insert(owner).second) continue;
        classes.push_back({toUtf8(upperName), labelFields(*owner)});
    }
    return classes;
}

embedded_host::Bounds withMargin(const embedded_host::Bounds& bounds) {
    constexpr double share = 0.02;
    constexpr double least = 0.001;  // degrees
    const double x = std::max((bounds.east - bounds.west) * share, least);
    const double y = std::max((bounds.north - bounds.south) * share, least);
    return {bounds.west - x, bounds.south - y, bounds.east + x, bounds.north + y};
}

}  // namespace cxml
