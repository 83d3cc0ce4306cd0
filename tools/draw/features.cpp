#include "tools/draw/features.h"

#include "tools/text/text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iterator>
#include <set>
#include <utility>

namespace cxml {
namespace {

using embedded_host::Bounds;
using embedded_host::LayerInfo;
using embedded_host::ShapeKind;
using embedded_host::ShapeQuery;
using embedded_host::ShapeRow;
using embedded_host::ShapeSource;

using Value = std::optional<std::string>;

std::string upper(const std::string& text) {
    return toUtf8(upperCase(toBstr(text)));
}

// What is no number, or none that a chart has room for, moves nothing.
double numberOf(const Value& value) {
    constexpr double most = 10'000;
    if (!value) return 0;
    double number = 0;
    const char* const end = value->data() + value->size();
    const auto [read, error] = std::from_chars(value->data(), end, number);
    return error == std::errc() && read == end && std::abs(number) <= most ? number : 0;
}

bool overlaps(const embedded_host::Shape& shape, const Bounds& within) {
    Bounds own{within.east, within.north, within.west, within.south};
    bool isFirst = true;
    for (const auto& part : shape.parts)
        for (const embedded_host::Position& position : part) {
            own.west = isFirst ? position.longitude : std::min(own.west, position.longitude);
            own.east = isFirst ? position.longitude : std::max(own.east, position.longitude);
            own.south = isFirst ? position.latitude : std::min(own.south, position.latitude);
            own.north = isFirst ? position.latitude : std::max(own.north, position.latitude);
            isFirst = false;
        }
    return own.west <= within.east && own.east >= within.west && own.south <= within.north && own.north >= within.south;
}

// The layer's fields, each once, and where in a row the value of each is.
class Columns {
public:
    Columns(ShapeSource& source, const std::string& layer) : source_(source), layer_(layer) {}

    // Nothing when the layer has no such field.
    std::optional<std::size_t> find(const std::string& field) {
        const Value name = source_.findFields(layer_, {field}).front();
        if (!name) return std::nullopt;
        const auto known = std::ranges::find(names_, *name);
        if (known == names_.end()) {
            names_.push_back(*name);
            return names_.size() - 1;
        }
        return static_cast<std::size_t>(known - names_.begin());
    }
    const std::vector<std::string>& names() const noexcept { return names_; }

private:
    ShapeSource& source_;
    const std::string& layer_;
    std::vector<std::string> names_;
};

const Value& valueAt(const ShapeRow& row, const std::optional<std::size_t>& column) {
    static const Value null;
    return column ? row.values[*column] : null;
}

// One layer's rows become features.
class LayerReading {
public:
    LayerReading(ShapeSource& source, const FeatureQuery& query, const Styles& styles, const std::string& layer)
        : source_(source),
          query_(query),
          styles_(styles),
          layer_{.name = layer, .features = {}},
          columns_(source, layer_.name) {
        symbol_ = columns_.find("SYMBOL_C");
        const std::array placement{"Xoffset_C", "Yoffset_C", "Rotate_C"};
        std::ranges::transform(placement, placement_.begin(), [&](const char* field) { return columns_.find(field); });
        for (const auto& [name, style] : styles.figures) depths_[style.field] = columns_.find(style.field);
    }

    bool hasSymbols() const noexcept { return symbol_.has_value(); }

    void addLabels(const std::vector<std::string>& fields) {
        for (const std::string& field : fields)
            if (const auto column = columns_.find(field)) labels_.push_back(*column);
    }

    // \return whether there was room for all.
    bool read(std::size_t room) {
        bool fits = true;
        const ShapeQuery query{layer_.name, columns_.names(), query_.where, query_.within};
        source_.read(query, [&](ShapeRow&& row) {
            if (query_.within && row.shape.kind != ShapeKind::None && !overlaps(row.shape, *query_.within)) return true;
            if (query_.onRow) {
                HeldRow held{layer_.name, row.id, columns_.names(), row.values};
                if (!query_.onRow(held)) return true;
            }
            fits = add(std::move(row), room);
            return fits;
        });
        return fits;
    }

