#include "memhost/text.h"

#include <sstream>

namespace memhost {

namespace {

CComBSTR wide(UINT codePage, std::string_view text) {
    const int bytes = static_cast<int>(text.size());
    const int units = bytes == 0 ? 0 : MultiByteToWideChar(codePage, 0, text.data(), bytes, nullptr, 0);
    CComBSTR result;
    result.Attach(SysAllocStringLen(nullptr, static_cast<UINT>(units)));
    if (!result) AtlThrow(E_OUTOFMEMORY);
    if (units != 0) MultiByteToWideChar(codePage, 0, text.data(), bytes, result.m_str, units);
    return result;
}

std::string narrow(UINT codePage, WideView text) {
    if (text.empty()) return {};
    const int units = static_cast<int>(text.size());
    const int bytes = WideCharToMultiByte(codePage, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(codePage, 0, text.data(), units, result.data(), bytes, nullptr, nullptr);
    return result;
}

}  // namespace

CComBSTR bstr(std::string_view text) {
    return wide(CP_UTF8, text);
}

std::string utf8(WideView text) {
    return narrow(CP_UTF8, text);
}

std::string narrowed(std::string_view utf8Text) {
    const CComBSTR text = bstr(utf8Text);
    return narrow(CP_THREAD_ACP, WideView(text.m_str, text.Length()));
}

std::string fromNarrow(std::string_view narrowText) {
    return utf8(wide(CP_THREAD_ACP, narrowText).m_str);
}

std::string utf8(BSTR text) {
    return utf8(WideView(text, SysStringLen(text)));
}

std::string describe(const VARIANT& value) {
    std::ostringstream out;
    switch (value.vt) {
        case VT_EMPTY:
            return "EMPTY";
        case VT_NULL:
            return "NULL";
        case VT_BSTR:
            return '"' + utf8(value.bstrVal) + '"';
        case VT_I1:
            out << "I1 " << static_cast<int>(value.cVal);
            break;
        case VT_UI1:
            out << "UI1 " << static_cast<int>(value.bVal);
            break;
        case VT_I2:
            out << "I2 " << value.iVal;
            break;
        case VT_UI2:
            out << "UI2 " << value.uiVal;
            break;
        case VT_I4:
            out << "I4 " << value.lVal;
            break;
        case VT_UI4:
            out << "UI4 " << value.ulVal;
            break;
        case VT_I8:
            out << "I8 " << value.llVal;
            break;
        case VT_UI8:
            out << "UI8 " << value.ullVal;
            break;
        case VT_R4:
            out << "R4 " << value.fltVal;
            break;
        case VT_R8:
            out << "R8 " << value.dblVal;
            break;
        case VT_BOOL:
            out << "BOOL " << (value.boolVal ? "true" : "false");
            break;
        case VT_CY:
            out << "CY " << value.cyVal.int64;
            break;
        case VT_DATE:
            out << "DATE " << value.date;
            break;
        default:
            out << "type " << value.vt;
            break;
    }
    return out.str();
}

}  // namespace memhost
