#include "tools/draw/marks.h"

#include "tools/draw/paths.h"
#include "tools/draw/svg.h"

#include <fmt/format.h>
#include <algorithm>
#include <charconv>
#include <cmath>

namespace cxml {
namespace {

constexpr std::size_t mostShown = 24;   // characters of a name in its box
constexpr std::size_t mostNamed = 200;  // characters of a name where programs look for it
constexpr double figureSize = 2.3;
constexpr double smallSize = 1.7;
constexpr double digitWidth = 0.58;  // of a digit's height
constexpr double deepest = 31;       // metres to which a depth has a decimal

std::string moved(const PagePoint& place, const Placement& placement) {
    std::string text = "translate(";
    appendPlace(text, place);
    text += ')';
    // As the fields have them, but y is down here.
    if (placement.xOffset != 0 || placement.yOffset != 0)
        text += " translate(" + exactNumber(placement.xOffset) + "," +
                exactNumber(placement.yOffset == 0 ? 0 : -placement.yOffset) + ")";
    if (placement.rotation != 0) text += " rotate(" + exactNumber(placement.rotation) + ")";
    return text;
}

// What is shown of a depth: whole metres, and its decimal beside them.
struct Depth {
    std::string metres;
    std::string decimal;
};

// Never deeper than it is: what is left out is left out towards the surface.
Depth shownDepth(const std::optional<std::string>& text) {
    double value = 0;
    if (!text) return {"?", {}};
    const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), value);
    constexpr double most = 20'000;
    if (error != std::errc() || end != text->data() + text->size() || !(std::abs(value) < most)) return {"?", {}};
    constexpr double nearly = 1e-6;  // 0.3 is a little less than three tenths
    const auto tenths = static_cast<long>(std::floor(value * 10 + nearly));
    const long shown = std::abs(tenths);
    const bool hasDecimal = shown % 10 != 0 && std::abs(value) < deepest;
    const long metres = hasDecimal || tenths >= 0 ? shown / 10 : (shown + 9) / 10;
    return {std::to_string(metres), hasDecimal ? std::to_string(shown % 10) : std::string()};
}

}  // namespace

Picture unknownMark(const std::string& name, const std::string& colour, const std::string& paper) {
    const std::string shown = shortened(name, mostShown);
    const double half = (static_cast<double>(std::min(name.size(), mostShown + 1)) * 1.05 + 1.2) / 2;
    constexpr double line = 0.35;
    const std::string elements = fmt::format(
        R"(<rect x="{0}" y="-1.5" width="{1}" height="3" fill="{3}" stroke="{2}" stroke-width="0.35" )"
        R"(stroke-dasharray="1 0.5"/><text y="0.6" font-size="1.7" text-anchor="middle" fill="{2}">{4}</text>)",
        svgNumber(-half), svgNumber(2 * half), colour, paper, xmlText(shown));
    return {elements, {}, half + line / 2, 1.5 + line / 2};
}

const Marks::Known& Marks::define(const std::string& symbol) {
    const auto [known, isNew] = known_.try_emplace(symbol);
    if (!isNew) return known->second;
    const Picture* const picture = symbols_.picture(symbol);
    known->second = {fmt::format("s{}", known_.size()), picture == nullptr};
    const Styles& styles = symbols_.styles();
    definitions_ += fmt::format(R"(<g id="{}" data-symbol="{}"{}>)", known->second.id,
                                xmlText(shortened(symbol, mostNamed)), picture ? "" : R"( data-picture="none")");
    definitions_ +=
        picture ? picture->elements : unknownMark(symbol, styles.colour("magenta"), styles.colour("paper")).elements;
    definitions_ += "</g>\n";
    return known->second;
}

void Marks::use(std::string& svg, const Known& known, const Feature& feature, const PagePoint& place,
                const char* more) const {
    svg += fmt::format("<use href=\"#{}\"{} transform=\"{}\"/>\n", known.id, more, moved(place, feature.placement));
}

void Marks::add(std::string& svg, const Feature& feature, const PagePoint& place) {
    if (const auto figure = symbols_.styles().figures.find(feature.symbol);
        figure != symbols_.styles().figures.end() && feature.shape.kind == embedded_host::ShapeKind::Point) {
        addFigure(svg, figure->second, feature, place);
        return;
    }
    const Known& known = define(feature.symbol);
    if (known.isMissing) countMissing(feature.symbol);
    use(svg, known, feature, place, fmt::format(R"( data-fid="{}")", feature.id).c_str());
}

void Marks::addFaint(std::string& svg, const Feature& feature, const PagePoint& place) {
    if (symbols_.styles().figures.contains(feature.symbol)) return;
    use(svg, define(feature.symbol), feature, place, R"( opacity="0.45")");
}

void Marks::addFigure(std::string& svg, const FigureStyle& style, const Feature& feature,
                      const PagePoint& place) const {
    const Depth depth = shownDepth(feature.depth);
    const double wide = static_cast<double>(depth.metres.size()) * figureSize * digitWidth;
    const double all = wide + static_cast<double>(depth.decimal.size()) * smallSize * digitWidth;
    svg += fmt::format(R"(<g data-fid="{}" data-symbol="{}" fill="{}" transform="{}">)", feature.id,
                       xmlText(feature.symbol), style.fill, moved(place, feature.placement));
    svg += fmt::format(R"(<text x="{}" y="0.8" font-size="{}"{}>{})", svgNumber(-all / 2), figureSize,
                       style.bold ? R"( font-weight="bold")" : "", depth.metres);
    if (!depth.decimal.empty())
        svg += fmt::format(R"(<tspan dy="0.6" font-size="{}">{}</tspan>)", smallSize, depth.decimal);
    svg += "</text>";
    const std::string stroke = fmt::format(R"( fill="none" stroke="{}" stroke-width="0.2")", style.fill);
    if (style.underline)
        svg += fmt::format(R"(<path d="M{},1.2H{}"{}/>)", svgNumber(-all / 2), svgNumber(-all / 2 + wide), stroke);
    if (style.swept)
        svg += fmt::format(R"(<path d="M{0},0.9V1.7H{1}V0.9"{2}/>)", svgNumber(-all / 2), svgNumber(all / 2), stroke);
    if (style.circle) svg += fmt::format(R"(<circle r="{}"{}/>)", svgNumber(std::max(all / 2 + 0.5, 1.8)), stroke);
    svg += "</g>\n";
}

}  // namespace cxml
