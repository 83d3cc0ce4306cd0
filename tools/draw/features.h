// What is to be drawn of a dataset: its features with what their fields say, a bounded number of them.
#pragma once

#include "host/geodatabase/shapes.h"
#include "tools/draw/styles.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace cxml {

constexpr std::size_t mostFeatures = 20'000;

/// Offsets are millimetres, to the right and up; the rotation is degrees, clockwise from north.
struct Placement {
    double xOffset = 0;
    double yOffset = 0;
    double rotation = 0;

    bool operator==(const Placement&) const = default;
};

struct Feature {
    ObjectId id = 0;
    embedded_host::Shape shape;
    std::string symbol;  // empty: there is only a label
    Placement placement;
    std::optional<std::string> depth;  // of a name that is shown as a figure
    std::vector<std::string> labels;
};

struct FeatureLayer {
    std::string name;
    std::vector<Feature> features;
    std::int64_t rows = 0;           // read
    std::int64_t withoutSymbol = 0;  // of these
    std::int64_t withoutShape = 0;
};

/// A class of a document: what it is called, in upper case, and the fields that its conditions compute.
struct ClassOrder {
    std::string upperName;
    std::vector<std::string> labelFields;
};

/// What a row of a layer holds: the fields that were asked for and their values, in the same order.
struct HeldRow {
    const std::string& layer;
    ObjectId id;
    const std::vector<std::string>& fields;
    std::vector<std::optional<std::string>>& values;
};

struct FeatureQuery {
    std::vector<std::string> layers;  // empty: all that have a shape and the field SYMBOL_C
    std::optional<std::string> where;
    std::optional<embedded_host::Bounds> within;
    std::vector<ClassOrder> classes;  // their layers come first, in this order
    /// Is shown each row before it becomes a feature, and may give it other values; false leaves it out. May be empty.
    std::function<bool(HeldRow&)> onRow{};
};

struct Features {
    std::vector<FeatureLayer> layers;  // in drawing order
    std::string cutIn;                 // the layer in which there were too many, and none of the layers behind it

    std::size_t count() const noexcept;
    /// Of all shapes; nothing without one.
    std::optional<embedded_host::Bounds> bounds() const noexcept;
};

/// \throws embedded_host::HostError; DrawError when no layer can be drawn.
Features collectFeatures(embedded_host::ShapeSource& source, const FeatureQuery& query, const Styles& styles);

}  // namespace cxml
