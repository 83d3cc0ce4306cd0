#include "text/text.h"

#include <utility>

namespace ConditionalXml {

CComBSTR makeBstr(WideView text) {
    CComBSTR result;
    result.Attach(SysAllocStringLen(text.empty() ? OLESTR("") : text.data(), static_cast<UINT>(text.size())));
    if (!result) AtlThrow(E_OUTOFMEMORY);
    return result;
}

CComBSTR upperCased(CComBSTR text) {
    if (text.Length() != 0) CharUpperBuffW(text.m_str, text.Length());
    return text;
}

namespace {

std::string encoded(WideView text, UINT codePage) {
    if (text.empty()) return {};
    const int units = static_cast<int>(text.size());
    const int bytes = WideCharToMultiByte(codePage, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(codePage, 0, text.data(), units, result.data(), bytes, nullptr, nullptr);
    return result;
}

}  // namespace

std::string narrow(WideView text) {
    return encoded(text, CP_THREAD_ACP);
}

std::string toUtf8(WideView text) {
    return encoded(text, CP_UTF8);
}

CComBSTR widen(std::string_view text) {
    if (text.empty()) return makeBstr({});
    const int bytes = static_cast<int>(text.size());
    const int units = MultiByteToWideChar(CP_THREAD_ACP, 0, text.data(), bytes, nullptr, 0);
    WideString result(static_cast<std::size_t>(units), OLESTR('\0'));
    MultiByteToWideChar(CP_THREAD_ACP, 0, text.data(), bytes, result.data(), units);
    return makeBstr(result);
}

std::string quoted(std::string_view lead, WideView item) {
    return std::string(lead) + narrow(item) + "'!";
}

}  // namespace ConditionalXml
