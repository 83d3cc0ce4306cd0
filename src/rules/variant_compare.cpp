// The comparison that all comparing rules share.
#include "rules/rule.h"
#include "text/failures.h"
#include "text/text.h"

#include <cmath>

namespace ConditionalXml {

namespace {

template <class Number>
HRESULT compareNumbers(Number a, Number b) noexcept {
    return a < b ? VARCMP_LT : a > b ? VARCMP_GT : VARCMP_EQ;
}

}  // namespace

HRESULT compareVariants(const VARIANT& a, const VARIANT& b) {
    switch (a.vt) {
        // VarCmp does not know these; `b` is read as the same type whatever it is.
        case VT_I1:
            return compareNumbers(static_cast<signed char>(a.cVal), static_cast<signed char>(b.cVal));
        case VT_UI2:
            return compareNumbers(a.uiVal, b.uiVal);
        case VT_UI4:
            return compareNumbers(a.ulVal, b.ulVal);
        case VT_UI8:
            return compareNumbers(a.ullVal, b.ullVal);
        // What VarCmp answers for the types that rows hold most, without the call.
        case VT_I2:
            if (b.vt == VT_I2) return compareNumbers(a.iVal, b.iVal);
            break;
        case VT_I4:
            if (b.vt == VT_I4) return compareNumbers(a.lVal, b.lVal);
            break;
        case VT_I8:
            if (b.vt == VT_I8) return compareNumbers(a.llVal, b.llVal);
            break;
        case VT_R8:
            if (b.vt == VT_R8 && !std::isnan(a.dblVal) && !std::isnan(b.dblVal))
                return compareNumbers(a.dblVal, b.dblVal);
            break;
        case VT_BSTR:
            if (b.vt == VT_BSTR && view(a.bstrVal) == view(b.bstrVal)) return VARCMP_EQ;
            break;
        default:
            break;
    }
    return checked(VarCmp(const_cast<VARIANT*>(&a), const_cast<VARIANT*>(&b), LOCALE_USER_DEFAULT, 0));
}

}  // namespace ConditionalXml
