#include "tools/draw/chart.h"

#include "tools/draw/frame.h"
#include "tools/draw/labels.h"
#include "tools/draw/marks.h"
#include "tools/draw/paths.h"
#include "tools/draw/svg.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <optional>
#include <tuple>
#include <utility>

namespace cxml {
namespace {

using embedded_host::ShapeKind;

constexpr std::size_t mostRemarked = 12;
constexpr std::size_t mostNamed = 60;  // characters of a name in a remark

// Features of one dataset by layer and id.
class FeatureIndex {
public:
    explicit FeatureIndex(const Features& features) {
        for (const FeatureLayer& layer : features.layers)
            for (const Feature& feature : layer.features) {
                const auto [name, id] = std::pair(layer.name, feature.id);
                if (!feature.symbol.empty()) features_.emplace(std::pair(name, id), &feature);
            }
    }
    const Feature* find(const std::string& layer, ObjectId id) const {
        const auto found = features_.find({layer, id});
        return found == features_.end() ? nullptr : found->second;
    }

private:
    std::map<std::pair<std::string, ObjectId>, const Feature*> features_;
};

class Drawing {
public:
    Drawing(const Features& features, const Features* against, const Page& page, SymbolSet& symbols)
        : features_(features), against_(against), page_(page), styles_(symbols.styles()), marks_(symbols) {}

    ChartPicture draw() {
        for (const FeatureLayer& layer : features_.layers) addLayer(layer);
        if (against_) compare();
        labels_.write(labelsSvg_, page_, styles_.colour("ink"), styles_.colour("paper"));
        return finish();
    }

private:
    struct Paint {
        std::string fills;
        std::string outlines;
        std::string lines;
        std::string points;
    };

    void addLayer(const FeatureLayer& layer) {
        Paint paint;
        for (const Feature& feature : layer.features) addFeature(paint, feature);
        const std::string name = xmlText(layer.name);
        const auto append = [&](std::string& all, const std::string& own) {
            if (!own.empty()) all += fmt::format("<g data-layer=\"{}\">\n{}</g>\n", name, own);
        };
        append(paint_.fills, paint.fills);
        append(paint_.outlines, paint.outlines);
        append(paint_.lines, paint.lines);
        append(paint_.points, paint.points);
    }

    void addFeature(Paint& paint, const Feature& feature) {
        const ShapeKind kind = feature.shape.kind;
        const Outline outline = onPaper(feature.shape, page_);
        const PagePoint anchor = anchorOf(outline, kind, page_);
        if (!feature.symbol.empty()) {
            if (kind == ShapeKind::Area)
                addArea(paint, feature, outline, anchor);
            else if (kind == ShapeKind::Line)
                addLine(paint, feature, outline, anchor);
            else
                for (const std::vector<PagePoint>& place : outline) addPoint(paint, feature, place.front());
        }
        for (const std::string& label : feature.labels) labels_.add(label, anchor);
    }

    void addPoint(Paint& paint, const Feature& feature, const PagePoint& place) {
        marks_.add(paint.points, feature, place);
        constexpr double halfMark = 1.4;
        const Placement& placement = feature.placement;
        const PagePoint moved{place.x + placement.xOffset, place.y - placement.yOffset};
        labels_.occupy(moved, halfMark, halfMark);
        if (placement.rotation == 0) return;
        // What is turned is long, and points to where it is turned to.
        constexpr double reach = 2.6;
        const double angle = placement.rotation * std::numbers::pi / 180;
        labels_.occupy({moved.x + reach * std::sin(angle), moved.y - reach * std::cos(angle)}, halfMark, halfMark);
    }

    void addArea(Paint& paint, const Feature& feature, const Outline& outline, const PagePoint& anchor) {
        const std::string data = pathData(outline, true);
        const auto found = styles_.areas.find(feature.symbol);
        if (found == styles_.areas.end()) {
            // What is drawn as a line may be large enough to have limits.
            if (const auto line = styles_.lines.find(feature.symbol); line != styles_.lines.end())
                paint.outlines += path(feature, data, stroke(line->second));
            else
                addUnstyled(paint, feature, data, anchor);
            return;
        }
        const AreaStyle& style = found->second;
        if (style.fill) paint.fills += path(feature, data, fmt::format(R"(fill="{}")", *style.fill));
        if (style.hatch) paint.fills += path(feature, data, fmt::format("fill=\"url(#{})\"", hatch(*style.hatch)));
        if (style.outline) paint.outlines += path(feature, data, stroke(*style.outline));
        if (style.symbol) addPoint(paint, feature, anchor);
    }

