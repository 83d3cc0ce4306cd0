#include "tools/draw/svg.h"

#include "tools/text/text.h"

#include <fmt/format.h>
#include <charconv>
#include <cmath>

namespace cxml {
namespace {

bool isContinuation(char c) noexcept {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

// U+FFFE and U+FFFF are three bytes of UTF-8 that XML does not allow.
bool isNoCharacter(std::string_view text) noexcept {
    return text.starts_with("\xEF\xBF\xBE") || text.starts_with("\xEF\xBF\xBF");
}

}  // namespace

std::string svgNumber(double value) {
    constexpr double thousandth = 1000;
    const double rounded = std::round(value * thousandth) / thousandth;
    return exactNumber(rounded == 0 ? 0 : rounded);  // not -0
}

std::string exactNumber(double value) {
    char digits[400];  // as many as the largest double has before its point
    const std::to_chars_result end =
        std::to_chars(std::begin(digits), std::end(digits), value, std::chars_format::fixed);
    return {digits, end.ptr};
}

std::string xmlText(std::string_view text) {
    const std::string valid = toUtf8(toBstr(text));
    std::string result;
    for (std::size_t i = 0; i < valid.size(); ++i) {
        const char c = valid[i];
        const auto byte = static_cast<unsigned char>(c);
        if (c == '<')
            result += "&lt;";
        else if (c == '>')
            result += "&gt;";
        else if (c == '&')
            result += "&amp;";
        else if (c == '"')
            result += "&quot;";
        else if (byte < 0x20 || byte == 0x7F)
            fmt::format_to(std::back_inserter(result), "\\x{:02X}", byte);
        else if (isNoCharacter(std::string_view(valid).substr(i))) {
            result += "\xEF\xBF\xBD";
            i += 2;
        } else
            result += c;
    }
    return result;
}

std::string shortened(std::string_view text, std::size_t most) {
    std::size_t characters = 0;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (!isContinuation(text[i]) && ++characters > most) return std::string(text.substr(0, i)) + "\xE2\x80\xA6";
    return std::string(text);
}

}  // namespace cxml
