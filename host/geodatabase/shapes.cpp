// Shapes as GDAL reads them, brought to degrees on WGS 84.
#include "host/geodatabase/shapes.h"

#include "host/geodatabase/base/gdal_errors.h"
#include "host/geodatabase/base/text.h"
#include "host/geodatabase/gdal/degrees.h"
#include "host/geodatabase/gdal/feature_values.h"
#include "host/geodatabase/gdal/gdal_dataset.h"
#include "host/geodatabase/gdal/layer_description.h"
#include "host/geodatabase/postgres/pg_names.h"

#include <gdal_priv.h>
#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace embedded_host {

namespace {

ShapeKind kindOf(OGRwkbGeometryType type) {
    if (OGR_GT_IsSubClassOf(type, wkbPoint) || OGR_GT_IsSubClassOf(type, wkbMultiPoint)) return ShapeKind::Point;
    if (OGR_GT_IsCurve(type) || OGR_GT_IsSubClassOf(type, wkbMultiCurve)) return ShapeKind::Line;
    if (OGR_GT_IsSurface(type) || OGR_GT_IsSubClassOf(type, wkbMultiSurface)) return ShapeKind::Area;
    return ShapeKind::None;
}

bool isCollection(const OGRGeometry& geometry) {
    return OGR_GT_IsSubClassOf(wkbFlatten(geometry.getGeometryType()), wkbGeometryCollection) != 0;
}

ShapeKind highestKind(const OGRGeometry& geometry) {
    if (!isCollection(geometry)) return kindOf(wkbFlatten(geometry.getGeometryType()));
    ShapeKind highest = ShapeKind::None;
    for (const OGRGeometry* part : *geometry.toGeometryCollection()) highest = std::max(highest, highestKind(*part));
    return highest;
}

void addLine(Shape& shape, const OGRSimpleCurve& line) {
    std::vector<Position> positions;
    positions.reserve(static_cast<std::size_t>(line.getNumPoints()));
    for (int i = 0; i < line.getNumPoints(); ++i) {
        const Position position{line.getX(i), line.getY(i)};
        if (std::isfinite(position.longitude) && std::isfinite(position.latitude)) positions.push_back(position);
    }
    if (!positions.empty()) shape.parts.push_back(std::move(positions));
}

// Parts of other kinds than the shape's are left out.
void addParts(Shape& shape, const OGRGeometry& geometry) {
    if (isCollection(geometry)) {
        for (const OGRGeometry* part : *geometry.toGeometryCollection()) addParts(shape, *part);
        return;
    }
    const OGRwkbGeometryType type = wkbFlatten(geometry.getGeometryType());
    if (geometry.IsEmpty() || kindOf(type) != shape.kind) return;
    if (shape.kind == ShapeKind::Point) {
        const OGRPoint& point = *geometry.toPoint();
        if (std::isfinite(point.getX()) && std::isfinite(point.getY()))
            shape.parts.push_back({{point.getX(), point.getY()}});
    } else if (shape.kind == ShapeKind::Line) {
        addLine(shape, *geometry.toSimpleCurve());
    } else if (OGR_GT_IsSubClassOf(type, wkbPolygon)) {
        for (const OGRLinearRing* ring : *geometry.toPolygon()) addLine(shape, *ring);
    }
}

void bringToDegrees(OGRGeometry& geometry, ObjectId row, OGRCoordinateTransformation* transformation) {
    if (transformation && geometry.transform(transformation) != OGRERR_NONE)
        throw HostError("row " + std::to_string(row) + ": its coordinates cannot be brought to degrees");
}

Shape shapeOf(OGRFeature& feature, OGRCoordinateTransformation* transformation) {
    Shape shape;
    std::unique_ptr<OGRGeometry> geometry(feature.StealGeometry());
    if (!geometry || geometry->IsEmpty()) return shape;
    if (geometry->hasCurveGeometry() != 0) geometry.reset(geometry->getLinearGeometry());
    bringToDegrees(*geometry, feature.GetFID(), transformation);
    shape.kind = highestKind(*geometry);
    addParts(shape, *geometry);
    if (shape.parts.empty()) shape.kind = ShapeKind::None;
    return shape;
}

std::optional<std::string> textOf(const Column& column, const Cell& cell) {
    if (cell.state != Cell::State::Value && cell.state != Cell::State::Foreign) return std::nullopt;
    switch (partOf(column.type)) {
        case CellPart::Integer:
            return std::to_string(cell.integer);
        case CellPart::Real:
            return realText(cell.real);
        case CellPart::Text:
            return cell.text;
        default:
            return std::nullopt;
    }
}

// The layer's filters while it is read, none afterwards.
class Filters {
public:
    Filters(OGRLayer& layer, const ShapeQuery& query, const GdalErrors& errors) : layer_(layer) {
        try {
            if (query.where && layer.SetAttributeFilter(query.where->c_str()) != OGRERR_NONE)
                throw HostError("where clause \"" + *query.where + "\": " + errors.text("it is not understood"));
            if (query.within) setWithin(*query.within);
        } catch (...) {
            clear();
            throw;
        }
        layer.ResetReading();
    }
    ~Filters() { clear(); }
    Filters(const Filters&) = delete;
    Filters& operator=(const Filters&) = delete;

private:
    void setWithin(const Bounds& within) {
        Bounds own = within;
        constexpr int pointsOfAnEdge = 21;
        if (const Transformation inverse = transformationOf(layer_, Direction::FromDegrees))
            if (inverse->TransformBounds(within.west, within.south, within.east, within.north, &own.west, &own.south,
                                         &own.east, &own.north, pointsOfAnEdge) == 0)
                throw HostError("the bounds cannot be brought to its coordinates");
        layer_.SetSpatialFilterRect(own.west, own.south, own.east, own.north);
    }
    void clear() noexcept {
        layer_.SetAttributeFilter(nullptr);
        layer_.SetSpatialFilter(nullptr);
        layer_.ResetReading();
    }

