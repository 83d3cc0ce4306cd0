#include "tools/text/xml_text.h"

#include "tools/text/text.h"

#include <fmt/format.h>

namespace cxml {
namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

bool isWhiteSpace(unsigned char c) {
    return c == '\t' || c == '\n' || c == '\r';
}

// U+FFFE and U+FFFF, which UTF-8 can write and XML cannot.
bool isNoCharacter(std::string_view text) {
    return text.starts_with("\xEF\xBF\xBE") || text.starts_with("\xEF\xBF\xBF");
}

bool isSecondControl(std::string_view text) {
    return text.size() > 1 && text[0] == '\xC2' && static_cast<unsigned char>(text[1]) < 0xA0;
}

}  // namespace

bool isXml(std::string_view text) {
    if (toUtf8(toBstr(text)) != text) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if ((c < 0x20 && !isWhiteSpace(c)) || isNoCharacter(text.substr(i))) return false;
    }
    return true;
}

std::string xmlText(std::string_view text, Quotes quotes) {
    const std::string sound = toUtf8(toBstr(text));
    const std::string_view rest = sound;
    std::string markup;
    for (std::size_t i = 0; i < rest.size(); ++i) {
        const auto c = static_cast<unsigned char>(rest[i]);
        if (c == '&') {
            markup += "&amp;";
        } else if (c == '<') {
            markup += "&lt;";
        } else if (c == '>') {
            markup += "&gt;";
        } else if (c == '"' && quotes == Quotes::Escaped) {
            markup += "&quot;";
        } else if (c == '-' && !markup.empty() && markup.back() == '-') {
            markup += "&#45;";
        } else if (isWhiteSpace(c) || c == 0x7F) {
            markup += fmt::format("&#{};", c);
        } else if (c < 0x20) {
            markup += replacement;
        } else if (isNoCharacter(rest.substr(i))) {
            markup += replacement;
            i += 2;
        } else if (isSecondControl(rest.substr(i))) {
            markup += fmt::format("&#{};", static_cast<unsigned char>(rest[++i]));
        } else {
            markup += static_cast<char>(c);
        }
    }
    return markup;
}

}  // namespace cxml
