// Comparing BSTRs: what can be decided cheaply first, the linguistic comparison last.
#include "platform/portable/variant.h"
#include "platform/portable/word_sort.h"

#include <algorithm>
#include <cstring>
#include <new>

using symbology_platform::Order;
using symbology_platform::TextView;

namespace {

constexpr ULONG knownFlags = NORM_IGNORECASE | NORM_IGNORENONSPACE | NORM_IGNORESYMBOLS;

HRESULT asResult(Order order) {
    return order < 0 ? VARCMP_LT : order > 0 ? VARCMP_GT : VARCMP_EQ;
}

// Without a locale the bytes decide, the lower byte of a unit before the higher.
Order compareBytes(BSTR left, BSTR right) {
    const UINT leftSize = SysStringByteLen(left);
    const UINT rightSize = SysStringByteLen(right);
    const UINT common = std::min(leftSize, rightSize);
    const Order order = common == 0 ? 0 : std::memcmp(left, right, common);
    return order != 0 ? order : int(leftSize > rightSize) - int(leftSize < rightSize);
}

HRESULT compareWords(TextView left, TextView right, ULONG flags) {
    if (flags == 0) {
        if (const auto order = symbology_platform::compareAscii(left, right)) return asResult(*order);
    }
    const auto order = symbology_platform::compareLinguistic(left, right, flags);
    if (!order) return E_FAIL;
    if (*order != 0 || (flags & NORM_IGNORESYMBOLS) != 0) return asResult(*order);
    return asResult(symbology_platform::compareSpecials(left, right));
}

}  // namespace

HRESULT VarBstrCmp(BSTR left, BSTR right, LCID locale, ULONG flags) {
    if ((flags & ~knownFlags) != 0) return E_INVALIDARG;
    if (locale == 0) return asResult(compareBytes(left, right));
    const TextView leftText(left, SysStringLen(left));
    const TextView rightText(right, SysStringLen(right));
    if (leftText == rightText) return VARCMP_EQ;
    // The empty text is less than any other, even one of characters that are otherwise ignored.
    if (leftText.empty() || rightText.empty()) return leftText.empty() ? VARCMP_LT : VARCMP_GT;
    try {
        return compareWords(leftText, rightText, flags);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}
