// VariantChangeType: from any type that a value can have to any other.
#include "platform/portable/date_text.h"
#include "platform/portable/decimal.h"
#include "platform/portable/number_text.h"
#include "platform/portable/variant_types.h"

#include <cfloat>
#include <cmath>

namespace ole {

namespace {

constexpr LONGLONG unitsPerAmount = 10000;  // of VT_CY
constexpr unsigned amountScale = 4;

struct Request {
    LCID locale;
    USHORT flags;
    VARTYPE type;
};

struct IntegerRange {
    Int128 lowest;
    Int128 highest;
};

IntegerRange rangeOf(VARTYPE type) {
    const unsigned bits = integerBits(type);
    const Int128 one = 1;
    if (isSigned(type)) return {-(one << (bits - 1)), (one << (bits - 1)) - 1};
    return {0, (one << bits) - 1};
}

/// Keeps the low bits only.
void storeLowBits(VARIANT& target, VARTYPE type, Int128 value) {
    switch (integerBits(type)) {
        case 8:
            target.bVal = static_cast<BYTE>(value);
            break;
        case 16:
            target.uiVal = static_cast<USHORT>(value);
            break;
        case 32:
            target.ulVal = static_cast<ULONG>(value);
            break;
        default:
            target.ullVal = static_cast<ULONGLONG>(value);
            break;
    }
}

HRESULT storeInteger(VARIANT& target, VARTYPE type, Int128 value) {
    const auto [lowest, highest] = rangeOf(type);
    if (value < lowest || value > highest) return DISP_E_OVERFLOW;
    storeLowBits(target, type, value);
    return S_OK;
}

void storeBool(VARIANT& target, bool value) {
    target.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
}

HRESULT storeText(VARIANT& target, std::u16string_view text) {
    target.bstrVal = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    return target.bstrVal ? S_OK : E_OUTOFMEMORY;
}

HRESULT storeAmount(VARIANT& target, Int128 units) {
    if (units < INT64_MIN || units > INT64_MAX) return DISP_E_OVERFLOW;
    target.cyVal.int64 = static_cast<LONGLONG>(units);
    return S_OK;
}

HRESULT storeDecimal(VARIANT& target, const DecimalNumber& value) {
    store(value, target.decVal);
    return S_OK;
}

HRESULT storeDate(VARIANT& target, double value) {
    // Not a number is not out of range either.
    if (!std::isnan(value) && !isDate(value)) return DISP_E_OVERFLOW;
    target.date = value;
    return S_OK;
}

HRESULT storeFloat(VARIANT& target, double value) {
    if (std::fabs(value) > static_cast<double>(FLT_MAX)) return DISP_E_OVERFLOW;
    target.fltVal = static_cast<float>(value);
    return S_OK;
}

/// Rounds halves to even; not a number and what no integer of 64 bits can be is an overflow.
HRESULT roundToInteger(double value, Int128& result) {
    const double rounded = std::nearbyint(value);
    if (!(std::fabs(rounded) <= 18446744073709551616.0)) return DISP_E_OVERFLOW;
    result = static_cast<Int128>(rounded);
    return S_OK;
}

/// Exact, though the product may not fit a double: whole part and fraction apart, and the fraction's product with what
/// its rounding lost, which decides a tie.
HRESULT amountOf(double value, Int128& units) {
    if (!(std::fabs(value) < 1e15)) return DISP_E_OVERFLOW;
    constexpr auto perAmount = static_cast<double>(unitsPerAmount);
    const double whole = std::trunc(value);
    const double product = (value - whole) * perAmount;
    const double lost = std::fma(value - whole, perAmount, -product);
    double rounded = std::nearbyint(product);
    if (std::fabs(product - std::trunc(product)) == 0.5 && lost != 0)
        rounded = lost > 0 ? std::ceil(product) : std::floor(product);
    units = static_cast<Int128>(whole) * unitsPerAmount + static_cast<Int128>(rounded);
    return S_OK;
}

HRESULT fromEmpty(const Request& request, VARIANT& target) {
    if (request.type == VT_ERROR) return DISP_E_TYPEMISMATCH;
    if (request.type == VT_BSTR) return storeText(target, {});
    if (request.type == VT_DECIMAL) return storeDecimal(target, {});
    target.llVal = 0;
    return S_OK;
}

HRESULT fromInteger(const Request& request, VARTYPE sourceType, Int128 value, VARIANT& target) {
    switch (request.type) {
        case VT_BOOL:
            storeBool(target, value != 0);
            return S_OK;
        case VT_R4:
            target.fltVal = static_cast<float>(value);
            return S_OK;
        case VT_R8:
            target.dblVal = static_cast<double>(value);
            return S_OK;
        case VT_DATE:
            return storeDate(target, static_cast<double>(value));
        case VT_CY:
            return storeAmount(target, value * unitsPerAmount);
        case VT_DECIMAL:
            return storeDecimal(target, decimalOf(value));
        case VT_BSTR:
            return storeText(target, (value < 0 ? textOfInteger(static_cast<std::int64_t>(value))
                                                : textOfInteger(static_cast<std::uint64_t>(value)))
                                         .view());
        default:
            break;
    }
    if (!isInteger(request.type)) return DISP_E_TYPEMISMATCH;
    // Types of one width take over each other's bits.
    if (integerBits(sourceType) == integerBits(request.type)) {
        storeLowBits(target, request.type, value);
        return S_OK;
    }
    return storeInteger(target, request.type, value);
}

HRESULT fromBool(const Request& request, VARIANT_BOOL value, VARIANT& target) {
    if (request.type == VT_BSTR && (request.flags & (VARIANT_ALPHABOOL | VARIANT_LOCALBOOL)) != 0)
        return storeText(target, value ? u"True" : u"False");
    if (isInteger(request.type)) {
        storeLowBits(target, request.type, value);
        return S_OK;
    }
    return fromInteger(request, VT_I2, value, target);
}

/// What a DATE and a real have in common.
HRESULT fromReal(const Request& request, double value, VARIANT& target) {
    switch (request.type) {
        case VT_BOOL:
            storeBool(target, value != 0);
            return S_OK;
        case VT_R4:
            return storeFloat(target, value);
        case VT_R8:
            target.dblVal = value;
            return S_OK;
        case VT_DATE:
            return storeDate(target, value);
        case VT_BSTR:
            return storeText(target, textOfReal(value, DBL_DIG).view());
        case VT_CY: {
            Int128 units = 0;
            const HRESULT hr = amountOf(value, units);
            return FAILED(hr) ? hr : storeAmount(target, units);
        }
        case VT_DECIMAL: {
            DecimalNumber decimal;
            const HRESULT hr = decimalOf(value, DBL_DIG, decimal);
            return FAILED(hr) ? hr : storeDecimal(target, decimal);
        }
        default:
            break;
    }
    if (!isInteger(request.type)) return DISP_E_TYPEMISMATCH;
    Int128 integer = 0;
    const HRESULT hr = roundToInteger(value, integer);
    if (FAILED(hr)) return hr;
    // OLE Automation gives up one bit early here.
    constexpr Int128 limit = Int128{1} << 62;
    if (request.type == VT_I8 && (integer < -limit || integer >= limit)) return DISP_E_OVERFLOW;
    return storeInteger(target, request.type, integer);
}

HRESULT fromFloat(const Request& request, float value, VARIANT& target) {
    constexpr int digits = 7;
    if (request.type == VT_BSTR) return storeText(target, textOfReal(static_cast<double>(value), digits).view());
    if (request.type == VT_DATE) {
        target.date = static_cast<double>(value);  // unchecked, unlike a double
        return S_OK;
    }
    if (request.type == VT_DECIMAL) {
        DecimalNumber decimal;
        const HRESULT hr = decimalOf(static_cast<double>(value), digits, decimal);
        return FAILED(hr) ? hr : storeDecimal(target, decimal);
    }
    return fromReal(request, static_cast<double>(value), target);
}

HRESULT fromDate(const Request& request, double value, VARIANT& target) {
    if (request.type != VT_BSTR) return fromReal(request, value, target);
    ShortText text;
    const HRESULT hr = textOfDate(value, request.locale, text);
    return FAILED(hr) ? hr : storeText(target, text.view());
}

HRESULT fromDecimal(const Request& request, const DecimalNumber& value, VARIANT& target) {
    switch (request.type) {
        case VT_BOOL:
            storeBool(target, value.magnitude != 0);
            return S_OK;
        case VT_R4:
            target.fltVal = static_cast<float>(realOf(value));
            return S_OK;
        case VT_R8:
        case VT_DATE:
            target.dblVal = realOf(value);
            return S_OK;
        case VT_CY: {
            // At the amounts' scale; a smaller scale cannot grow beyond 128 bits.
            const UInt128 units = value.scale >= amountScale
                                      ? divideRounded(value.magnitude, power10(value.scale - amountScale))
                                      : value.magnitude * power10(amountScale - value.scale);
            const auto amount = static_cast<Int128>(units);
            return storeAmount(target, value.negative ? -amount : amount);
        }
        case VT_BSTR:
            return storeText(
                target, textOfDecimal(value.magnitude, value.scale, value.negative && value.magnitude != 0).view());
        default:
            break;
    }
    if (!isInteger(request.type)) return DISP_E_TYPEMISMATCH;
    return storeInteger(target, request.type, integerOf(value));
}

/// OLE Automation's own way: what is below zero becomes one less than its whole part.
Int128 integer64OfAmount(LONGLONG units) {
    if (units < 0) return Int128{units / unitsPerAmount} - 1;
    return integerOf(decimalOf(units, amountScale));
}

HRESULT fromAmount(const Request& request, LONGLONG units, VARIANT& target) {
    const double value = static_cast<double>(units) / static_cast<double>(unitsPerAmount);
    switch (request.type) {
        case VT_DECIMAL:
            return storeDecimal(target, decimalOf(units, amountScale));
        case VT_I8:
            return storeInteger(target, VT_I8, integer64OfAmount(units));
        case VT_R4:
            target.fltVal = static_cast<float>(value);
            return S_OK;
        case VT_R8:
        case VT_DATE:
            target.dblVal = value;
            return S_OK;
        default:
            return fromDecimal(request, decimalOf(units, amountScale), target);
    }
}

/// A pattern of hexadecimal or octal digits gives the bits of the integer.
HRESULT integerFromPattern(const NumberText& number, VARTYPE type, VARIANT& target) {
    const unsigned bits = integerBits(type);
    const std::uint64_t largest = bits == 64 ? INT64_MAX : (std::uint64_t{1} << bits) - 1;
    if (number.patternTooLong || number.pattern > largest) return DISP_E_OVERFLOW;
    storeLowBits(target, type, static_cast<Int128>(number.pattern));
    return S_OK;
}

HRESULT boolFromText(std::u16string_view text, const Request& request, VARIANT& target) {
    const bool isTrue = text == u"#TRUE#" || equalsAsciiNoCase(text, "true");
    if (isTrue || text == u"#FALSE#" || equalsAsciiNoCase(text, "false")) {
        storeBool(target, isTrue);
        return S_OK;
    }
    NumberText number;
    double value = 0;
    HRESULT hr = readNumber(text, request.locale, number);
    if (SUCCEEDED(hr)) hr = realOf(number, value);
    if (SUCCEEDED(hr)) storeBool(target, value != 0);
    return hr;
}

HRESULT floatFromNumber(const NumberText& number, VARIANT& target) {
    double value = 0;
    const HRESULT hr = realOf(number, value);
    if (FAILED(hr)) return hr;
    // A text, unlike a double, must not vanish at the small end, and may be rounded to the largest float.
    if (value != 0 && std::fabs(value) < static_cast<double>(FLT_TRUE_MIN)) return DISP_E_OVERFLOW;
    target.fltVal = static_cast<float>(value);
    return std::isinf(target.fltVal) ? DISP_E_OVERFLOW : S_OK;
}

HRESULT fromNumberText(const Request& request, const NumberText& number, VARIANT& target) {
    switch (request.type) {
        case VT_R4:
            return floatFromNumber(number, target);
        case VT_R8:
            return realOf(number, target.dblVal);
        case VT_DECIMAL: {
            DecimalNumber decimal;
            const HRESULT hr = decimalOf(number, decimal);
            return FAILED(hr) ? hr : storeDecimal(target, decimal);
        }
        default:
            break;
    }
    const bool isAmount = request.type == VT_CY;
    if (!isAmount && !isInteger(request.type)) return DISP_E_TYPEMISMATCH;
    if (number.isPattern) return isAmount ? DISP_E_OVERFLOW : integerFromPattern(number, request.type, target);
    UInt128 magnitude = 0;
    if (!scaledMagnitudeOf(number, isAmount ? amountScale : 0, magnitude)) return DISP_E_OVERFLOW;
    const Int128 value = number.negative ? -static_cast<Int128>(magnitude) : static_cast<Int128>(magnitude);
    return isAmount ? storeAmount(target, value) : storeInteger(target, request.type, value);
}

HRESULT fromText(const Request& request, std::u16string_view text, VARIANT& target) {
    if (request.type == VT_BOOL) return boolFromText(text.substr(0, text.find(u'\0')), request, target);
    if (request.type == VT_DATE) return readDate(text, target.date);
    if (request.type == VT_ERROR) return DISP_E_TYPEMISMATCH;
    NumberText number;
    const HRESULT hr = readNumber(text, request.locale, number);
    return FAILED(hr) ? hr : fromNumberText(request, number, target);
}

/// Fills the value of `target`, whose type is not set yet.
HRESULT convert(const Request& request, const VARIANT& source, VARIANT& target) {
    if (source.vt == VT_NULL || source.vt == VT_ERROR) return DISP_E_TYPEMISMATCH;
    if (!isValue(source.vt) || !isValue(request.type)) return DISP_E_TYPEMISMATCH;
    if (request.type == VT_EMPTY || request.type == VT_NULL) return S_OK;
    switch (source.vt) {
        case VT_EMPTY:
            return fromEmpty(request, target);
        case VT_BOOL:
            return fromBool(request, source.boolVal, target);
        case VT_R4:
            return fromFloat(request, source.fltVal, target);
        case VT_R8:
            return fromReal(request, source.dblVal, target);
        case VT_DATE:
            return fromDate(request, source.date, target);
        case VT_CY:
            return fromAmount(request, source.cyVal.int64, target);
        case VT_DECIMAL:
            return fromDecimal(request, decimalOf(source.decVal), target);
        case VT_BSTR:
            return fromText(request, {source.bstrVal ? source.bstrVal : u"", SysStringLen(source.bstrVal)}, target);
        default:
            return fromInteger(request, source.vt, integerOf(source), target);
    }
}

}  // namespace

}  // namespace ole

HRESULT VariantChangeType(VARIANT* target, const VARIANT* source, USHORT flags, VARTYPE type) {
    return VariantChangeTypeEx(target, source, LOCALE_USER_DEFAULT, flags, type);
}

HRESULT VariantChangeTypeEx(VARIANT* target, const VARIANT* source, LCID locale, USHORT flags, VARTYPE type) {
    if (!target || !source) return E_INVALIDARG;
    if (!ole::isKnownType(source->vt) || !ole::isKnownType(type)) return DISP_E_BADVARTYPE;
    VARIANT direct;
    const VARIANT* from = source;
    if ((source->vt & VT_BYREF) != 0 && source->vt != type) {
        if (!ole::dereference(*source, direct)) return DISP_E_TYPEMISMATCH;
        from = &direct;
    }
    if (from->vt == type) return VariantCopy(target, from);

    VARIANT result{};
    const HRESULT hr = ole::convert({locale, flags, type}, *from, result);
    if (FAILED(hr)) return hr;
    result.vt = type;
    const HRESULT cleared = VariantClear(target);
    if (FAILED(cleared)) {
        VariantClear(&result);
        return cleared;
    }
    *target = result;
    return S_OK;
}
