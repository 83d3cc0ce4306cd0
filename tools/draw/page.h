// Where on the paper a place is: Web Mercator at a scale.
#pragma once

#include "host/geodatabase/shapes.h"

#include <optional>

namespace cxml {

/// Millimetres from the upper left corner of the map, y down.
struct PagePoint {
    double x;
    double y;
};

class Page {
public:
    /// The part of the world and its scale. The picture is as large as they say; without a scale the largest of a round
    /// number that fits the usual size.
    /// \throws DrawError when there is nothing to show, or too much for a picture.
    Page(const embedded_host::Bounds& bounds, std::optional<double> scale);

    PagePoint place(const embedded_host::Position& position) const noexcept;
    /// The other way.
    embedded_host::Position position(const PagePoint& place) const noexcept;

    double width() const noexcept { return width_; }
    double height() const noexcept { return height_; }
    /// The N of 1:N, true in the middle of the map.
    double scale() const noexcept { return scale_; }
    const embedded_host::Bounds& bounds() const noexcept { return bounds_; }

private:
    embedded_host::Bounds bounds_;
    double left_;  // of the projection, in metres
    double top_;
    double scale_ = 0;
    double perMetre_ = 0;  // millimetres of paper for a metre of the projection
    double width_ = 0;
    double height_ = 0;
};

}  // namespace cxml
