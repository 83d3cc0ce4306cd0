#include "host/geodatabase/base/shape_kind.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

namespace embedded_host {

ShapeKind kindOfGeometryType(std::string_view name) {
    constexpr std::array<std::pair<std::string_view, ShapeKind>, 8> types{{{"POINT", ShapeKind::Point},
                                                                           {"LINESTRING", ShapeKind::Line},
                                                                           {"CIRCULARSTRING", ShapeKind::Line},
                                                                           {"COMPOUNDCURVE", ShapeKind::Line},
                                                                           {"CURVEPOLYGON", ShapeKind::Area},
                                                                           {"POLYGON", ShapeKind::Area},
                                                                           {"CURVE", ShapeKind::Line},
                                                                           {"SURFACE", ShapeKind::Area}}};
    std::string upper(name);
    for (char& c : upper)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    constexpr std::string_view several = "MULTI";
    if (upper.starts_with(several)) upper.erase(0, several.size());
    const auto found = std::ranges::find_if(types, [&](const auto& type) { return upper.starts_with(type.first); });
    return found == types.end() ? ShapeKind::None : found->second;
}

}  // namespace embedded_host
