// QGIS's expressions over a layer's fields.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace cxml::qml {

/// A field's name, and a text, as an expression has them.
std::string fieldExpression(const std::string& name);
std::string textExpression(const std::string& text);

/// The fields that place a symbol, as the layer writes them; nothing for one that it lacks.
struct PlacementFields {
    std::optional<std::string> xOffset;
    std::optional<std::string> yOffset;
    std::optional<std::string> rotation;
};

/// Degrees, clockwise. Only with the field.
std::string angleExpression(const PlacementFields& fields);
/// The offset as QGIS wants it: y down, and in the axes of the marker, with which QGIS turns it. Only with a field.
std::string offsetExpression(const PlacementFields& fields);

/// Whether the field holds a name.
std::string isNamed(const std::string& field);

/// The type of the feature's geometry and the field's text behind a blank, "Point BOYLAT13"; a text that `known` does
/// not have with this type is empty there. NULL where the field holds no name.
std::string typedName(const std::string& field, const std::vector<std::string>& known);

/// A depth as charts show it: whole metres and a small tenth.
std::string depthExpression(const std::string& field, bool isUnderlined);

/// The texts of the fields that hold some, on a line each.
std::string linesExpression(const std::vector<std::string>& fields);

}  // namespace cxml::qml
