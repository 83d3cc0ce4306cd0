#include "host/geodatabase/gdal/degrees.h"

#include "host/host_error.h"

#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

namespace embedded_host {

void TransformationCloser::operator()(OGRCoordinateTransformation* transformation) const noexcept {
    OGRCoordinateTransformation::DestroyCT(transformation);
}

Transformation transformationOf(OGRLayer& layer, Direction direction) {
    const OGRSpatialReference* const own = layer.GetSpatialRef();
    OGRSpatialReference degrees;
    degrees.SetWellKnownGeogCS("WGS84");
    degrees.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    if (!own) return nullptr;
    const std::unique_ptr<OGRSpatialReference> source(own->Clone());
    source->SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    if (source->IsSame(&degrees) != 0) return nullptr;
    Transformation made(direction == Direction::FromDegrees
                            ? OGRCreateCoordinateTransformation(&degrees, source.get())
                            : OGRCreateCoordinateTransformation(source.get(), &degrees));
    if (!made) throw HostError("its coordinates cannot be brought to degrees");
    return made;
}

}  // namespace embedded_host
