// The platform's basic types, with the sizes that they have on Windows x86-64.
#pragma once

#include <cstddef>
#include <cstdint>

#define SYMBOLOGY_PLATFORM_API __attribute__((visibility("default")))

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using CHAR = char;
using SHORT = std::int16_t;
using USHORT = std::uint16_t;
using INT = std::int32_t;
using UINT = std::uint32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using FLOAT = float;
using DOUBLE = double;
using BOOL = int;
using HRESULT = std::int32_t;
using SCODE = std::int32_t;
using LCID = std::uint32_t;

using OLECHAR = char16_t;
using WCHAR = char16_t;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;
using LPWSTR = WCHAR*;
using LPCWSTR = const WCHAR*;
using LPSTR = char*;
using LPCSTR = const char*;
using LPBOOL = BOOL*;
/// A length-prefixed UTF-16 text made by SysAllocString and its kin; null stands for the empty text.
using BSTR = OLECHAR*;

#define OLESTR(text) u##text

constexpr BOOL TRUE = 1;
constexpr BOOL FALSE = 0;

// The calling-convention words mean nothing off Windows.
#define STDMETHODCALLTYPE
#define STDAPICALLTYPE
#define WINAPI

struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
    friend constexpr bool operator==(const GUID& a, const GUID& b) {
        if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3) return false;
        for (int i = 0; i < 8; ++i)
            if (a.Data4[i] != b.Data4[i]) return false;
        return true;
    }
};
using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

constexpr HRESULT hresultFrom(std::uint32_t bits) {
    return static_cast<HRESULT>(bits);
}

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_UNEXPECTED = hresultFrom(0x8000FFFFU);
constexpr HRESULT E_NOTIMPL = hresultFrom(0x80004001U);
constexpr HRESULT E_NOINTERFACE = hresultFrom(0x80004002U);
constexpr HRESULT E_POINTER = hresultFrom(0x80004003U);
constexpr HRESULT E_ABORT = hresultFrom(0x80004004U);
constexpr HRESULT E_FAIL = hresultFrom(0x80004005U);
constexpr HRESULT E_ACCESSDENIED = hresultFrom(0x80070005U);
constexpr HRESULT E_OUTOFMEMORY = hresultFrom(0x8007000EU);
constexpr HRESULT E_INVALIDARG = hresultFrom(0x80070057U);
constexpr HRESULT CLASS_E_NOAGGREGATION = hresultFrom(0x80040110U);
constexpr HRESULT REGDB_E_CLASSNOTREG = hresultFrom(0x80040154U);
constexpr HRESULT DISP_E_TYPEMISMATCH = hresultFrom(0x80020005U);
constexpr HRESULT DISP_E_BADVARTYPE = hresultFrom(0x80020008U);
constexpr HRESULT DISP_E_OVERFLOW = hresultFrom(0x8002000AU);
constexpr HRESULT DISP_E_DIVBYZERO = hresultFrom(0x80020012U);

constexpr bool SUCCEEDED(HRESULT hr) {
    return hr >= 0;
}
constexpr bool FAILED(HRESULT hr) {
    return hr < 0;
}

using VARIANT_BOOL = std::int16_t;
constexpr VARIANT_BOOL VARIANT_TRUE = -1;
constexpr VARIANT_BOOL VARIANT_FALSE = 0;
/// Days since 30 December 1899, the time of day in the fraction.
using DATE = double;

constexpr LCID LOCALE_USER_DEFAULT = 0x0400;
constexpr LCID LOCALE_SYSTEM_DEFAULT = 0x0800;
constexpr LCID LOCALE_INVARIANT = 0x007F;
