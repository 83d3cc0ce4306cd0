// Rows with their shapes, for who draws them. The library itself never asks for a geometry.
#pragma once

#include "host/geodatabase/base/layer_info.h"
#include "host/geodatabase/base/shape_kind.h"
#include "host/geodatabase/base/workspace_options.h"
#include "host/host_error.h"
#include "symbology/host_interfaces.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace embedded_host {

/// Degrees on WGS 84.
struct Position {
    double longitude;
    double latitude;
};

/// West and east, south and north, in degrees.
struct Bounds {
    double west;
    double south;
    double east;
    double north;
};

/// What is drawn of a row's geometry: of several kinds in one collection those of the highest dimension.
struct Shape {
    ShapeKind kind = ShapeKind::None;
    std::vector<std::vector<Position>> parts;  // a point each, a line each, a ring each
};

struct ShapeRow {
    ObjectId id = 0;
    Shape shape;
    std::vector<std::optional<std::string>> values;  // of the fields asked for, as text; nothing for NULL
};

/// Which rows of a layer are read, and what of them.
struct ShapeQuery {
    std::string layer;
    std::vector<std::string> fields;
    std::optional<std::string> where;
    std::optional<Bounds> within;  // rows whose shape may reach into it
};

/// A dataset that is read for its shapes, through GDAL also on a server.
class ShapeSource {
public:
    /// \throws HostError
    static std::unique_ptr<ShapeSource> open(const std::string& dataset, const WorkspaceOptions& options);
    virtual ~ShapeSource() = default;

    /// All tables, in the dataset's order. \throws HostError
    virtual std::vector<LayerInfo> layers() = 0;
    /// Those of `wanted` that the layer has, as it writes them: exactly, else without regard to case.
    /// \throws HostError
    virtual std::vector<std::optional<std::string>> findFields(const std::string& layer,
                                                               const std::vector<std::string>& wanted) = 0;
    /// Calls `visit` with each row until it returns false. \throws HostError
    virtual void read(const ShapeQuery& query, const std::function<bool(ShapeRow&&)>& visit) = 0;
    /// The row's whole geometry in degrees, as ISO well-known binary; empty where it has none.
    /// \throws HostError when there is no such row.
    virtual std::string wellKnownBinary(const std::string& layer, ObjectId id) = 0;
};

}  // namespace embedded_host
