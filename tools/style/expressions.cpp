#include "tools/style/expressions.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace cxml::qml {
namespace {

std::string doubled(const std::string& text, char quote, bool hasEscapes) {
    std::string result(1, quote);
    for (const char c : text) {
        if (c == quote || (hasEscapes && c == '\\')) result += c;
        result += c;
    }
    return result + quote;
}

std::string numberOf(const std::optional<std::string>& field) {
    return field ? fmt::format("coalesce({}, 0)", fieldExpression(*field)) : "0";
}

}  // namespace

std::string fieldExpression(const std::string& name) {
    return doubled(name, '"', false);
}

std::string textExpression(const std::string& text) {
    return doubled(text, '\'', true);
}

std::string angleExpression(const PlacementFields& fields) {
    return numberOf(fields.rotation);
}

std::string offsetExpression(const PlacementFields& fields) {
    const std::string x = numberOf(fields.xOffset);
    const std::string y = numberOf(fields.yOffset);
    if (!fields.rotation) return fmt::format("array({}, -{})", x, y);
    return fmt::format(
        "with_variable('r', radians({2}), array({0} * cos(@r) - {1} * sin(@r), "
        "-({0} * sin(@r) + {1} * cos(@r))))",
        x, y, numberOf(fields.rotation));
}

std::string isNamed(const std::string& field) {
    return fmt::format("coalesce({}, '') <> ''", fieldExpression(field));
}

std::string typedName(const std::string& field, const std::vector<std::string>& known) {
    std::vector<std::string> texts;
    texts.reserve(known.size());
    for (const std::string& name : known) texts.push_back(textExpression(name));
    const std::string name = fmt::format("geometry_type($geometry) || ' ' || {}", fieldExpression(field));
    return fmt::format("CASE WHEN {0} IN ({1}) THEN {0} WHEN {2} THEN geometry_type($geometry) || ' ' END", name,
                       texts.empty() ? "''" : fmt::format("{}", fmt::join(texts, ", ")), isNamed(field));
}

// As tools/draw shows it: never deeper than it is, and without a tenth where it is deep.
std::string depthExpression(const std::string& field, bool isUnderlined) {
    const std::string depth = fmt::format("to_real({})", fieldExpression(field));
    const std::string metres =
        "to_string(to_int(if(@tenth > 0 OR @t >= 0, floor(abs(@t) / 10), "
        "floor((abs(@t) + 9) / 10))))";
    // A line below each digit: U+0332.
    const std::string underlined = fmt::format("regexp_replace({}, '(.)', '\\\\1\xCC\xB2')", metres);
    return fmt::format(
        "coalesce(with_variable('t', floor({0} * 10 + 0.000001), with_variable('tenth', "
        "if(abs({0}) < 31, abs(@t) % 10, 0), {1} || "
        "if(@tenth > 0, substr('\xE2\x82\x80\xE2\x82\x81\xE2\x82\x82\xE2\x82\x83\xE2\x82\x84\xE2\x82\x85"
        "\xE2\x82\x86\xE2\x82\x87\xE2\x82\x88\xE2\x82\x89', @tenth + 1, 1), ''))), '?')",
        depth, isUnderlined ? underlined : metres);
}

std::string linesExpression(const std::vector<std::string>& fields) {
    std::vector<std::string> texts;
    texts.reserve(fields.size());
    for (const std::string& field : fields) texts.push_back(fieldExpression(field));
    if (texts.size() == 1) return texts.front();
    return fmt::format("array_to_string(array_filter(array({}), @element <> ''), '\\n')", fmt::join(texts, ", "));
}

}  // namespace cxml::qml
