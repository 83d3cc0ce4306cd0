// cxml draw: a symbolized dataset as a picture.
#include "chart_order.h"
#include "commands.h"
#include "host/geodatabase/shapes.h"
#include "host/host_error.h"
#include "interrupt.h"
#include "layer_options.h"
#include "out_of_memory.h"
#include "output_place.h"
#include "services.h"
#include "tools/draw/chart.h"
#include "tools/draw/frame.h"
#include "tools/draw/raster.h"
#include "tools/draw/svg.h"
#include "tools/reports/document.h"
#include "tools/reports/report.h"
#include "tools/runs/layer_choice.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <iostream>
#include <memory>

namespace cxml {
namespace {

using embedded_host::Bounds;
using embedded_host::HostError;
using embedded_host::ShapeSource;

constexpr std::size_t mostNamed = 60;  // characters of a symbol's name in a message

struct Arguments {
    std::string dataset;
    std::vector<std::string> layers;
    std::string output;
    std::optional<std::string> symbols;
    std::optional<std::string> document;
    std::optional<std::string> bounds;
    std::optional<std::string> scale;
    std::string palette = "day";
    std::optional<std::string> where;
    std::optional<std::string> against;
    bool overwrite = false;
    bool json = false;
    ServiceOptions services;
};

std::optional<double> parseNumber(std::string_view text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(number)) return std::nullopt;
    return number;
}

// Nothing when it is not "W,S,E,N" in degrees.
std::optional<Bounds> parseBounds(std::string_view text) {
    std::vector<double> numbers;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        const std::optional<double> number = parseNumber(text.substr(begin, end - begin));
        if (!number) return std::nullopt;
        numbers.push_back(*number);
        begin = end + 1;
    }
    if (numbers.size() != 4) return std::nullopt;
    const Bounds bounds{numbers[0], numbers[1], numbers[2], numbers[3]};
    const bool isInWorld = bounds.west >= -180 && bounds.east <= 180 && bounds.south >= -85 && bounds.north <= 85;
    return isInWorld && bounds.west < bounds.east && bounds.south < bounds.north ? std::optional(bounds) : std::nullopt;
}

// "1:20000" or "20000".
std::optional<double> parseScale(std::string_view text) {
    if (text.starts_with("1:")) text.remove_prefix(2);
    const std::optional<double> scale = parseNumber(text);
    return scale && *scale >= 1 && *scale <= 1e9 ? scale : std::nullopt;
}

PictureForm formOf(const std::string& file) {
    const std::size_t dot = file.rfind('.');
    const std::string ending = dot == std::string::npos ? std::string() : lowerAscii(file.substr(dot));
    if (ending == ".svg") return PictureForm::Svg;
    if (ending == ".png") return PictureForm::Png;
    if (ending == ".pdf") return PictureForm::Pdf;
    throw DrawError(file + ": the file's name ends in none of .svg, .png and .pdf");
}

class DrawCommand {
public:
    explicit DrawCommand(const Arguments& arguments) : arguments_(arguments), console_(Console::Bar::Never) {}

    ExitStatus run() {
        const PictureForm form = formOf(arguments_.output);
        if (form != PictureForm::Svg && !canRender())
            throw DrawError(arguments_.output +
                            ": this program was built without librsvg and writes SVG only; name the file .svg");
        const OutputPlace place{{arguments_.dataset, arguments_.document.value_or(""), arguments_.against.value_or("")},
                                arguments_.overwrite};
        place.expectFree(arguments_.output);
        FeatureQuery query;
        query.layers = arguments_.layers;
        query.where = arguments_.where;
        if (arguments_.bounds) query.within = parseBounds(*arguments_.bounds);
        if (arguments_.document && !readDocument(query)) return ExitStatus::Failed;
        SymbolSet symbols(arguments_.symbols.value_or(ownSymbolsFolder()), arguments_.palette);
        const Features features = collect(arguments_.dataset, query, symbols.styles());
        std::optional<Features> against;
        if (arguments_.against) against = collect(*arguments_.against, query, symbols.styles());
        const Page page = pageOf(features, against, query);
        const ChartPicture picture = drawChart(features, against ? &*against : nullptr, page, symbols);
        for (const std::string& complaint : symbols.complaints()) console_.complain(complaint);
        const std::string& bytes = form == PictureForm::Svg
                                       ? picture.svg
                                       : rendered_ = render(picture.svg, form, picture.width, picture.height);
        if (const std::string why = place.write(arguments_.output, bytes); !why.empty()) throw DrawError(why);
        if (arguments_.json)
            writeJson(features, page, picture);
        else
            report(features, page, picture);
        return ExitStatus::Good;
    }

