#include "tools/style/layer_style.h"

#include "tools/draw/marks.h"
#include "tools/draw/svg.h"
#include "tools/style/qml.h"
#include "tools/style/symbol_layers.h"
#include "tools/text/text.h"
#include "tools/text/xml_text.h"

#include <fmt/format.h>

namespace cxml {
namespace {

using embedded_host::ShapeKind;
using qml::Symbol;
using qml::SymbolLayer;

constexpr std::size_t mostShown = 100;    // characters of a label
constexpr std::size_t mostMissing = 500;  // names that have a mark of their own

// As QGIS's geometry_type() calls them.
std::string typeName(ShapeKind kind) {
    return kind == ShapeKind::Point ? "Point" : kind == ShapeKind::Line ? "Line" : "Polygon";
}

class Styling {
public:
    Styling(const StyleOrder& order, const Styles& styles) : order_(order), styles_(styles) {}

    // The symbol of a name, drawn as tools/draw draws it.
    Symbol symbolOf(ShapeKind kind, const std::string& name, SymbolSet& symbols) const {
        if (kind == ShapeKind::Area) return areaOf(name, symbols);
        if (kind == ShapeKind::Line) return lineOf(name, symbols);
        const auto figure = styles_.figures.find(name);
        if (figure == styles_.figures.end()) return pointOf(name, symbols);
        const auto depth = order_.depthFields.find(figure->second.field);
        return marker(qml::figureLayers(
            figure->second, depth == order_.depthFields.end() ? std::nullopt : std::optional(depth->second)));
    }

    // A marker, and of what is no point its line, too: it has to be seen.
    Symbol unstyled(ShapeKind kind, Symbol marker) const {
        if (kind == ShapeKind::Point) return marker;
        SymbolLayer line = qml::lineLayer({styles_.colour("magenta"), 0.2, {1.5, 1}}, qml::Ends::Flat);
        if (kind == ShapeKind::Line) return {"line", {std::move(line), qml::halfWay(std::move(marker))}};
        return {"fill", {std::move(line), qml::inside(std::move(marker))}};
    }

    Symbol marker(std::vector<SymbolLayer> layers) const { return qml::markerOf(std::move(layers), order_.placement); }

    // For names that came later.
    Symbol unknown(ShapeKind kind) const { return onlyNamed(unstyled(kind, marker({qml::pictureLayer(mark("?"))}))); }

    // Draws nothing of features without a name.
    Symbol onlyNamed(Symbol symbol) const {
        for (SymbolLayer& layer : symbol.layers)
            layer.expressions.emplace_back("enabled", qml::isNamed(order_.symbolField));
        return symbol;
    }

    std::string label(ShapeKind kind, const std::string& name, SymbolSet& symbols) const {
        std::string shown = oneLine(shortened(name, mostShown));
        if (!hasPicture(kind, name, symbols)) return shown + ": no such symbol";
        const Picture* const picture = symbols.picture(name);
        if (!picture || picture->title.empty()) return shown;
        const std::string title = oneLine(shortened(picture->title, mostShown));
        return title.starts_with(shown) ? title : shown + ": " + title;
    }

private:
    Picture mark(const std::string& name) const {
        return unknownMark(name, styles_.colour("magenta"), styles_.colour("paper"));
    }

    Symbol pointOf(const std::string& name, SymbolSet& symbols) const {
        const Picture* const picture = symbols.picture(name);
        const bool isPlaced = picture && picture->halfWidth > 0 && picture->halfHeight > 0;
        return marker({qml::pictureLayer(isPlaced ? *picture : mark(name))});
    }

    Symbol lineOf(const std::string& name, SymbolSet& symbols) const {
        const auto line = styles_.lines.find(name);
        if (line != styles_.lines.end()) return {"line", {qml::lineLayer(line->second, qml::Ends::Round)}};
        const auto area = styles_.areas.find(name);
        if (area != styles_.areas.end() && area->second.outline)
            return {"line", {qml::lineLayer(*area->second.outline, qml::Ends::Round)}};
        return unstyled(ShapeKind::Line, pointOf(name, symbols));
    }

