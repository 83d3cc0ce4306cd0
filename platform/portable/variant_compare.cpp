// VarCmp.
#include "platform/portable/decimal.h"
#include "platform/portable/variant_types.h"

namespace ole {

namespace {

constexpr VARTYPE flagBits = 0x7000;  // VT_VECTOR, VT_ARRAY, VT_BYREF

template <class T>
HRESULT ordered(T left, T right) {
    if (left == right) return VARCMP_EQ;
    return left < right ? VARCMP_LT : VARCMP_GT;  // a comparison with NaN is greater
}

constexpr bool isReal(VARTYPE type) {
    return type == VT_R4 || type == VT_R8 || type == VT_DATE;
}

/// The types that compare as numbers; an empty value is zero.
constexpr bool isComparable(VARTYPE type) {
    switch (type) {
        case VT_EMPTY:
        case VT_BOOL:
        case VT_UI1:
        case VT_I2:
        case VT_I4:
        case VT_I8:
        case VT_INT:
        case VT_R4:
        case VT_R8:
        case VT_DATE:
        case VT_CY:
        case VT_DECIMAL:
            return true;
        default:
            return false;
    }
}

double realValue(const VARIANT& value) {
    switch (value.vt) {
        case VT_EMPTY:
            return 0;
        case VT_R4:
            return static_cast<double>(value.fltVal);
        case VT_R8:
        case VT_DATE:
            return value.dblVal;
        case VT_CY:
            return static_cast<double>(value.cyVal.int64) / 10000;
        case VT_DECIMAL:
            return realOf(decimalOf(value.decVal));
        default:
            return static_cast<double>(integerOf(value));
    }
}

DecimalNumber exactValue(const VARIANT& value) {
    if (value.vt == VT_DECIMAL) return decimalOf(value.decVal);
    if (value.vt == VT_CY) return decimalOf(value.cyVal.int64, 4);
    return decimalOf(value.vt == VT_EMPTY ? Int128{0} : integerOf(value));
}

HRESULT compareNumbers(const VARIANT& left, const VARIANT& right) {
    if (left.vt == VT_R4 || right.vt == VT_R4)
        // The less exact of the two decides how exactly they are compared.
        return ordered(static_cast<float>(realValue(left)), static_cast<float>(realValue(right)));
    if (isReal(left.vt) || isReal(right.vt)) return ordered(realValue(left), realValue(right));
    if (left.vt == VT_CY || right.vt == VT_CY || left.vt == VT_DECIMAL || right.vt == VT_DECIMAL)
        return ordered(compare(exactValue(left), exactValue(right)), 0);
    const auto whole = [](const VARIANT& value) { return value.vt == VT_EMPTY ? Int128{0} : integerOf(value); };
    return ordered(whole(left), whole(right));
}

/// \param left, right with type words that have no flags.
HRESULT compareMixed(const VARIANT& left, const VARIANT& right, LCID locale, ULONG flags) {
    // The two sides have different limits: an INT may stand on the left only.
    if (left.vt > VT_INT || right.vt > VT_I8) return DISP_E_BADVARTYPE;
    if (left.vt == VT_ERROR && right.vt == VT_ERROR) return VARCMP_EQ;
    const auto isAllowed = [](VARTYPE type) { return type == VT_NULL || type == VT_BSTR || isComparable(type); };
    if (!isAllowed(left.vt) || !isAllowed(right.vt)) return DISP_E_TYPEMISMATCH;
    if (left.vt == VT_NULL || right.vt == VT_NULL) return VARCMP_NULL;

    if (left.vt == VT_BSTR || right.vt == VT_BSTR) {
        // An empty value is the empty text; a text is greater than every number, whatever it says.
        if (left.vt == VT_BSTR && right.vt == VT_BSTR) return VarBstrCmp(left.bstrVal, right.bstrVal, locale, flags);
        if (left.vt == VT_EMPTY) return VarBstrCmp(nullptr, right.bstrVal, locale, flags);
        if (right.vt == VT_EMPTY) return VarBstrCmp(left.bstrVal, nullptr, locale, flags);
        return left.vt == VT_BSTR ? VARCMP_GT : VARCMP_LT;
    }
    return compareNumbers(left, right);
}

}  // namespace

}  // namespace ole

HRESULT VarCmp(VARIANT* left, VARIANT* right, LCID locale, ULONG flags) {
    if (left->vt == right->vt) {
        switch (left->vt) {
            case VT_I2:
                return ole::ordered(left->iVal, right->iVal);
            case VT_I4:
                return ole::ordered(left->lVal, right->lVal);
            case VT_I8:
                return ole::ordered(left->llVal, right->llVal);
            case VT_R8:
                return ole::ordered(left->dblVal, right->dblVal);
            case VT_BSTR:
                return VarBstrCmp(left->bstrVal, right->bstrVal, locale, flags);
            default:
                break;
        }
    }
    if (((left->vt | right->vt) & ole::flagBits) != 0) return DISP_E_BADVARTYPE;
    // Borrowed, without the reserved bit, which does not count here.
    VARIANT plainLeft = *left;
    VARIANT plainRight = *right;
    plainLeft.vt &= VT_TYPEMASK;
    plainRight.vt &= VT_TYPEMASK;
    return ole::compareMixed(plainLeft, plainRight, locale, flags);
}
