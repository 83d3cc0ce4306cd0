// Styles that stand beside the layers they are of: the table layer_styles, as QGIS has it in GeoPackages and on
// servers.
#pragma once

#include "host/geodatabase/base/shape_kind.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace embedded_host {

/// How many rows of one kind of shape have one value.
struct ShapeValue {
    ShapeKind kind = ShapeKind::None;
    std::string value;  // empty also for NULL
    std::int64_t rows = 0;
};

/// What there is in a layer to be drawn by a field.
struct ShapeValues {
    ShapeKind declared = ShapeKind::None;  // None: a layer of any kind
    std::vector<ShapeValue> values;        // rows without a shape left out
};

struct LayerStyle {
    std::string name;
    std::string description;
    std::string qml;
};

/// The styles of one layer. The first is the one that the layer opens with, unless somebody else's is.
struct StyledLayer {
    std::string layer;
    std::vector<LayerStyle> styles;
};

/// A layer that goes on opening with a style of somebody else's.
struct KeptDefault {
    std::string layer;
    std::string style;
};

/// Where in the table the rows of a layer are.
struct StyledTable {
    std::string catalog;
    std::string schema;
    std::string table;
    std::string geometry;  // the column
};

/// The rows of layer_styles, in the SQL of either kind of database.
class StyleRows {
public:
    using Texts = std::vector<std::string>;
    /// Runs a statement whose parameters are $1, $2 and so on. \return its rows, as text. \throws HostError
    using Run = std::function<std::vector<Texts>(const std::string& sql, const Texts& parameters)>;

    struct Dialect {
        std::string table;
        std::string document;  // SQL that makes a document of the text $1
        std::string now;
    };

    StyleRows(Dialect dialect, Run run) : dialect_(std::move(dialect)), run_(std::move(run)) {}

    /// Replaces the rows of these names, adds those that are missing, and leaves all others and those that say the same
    /// already. \return the name of another style that the layer opens with.
    std::optional<std::string> write(const StyledTable& place, const std::vector<LayerStyle>& styles);
    /// Whether anything was written.
    bool changed() const noexcept { return changed_; }

private:
    std::optional<std::string> otherDefault(const StyledTable& place, const std::string& own) const;
    void write(const StyledTable& place, const LayerStyle& style, const std::string& isDefault);

    Dialect dialect_;
    Run run_;
    bool changed_ = false;
};

}  // namespace embedded_host