    Symbol areaOf(const std::string& name, SymbolSet& symbols) const {
        const auto found = styles_.areas.find(name);
        if (found == styles_.areas.end()) {
            const auto line = styles_.lines.find(name);
            if (line != styles_.lines.end()) return {"fill", {qml::lineLayer(line->second, qml::Ends::Flat)}};
            return unstyled(ShapeKind::Area, pointOf(name, symbols));
        }
        const AreaStyle& style = found->second;
        Symbol symbol{"fill", {}};
        if (style.fill) symbol.layers.push_back(qml::fillLayer(*style.fill));
        if (style.hatch) symbol.layers.push_back(qml::hatchLayer(*style.hatch));
        if (style.outline) symbol.layers.push_back(qml::lineLayer(*style.outline, qml::Ends::Flat));
        if (style.symbol) symbol.layers.push_back(qml::inside(pointOf(name, symbols)));
        if (symbol.layers.empty()) symbol.layers.push_back(qml::emptyFillLayer());
        return symbol;
    }

    const StyleOrder& order_;
    const Styles& styles_;
};

std::vector<qml::Labels> labelsOf(const StyleOrder& order, const Styles& styles) {
    if (order.labelFields.empty()) return {};
    constexpr int aroundPoint = 0;
    constexpr int alongLine = 2;
    constexpr int besidePoint = 6;
    const bool isOne = order.kinds.size() == 1;
    const int placement = isOne && order.kinds.front() == ShapeKind::Point  ? besidePoint
                          : isOne && order.kinds.front() == ShapeKind::Line ? alongLine
                                                                            : aroundPoint;
    return {{qml::linesExpression(order.labelFields), qml::colourText(styles.colour("ink")),
             qml::colourText(styles.colour("paper")), placement}};
}

}  // namespace

bool canBeStyled(const std::string& name) {
    return !name.empty() && isXml(name);
}

bool hasPicture(ShapeKind kind, const std::string& name, SymbolSet& symbols) {
    const Styles& styles = symbols.styles();
    if (kind == ShapeKind::Point && styles.figures.contains(name)) return true;
    if (kind != ShapeKind::Point && styles.lines.contains(name)) return true;
    const auto area = styles.areas.find(name);
    if (kind == ShapeKind::Area && area != styles.areas.end() && !area->second.symbol) return true;
    if (kind == ShapeKind::Line && area != styles.areas.end() && area->second.outline) return true;
    const Picture* const picture = symbols.picture(name);
    return picture && picture->halfWidth > 0 && picture->halfHeight > 0;
}

// Where QGIS shows shapes of several kinds as a layer each, all of them have this one style: categories tell the kinds.
std::string pictureStyle(const StyleOrder& order, SymbolSet& symbols) {
    const Styling styling(order, symbols.styles());
    const bool isOne = order.kinds.size() == 1;
    qml::Style style{order.symbolField, {}, labelsOf(order, symbols.styles())};
    std::vector<std::string> known;
    std::size_t missing = 0;
    for (const auto& [kind, name] : order.names) {
        if (!canBeStyled(name) || (!hasPicture(kind, name, symbols) && ++missing > mostMissing)) continue;
        known.push_back(isOne ? name : typeName(kind) + " " + name);
        style.categories.push_back(
            {known.back(), styling.label(kind, name, symbols), styling.symbolOf(kind, name, symbols)});
    }
    for (const ShapeKind kind : order.kinds)
        style.categories.push_back(
            {isOne ? std::string() : typeName(kind) + " ", "other names: no such symbol", styling.unknown(kind)});
    if (!isOne) style.attribute = qml::typedName(order.symbolField, known);
    return qml::written(style);
}

std::string nameStyle(const StyleOrder& order, const Styles& styles) {
    const Styling styling(order, styles);
    qml::Style style{"geometry_type($geometry)", {}, labelsOf(order, styles)};
    for (const ShapeKind kind : order.kinds)
        style.categories.push_back(
            {typeName(kind), typeName(kind),
             styling.onlyNamed(styling.unstyled(kind, styling.marker({qml::namedLayer(order.symbolField)})))});
    return qml::written(style);
}

}  // namespace cxml