    OGRLayer& layer_;
};

class Source final : public ShapeSource {
public:
    Source(const std::string& name, const WorkspaceOptions& options)
        : options_(options), dataset_(std::make_shared<GdalDataset>(name, Access::Read, options)) {}

    std::vector<LayerInfo> layers() override {
        std::vector<LayerInfo> infos;
        for (const Dataset::Entry& entry : dataset_->entries())
            infos.push_back({entry.name, entry.alias, entry.spatial, dataset_->rowCount(entry.name)});
        return infos;
    }

    std::vector<std::optional<std::string>> findFields(const std::string& layer,
                                                       const std::vector<std::string>& wanted) override {
        const std::shared_ptr<const TableSchema> schema = dataset_->table(layer)->schema();
        std::vector<std::optional<std::string>> found;
        for (const std::string& field : wanted) {
            const LONG position = schema->find(toWide(field));
            const bool isField = position >= 0 && std::cmp_less(position, schema->fieldCount());
            found.push_back(isField ? std::optional(schema->columns[static_cast<std::size_t>(position)].name)
                                    : std::nullopt);
        }
        return found;
    }

    void read(const ShapeQuery& query, const std::function<bool(ShapeRow&&)>& visit) override {
        withLayer(query.layer, [&](OGRLayer& layer, const GdalErrors& errors) {
            if (query.where && query.where->find('\0') != std::string::npos)
                throw HostError("the where clause has a zero character");
            readLayer(layer, query, visit, errors);
        });
    }

    std::string wellKnownBinary(const std::string& layerName, ObjectId id) override {
        std::string bytes;
        withLayer(layerName, [&](OGRLayer& layer, const GdalErrors& errors) {
            const OGRFeatureUniquePtr feature{layer.GetFeature(id)};
            if (!feature) throw HostError("there is no row " + std::to_string(id) + ": " + errors.text({}));
            OGRGeometry* const geometry = feature->GetGeometryRef();
            if (!geometry) return;
            if (layerName != transformedLayer_) {
                transformation_ = transformationOf(layer, Direction::ToDegrees);
                transformedLayer_ = layerName;
            }
            bringToDegrees(*geometry, id, transformation_.get());
            bytes.resize(geometry->WkbSize());
            if (geometry->exportToWkb(wkbNDR, reinterpret_cast<unsigned char*>(bytes.data()), wkbVariantIso) !=
                OGRERR_NONE)
                throw HostError("row " + std::to_string(id) + ": its geometry cannot be written");
        });
        return bytes;
    }

private:
    // What goes wrong names the layer.
    template <class Work>
    void withLayer(const std::string& name, Work&& work) {
        const std::string title = dataset_->table(name)->title() + ": ";
        const GdalErrors errors;
        OGRLayer* const layer = dataset_->gdal().GetLayerByName(name.c_str());
        try {
            if (!layer) throw HostError("it is gone");
            work(*layer, errors);
        } catch (const HostError& error) {
            throw HostError(title + error.what());
        }
    }