    void addLine(Paint& paint, const Feature& feature, const Outline& outline, const PagePoint& anchor) {
        const std::string data = pathData(outline, false);
        const auto line = styles_.lines.find(feature.symbol);
        const auto area = styles_.areas.find(feature.symbol);
        if (line != styles_.lines.end())
            paint.lines += path(feature, data, stroke(line->second));
        else if (area != styles_.areas.end() && area->second.outline)
            paint.lines += path(feature, data, stroke(*area->second.outline));
        else
            addUnstyled(paint, feature, data, anchor);
    }

    // The name of a line or an area that is only that of a picture, or of nothing: the line of it has to be seen, too.
    void addUnstyled(Paint& paint, const Feature& feature, const std::string& data, const PagePoint& anchor) {
        const LineStyle thin{styles_.colour("magenta"), 0.2, {1.5, 1}};
        paint.outlines += path(feature, data, stroke(thin));
        addPoint(paint, feature, anchor);
    }

    static std::string path(const Feature& feature, const std::string& data, const std::string& how) {
        return fmt::format("<path data-fid=\"{}\" data-symbol=\"{}\" {} d=\"{}\"/>\n", feature.id,
                           xmlText(shortened(feature.symbol, mostNamed)), how, data);
    }

    static std::string stroke(const LineStyle& style) {
        std::string text =
            fmt::format(R"(fill="none" stroke="{}" stroke-width="{}")", style.stroke, svgNumber(style.width));
        if (style.dash.empty()) return text;
        text += R"( stroke-dasharray=")";
        for (std::size_t i = 0; i < style.dash.size(); ++i) text += (i == 0 ? "" : " ") + svgNumber(style.dash[i]);
        return text + '"';
    }

    std::string hatch(const std::string& colour) {
        std::string id = "hatch-" + colour.substr(1);
        if (hatches_.find(R"(")" + id + R"(")") == std::string::npos)
            hatches_ += fmt::format(R"(<pattern id="{}" width="3" height="3" patternUnits="userSpaceOnUse" )"
                                    "patternTransform=\"rotate(45)\">"
                                    "<path d=\"M0,0V3\" stroke=\"{}\" stroke-width=\"0.3\"/></pattern>\n",
                                    id, colour);
        return id;
    }

    void compare() {
        const FeatureIndex here(features_);
        const FeatureIndex there(*against_);
        for (const FeatureLayer& layer : features_.layers)
            for (const Feature& feature : layer.features)
                if (!feature.symbol.empty()) markDifference(there.find(layer.name, feature.id), feature);
        for (const FeatureLayer& layer : against_->layers)
            for (const Feature& feature : layer.features)
                if (!feature.symbol.empty() && !here.find(layer.name, feature.id)) markLost(feature);
    }

    void markDifference(const Feature* other, const Feature& feature) {
        const std::string& from = other ? other->symbol : std::string();
        if (from == feature.symbol && other->placement == feature.placement) return;
        if (from == feature.symbol)
            ++movedOnly_;
        else
            ++differences_[{from, feature.symbol}];
        ring(feature, "");
        if (!other || other->shape.kind != ShapeKind::Point) return;
        constexpr double aside = 8;
        const PagePoint place = anchorOf(onPaper(feature.shape, page_), feature.shape.kind, page_);
        marks_.addFaint(changes_, *other, {place.x - aside, place.y});
    }

    void markLost(const Feature& feature) {
        ++differences_[{feature.symbol, std::string()}];
        ring(feature, R"( stroke-dasharray="1 0.7")");
        if (feature.shape.kind == ShapeKind::Point)
            marks_.addFaint(changes_, feature, anchorOf(onPaper(feature.shape, page_), feature.shape.kind, page_));
    }

    // Around a point, or along the line or the limits of an area.
    void ring(const Feature& feature, const char* more) {
        const Outline outline = onPaper(feature.shape, page_);
        if (feature.shape.kind != ShapeKind::Point) {
            changes_ +=
                fmt::format("<path fill=\"none\" stroke=\"{}\" stroke-width=\"0.6\"{} d=\"{}\"/>\n",
                            styles_.colour("magenta"), more, pathData(outline, feature.shape.kind == ShapeKind::Area));
            return;
        }
        std::string place;
        appendPlace(place, outline.front().front());
        changes_ += fmt::format(
            "<circle r=\"4.5\" transform=\"translate({})\" fill=\"none\" stroke=\"{}\" stroke-width=\"0.5\"{}/>\n",
            place, styles_.colour("magenta"), more);
    }

