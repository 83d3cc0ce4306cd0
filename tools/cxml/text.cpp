#include "text.h"

#include <fmt/format.h>

namespace cxml {
namespace {

constexpr std::string_view whiteSpace = " \t\r\n";

bool isControl(char c) noexcept {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
}

std::string_view trimmedEnd(std::string_view text) noexcept {
    const std::size_t last = text.find_last_not_of(whiteSpace);
    return last == std::string_view::npos ? std::string_view{} : text.substr(0, last + 1);
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
    WideString wide;
    if (!text.empty()) {
        const int bytes = static_cast<int>(text.size());
        const int units = MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
        wide.resize(static_cast<std::size_t>(units));
        MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, wide.data(), units);
    }
    CComBSTR result;
    result.Attach(SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size())));
    if (!result) AtlThrow(E_OUTOFMEMORY);
    return result;
}

CComBSTR upperCase(const CComBSTR& text) {
    CComBSTR upper = text;
    if (upper.Length() != 0) CharUpperBuffW(upper.m_str, upper.Length());
    return upper;
}

std::string printable(std::string_view text) {
    std::string result;
    for (const char c : trimmedEnd(text)) {
        if (c == '\r') continue;
        if (isControl(c) && c != '\n' && c != '\t')
            fmt::format_to(std::back_inserter(result), "\\x{:02X}", static_cast<unsigned char>(c));
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

}  // namespace cxml
