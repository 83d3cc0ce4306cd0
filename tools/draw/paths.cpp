#include "tools/draw/paths.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace cxml {
namespace {

using embedded_host::ShapeKind;

constexpr double hundredth = 100;

bool fallTogether(const PagePoint& a, const PagePoint& b) {
    return std::llround(a.x * hundredth) == std::llround(b.x * hundredth) &&
           std::llround(a.y * hundredth) == std::llround(b.y * hundredth);
}

void appendHundredths(std::string& text, double value) {
    constexpr double most = 1e12;
    long long hundredths = std::llround(std::clamp(value, -most, most) * hundredth);
    if (hundredths < 0) {
        text += '-';
        hundredths = -hundredths;
    }
    text += std::to_string(hundredths / 100);
    const long long rest = hundredths % 100;
    if (rest == 0) return;
    text += '.';
    text += static_cast<char>('0' + rest / 10);
    if (rest % 10 != 0) text += static_cast<char>('0' + rest % 10);
}

double lengthOf(const PagePoint& a, const PagePoint& b) {
    return std::hypot(b.x - a.x, b.y - a.y);
}

double lengthOf(const std::vector<PagePoint>& line) {
    double length = 0;
    for (std::size_t i = 1; i < line.size(); ++i) length += lengthOf(line[i - 1], line[i]);
    return length;
}

PagePoint halfWay(const Outline& lines) {
    const auto longest = std::ranges::max_element(lines, {}, [](const auto& line) { return lengthOf(line); });
    double left = lengthOf(*longest) / 2;
    for (std::size_t i = 1; i < longest->size(); ++i) {
        const PagePoint& from = (*longest)[i - 1];
        const PagePoint& to = (*longest)[i];
        const double length = lengthOf(from, to);
        if (length >= left && length > 0)
            return {from.x + (to.x - from.x) * left / length, from.y + (to.y - from.y) * left / length};
        left -= length;
    }
    return longest->front();
}

struct Stretch {
    double from = 0;
    double to = 0;
    double length() const noexcept { return to - from; }
};

// The widest stretch at this height that is inside, of what the page shows.
Stretch widestAt(const Outline& rings, double y, double pageWidth) {
    std::vector<double> crossings;
    for (const std::vector<PagePoint>& ring : rings)
        for (std::size_t i = 0; i < ring.size(); ++i) {
            const PagePoint& a = ring[i];
            const PagePoint& b = ring[(i + 1) % ring.size()];
            if ((a.y > y) != (b.y > y)) crossings.push_back(a.x + (y - a.y) / (b.y - a.y) * (b.x - a.x));
        }
    std::ranges::sort(crossings);
    Stretch widest;
    for (std::size_t i = 1; i < crossings.size(); i += 2) {
        const Stretch stretch{std::max(crossings[i - 1], 0.0), std::min(crossings[i], pageWidth)};
        if (stretch.length() > widest.length()) widest = stretch;
    }
    return widest;
}

PagePoint inside(const Outline& rings, const Page& page) {
    double top = std::numeric_limits<double>::max();
    double bottom = std::numeric_limits<double>::lowest();
    for (const std::vector<PagePoint>& ring : rings)
        for (const PagePoint& place : ring) {
            top = std::min(top, place.y);
            bottom = std::max(bottom, place.y);
        }
    top = std::clamp(top, 0.0, page.height());
    bottom = std::clamp(bottom, 0.0, page.height());
    constexpr std::array shares{0.5, 0.35, 0.65, 0.2, 0.8};
    Stretch widest;
    PagePoint best = rings.front().front();
    for (const double share : shares) {
        const double y = top + (bottom - top) * share;
        const Stretch stretch = widestAt(rings, y, page.width());
        constexpr double clearlyWider = 1.2;  // else nearer to the middle is better
        if (stretch.length() <= widest.length() * clearlyWider) continue;
        widest = stretch;
        best = {(stretch.from + stretch.to) / 2, y};
    }
    return best;
}

}  // namespace

Outline onPaper(const embedded_host::Shape& shape, const Page& page) {
    Outline outline;
    for (const auto& part : shape.parts) {
        std::vector<PagePoint>& places = outline.emplace_back();
        for (const embedded_host::Position& position : part) {
            const PagePoint place = page.place(position);
            if (places.empty() || !fallTogether(places.back(), place)) places.push_back(place);
        }
    }
    return outline;
}

void appendPlace(std::string& text, const PagePoint& place) {
    appendHundredths(text, place.x);
    text += ',';
    appendHundredths(text, place.y);
}

std::string pathData(const Outline& outline, bool isClosed) {
    std::string data;
    for (const std::vector<PagePoint>& part : outline) {
        std::size_t count = part.size();
        if (isClosed && count > 1 && fallTogether(part.front(), part.back())) --count;
        for (std::size_t i = 0; i < count; ++i) {
            data += i == 0 ? 'M' : i == 1 ? 'L' : ' ';
            appendPlace(data, part[i]);
        }
        if (isClosed) data += 'Z';
    }
    return data;
}

PagePoint anchorOf(const Outline& outline, ShapeKind kind, const Page& page) {
    if (kind == ShapeKind::Line) return halfWay(outline);
    if (kind == ShapeKind::Area) return inside(outline, page);
    return outline.front().front();
}

}  // namespace cxml
