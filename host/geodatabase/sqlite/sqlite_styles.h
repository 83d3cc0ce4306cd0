// The table of styles of a GeoPackage, and what there is to style.
#pragma once

#include "host/geodatabase/base/layer_styles.h"

#include <functional>
#include <string>
#include <vector>

struct sqlite3;

namespace embedded_host {

/// How the values of a column are spread over the kinds of shapes. \param geometry the column. \throws HostError
ShapeValues shapeValuesOf(sqlite3* connection, const std::string& table, const std::string& geometry,
                          const std::string& column);

/// Writes the layers' styles within the connection's transaction; makes the table where there is none.
/// \param geometryOf a layer's geometry column. \param changed becomes true when anything was written.
/// \throws HostError
std::vector<KeptDefault> writeStyles(sqlite3* connection, const std::vector<StyledLayer>& layers,
                                     const std::function<std::string(const std::string& layer)>& geometryOf,
                                     bool& changed);

}  // namespace embedded_host
