// Conversion and comparison of variants: two values of any type, from texts or bits.
#include "fuzz/input.h"
#include "memhost/text.h"

#include <iterator>

namespace {

constexpr VARTYPE types[] = {VT_EMPTY, VT_NULL, VT_BOOL, VT_I1, VT_UI1, VT_I2,      VT_UI2, VT_I4,   VT_UI4, VT_INT,
                             VT_UINT,  VT_I8,   VT_UI8,  VT_R4, VT_R8,  VT_DECIMAL, VT_CY,  VT_DATE, VT_BSTR};

CComVariant readValue(fuzzing::Input& input) {
    CComVariant value;
    const VARTYPE type = types[input.byte() % std::size(types)];
    if (type == VT_BSTR) return memhost::bstr(input.line());
    if (type == VT_DECIMAL) {
        value.decVal.Lo64 = input.number<ULONGLONG>();
        value.decVal.Hi32 = input.number<ULONG>();
        value.decVal.scale = input.byte() % 29;
        value.decVal.sign = input.byte() % 2 ? 0x80 : 0;
    } else if (type == VT_BOOL) {
        value.boolVal = input.byte() % 2 ? VARIANT_TRUE : VARIANT_FALSE;
    } else {
        value.ullVal = input.number<ULONGLONG>();
    }
    value.vt = type;
    return value;
}

void convert(const VARIANT& source, USHORT flags, VARTYPE type) {
    CComVariant target;
    const HRESULT hr = VariantChangeTypeEx(&target, &source, 0, flags, type);
    fuzzing::require(FAILED(hr) ? target.vt == VT_EMPTY : target.vt == type,
                     "the type is the wanted one, or untouched");
    if (FAILED(hr)) return;
    // In place it is the same conversion.
    CComVariant same(source);
    fuzzing::require(VariantChangeTypeEx(&same, &same, 0, flags, type) == hr && same.vt == type,
                     "in place and into another variant agree");
    fuzzing::require(type != VT_BSTR || SysStringLen(same.bstrVal) == SysStringLen(target.bstrVal),
                     "both texts are of one length");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzing::Input input(data, size);
    const fuzzing::NothingLeft check;
    const USHORT flags = input.byte() % 2 ? VARIANT_ALPHABOOL : 0;
    const ULONG compareFlags = input.byte() % 2 ? NORM_IGNORECASE : 0;
    CComVariant left = readValue(input);
    CComVariant right = readValue(input);
    for (const VARTYPE type : types) convert(left, flags, type);

    const HRESULT forward = VarCmp(&left, &right, 0, compareFlags);
    const HRESULT backward = VarCmp(&right, &left, 0, compareFlags);
    fuzzing::require(FAILED(forward) || forward <= VARCMP_NULL, "a comparison gives one of its four answers");
    if (left.vt == VT_BSTR && right.vt == VT_BSTR)
        fuzzing::require(FAILED(forward) ? FAILED(backward) : forward + backward == 2 * VARCMP_EQ,
                         "the order of texts does not depend on who comes first");
    if (left.vt == VT_BSTR) {
        CComBSTR joined;
        fuzzing::require(VarBstrCat(left.bstrVal, left.bstrVal, &joined) == S_OK &&
                             joined.Length() == 2 * SysStringLen(left.bstrVal),
                         "two texts joined are as long as both");
        fuzzing::require(VarCmp(&left, &left, 0, compareFlags) == VARCMP_EQ, "a text equals itself");
    }
    return 0;
}
