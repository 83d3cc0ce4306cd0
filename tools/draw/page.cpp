#include "tools/draw/page.h"

#include "tools/draw/styles.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace cxml {
namespace {

using embedded_host::Bounds;
using embedded_host::Position;

constexpr double radius = 6378137;  // of the projection's sphere, in metres
constexpr double mostLatitude = 85.0511287798066;
constexpr double usualSide = 280;  // millimetres
constexpr double mostSide = 1200;
constexpr double leastSide = 10;
constexpr double millimetresOfAMetre = 1000;
constexpr double degree = std::numbers::pi / 180;

double easting(double longitude) noexcept {
    return radius * longitude * degree;
}

double northing(double latitude) noexcept {
    const double phi = std::clamp(latitude, -mostLatitude, mostLatitude) * degree;
    return radius * std::asinh(std::tan(phi));
}

double latitudeOf(double north) noexcept {
    return std::atan(std::sinh(north / radius)) / degree;
}

// The next number that charts have as scales.
double roundScale(double least) {
    constexpr std::array steps{1.0, 1.25, 1.5, 2.0, 2.5, 3.0, 4.0, 5.0, 6.0, 7.5, 8.0, 10.0};
    const double power = std::pow(10, std::floor(std::log10(least)));
    for (const double step : steps)
        if (const double scale = std::round(step * power * 100) / 100; scale >= least) return scale;
    return least;
}

}  // namespace

Page::Page(const Bounds& bounds, std::optional<double> scale)
    : bounds_(bounds), left_(easting(bounds.west)), top_(northing(bounds.north)) {
    const double width = easting(bounds.east) - left_;
    const double height = top_ - northing(bounds.south);
    const bool hasExtent = width > 0 && height > 0;
    if (!hasExtent) throw DrawError("the bounds have no extent");
    // A metre on the ground is longer on the projection, the more so the farther from the equator.
    const double stretch = 1 / std::cos(latitudeOf(top_ - height / 2) * degree);
    const double onGround = std::max(width, height) / stretch * millimetresOfAMetre;
    scale_ = scale ? *scale : roundScale(onGround / usualSide);
    perMetre_ = millimetresOfAMetre / stretch / scale_;
    width_ = width * perMetre_;
    height_ = height * perMetre_;
    if (std::max(width_, height_) > mostSide)
        throw DrawError(
            fmt::format("the map would be {:.0f} by {:.0f} mm, and {:.0f} mm are the most: choose a smaller "
                        "scale (1:{:.0f}) or --bbox",
                        width_, height_, mostSide, std::ceil(onGround / mostSide)));
    if (std::max(width_, height_) < leastSide)
        throw DrawError(fmt::format("the map would be {:.2g} by {:.2g} mm: choose a larger scale", width_, height_));
}

PagePoint Page::place(const Position& position) const noexcept {
    return {(easting(position.longitude) - left_) * perMetre_, (top_ - northing(position.latitude)) * perMetre_};
}

Position Page::position(const PagePoint& place) const noexcept {
    return {(left_ + place.x / perMetre_) / radius / degree, latitudeOf(top_ - place.y / perMetre_)};
}

}  // namespace cxml