    Console& console() noexcept { return console_; }

private:
    bool readDocument(FeatureQuery& query) {
        const Services services(arguments_.services, console_);
        Document document(console_, *arguments_.document, MessageLog::Keep::Counts);
        load(document);
        if (document.loaded)
            query.classes = chartOrderOf(*document.map);
        else
            console_.complain(notLoaded(document));
        return document.loaded;
    }

    Features collect(const std::string& dataset, const FeatureQuery& query, const Styles& styles) {
        const std::unique_ptr<ShapeSource> source =
            ShapeSource::open(dataset, {.lockTimeout = std::nullopt, .stop = &stopRequested()});
        for (const std::string& name : query.layers) findLayer(source->layers(), name, dataset);
        Features features = [&] {
            try {
                return collectFeatures(*source, query, styles);
            } catch (const DrawError& error) {
                throw DrawError(shownName(dataset) + ": " + error.what());
            }
        }();
        if (!features.cutIn.empty())
            console_.complain(
                fmt::format("{}: more than {} features: of the layer {} only the first are drawn, and no "
                            "layer behind it; LAYER, --where or --bbox choose",
                            shownName(dataset), mostFeatures, features.cutIn));
        return features;
    }

    // Of a server nothing secret.
    static std::string shownName(const std::string& dataset) {
        return dataset.starts_with("PG:") || dataset.starts_with("postgres") ? "PG" : dataset;
    }

    Page pageOf(const Features& features, const std::optional<Features>& against, const FeatureQuery& query) const {
        const std::optional<double> scale = arguments_.scale ? parseScale(*arguments_.scale) : std::nullopt;
        if (query.within) return {*query.within, scale};
        std::optional<Bounds> bounds = features.bounds();
        if (!bounds && against) bounds = against->bounds();
        if (!bounds) throw DrawError(shownName(arguments_.dataset) + ": no row has both a shape and a symbol");
        return {withMargin(*bounds), scale};
    }

    void report(const Features& features, const Page& page, const ChartPicture& picture) {
        std::int64_t rows = 0;
        std::int64_t withoutSymbol = 0;
        for (const FeatureLayer& layer : features.layers) {
            rows += layer.rows;
            withoutSymbol += layer.withoutSymbol;
        }
        std::string line =
            fmt::format("{}: 1:{}, {:.0f} by {:.0f} mm; {} layer{}, {} rows, {} drawn", arguments_.output,
                        grouped(page.scale()), picture.width, picture.height, features.layers.size(),
                        features.layers.size() == 1 ? "" : "s", rows, features.count());
        if (withoutSymbol != 0) line += fmt::format(", {} without a symbol", withoutSymbol);
        console_.result(line);
        for (const auto& [name, count] : picture.withoutPicture)
            console_.result(fmt::format("no picture: {} ({})", shortened(name, mostNamed), count));
        for (const DrawnDifference& difference : picture.differences)
            console_.result(fmt::format("differs: {} -> {} ({})", nameOrNothing(difference.from),
                                        nameOrNothing(difference.to), difference.features));
        if (picture.movedOnly != 0)
            console_.result(fmt::format("differs: offset or rotation only ({})", picture.movedOnly));
        if (arguments_.against && picture.differences.empty() && picture.movedOnly == 0)
            console_.result("no difference");
    }

    static std::string nameOrNothing(const std::string& name) {
        return name.empty() ? "nothing" : shortened(name, mostNamed);
    }

