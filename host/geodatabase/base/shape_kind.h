// The kinds of shapes that charts have.
#pragma once

#include <string_view>

namespace embedded_host {

enum class ShapeKind { None, Point, Line, Area };

/// What the name of a type of geometry means, in any case: "MULTIPOINT", "LineString Z". None for one that several
/// kinds may be in, "GEOMETRY".
ShapeKind kindOfGeometryType(std::string_view name);

}  // namespace embedded_host
