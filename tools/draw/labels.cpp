#include "tools/draw/labels.h"

#include "tools/draw/paths.h"
#include "tools/draw/svg.h"

#include <fmt/format.h>
#include <algorithm>
#include <cmath>

namespace cxml {
namespace {

constexpr double size = 2.0;
constexpr double letterWidth = 0.56;  // of a letter's size, about
constexpr double cell = 12;
constexpr std::size_t mostShown = 40;

}  // namespace

template <class Visit>
void Labels::eachCell(const Box& box, Visit&& visit) {
    const auto cellOf = [](double millimetres) {
        return static_cast<int>(std::floor(std::clamp(millimetres, -1e6, 1e6) / cell));
    };
    for (int x = cellOf(box.left); x <= cellOf(box.right); ++x)
        for (int y = cellOf(box.top); y <= cellOf(box.bottom); ++y) visit(std::pair(x, y));
}

bool Labels::isFree(const Box& box) const {
    bool isFree = true;
    eachCell(box, [&](const std::pair<int, int>& at) {
        const auto found = taken_.find(at);
        if (found == taken_.end()) return;
        isFree = isFree && std::ranges::none_of(found->second, [&](const Box& other) {
                     return box.left < other.right && other.left < box.right && box.top < other.bottom &&
                            other.top < box.bottom;
                 });
    });
    return isFree;
}

void Labels::occupy(const Box& box) {
    eachCell(box, [&](const std::pair<int, int>& at) { taken_[at].push_back(box); });
}

void Labels::occupy(const PagePoint& middle, double halfWidth, double halfHeight) {
    occupy({middle.x - halfWidth, middle.y - halfHeight, middle.x + halfWidth, middle.y + halfHeight});
}

void Labels::add(const std::string& text, const PagePoint& place) {
    std::string shown = shortened(text, mostShown);
    std::string key;
    appendPlace(key, place);
    if (known_.insert(key + ' ' + shown).second) labels_.emplace_back(std::move(shown), place);
}

void Labels::write(std::string& svg, const Page& page, const std::string& ink, const std::string& paper) {
    svg += fmt::format(R"(<g id="labels" font-size="{}" fill="{}" stroke="{}" stroke-width="0.5" )"
                       "stroke-linejoin=\"round\" paint-order=\"stroke\">\n",
                       size, ink, paper);
    for (const auto& [text, place] : labels_) {
        if (place.x < 0 || place.y < 0 || place.x > page.width() || place.y > page.height()) continue;
        const double width = static_cast<double>(text.size()) * size * letterWidth;
        const std::pair<double, double> starts[] = {{2.2, -0.6},         {2.2, 5.4},        {-width - 2.2, -0.6},
                                                    {-width - 2.2, 2.6}, {2.2, -3.2},       {-width - 2.2, -3.2},
                                                    {-width / 2, 7.4},   {-width / 2, -6.2}};
        const auto boxAt = [&, here = place](const auto& start) {
            const double left = here.x + start.first;
            const double base = here.y + start.second;
            return Box{left, base - size * 0.8, left + width, base + size * 0.2};
        };
        const auto found = std::ranges::find_if(starts, [&](const auto& start) {
            const Box box = boxAt(start);
            return box.left >= 0 && box.right <= page.width() && box.top >= 0 && box.bottom <= page.height() &&
                   isFree(box);
        });
        if (found == std::end(starts)) {
            ++leftOut_;
            continue;
        }
        const Box box = boxAt(*found);
        occupy(box);
        svg += fmt::format("<text x=\"{}\" y=\"{}\">{}</text>\n", svgNumber(box.left),
                           svgNumber(place.y + found->second), xmlText(text));
    }
    svg += "</g>\n";
}

}  // namespace cxml
