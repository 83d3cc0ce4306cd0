#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>

namespace cxml {
namespace {

constexpr std::string_view whiteSpace = " \t\r\n";

bool isControl(char c) noexcept {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
}

// Whether the text begins with one of U+0080 to U+009F, which steer some terminals: U+009B does what ESC [ does.
bool isSecondControl(std::string_view text) noexcept {
    return text.size() > 1 && text[0] == '\xC2' && static_cast<unsigned char>(text[1]) >= 0x80 &&
           static_cast<unsigned char>(text[1]) < 0xA0;
}

std::string_view trimmedEnd(std::string_view text) noexcept {
    const std::size_t last = text.find_last_not_of(whiteSpace);
    return last == std::string_view::npos ? std::string_view{} : text.substr(0, last + 1);
}

// Empty when the flags have bytes refused that are not UTF-8.
WideString toWide(std::string_view text, DWORD flags) {
    WideString wide;
    const int bytes = static_cast<int>(text.size());
    const int units = bytes == 0 ? 0 : MultiByteToWideChar(CP_UTF8, flags, text.data(), bytes, nullptr, 0);
    if (units == 0) return wide;
    wide.resize(static_cast<std::size_t>(units));
    MultiByteToWideChar(CP_UTF8, flags, text.data(), bytes, wide.data(), units);
    return wide;
}

CComBSTR toBstr(const WideString& wide) {
    CComBSTR result;
    result.Attach(SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size())));
    if (!result) AtlThrow(E_OUTOFMEMORY);
    return result;
}

}  // namespace

std::string toUtf8(WideView text) {
    if (text.empty()) return {};
    const int units = static_cast<int>(text.size());
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), units, result.data(), bytes, nullptr, nullptr);
    return result;
}

std::string toUtf8(const CComBSTR& text) {
    return toUtf8(WideView(text.m_str, text.Length()));
}

CComBSTR toBstr(std::string_view text) {
    return toBstr(toWide(text, 0));
}

CComBSTR toPathBstr(std::string_view path) {
    WideString wide = toWide(path, MB_ERR_INVALID_CHARS);
    if (!wide.empty() || path.empty()) return toBstr(wide);
    while (!path.empty()) {
        constexpr std::size_t longestCharacter = 4;
        WideString character;
        std::size_t bytes = 0;
        while (character.empty() && bytes < std::min(longestCharacter, path.size()))
            character = toWide(path.substr(0, ++bytes), MB_ERR_INVALID_CHARS);
        if (character.empty()) {
            bytes = 1;
            character = static_cast<OLECHAR>(0xDC00U + static_cast<unsigned char>(path.front()));
        }
        wide += character;
        path.remove_prefix(bytes);
    }
    return toBstr(wide);
}

CComBSTR upperCase(const CComBSTR& text) {
    CComBSTR upper = text;
    if (upper.Length() != 0) CharUpperBuffW(upper.m_str, upper.Length());
    return upper;
}

bool isSameName(std::string_view a, std::string_view b) {
    return toUtf8(upperCase(toBstr(a))) == toUtf8(upperCase(toBstr(b)));
}

std::string printable(std::string_view text) {
    std::string result;
    const auto addEscaped = [&](char c) {
        fmt::format_to(std::back_inserter(result), "\\x{:02X}", static_cast<unsigned char>(c));
    };
    text = trimmedEnd(text);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\r') continue;
        if (isSecondControl(text.substr(i)))
            addEscaped(text[++i]);
        else if (isControl(c) && c != '\n' && c != '\t')
            addEscaped(c);
        else
            result += c;
    }
    return result;
}

std::string oneLine(std::string_view text) {
    std::string result;
    for (const char c : printable(text)) {
        if (c != '\n')
            result += c;
        else if (!result.empty() && result.back() != ' ')
            result += ' ';
    }
    return result;
}

std::string lowerAscii(std::string_view text) {
    std::string lower(text);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return lower;
}

std::string plural(std::int64_t count, std::string_view what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

}  // namespace cxml
