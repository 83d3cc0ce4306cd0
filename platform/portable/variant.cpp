// VARIANT: life and copies.
#include "platform/portable/variant_types.h"

#include <cstring>

namespace ole {

namespace {

constexpr VARTYPE vectorBit = 0x1000;
constexpr VARTYPE reservedBit = 0x8000;
// The types that a type description has and a variant does not lie from VT_VOID to VT_LPWSTR.
constexpr VARTYPE firstUnused = 24;
constexpr VARTYPE unused15 = 15;
constexpr VARTYPE record = 36;

/// Bytes of what a reference to a value refers to.
std::size_t sizeOf(VARTYPE type) {
    switch (type) {
        case VT_R4:
        case VT_ERROR:
            return 4;
        case VT_BOOL:
            return 2;
        case VT_R8:
        case VT_DATE:
        case VT_CY:
            return 8;
        case VT_BSTR:
            return sizeof(BSTR);
        default:
            return integerBits(type) / 8;
    }
}

}  // namespace

bool isKnownType(VARTYPE type) {
    const VARTYPE base = type & VT_TYPEMASK;
    if ((type & (vectorBit | reservedBit)) != 0 || base == unused15) return false;
    if (base >= firstUnused && base != record) return false;
    // Nothing can refer to, or be an array of, no value.
    return (type & (VT_BYREF | VT_ARRAY)) == 0 || base > VT_NULL;
}

Int128 integerOf(const VARIANT& value) {
    switch (value.vt) {
        case VT_I1:
            return static_cast<signed char>(value.cVal);
        case VT_UI1:
            return value.bVal;
        case VT_I2:
        case VT_BOOL:
            return value.iVal;
        case VT_UI2:
            return value.uiVal;
        case VT_UI4:
        case VT_UINT:
            return value.ulVal;
        case VT_I8:
            return value.llVal;
        case VT_UI8:
            return value.ullVal;
        default:
            return value.lVal;
    }
}

bool dereference(const VARIANT& reference, VARIANT& value) {
    const VARTYPE type = reference.vt & VT_TYPEMASK;
    if ((reference.vt & VT_ARRAY) != 0 || !reference.byref) return false;
    if (type == VT_VARIANT) {
        value = *reference.pvarVal;
        return (value.vt & VT_BYREF) == 0;  // at most one step
    }
    if (!isValue(type)) return false;
    if (type == VT_DECIMAL)
        std::memcpy(&value.decVal, reference.byref, sizeof(DECIMAL));
    else
        std::memcpy(&value.llVal, reference.byref, sizeOf(type));
    value.vt = type;
    return true;
}

bool equalsAsciiNoCase(std::u16string_view text, std::string_view lower) {
    if (text.size() != lower.size()) return false;
    for (std::size_t i = 0; i < text.size(); ++i)
        if ((text[i] | 0x20) != lower[i]) return false;
    return true;
}

}  // namespace ole

void VariantInit(VARIANT* variant) {
    variant->vt = VT_EMPTY;
}

HRESULT VariantClear(VARIANT* variant) {
    switch (variant->vt) {
        case VT_BSTR:
            SysFreeString(variant->bstrVal);
            break;
        case VT_UNKNOWN:
        case VT_DISPATCH:
            if (variant->punkVal) variant->punkVal->Release();
            break;
        default:
            if (!ole::isKnownType(variant->vt) || (variant->vt & VT_ARRAY) != 0) return DISP_E_BADVARTYPE;
            break;
    }
    variant->vt = VT_EMPTY;
    return S_OK;
}

HRESULT VariantCopy(VARIANT* target, const VARIANT* source) {
    if (target == source) return S_OK;
    if (!ole::isKnownType(source->vt) || (source->vt & VT_ARRAY) != 0) return DISP_E_BADVARTYPE;
    VARIANT copy = *source;
    if (source->vt == VT_BSTR) {
        // The copy of a null text is the empty one.
        copy.bstrVal =
            SysAllocStringByteLen(reinterpret_cast<const char*>(source->bstrVal), SysStringByteLen(source->bstrVal));
        if (!copy.bstrVal) return E_OUTOFMEMORY;
    }
    if ((source->vt == VT_UNKNOWN || source->vt == VT_DISPATCH) && source->punkVal) copy.punkVal->AddRef();
    const HRESULT hr = VariantClear(target);
    if (FAILED(hr)) {
        VariantClear(&copy);
        return hr;
    }
    *target = copy;
    return S_OK;
}

HRESULT VarBstrCat(BSTR left, BSTR right, BSTR* result) {
    if (!result) return E_INVALIDARG;
    // In bytes, so that texts of odd lengths keep all of theirs.
    const UINT leftBytes = SysStringByteLen(left);
    const UINT rightBytes = SysStringByteLen(right);
    if (rightBytes > ~leftBytes) return E_OUTOFMEMORY;
    *result = SysAllocStringByteLen(nullptr, leftBytes + rightBytes);
    if (!*result) return E_OUTOFMEMORY;
    char* bytes = reinterpret_cast<char*>(*result);
    if (left) std::memcpy(bytes, left, leftBytes);
    if (right) std::memcpy(bytes + leftBytes, right, rightBytes);
    return S_OK;
}
