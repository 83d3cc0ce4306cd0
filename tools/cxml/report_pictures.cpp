#include "report_pictures.h"

#include "tools/draw/svg.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace cxml {
namespace {

std::string stroke(const LineStyle& style) {
    std::vector<std::string> dash;
    dash.reserve(style.dash.size());
    for (const double length : style.dash) dash.push_back(svgNumber(length));
    return fmt::format(R"(stroke="{}" stroke-width="{}"{})", style.stroke, svgNumber(style.width),
                       dash.empty() ? "" : fmt::format(R"( stroke-dasharray="{}")", fmt::join(dash, " ")));
}

std::string example(const AreaStyle& style) {
    const std::string outline = style.outline ? stroke(*style.outline) : std::string();
    std::string elements;
    if (style.hatch)
        elements = fmt::format(
            R"(<path fill="none" stroke="{}" stroke-width="0.3" d="M-3.8,0L0,-3.8M-3.8,3.8L3.8,-3.8M0,3.8L3.8,0"/>)",
            *style.hatch);
    return fmt::format(R"(<rect x="-3.8" y="-3.8" width="7.6" height="7.6" fill="{}" {}/>)",
                       style.fill.value_or("none"), outline) +
           elements;
}

std::string example(const FigureStyle& style) {
    return fmt::format(
        R"(<text y="1.6" font-size="4.6" font-family="sans-serif" text-anchor="middle" fill="{}"{}>12</text>)",
        style.fill, style.bold ? R"( font-weight="bold")" : "");
}

}  // namespace

std::string PagePictures::elementsOf(const std::string& name) {
    const Styles& styles = symbols_.styles();
    const Picture* const picture = symbols_.picture(name);
    if (const auto area = styles.areas.find(name); area != styles.areas.end())
        return example(area->second) + (area->second.symbol && picture ? picture->elements : "");
    if (picture) return picture->elements;
    if (const auto figure = styles.figures.find(name); figure != styles.figures.end()) return example(figure->second);
    if (const auto line = styles.lines.find(name); line != styles.lines.end())
        return fmt::format(R"(<path fill="none" {} d="M-4.2,2L4.2,-2"/>)", stroke(line->second));
    return {};
}

std::string PagePictures::idOf(const std::string& name) {
    const auto [known, isNew] = ids_.try_emplace(name);
    if (!isNew) return known->second;
    const std::string elements = elementsOf(name);
    if (elements.empty()) return known->second;
    known->second = fmt::format("p{}", ids_.size());
    definitions_ += fmt::format("<g id=\"{}\">{}</g>\n", known->second, elements);
    return known->second;
}

}  // namespace cxml
