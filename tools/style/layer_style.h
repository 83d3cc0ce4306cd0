// The style of a layer for QGIS: its symbols as the chart has them.
#pragma once

#include "host/geodatabase/base/shape_kind.h"
#include "tools/draw/symbol_set.h"
#include "tools/style/expressions.h"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace cxml {

/// What there is of a layer to be styled. Fields as the layer writes them.
struct StyleOrder {
    using Names = std::set<std::pair<embedded_host::ShapeKind, std::string>>;

    std::string symbolField;
    qml::PlacementFields placement;
    std::map<std::string, std::string> depthFields;  // by what the style sheet calls them
    std::vector<std::string> labelFields;
    std::vector<embedded_host::ShapeKind> kinds;  // of the layer's shapes: one, or several
    Names names;                                  // in the field
};

/// Whether a feature of this kind can have the name in its legend: XML has no place for some texts.
bool canBeStyled(const std::string& name);

/// Whether there is more to draw of the name than itself.
bool hasPicture(embedded_host::ShapeKind kind, const std::string& name, SymbolSet& symbols);

/// A style with the pictures of the names in it. Names of which there is none, and those that are not among the
/// order's, get a mark that shows. The same order gives the same text.
std::string pictureStyle(const StyleOrder& order, SymbolSet& symbols);

/// A style whose pictures QGIS finds by their names in folders of its own.
std::string nameStyle(const StyleOrder& order, const Styles& styles);

}  // namespace cxml
