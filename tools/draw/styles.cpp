#include "tools/draw/styles.h"

#include <fmt/format.h>
#include <algorithm>
#include <fstream>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string_view>

namespace cxml {
namespace {

using Json = nlohmann::json;

constexpr double mostMillimetres = 100;

// Says where in the sheet something is wrong.
class Place {
public:
    explicit Place(std::string name) : name_(std::move(name)) {}
    Place operator/(const std::string& member) const { return Place(name_ + "/" + member); }
    [[noreturn]] void fail(std::string_view why) const { throw DrawError(fmt::format("{}: {}", name_, why)); }

private:
    std::string name_;
};

void checkMembers(const Json& object, std::initializer_list<std::string_view> known, const Place& place) {
    if (!object.is_object()) place.fail("is no object");
    for (const auto& member : object.items())
        if (std::ranges::find(known, member.key()) == known.end())
            place.fail(fmt::format("there is no member '{}'", member.key()));
}

bool isColour(const std::string& text) {
    constexpr std::string_view digits = "0123456789abcdefABCDEF";
    return text.size() == 7 && text.front() == '#' && text.find_first_not_of(digits, 1) == std::string::npos;
}

std::string textOf(const Json& object, const char* member, const Place& place) {
    const auto found = object.find(member);
    if (found == object.end() || !found->is_string()) place.fail(fmt::format("'{}' is missing, or no text", member));
    return found->get<std::string>();
}

bool flagOf(const Json& object, const char* member, const Place& place) {
    const auto found = object.find(member);
    if (found == object.end()) return false;
    if (!found->is_boolean()) place.fail(fmt::format("'{}' is neither true nor false", member));
    return found->get<bool>();
}

double millimetres(const Json& number, const Place& place) {
    if (!number.is_number()) place.fail("is no number of millimetres");
    const auto value = number.get<double>();
    if (value < 0 || value > mostMillimetres) place.fail("is not between 0 and 100 mm");
    return value;
}

class Reader {
public:
    Reader(Styles& styles, Place root) : styles_(styles), root_(std::move(root)) {}

    void read(const Json& sheet, const std::string& palette) {
        checkMembers(sheet, {"palettes", "lines", "areas", "figures"}, root_);
        readPalette(sheet, palette);
        each(sheet, "lines", [&](const std::string& name, const Json& said, const Place& place) {
            styles_.lines.emplace(name, line(said, place));
        });
        each(sheet, "areas", [&](const std::string& name, const Json& said, const Place& place) {
            styles_.areas.emplace(name, area(said, place));
        });
        each(sheet, "figures", [&](const std::string& name, const Json& said, const Place& place) {
            styles_.figures.emplace(name, figure(said, place));
        });
    }

private:
    template <class Read>
    void each(const Json& sheet, const char* member, Read&& readOne) const {
        const auto found = sheet.find(member);
        if (found == sheet.end()) return;
        const Place place = root_ / member;
        if (!found->is_object()) place.fail("is no object");
        for (const auto& one : found->items()) readOne(one.key(), one.value(), place / one.key());
    }

    void readPalette(const Json& sheet, const std::string& palette) {
        const Place place = root_ / "palettes";
        const auto palettes = sheet.find("palettes");
        if (palettes == sheet.end() || !palettes->is_object()) place.fail("is missing, or no object");
        const auto colours = palettes->find(palette);
        if (colours == palettes->end() || !colours->is_object()) place.fail(fmt::format("there is no '{}'", palette));
        for (const auto& token : colours->items()) {
            const std::string colour = token.value().is_string() ? token.value().get<std::string>() : std::string();
            if (!isColour(colour)) (place / palette / token.key()).fail("is no colour, #rrggbb");
            styles_.colours.emplace(token.key(), colour);
        }
    }

    std::string colour(const Json& object, const char* member, const Place& place) const {
        const std::string token = textOf(object, member, place);
        const auto found = styles_.colours.find(token);
        if (found == styles_.colours.end()) place.fail(fmt::format("the palette has no '{}'", token));
        return found->second;
    }

    LineStyle line(const Json& said, const Place& place) const {
        checkMembers(said, {"stroke", "width", "dash"}, place);
        LineStyle style;
        style.stroke = colour(said, "stroke", place);
        if (!said.contains("width")) place.fail("'width' is missing");
        style.width = millimetres(said["width"], place / "width");
        if (const auto dash = said.find("dash"); dash != said.end()) {
            if (!dash->is_array() || dash->empty()) (place / "dash").fail("is no list");
            for (const Json& length : *dash) style.dash.push_back(millimetres(length, place / "dash"));
        }
        return style;
    }

    AreaStyle area(const Json& said, const Place& place) const {
        checkMembers(said, {"fill", "hatch", "outline", "symbol"}, place);
        AreaStyle style;
        if (said.contains("fill")) style.fill = colour(said, "fill", place);
        if (said.contains("hatch")) style.hatch = colour(said, "hatch", place);
        if (said.contains("outline")) style.outline = line(said["outline"], place / "outline");
        style.symbol = flagOf(said, "symbol", place);
        return style;
    }

    FigureStyle figure(const Json& said, const Place& place) const {
        checkMembers(said, {"field", "fill", "bold", "underline", "circle", "swept"}, place);
        return {.field = textOf(said, "field", place),
                .fill = colour(said, "fill", place),
                .bold = flagOf(said, "bold", place),
                .underline = flagOf(said, "underline", place),
                .circle = flagOf(said, "circle", place),
                .swept = flagOf(said, "swept", place)};
    }

    Styles& styles_;
    Place root_;
};

}  // namespace

const std::string& Styles::colour(const std::string& token) const {
    const auto found = colours.find(token);
    if (found == colours.end()) throw DrawError(fmt::format("the palette has no colour '{}'", token));
    return found->second;
}

Styles readStyles(const std::string& file, const std::string& palette) {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw DrawError(file + ": the style sheet cannot be read");
    const Json sheet = Json::parse(in, nullptr, false);
    if (sheet.is_discarded()) throw DrawError(file + ": the style sheet is not JSON");
    Styles styles;
    Reader(styles, Place(file)).read(sheet, palette);
    return styles;
}

}  // namespace cxml
