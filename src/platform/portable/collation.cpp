// Comparing texts.
#include "platform/portable/variant.h"

#include <string_view>

HRESULT VarBstrCmp(BSTR left, BSTR right, LCID /*locale*/, ULONG /*flags*/) {
    const std::u16string_view leftText(left, SysStringLen(left));
    const std::u16string_view rightText(right, SysStringLen(right));
    const int order = leftText.compare(rightText);
    return order < 0 ? VARCMP_LT : order > 0 ? VARCMP_GT : VARCMP_EQ;
}
