#include "tools/style/symbol_layers.h"

#include "tools/draw/svg.h"

#include <fmt/format.h>
#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

namespace cxml::qml {
namespace {

constexpr const char* transparent = "0,0,0,0";

std::string base64(std::string_view bytes) {
    constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const auto byte = [&](std::size_t at) {
            return at < bytes.size() ? static_cast<unsigned>(static_cast<unsigned char>(bytes[at])) : 0U;
        };
        const unsigned three = byte(i) << 16U | byte(i + 1) << 8U | byte(i + 2);
        const std::size_t used = std::min<std::size_t>(bytes.size() - i, 3) + 1;
        for (std::size_t digit = 0; digit < 4; ++digit)
            text += digit < used ? digits[three >> (18U - 6U * static_cast<unsigned>(digit)) & 63U] : '=';
    }
    return text;
}

// Dots are dashes without a length, which QGIS leaves out.
std::string withDots(std::string elements) {
    constexpr std::string_view dots = R"(stroke-dasharray="0 )";
    for (std::size_t at = 0; (at = elements.find(dots, at)) != std::string::npos; at += dots.size())
        elements.insert(at + dots.size() - 1, ".01");
    return elements;
}

SymbolLayer svgLayer(std::string name, double width) {
    return {"SvgMarker", {{"name", std::move(name)}, {"size", svgNumber(width)}, {"size_unit", "MM"}}};
}

}  // namespace

std::string colourText(const std::string& colour) {
    unsigned number = 0;
    constexpr int sixteen = 16;
    std::from_chars(colour.data() + 1, colour.data() + colour.size(), number, sixteen);
    return fmt::format("{},{},{},255", number >> 16U & 255U, number >> 8U & 255U, number & 255U);
}

SymbolLayer pictureLayer(const Picture& picture) {
    Picture dotted = picture;
    dotted.elements = withDots(std::move(dotted.elements));
    return svgLayer("base64:" + base64(pictureFile(dotted)), 2 * dotted.halfWidth);
}

SymbolLayer namedLayer(const std::string& field) {
    constexpr double width = 5;  // what is in the folder is not known
    SymbolLayer layer = svgLayer("none.svg", width);
    layer.expressions.emplace_back("name", fmt::format("coalesce({}, 'none') || '.svg'", fieldExpression(field)));
    return layer;
}

std::vector<SymbolLayer> figureLayers(const FigureStyle& style, const std::optional<std::string>& depthField) {
    const std::string colour = colourText(style.fill);
    SymbolLayer digits{"FontMarker",
                       {{"font", "Sans Serif"},
                        {"chr", "?"},
                        {"color", colour},
                        {"font_style", style.bold ? "Bold" : ""},
                        {"size", "2.3"},
                        {"size_unit", "MM"},
                        {"outline_width", "0"},
                        {"outline_color", transparent}}};
    if (depthField) digits.expressions.emplace_back("char", depthExpression(*depthField, style.underline));
    std::vector<SymbolLayer> layers{std::move(digits)};
    if (style.circle)
        layers.push_back({"SimpleMarker",
                          {{"name", "circle"},
                           {"color", transparent},
                           {"outline_color", colour},
                           {"outline_width", "0.2"},
                           {"outline_width_unit", "MM"},
                           {"size", "4.6"},
                           {"size_unit", "MM"}}});
    if (style.swept)
        layers.push_back(pictureLayer(
            {fmt::format(R"(<path d="M-1.6,1.2V2H1.6V1.2" fill="none" stroke="{}" stroke-width="0.2"/>)", style.fill),
             {},
             2.2,
             2.2}));
    return layers;
}

Symbol markerOf(std::vector<SymbolLayer> layers, const PlacementFields& fields) {
    for (SymbolLayer& layer : layers) {
        layer.properties.insert(layer.properties.end(), {{"angle", "0"}, {"offset", "0,0"}, {"offset_unit", "MM"}});
        if (fields.rotation) layer.expressions.emplace_back("angle", angleExpression(fields));
        if (fields.xOffset || fields.yOffset) layer.expressions.emplace_back("offset", offsetExpression(fields));
    }
    return {"marker", std::move(layers)};
}

SymbolLayer lineLayer(const LineStyle& style, Ends ends) {
    SymbolLayer layer{"SimpleLine",
                      {{"line_color", colourText(style.stroke)},
                       {"line_style", "solid"},
                       {"line_width", svgNumber(style.width)},
                       {"line_width_unit", "MM"},
                       {"joinstyle", "round"},
                       {"capstyle", ends == Ends::Round ? "round" : "flat"}}};
    if (style.dash.empty()) return layer;
    std::string dash;
    const std::size_t count = style.dash.size() % 2 == 0 ? style.dash.size() : 2 * style.dash.size();
    for (std::size_t i = 0; i < count; ++i) dash += (i == 0 ? "" : ";") + svgNumber(style.dash[i % style.dash.size()]);
    layer.properties.insert(layer.properties.end(),
                            {{"use_custom_dash", "1"}, {"customdash", dash}, {"customdash_unit", "MM"}});
    return layer;
}

SymbolLayer fillLayer(const std::string& colour) {
    return {"SimpleFill", {{"color", colourText(colour)}, {"style", "solid"}, {"outline_style", "no"}}};
}

SymbolLayer emptyFillLayer() {
    return {"SimpleFill", {{"color", transparent}, {"style", "no"}, {"outline_style", "no"}}};
}

SymbolLayer hatchLayer(const std::string& colour) {
    return {"LinePatternFill",
            {{"angle", "45"}, {"distance", "3"}, {"distance_unit", "MM"}},
            {},
            {{"line", {lineLayer({colour, 0.3, {}}, Ends::Flat)}}}};
}

SymbolLayer halfWay(Symbol marker) {
    return {"MarkerLine", {{"placement", "centralpoint"}, {"rotate", "0"}}, {}, {std::move(marker)}};
}

SymbolLayer inside(Symbol marker) {
    return {"CentroidFill", {{"point_on_surface", "1"}, {"point_on_all_parts", "0"}}, {}, {std::move(marker)}};
}

}  // namespace cxml::qml