    void writeJson(const Features& features, const Page& page, const ChartPicture& picture) const {
        const Bounds& bounds = page.bounds();
        std::cout << R"({"picture": )" << jsonString(arguments_.output) << R"(, "scale": )" << exactNumber(page.scale())
                  << R"(, "bbox": [)"
                  << fmt::format("{}, {}, {}, {}", exactNumber(bounds.west), exactNumber(bounds.south),
                                 exactNumber(bounds.east), exactNumber(bounds.north))
                  << R"(], "complete": )" << (features.cutIn.empty() ? "true" : "false") << ",\n \"layers\": [";
        const char* separator = "\n  ";
        for (const FeatureLayer& layer : features.layers) {
            std::cout << separator << R"({"layer": )" << jsonString(layer.name)
                      << fmt::format(R"(, "rows": {}, "drawn": {}, "withoutSymbol": {}, "withoutShape": {}}})",
                                     layer.rows, layer.features.size(), layer.withoutSymbol, layer.withoutShape);
            separator = ",\n  ";
        }
        std::cout << "],\n \"withoutPicture\": [";
        separator = "";
        for (const auto& [name, count] : picture.withoutPicture) {
            std::cout << separator << R"({"symbol": )" << jsonString(name) << R"(, "features": )" << count << '}';
            separator = ", ";
        }
        std::cout << ']';
        if (arguments_.against) writeDifferences(picture);
        std::cout << "}\n";
    }

    static void writeDifferences(const ChartPicture& picture) {
        std::cout << ",\n \"differences\": [";
        const char* separator = "";
        for (const DrawnDifference& difference : picture.differences) {
            std::cout << separator << R"({"from": )" << jsonString(difference.from) << R"(, "to": )"
                      << jsonString(difference.to) << R"(, "features": )" << difference.features << '}';
            separator = ", ";
        }
        std::cout << R"(], "movedOnly": )" << picture.movedOnly;
    }

    const Arguments& arguments_;
    Console console_;
    std::string rendered_;
};

ExitStatus draw(const Arguments& arguments) {
    DrawCommand command(arguments);
    try {
        const NothingToLose nothing("");  // the picture gets its name when it is whole
        return orEndOutOfMemory([&] { return command.run(); });
    } catch (const HostError& e) {
        command.console().complain(e.what());
    } catch (const DrawError& e) {
        command.console().complain(e.what());
    }
    return ExitStatus::Unusable;
}

}  // namespace

void addDraw(CLI::App& app, Command& chosen) {
    CLI::App* command = app.add_subcommand("draw", "Draw a symbolized dataset as a picture");
    const auto arguments = std::make_shared<Arguments>();
    command->add_option("DATASET", arguments->dataset, "a GeoPackage file or a connection string (PG:...)")
        ->required()
        ->type_name("");
    command->add_option("LAYER", arguments->layers, "layers to draw; without any, all that have a shape and SYMBOL_C")
        ->type_name("");
    addLayerOption(*command, arguments->layers);
    command->add_option("-o,--output", arguments->output, "the picture; its name ends in .svg, .png or .pdf")
        ->required()
        ->type_name("FILE");
    command->add_option("--symbols", arguments->symbols, "a folder with pictures, NAME.svg, instead of our own")
        ->type_name("DIR");
    command
        ->add_option("--document", arguments->document,
                     "the document that symbolized it: its classes in their order, and labels from what it computes")
        ->type_name("DOC");
    command->add_option("--bbox", arguments->bounds, "what to show, in degrees; without it all that there is")
        ->type_name("W,S,E,N")
        ->check([](const std::string& text) {
            return parseBounds(text) ? "" : "it is not west,south,east,north in degrees";
        });
    command->add_option("--scale", arguments->scale, "without it what fits a sheet")
        ->type_name("1:N")
        ->check([](const std::string& text) { return parseScale(text) ? "" : "it is no scale, 1:20000"; });
    command->add_option("--palette", arguments->palette, "day, dusk or night; day without it")->type_name("NAME");
    addWhereOption(*command, arguments->where);
    command->add_option("--against", arguments->against, "mark what is drawn otherwise in this dataset")
        ->type_name("DATASET2");
    command->add_flag("--overwrite", arguments->overwrite, "replace FILE where it exists");
    command->add_flag("--json", arguments->json, "write one JSON object to standard output");
    addServiceOptions(*command, arguments->services);
    command->footer(
        "A name in SYMBOL_C that has neither a picture nor a style is drawn as the name in a box, and listed.\n"
        "Exit status: 0 drawn, 1 DOC did not load, 2 wrong usage, or a file that cannot be read or written.");
    command->callback([&chosen, arguments] { chosen = [arguments] { return draw(*arguments); }; });
}

}  // namespace cxml
