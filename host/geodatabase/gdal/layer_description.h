// Layers as GDAL describes them.
#pragma once

#include "host/geodatabase/base/dataset.h"
#include "host/geodatabase/base/table.h"

#include <memory>
#include <string>

class OGRLayer;

namespace embedded_host {

/// The layer in a listing.
Dataset::Entry entryOf(OGRLayer& layer);

TableDescription describe(OGRLayer& layer);

/// The layer's fields and key as they are now. A layer that names no key has one that is called FID.
std::shared_ptr<const TableSchema> schemaOf(OGRLayer& layer);

}  // namespace embedded_host