    FeatureLayer take() { return std::move(layer_); }

private:
    // \return false when there is no room for it.
    bool add(ShapeRow row, std::size_t room) {
        ++layer_.rows;
        Feature feature;
        feature.symbol = valueAt(row, symbol_).value_or(std::string());
        if (feature.symbol.empty()) ++layer_.withoutSymbol;
        for (const std::size_t column : labels_)
            if (const Value& label = row.values[column]; label && !label->empty()) feature.labels.push_back(*label);
        if (row.shape.kind == ShapeKind::None) ++layer_.withoutShape;
        if (row.shape.kind == ShapeKind::None || (feature.symbol.empty() && feature.labels.empty())) return true;
        if (layer_.features.size() == room) {
            --layer_.rows;
            return false;
        }
        feature.id = row.id;
        feature.placement = {numberOf(valueAt(row, placement_[0])), numberOf(valueAt(row, placement_[1])),
                             numberOf(valueAt(row, placement_[2]))};
        if (const auto figure = styles_.figures.find(feature.symbol); figure != styles_.figures.end())
            feature.depth = valueAt(row, depths_.at(figure->second.field));
        feature.shape = std::move(row.shape);
        layer_.features.push_back(std::move(feature));
        return true;
    }

    ShapeSource& source_;
    const FeatureQuery& query_;
    const Styles& styles_;
    FeatureLayer layer_;
    Columns columns_;
    std::optional<std::size_t> symbol_;
    std::array<std::optional<std::size_t>, 3> placement_;
    std::map<std::string, std::optional<std::size_t>> depths_;
    std::vector<std::size_t> labels_;
};

const ClassOrder* classOf(const FeatureQuery& query, const LayerInfo& layer) {
    const auto found = std::ranges::find(query.classes, upper(layer.alias), &ClassOrder::upperName);
    return found == query.classes.end() ? nullptr : &*found;
}

// The layers to look at, in the order of the document's classes, then in that of the dataset.
std::vector<LayerInfo> chosenLayers(ShapeSource& source, const FeatureQuery& query) {
    std::vector<LayerInfo> layers = source.layers();
    for (const std::string& name : query.layers)
        if (std::ranges::find(layers, name, &LayerInfo::name) == layers.end())
            throw DrawError("there is no layer '" + name + "'");
    std::erase_if(layers, [&](const LayerInfo& layer) {
        const bool isNamed = std::ranges::find(query.layers, layer.name) != query.layers.end();
        return query.layers.empty() ? !layer.spatial : !isNamed;
    });
    std::vector<LayerInfo> ordered;
    for (const ClassOrder& order : query.classes)
        std::ranges::copy_if(layers, std::back_inserter(ordered),
                             [&](const LayerInfo& layer) { return classOf(query, layer) == &order; });
    std::ranges::copy_if(layers, std::back_inserter(ordered),
                         [&](const LayerInfo& layer) { return classOf(query, layer) == nullptr; });
    return ordered;
}

}  // namespace

std::size_t Features::count() const noexcept {
    std::size_t sum = 0;
    for (const FeatureLayer& layer : layers) sum += layer.features.size();
    return sum;
}

std::optional<Bounds> Features::bounds() const noexcept {
    std::optional<Bounds> bounds;
    for (const FeatureLayer& layer : layers)
        for (const Feature& feature : layer.features)
            for (const auto& part : feature.shape.parts)
                for (const auto& [longitude, latitude] : part) {
                    if (!bounds) bounds = {longitude, latitude, longitude, latitude};
                    bounds->west = std::min(bounds->west, longitude);
                    bounds->east = std::max(bounds->east, longitude);
                    bounds->south = std::min(bounds->south, latitude);
                    bounds->north = std::max(bounds->north, latitude);
                }
    return bounds;
}

Features collectFeatures(ShapeSource& source, const FeatureQuery& query, const Styles& styles) {
    Features features;
    std::size_t room = mostFeatures;
    for (const LayerInfo& layer : chosenLayers(source, query)) {
        LayerReading reading(source, query, styles, layer.name);
        if (!reading.hasSymbols()) {
            if (query.layers.empty()) continue;
            throw DrawError("the layer '" + layer.name + "' has no field SYMBOL_C; symbolize it first");
        }
        if (const ClassOrder* const order = classOf(query, layer)) reading.addLabels(order->labelFields);
        if (!reading.read(room)) features.cutIn = layer.name;
        features.layers.push_back(reading.take());
        room -= features.layers.back().features.size();
        if (!features.cutIn.empty()) break;
    }
    if (features.layers.empty()) throw DrawError("no layer has a shape and the field SYMBOL_C; symbolize it first");
    return features;
}

}  // namespace cxml
