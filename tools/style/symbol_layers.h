// Layers of QGIS's symbols that draw what pictures and style sheets say.
#pragma once

#include "tools/draw/picture.h"
#include "tools/draw/styles.h"
#include "tools/style/expressions.h"
#include "tools/style/qml.h"

#include <string>

namespace cxml::qml {

/// A colour of a palette, #rrggbb, as QGIS writes it.
std::string colourText(const std::string& colour);

/// The picture inside of the style, as wide as it is in millimetres.
SymbolLayer pictureLayer(const Picture& picture);
/// The picture that QGIS finds by the field's name in a folder that it is told of.
SymbolLayer namedLayer(const std::string& field);
/// A depth.
std::vector<SymbolLayer> figureLayers(const FigureStyle& style, const std::optional<std::string>& depthField);

/// Markers that stand where the fields place them.
Symbol markerOf(std::vector<SymbolLayer> layers, const PlacementFields& fields);

enum class Ends : unsigned char { Flat, Round };
SymbolLayer lineLayer(const LineStyle& style, Ends ends);
SymbolLayer fillLayer(const std::string& colour);
SymbolLayer hatchLayer(const std::string& colour);
/// A fill symbol needs a layer, also when it draws nothing.
SymbolLayer emptyFillLayer();
/// A marker half way along a line, or inside an area.
SymbolLayer halfWay(Symbol marker);
SymbolLayer inside(Symbol marker);

}  // namespace cxml::qml