    std::vector<std::string> remarks() const {
        std::vector<std::string> lines;
        const auto shown = [](const std::string& name) {
            return name.empty() ? std::string("nothing") : shortened(name, mostNamed);
        };
        const auto limited = [&](auto&& items, auto&& say) {
            std::size_t count = 0;
            for (const auto& item : items)
                if (count++ < mostRemarked) lines.push_back(say(item));
            if (count > mostRemarked) lines.push_back(fmt::format("and {} more", count - mostRemarked));
        };
        limited(marks_.missing(),
                [&](const auto& item) { return fmt::format("no picture: {} ({})", shown(item.first), item.second); });
        limited(differences_, [&](const auto& item) {
            return fmt::format("differs: {} -> {} ({})", shown(item.first.first), shown(item.first.second),
                               item.second);
        });
        if (movedOnly_ != 0) lines.push_back(fmt::format("differs: offset or rotation only ({})", movedOnly_));
        if (!features_.cutIn.empty())
            lines.push_back(
                fmt::format("only the first {} features are drawn", grouped(static_cast<double>(features_.count()))));
        if (labels_.leftOut() != 0) lines.push_back(fmt::format("labels without room: {}", labels_.leftOut()));
        return lines;
    }

    ChartPicture finish() {
        const std::vector<std::string> said = remarks();
        const FramedSize size = framedSize(page_, said.size());
        ChartPicture picture;
        picture.width = size.width;
        picture.height = size.height;
        std::string& svg = picture.svg;
        svg =
            fmt::format(R"(<svg xmlns="http://www.w3.org/2000/svg" width="{0}mm" height="{1}mm" viewBox="0 0 {0} {1}" )"
                        "font-family=\"sans-serif\">\n<title>Chart, 1:{2}</title>\n<defs>\n"
                        "<clipPath id=\"map-edge\"><rect width=\"{3}\" height=\"{4}\"/></clipPath>\n{5}{6}</defs>\n",
                        svgNumber(size.width), svgNumber(size.height), grouped(page_.scale()), svgNumber(page_.width()),
                        svgNumber(page_.height()), hatches_, marks_.definitions());
        svg += fmt::format("<rect width=\"100%\" height=\"100%\" fill=\"{}\"/>\n", styles_.colour("paper"));
        svg +=
            fmt::format("<g id=\"map\" transform=\"translate({0} {0})\" clip-path=\"url(#map-edge)\">\n", frameMargin);
        const std::pair<const char*, const std::string*> groups[] = {
            {"<g id=\"areas\" fill-rule=\"evenodd\">\n", &paint_.fills},
            {"<g id=\"limits\" fill-rule=\"evenodd\">\n", &paint_.outlines},
            {"<g id=\"lines\" stroke-linejoin=\"round\" stroke-linecap=\"round\">\n", &paint_.lines},
            {"<g id=\"points\">\n", &paint_.points},
            {"<g id=\"changes\">\n", &changes_},
        };
        for (const auto& [start, content] : groups)
            if (!content->empty()) svg += start + *content + "</g>\n";
        svg += labelsSvg_ + "</g>\n";
        writeFrame(svg, page_, styles_, said);
        svg += "</svg>\n";
        picture.withoutPicture = marks_.missing();
        for (const auto& [names, count] : differences_)
            picture.differences.push_back({names.first, names.second, count});
        picture.movedOnly = movedOnly_;
        return picture;
    }

    const Features& features_;
    const Features* against_;
    const Page& page_;
    const Styles& styles_;
    Marks marks_;
    Labels labels_;
    Paint paint_;
    std::string hatches_;
    std::string changes_;
    std::string labelsSvg_;
    std::map<std::pair<std::string, std::string>, std::size_t> differences_;
    std::size_t movedOnly_ = 0;
};

}  // namespace

ChartPicture drawChart(const Features& features, const Features* against, const Page& page, SymbolSet& symbols) {
    return Drawing(features, against, page, symbols).draw();
}

}  // namespace cxml
