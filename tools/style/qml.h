// A layer's style as a document of QGIS, QML: its parts, and how they are written.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace cxml::qml {

/// Names and values, in the order in which they are written.
using Properties = std::vector<std::pair<std::string, std::string>>;

struct SymbolLayer;

struct Symbol {
    std::string kind;  // marker, line or fill
    std::vector<SymbolLayer> layers;
};

/// A layer of a symbol: its class in QGIS, what is the same for all features, and expressions for what is not.
struct SymbolLayer {
    std::string kind;
    Properties properties;
    Properties expressions{};
    std::vector<Symbol> parts{};  // none, or the one symbol that it repeats
};

/// Features for which the renderer's expression has this value; an empty one is for all that no other has.
struct Category {
    std::string value;
    std::string label;
    Symbol symbol;
};

struct Labels {
    std::string expression;
    std::string ink;  // colours, "r,g,b,a"
    std::string paper;
    int placement = 0;  // QGIS's number
};

struct Style {
    std::string attribute;  // a field or an expression
    std::vector<Category> categories;
    std::vector<Labels> labels{};  // none or one
};

/// The document, without a declaration. The same style gives the same text.
std::string written(const Style& style);

}  // namespace cxml::qml
