#include "first_document.h"

#include "tools/text/text.h"
#include "tools/text/xml_text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <filesystem>
#include <set>

namespace cxml {
namespace {

constexpr const char* defaultSymbol = "QUESMRK1";

std::string valueLines(const FieldSurvey& field, const std::vector<std::pair<std::string, std::int64_t>>& values) {
    std::string lines;
    for (const auto& [value, rows] : values) {
        std::string meaning;
        if (field.attribute() && field.attribute()->hasCodes()) {
            meaning = field.attribute()->meaningOf(std::string_view(value));
            meaning.insert(0, meaning.empty() ? "  no code of S-57" : "  ");
        }
        lines += fmt::format("         {}{}  ({})\n", xmlText(value), xmlText(meaning), plural(rows, "row"));
    }
    return lines;
}

// The field, and what occurs in it.
std::string fieldLines(const FieldSurvey& field) {
    std::string line =
        fmt::format("       {}, {}", xmlText(field.name()), field.isList() ? "text, a list of codes" : field.type());
    if (field.attribute()) line += ": " + xmlText(field.attribute()->name);
    std::vector<std::string> more;
    auto values = field.values();
    constexpr std::size_t fewValues = 6;
    const bool hasCodes = field.isList() || (field.attribute() && field.attribute()->hasCodes());
    if (values && !hasCodes && values->size() > fewValues &&
        static_cast<std::int64_t>(values->size()) == field.filled()) {
        more.push_back(fmt::format("another value in each of {}", plural(field.filled(), "row")));
        values->clear();
    }
    if (!values) {
        const auto range = field.range();
        more.push_back(
            fmt::format("{}{} with a value, too many or too long to list ({} at most)",
                        range ? fmt::format("{} to {}, ", xmlText(range->first), xmlText(range->second)) : "",
                        plural(field.filled(), "row"), field.mostValues()));
    }
    if (field.empty() != 0) more.push_back(plural(field.empty(), "row") + " with the empty text");
    if (field.foreign() != 0)
        more.push_back(plural(field.foreign(), "row") + " with something that is not of its type");
    if (!more.empty()) line += fmt::format("; {}", fmt::join(more, "; "));
    return line + '\n' + (values ? valueLines(field, *values) : std::string());
}

std::string heading(const LayerSurvey& layer) {
    std::string text = "\n  <!-- " + xmlText(layer.layer.name);
    if (layer.layer.alias != layer.layer.name) text += fmt::format(", {}", xmlText(layer.layer.alias));
    if (layer.ofClass) text += fmt::format(", {}", xmlText(layer.ofClass->name));
    text += ": " + plural(layer.rows, "row") + '\n';
    std::vector<std::string> without;
    for (const FieldSurvey& field : layer.fields) {
        if (field.filled() == 0 && field.foreign() == 0)
            without.push_back(fmt::format("{} ({})", xmlText(field.name()), field.type()));
        else
            text += fieldLines(field);
    }
    if (!without.empty()) text += fmt::format("       Without a value: {}\n", fmt::join(without, ", "));
    return text + "  -->\n";
}

std::string subtypeLists(const LayerSurvey& layer) {
    if (layer.subtypeField.empty()) return {};
    std::string text = fmt::format(
        "\n    <!-- A row whose {} has a list below is decided by that list and not by the conditions above.{} -->\n",
        xmlText(layer.subtypeField), layer.hasMoreSubtypes ? " There are more codes than are listed here." : "");
    for (const auto& [code, rows] : layer.subtypes)
        text += fmt::format(
            "    <subtype number=\"{}\">  <!-- {} -->\n      <condition rulename=\"{}\"/>\n    </subtype>\n", code,
            plural(rows, "row"), defaultSymbol);
    return text;
}

std::string classOf(const LayerSurvey& layer, const std::vector<LayerSurvey>& layers) {
    return fmt::format("  <featureClass name=\"{}\">\n    <condition rulename=\"{}\"/>\n{}{}  </featureClass>\n",
                       xmlText(layer.layer.alias), defaultSymbol, exampleConditions(layer, layers),
                       subtypeLists(layer));
}

}  // namespace

std::string firstDocument(const std::string& dataset, const std::vector<LayerSurvey>& layers,
                          const std::vector<std::string>& others) {
    const std::filesystem::path path(dataset);
    const std::string name = path.stem().empty() ? std::string("chart") : path.stem().string();
    std::string text = fmt::format(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<!-- Conditions for {}, to begin with. Every row gets the symbol {} until other conditions say otherwise: of "
        "the\n"
        "     conditions of a list that match, the last one decides. Above each class stand the fields of its layer "
        "with the\n"
        "     values that occur. To use an example, remove its first and its last line and give it a symbol. -->\n"
        "<conditionMap name=\"{}\">\n",
        xmlText(path.filename().string()), defaultSymbol, xmlText(name));
    std::set<std::string> known;
    for (const LayerSurvey& layer : layers) {
        text += heading(layer);
        const std::string& alias = layer.layer.alias;
        if (!isXml(alias) || alias.empty())
            text += "  <!-- It cannot be configured: its title is nothing that XML can hold. -->\n";
        else if (!known.insert(toUtf8(upperCase(toBstr(alias)))).second)
            text += "  <!-- Its title is that of a layer above, whose conditions are its own, too. -->\n";
        else
            text += classOf(layer, layers);
    }
    if (!others.empty()) {
        std::vector<std::string> names;
        names.reserve(others.size());
        for (const std::string& other : others) names.push_back(xmlText(other));
        text += fmt::format("\n  <!-- Without shapes, and left out: {} -->\n", fmt::join(names, ", "));
    }
    return text + "</conditionMap>\n";
}

}  // namespace cxml
