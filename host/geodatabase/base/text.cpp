// UTF-8 and UTF-16, and SQL quoting.
#include "host/geodatabase/base/text.h"

#include "host/geodatabase/base/status_error.h"

#include <algorithm>
#include <climits>

namespace embedded_host {

namespace {

bool isAscii(std::string_view text) noexcept {
    unsigned char all = 0;
    for (const char c : text) all |= static_cast<unsigned char>(c);
    return all < 0x80;
}

bool isAscii(WideView text) noexcept {
    unsigned all = 0;
    for (const OLECHAR c : text) all |= static_cast<unsigned>(c);
    return all < 0x80;
}

int checkedLength(std::size_t length) {
    if (length > INT_MAX) throw StatusError(DISP_E_OVERFLOW, "a text of more than 2 gigabytes");
    return static_cast<int>(length);
}

int wideLength(std::string_view utf8) {
    return MultiByteToWideChar(CP_UTF8, 0, utf8.data(), checkedLength(utf8.size()), nullptr, 0);
}

std::string quoted(std::string_view text, char quote) {
    std::string result(1, quote);
    for (const char c : text) {
        if (c == quote) result += quote;
        result += c;
    }
    return result += quote;
}

}  // namespace

BSTR toBstr(std::string_view utf8) {
    const bool ascii = isAscii(utf8);
    const int length = ascii ? checkedLength(utf8.size()) : wideLength(utf8);
    BSTR text = SysAllocStringLen(nullptr, static_cast<UINT>(length));
    if (!text) AtlThrow(E_OUTOFMEMORY);
    if (ascii)
        std::ranges::copy(utf8, text);
    else
        MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), text, length);
    return text;
}

WideString toWide(std::string_view utf8) {
    if (isAscii(utf8)) return {utf8.begin(), utf8.end()};
    WideString text(static_cast<std::size_t>(wideLength(utf8)), OLESTR('\0'));
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), text.data(),
                        static_cast<int>(text.size()));
    return text;
}

std::string toUtf8(WideView text) {
    if (text.empty()) return {};
    const int units = checkedLength(text.size());
    if (isAscii(text)) {
        std::string narrow(text.size(), '\0');
        std::ranges::transform(text, narrow.begin(), [](OLECHAR c) { return static_cast<char>(c); });
        return narrow;
    }
    const int bytes =
        WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), units, nullptr, 0, nullptr, nullptr);
    if (bytes <= 0) throw StatusError(E_INVALIDARG, "the text is not valid UTF-16: it has a lone surrogate");
    std::string utf8(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, text.data(), units, utf8.data(), bytes, nullptr, nullptr);
    return utf8;
}

WideView viewOf(BSTR text) noexcept {
    return text ? WideView(text, SysStringLen(text)) : WideView();
}

WideString upperCased(WideView name) {
    WideString upper(name);
    CharUpperBuffW(upper.data(), static_cast<DWORD>(upper.size()));
    return upper;
}

std::string quotedName(std::string_view name) {
    return quoted(name, '"');
}

std::string quotedText(std::string_view value) {
    return quoted(value, '\'');
}

}  // namespace embedded_host
