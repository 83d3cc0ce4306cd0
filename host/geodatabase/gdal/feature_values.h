// The values of GDAL's features, and how SQL writes them.
#pragma once

#include "host/geodatabase/base/cell.h"

#include <string>

class OGRFeature;

namespace embedded_host {

/// Fills `cell` with a field of a feature; a null or unset field gives Null.
void readField(const OGRFeature& feature, int field, ColumnType type, Cell& cell);

/// The shortest text that reads back as the same number.
std::string realText(double value);

}  // namespace embedded_host
