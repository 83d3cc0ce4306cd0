#include "tools/lookups/row_text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>
#include <charconv>
#include <cmath>

namespace cxml {
namespace {

constexpr const char* nothing = "def Generate():\n    return None\n";

bool isPlain(std::string_view text) {
    // Quotes, backslashes and what ends a section would have to be written otherwise, in Python and in XML.
    const auto isPlainByte = [](char c) { return static_cast<unsigned char>(c) >= 0x20 && c != '\x7f'; };
    return std::ranges::all_of(text, isPlainByte) && text.find_first_of("\"\\") == std::string_view::npos &&
           text.find("]]>") == std::string_view::npos && text.find("Generate") == std::string_view::npos;
}

// The letters of a format's conversions, %4.1lf being f; nothing when one of them is not understood.
std::optional<std::string> conversionsOf(std::string_view format) {
    std::string letters;
    for (std::size_t i = 0; i < format.size(); ++i) {
        if (format[i] != '%') continue;
        if (format.substr(i).starts_with("%%")) {
            ++i;
            continue;
        }
        i = format.find_first_not_of("0123456789.+- #lh", i + 1);
        if (i == std::string_view::npos || std::string_view("sdifeg").find(format[i]) == std::string_view::npos)
            return std::nullopt;
        letters += format[i];
    }
    return letters;
}

std::vector<std::string> words(std::string_view text) {
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        parts.emplace_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

std::optional<RowText> formatted(const std::string& format, const std::vector<std::string>& fields) {
    const std::optional<std::string> conversions = conversionsOf(format);
    if (!isPlain(format) || !conversions || conversions->size() != fields.size() ||
        !std::ranges::all_of(fields, canBeArgument))
        return std::nullopt;
    RowText text;
    std::vector<std::string> values;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        values.push_back(fmt::format("{}({})", (*conversions)[i] == 's' ? "written" : "measured", fields[i]));
        if (std::ranges::find(text.fields, fields[i]) == text.fields.end()) text.fields.push_back(fields[i]);
    }
    text.value = fmt::format("composed(\"{}\"{}{})", format, values.empty() ? "" : ", ", fmt::join(values, ", "));
    return text;
}

std::optional<double> numberAt(const Piece& piece, std::size_t at) {
    if (at >= piece.arguments.size()) return std::nullopt;
    const std::string& text = piece.arguments[at];
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

std::string offset(double millimetres, const char* positive, const char* negative) {
    return fmt::format("{:.1f} mm {}", std::abs(millimetres), millimetres < 0 ? negative : positive);
}

}  // namespace

std::optional<RowText> rowText(const Piece& piece) {
    if (piece.word == "TX") {
        if (!piece.quoted.front()) return formatted("%s", {piece.arguments.front()});
        std::string constant = piece.arguments.front();
        for (std::size_t at = 0; (at = constant.find('%', at)) != std::string::npos; at += 2)
            constant.insert(at, 1, '%');
        return formatted(constant, {});
    }
    if (piece.word != "TE" || piece.arguments.size() < 2 || !piece.quoted[0] || !piece.quoted[1]) return std::nullopt;
    return formatted(piece.arguments[0], words(piece.arguments[1]));
}

std::string textFormat(const Piece& piece) {
    // Of TX the first argument is the text, of TE the first two.
    const std::size_t first = piece.word == "TX" ? 1 : 2;
    constexpr std::size_t characters = 3;
    constexpr std::size_t right = 4;
    constexpr std::size_t down = 5;
    constexpr std::size_t colour = 6;
    const std::optional<double> x = numberAt(piece, first + right);
    const std::optional<double> y = numberAt(piece, first + down);
    if (piece.arguments.size() <= first + colour || !x || !y) return piece.text;
    // Style, weight and width are a digit each, the size of the body is the rest.
    const std::string& font = piece.arguments[first + characters];
    constexpr std::size_t beforeSize = 3;
    constexpr double usualSize = 10;
    double size = usualSize;
    if (font.size() > beforeSize) std::from_chars(font.data() + beforeSize, font.data() + font.size(), size);
    constexpr double point = 0.351;  // mm
    return fmt::format("{}, {}, of {}, in {}", offset(*x * size * point, "right", "left"),
                       offset(*y * size * point, "down", "up"), font, piece.arguments[first + colour]);
}

std::string_view textLibrarySource() {
    return R"(
def written(value):
    return "%.10g" % value if isinstance(value, float) else value

def measured(value):
    try:
        return float(value)
    except (TypeError, ValueError):
        return None

def composed(text, *values):
    return None if None in values or "" in values else text % values
)";
}

std::string generateText(const std::optional<RowText>& text) {
    if (!text) return nothing;
    return fmt::format("def Generate({}):\n    return {}\n", fmt::join(text->fields, ", "), text->value);
}

std::string generateRotation(const std::optional<Rotation>& rotation) {
    if (!rotation) return nothing;
    if (rotation->degrees) return fmt::format("def Generate():\n    return \"{}\"\n", *rotation->degrees);
    return fmt::format("def Generate({0}):\n    return composed(\"%.10g\", measured({0}))\n", rotation->field);
}

}  // namespace cxml
