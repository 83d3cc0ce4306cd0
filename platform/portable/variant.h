// VARIANT: its layout, copying, conversion and comparison, with the results and statuses of OLE Automation.
#pragma once

#include "bstr.h"
#include "unknown.h"

using VARTYPE = std::uint16_t;

enum VARENUM : int {
    VT_EMPTY = 0,
    VT_NULL = 1,
    VT_I2 = 2,
    VT_I4 = 3,
    VT_R4 = 4,
    VT_R8 = 5,
    VT_CY = 6,
    VT_DATE = 7,
    VT_BSTR = 8,
    VT_DISPATCH = 9,
    VT_ERROR = 10,
    VT_BOOL = 11,
    VT_VARIANT = 12,
    VT_UNKNOWN = 13,
    VT_DECIMAL = 14,
    VT_I1 = 16,
    VT_UI1 = 17,
    VT_UI2 = 18,
    VT_UI4 = 19,
    VT_I8 = 20,
    VT_UI8 = 21,
    VT_INT = 22,
    VT_UINT = 23,
    VT_ARRAY = 0x2000,
    VT_BYREF = 0x4000,
    VT_TYPEMASK = 0xFFF
};

/// A fixed-point amount, scaled by 10,000.
union CY {
    LONGLONG int64;
};

/// A 96-bit integer with sign and a decimal scale from 0 to 28.
struct DECIMAL {
    USHORT wReserved;  // overlays the variant's type word
    BYTE scale;
    BYTE sign;  // 0 or 0x80
    ULONG Hi32;
    ULONGLONG Lo64;
};

#ifdef __clang__
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wnested-anon-types"  // the members have no other names on Windows
#endif
struct VARIANT {
    union {
        __extension__ struct {
            VARTYPE vt;
            WORD wReserved1;
            WORD wReserved2;
            WORD wReserved3;
            union {
                LONGLONG llVal;
                LONG lVal;
                BYTE bVal;
                SHORT iVal;
                FLOAT fltVal;
                DOUBLE dblVal;
                VARIANT_BOOL boolVal;
                SCODE scode;
                CY cyVal;
                DATE date;
                BSTR bstrVal;
                IUnknown* punkVal;
                VARIANT* pvarVal;
                void* byref;
                CHAR cVal;
                USHORT uiVal;
                ULONG ulVal;
                ULONGLONG ullVal;
                INT intVal;
                UINT uintVal;
                // The platform's VARIANT is 24 bytes on 64-bit systems.
                void* record[2];
            };
        };
        DECIMAL decVal;
    };
};
#ifdef __clang__
#pragma clang diagnostic pop
#endif
using VARIANTARG = VARIANT;
static_assert(sizeof(DECIMAL) == 16 && sizeof(VARIANT) == 24, "the sizes of Windows x86-64");

constexpr USHORT VARIANT_NOVALUEPROP = 0x01;
constexpr USHORT VARIANT_ALPHABOOL = 0x02;
constexpr USHORT VARIANT_NOUSEROVERRIDE = 0x04;
constexpr USHORT VARIANT_LOCALBOOL = 0x10;

constexpr HRESULT VARCMP_LT = 0;
constexpr HRESULT VARCMP_EQ = 1;
constexpr HRESULT VARCMP_GT = 2;
constexpr HRESULT VARCMP_NULL = 3;

constexpr ULONG NORM_IGNORECASE = 0x1;
constexpr ULONG NORM_IGNORENONSPACE = 0x2;
constexpr ULONG NORM_IGNORESYMBOLS = 0x4;

SYMBOLOGY_PLATFORM_API void VariantInit(VARIANT* variant);
/// Releases what the variant holds and makes it VT_EMPTY; DISP_E_BADVARTYPE leaves it as it was.
SYMBOLOGY_PLATFORM_API HRESULT VariantClear(VARIANT* variant);
/// Clears `target`, then makes it a deep copy of `source` (texts copied, objects referenced).
SYMBOLOGY_PLATFORM_API HRESULT VariantCopy(VARIANT* target, const VARIANT* source);
/// Converts under the user's default locale; `target` and `source` may be the same. On failure `target` is unchanged.
SYMBOLOGY_PLATFORM_API HRESULT VariantChangeType(VARIANT* target, const VARIANT* source, USHORT flags, VARTYPE type);
SYMBOLOGY_PLATFORM_API HRESULT VariantChangeTypeEx(VARIANT* target, const VARIANT* source, LCID locale, USHORT flags,
                                                   VARTYPE type);
/// VARCMP_LT, _EQ, _GT or _NULL, or a failure status.
SYMBOLOGY_PLATFORM_API HRESULT VarCmp(VARIANT* left, VARIANT* right, LCID locale, ULONG flags);
/// Linguistic comparison (word sort); a null text equals the empty one.
SYMBOLOGY_PLATFORM_API HRESULT VarBstrCmp(BSTR left, BSTR right, LCID locale, ULONG flags);
SYMBOLOGY_PLATFORM_API HRESULT VarBstrCat(BSTR left, BSTR right, BSTR* result);