    void checkStop() const {
        if (options_.stop && *options_.stop) throw HostError("interrupted");
    }

    // Of the rows that the query is about, ascending.
    std::vector<GIntBig> idsOf(OGRLayer& layer, const ShapeQuery& query, const GdalErrors& errors) const {
        std::vector<GIntBig> ids;
        const Filters filters(layer, query, errors);
        while (const OGRFeatureUniquePtr feature{layer.GetNextFeature()}) {
            checkStop();
            ids.push_back(feature->GetFID());
        }
        std::ranges::sort(ids);
        return ids;
    }

    void readLayer(OGRLayer& layer, const ShapeQuery& query, const std::function<bool(ShapeRow&&)>& visit,
                   const GdalErrors& errors) const {
        const Transformation transformation = transformationOf(layer, Direction::ToDegrees);
        const std::shared_ptr<const TableSchema> schema = schemaOf(layer);
        std::vector<int> fields;
        for (const std::string& field : query.fields) {
            fields.push_back(layer.GetLayerDefn()->GetFieldIndex(field.c_str()));
            if (fields.back() < 0) throw HostError("there is no field '" + field + "'");
        }
        Cell cell;
        const auto take = [&](OGRFeature& feature) {
            ShapeRow row;
            row.id = feature.GetFID();
            for (const int field : fields) {
                const Column& column = schema->columns[static_cast<std::size_t>(field)];
                readField(feature, field, column.type, cell);
                row.values.push_back(textOf(column, cell));
            }
            row.shape = shapeOf(feature, transformation.get());
            return visit(std::move(row));
        };
        // A spatial index gives rows in an order of its own.
        if (query.within && layer.TestCapability(OLCRandomRead) != 0) {
            for (const GIntBig id : idsOf(layer, query, errors)) {
                checkStop();
                const OGRFeatureUniquePtr feature{layer.GetFeature(id)};
                if (feature && !take(*feature)) break;
            }
        } else {
            const Filters filters(layer, query, errors);
            while (const OGRFeatureUniquePtr feature{layer.GetNextFeature()}) {
                checkStop();
                if (!take(*feature)) break;
            }
        }
        if (errors.any()) throw HostError("cannot be read: " + errors.text({}));
    }

    WorkspaceOptions options_;
    std::shared_ptr<GdalDataset> dataset_;
    std::string transformedLayer_;  // that wellKnownBinary() was asked of last
    Transformation transformation_;
};

// What a connection string says is nobody's business but the server's.
class ServerSource final : public ShapeSource {
    template <class Work>
    auto discreet(Work&& work) const {
        try {
            return work();
        } catch (const HostError& error) {
            std::string text = error.what();
            for (std::size_t at = text.find(name_); at != std::string::npos; at = text.find(name_, at + 2))
                text.replace(at, name_.size(), "PG");
            throw HostError(text);
        }
    }

public:
    ServerSource(std::string name, const WorkspaceOptions& options)
        : name_(std::move(name)), source_(discreet([&] { return std::make_unique<Source>(name_, options); })) {}

    std::vector<LayerInfo> layers() override {
        return discreet([&] { return source_->layers(); });
    }
    std::vector<std::optional<std::string>> findFields(const std::string& layer,
                                                       const std::vector<std::string>& wanted) override {
        return discreet([&] { return source_->findFields(layer, wanted); });
    }
    void read(const ShapeQuery& query, const std::function<bool(ShapeRow&&)>& visit) override {
        discreet([&] { source_->read(query, visit); });
    }
    std::string wellKnownBinary(const std::string& layer, ObjectId id) override {
        return discreet([&] { return source_->wellKnownBinary(layer, id); });
    }

private:
    std::string name_;
    std::unique_ptr<Source> source_;
};

}  // namespace

std::unique_ptr<ShapeSource> ShapeSource::open(const std::string& dataset, const WorkspaceOptions& options) {
    if (isPostgresName(dataset)) return std::make_unique<ServerSource>(dataset, options);
    return std::make_unique<Source>(dataset, options);
}

}  // namespace embedded_host
