#include "style_writing.h"

#include "chart_order.h"
#include "host/host_error.h"
#include "tools/draw/svg.h"
#include "tools/reports/configurations.h"
#include "tools/reports/report.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <set>
#include <utility>

namespace cxml {
namespace {

using embedded_host::GdalWorkspace;
using embedded_host::HostError;
using embedded_host::LayerInfo;
using embedded_host::ShapeKind;
using embedded_host::ShapeValue;
using embedded_host::ShapeValues;
using embedded_host::StyledLayer;

constexpr std::size_t mostNamed = 60;  // characters of a symbol's name in a message

SymbolSet symbolsOf(const StyleOptions& options) {
    try {
        return {options.symbols.value_or(ownSymbolsFolder()), options.palette};
    } catch (const DrawError& error) {
        throw HostError(error.what());
    }
}

std::optional<std::string> fieldOf(GdalWorkspace& workspace, const std::string& layer, const std::string& name) {
    const auto field = workspace.field(layer, name);
    return field && !field->isKey ? std::optional(field->column.name) : std::nullopt;
}

// Those that occur; of a layer without shapes what it is declared to have.
std::vector<ShapeKind> kindsOf(const ShapeValues& values) {
    std::set<ShapeKind> kinds;
    if (values.declared != ShapeKind::None) kinds.insert(values.declared);
    for (const ShapeValue& value : values.values) kinds.insert(value.kind);
    if (kinds.empty()) kinds = {ShapeKind::Point, ShapeKind::Line, ShapeKind::Area};
    return {kinds.begin(), kinds.end()};
}

}  // namespace

void addStyleOptions(CLI::App& command, StyleOptions& options) {
    command.add_option("--symbols", options.symbols, "a folder with pictures, NAME.svg, instead of our own")
        ->type_name("DIR");
    command.add_option("--palette", options.palette, "day, dusk or night; day without it")
        ->type_name("NAME")
        ->check(CLI::IsMember({"day", "dusk", "night"}));
    command.add_flag("--create-style-table", options.createTable, "make the table layer_styles on a server without");
}

StyleWriting::StyleWriting(const StyleOptions& options) : options_(options), symbols_(symbolsOf(options)) {}

void StyleWriting::addDocument(StyleOrder& order, GdalWorkspace& workspace, const LayerInfo& layer,
                               const ConditionalXml::ConditionMap& map) const {
    const auto configuration = findConfiguration(map, layer.alias);
    if (!configuration) return;
    for (const std::string& name : symbolNames(*configuration))
        for (const ShapeKind kind : order.kinds) order.names.emplace(kind, name);
    for (const std::string& label : labelFields(*configuration))
        if (const auto field = fieldOf(workspace, layer.name, label)) order.labelFields.push_back(*field);
}

std::optional<StyleOrder> StyleWriting::orderOf(GdalWorkspace& workspace, const LayerInfo& layer,
                                                const ConditionalXml::ConditionMap* map) {
    const auto field = [&](const std::string& name) { return fieldOf(workspace, layer.name, name); };
    const std::optional<std::string> symbol = layer.spatial ? field("SYMBOL_C") : std::nullopt;
    if (!symbol) return std::nullopt;
    StyleOrder order;
    order.symbolField = *symbol;
    order.placement = {field("Xoffset_C"), field("Yoffset_C"), field("Rotate_C")};
    for (const auto& [name, figure] : symbols_.styles().figures)
        if (const auto depth = field(figure.field)) order.depthFields.emplace(figure.field, *depth);
    const ShapeValues values = workspace.shapeValues(layer.name, *symbol);
    order.kinds = kindsOf(values);
    for (const auto& [kind, name, rows] : values.values) {
        if (name.empty()) continue;
        order.names.emplace(kind, name);
        if (!canBeStyled(name) || !hasPicture(kind, name, symbols_)) withoutPicture_[name] += rows;
    }
    if (map) addDocument(order, workspace, layer, *map);
    return order;
}

void StyleWriting::write(GdalWorkspace& workspace, const std::vector<LayerInfo>& layers,
                         const ConditionalXml::ConditionMap* map) {
    expectPlace(workspace);
    std::vector<StyledLayer> styled;
    std::vector<Layer> written;
    for (const LayerInfo& layer : layers) {
        const std::optional<StyleOrder> order = orderOf(workspace, layer, map);
        if (!order) continue;
        styled.push_back({layer.name,
                          {{ownStyle, "Pictures of symbols, written by cxml style", pictureStyle(*order, symbols_)},
                           {ownStyleByName, "Symbols by name from QGIS's own SVG folders, written by cxml style",
                            nameStyle(*order, symbols_.styles())}}});
        std::set<std::string> names;
        for (const auto& [kind, name] : order->names) names.insert(name);
        written.push_back({layer.name, names.size(), {}});
    }
    if (styled.empty())
        throw HostError(workspace.name() + ": no layer has shapes and the field SYMBOL_C; symbolize it first");
    for (auto& [layer, style] : workspace.writeStyles(styled))
        std::ranges::find(written, layer, &Layer::name)->keptDefault = std::move(style);
    layers_ = std::move(written);
}

void StyleWriting::complain(Console& console) const {
    for (const std::string& complaint : symbols_.complaints()) console.complain(complaint);
}

void StyleWriting::report(Console& console) const {
    for (const Layer& layer : layers_) {
        std::string line =
            fmt::format("{}: a style of {}", layer.name, plural(static_cast<std::int64_t>(layer.symbols), "symbol"));
        if (layer.keptDefault)
            line += fmt::format("; it still opens with '{}'", shortened(oneLine(*layer.keptDefault), mostNamed));
        console.result(line);
    }
    for (const auto& [name, rows] : withoutPicture_)
        console.result(fmt::format("no picture: {} ({})", shortened(oneLine(name), mostNamed), rows));
}

std::string StyleWriting::json() const {
    std::string text = R"("styles": [)";
    const char* separator = "\n  ";
    for (const Layer& layer : layers_) {
        text += fmt::format(R"({}{{"layer": {}, "symbols": {}, "keptDefault": {}}})", separator, jsonString(layer.name),
                            layer.symbols, layer.keptDefault ? jsonString(*layer.keptDefault) : "null");
        separator = ",\n  ";
    }
    text += "],\n \"withoutPicture\": [";
    separator = "";
    for (const auto& [name, rows] : withoutPicture_) {
        text += fmt::format(R"({}{{"symbol": {}, "features": {}}})", separator, jsonString(name), rows);
        separator = ", ";
    }
    return text + "]";
}

}  // namespace cxml
