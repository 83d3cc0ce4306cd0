// Coordinates in degrees on WGS 84, whatever a layer has.
#pragma once

#include <memory>

class OGRCoordinateTransformation;
class OGRLayer;

namespace embedded_host {

struct TransformationCloser {
    void operator()(OGRCoordinateTransformation* transformation) const noexcept;
};
using Transformation = std::unique_ptr<OGRCoordinateTransformation, TransformationCloser>;

enum class Direction : unsigned char { ToDegrees, FromDegrees };

/// Null where the layer is in degrees already, or does not say what it is in. \throws HostError when there is no way.
Transformation transformationOf(OGRLayer& layer, Direction direction);

}  // namespace embedded_host
