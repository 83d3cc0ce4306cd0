// The table of styles of a database on a server, and what there is to style.
#pragma once

#include "host/geodatabase/base/layer_styles.h"
#include "host/geodatabase/postgres/pg_catalog.h"

#include <optional>
#include <string>
#include <vector>

namespace embedded_host {

class PgDataset;

/// A layer of which styles are written.
struct PgStyledLayer {
    PgRelation relation;
    std::vector<LayerStyle> styles;
};

/// How the values of a column are spread over the kinds of shapes. \throws HostError
ShapeValues shapeValuesOf(PgDataset& dataset, const PgRelation& relation, const std::string& column);

bool hasStyleTable(PgDataset& dataset);

/// Writes styles within the dataset's transaction, and makes the table where there is none. \return for each layer the
/// other style that it opens with, if any. \throws HostError
std::vector<std::optional<std::string>> writeStyles(PgDataset& dataset, const std::vector<PgStyledLayer>& layers);

}  // namespace embedded_host
