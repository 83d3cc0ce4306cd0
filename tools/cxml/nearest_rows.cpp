#include "nearest_rows.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

namespace cxml {

using embedded_host::Position;
using embedded_host::Shape;
using embedded_host::ShapeKind;
using embedded_host::ShapeRow;

namespace {

// On a plane about the position: degrees of latitude both ways.
struct Point {
    double x;
    double y;
};

Point onPlane(const Position& position, const Position& origin) {
    const double scale = std::cos(origin.latitude * std::numbers::pi / 180);
    // The short way round.
    return {std::remainder(position.longitude - origin.longitude, 360.0) * scale, position.latitude - origin.latitude};
}

double distanceToSegment(const Point& a, const Point& b) {
    const double x = b.x - a.x;
    const double y = b.y - a.y;
    const double square = x * x + y * y;
    const double share = square == 0 ? 0 : std::clamp(-(a.x * x + a.y * y) / square, 0.0, 1.0);
    return std::hypot(a.x + share * x, a.y + share * y);
}

bool crossesRay(const Point& a, const Point& b) {
    return (a.y > 0) != (b.y > 0) && a.x - a.y * (b.x - a.x) / (b.y - a.y) > 0;
}

}  // namespace

std::optional<Position> parsePosition(std::string_view text) {
    Position position{};
    const char* const end = text.data() + text.size();
    const auto longitude = std::from_chars(text.data(), end, position.longitude);
    if (longitude.ec != std::errc() || longitude.ptr == end || *longitude.ptr != ',') return std::nullopt;
    const auto latitude = std::from_chars(longitude.ptr + 1, end, position.latitude);
    if (latitude.ec != std::errc() || latitude.ptr != end) return std::nullopt;
    if (!(std::abs(position.longitude) <= 360) || !(std::abs(position.latitude) <= 90)) return std::nullopt;
    return position;
}

double distanceTo(const Shape& shape, const Position& position) {
    double nearest = std::numeric_limits<double>::infinity();
    bool isInside = false;
    for (const std::vector<Position>& part : shape.parts) {
        for (std::size_t i = 0; i < part.size(); ++i) {
            const Point end = onPlane(part[i], position);
            const Point begin = i == 0 ? end : onPlane(part[i - 1], position);
            nearest = std::min(nearest, distanceToSegment(begin, end));
            if (shape.kind == ShapeKind::Area && crossesRay(begin, end)) isInside = !isInside;
        }
    }
    return isInside ? 0 : nearest;
}

std::vector<ObjectId> nearestRows(const std::string& dataset, const embedded_host::WorkspaceOptions& options,
                                  const std::string& layer, const std::optional<std::string>& where,
                                  const Position& position, std::size_t limit) {
    std::vector<std::pair<double, ObjectId>> nearest;  // sorted
    embedded_host::ShapeSource::open(dataset, options)
        ->read({.layer = layer, .fields = {}, .where = where, .within = std::nullopt}, [&](const ShapeRow& row) {
            const std::pair candidate(distanceTo(row.shape, position), row.id);
            if (std::isinf(candidate.first) || (nearest.size() == limit && candidate >= nearest.back())) return true;
            nearest.insert(std::ranges::lower_bound(nearest, candidate), candidate);
            if (nearest.size() > limit) nearest.pop_back();
            return true;
        });
    std::vector<ObjectId> ids;
    ids.reserve(nearest.size());
    for (const auto& [distance, id] : nearest) ids.push_back(id);
    return ids;
}

}  // namespace cxml
