// VariantChangeTypeEx from every type to every type.
#include "platform/differential/variants.h"

namespace differential {

namespace {

constexpr LCID neutral = 0;

struct Setting {
    LCID locale;
    USHORT flags;
};

void addConversion(Report& report, const CComVariant& source, VARTYPE type, Setting setting) {
    CComVariant from(source);
    CComVariant target(OLESTR("before"));
    const HRESULT status = VariantChangeTypeEx(&target, &from, setting.locale, setting.flags, type);
    std::string asked = describe(source) + " to " + typeName(type);
    if (setting.locale != neutral) asked += " locale " + std::to_string(setting.locale);
    if (setting.flags != 0) asked += " flags " + std::to_string(setting.flags);
    report.add(asked, hex(status) + ' ' + describe(target));
}

void addEdges(Report& report) {
    const std::vector<CComVariant> edges = edgeVariants();
    for (const CComVariant& source : edges)
        for (const VARTYPE type : valueTypes) addConversion(report, source, type, {neutral, 0});
    static constexpr LCID locales[] = {LOCALE_USER_DEFAULT, LOCALE_SYSTEM_DEFAULT, LOCALE_INVARIANT};
    for (const CComVariant& source : edges)
        for (const LCID locale : locales) {
            const VARTYPE type = source.vt == VT_BSTR ? VT_R8 : VT_BSTR;
            addConversion(report, source, type, {locale, VARIANT_NOUSEROVERRIDE});
        }
    for (const VARTYPE type : valueTypes)
        for (const USHORT flags : {VARIANT_ALPHABOOL, VARIANT_LOCALBOOL, VARIANT_NOVALUEPROP})
            addConversion(report, integerVariant(VT_BOOL, 0xFFFF), type, {neutral, static_cast<USHORT>(flags)});
    for (const int type : {12, 15, 24, 25, 26, 36, 37, 64, 72, 0x2003, 0x4003, 0x1003, 0x8003, 4095, 9, 13})
        for (const CComVariant& source : {edges[0], edges[1], integerVariant(VT_I4, 1), textVariant(OLESTR("1"))})
            addConversion(report, source, static_cast<VARTYPE>(type), {neutral, 0});
}

void addInPlace(Report& report, const CComVariant& source, VARTYPE type) {
    CComVariant value(source);
    const HRESULT status = VariantChangeType(&value, &value, 0, type);
    report.add(describe(source) + " in place to " + typeName(type), hex(status) + ' ' + describe(value));
}

void run(Report& report, Random& random, long randomCases) {
    addEdges(report);
    for (long i = 0; i < randomCases; ++i) {
        const VARTYPE from = random.oneIn(3) ? VARTYPE{VT_BSTR} : random.pick(valueTypes);
        const VARTYPE to = random.oneIn(3) ? VARTYPE{VT_BSTR} : random.pick(valueTypes);
        const CComVariant source = randomVariant(random, from);
        if (random.oneIn(10))
            addInPlace(report, source, to);
        else
            addConversion(report, source, to, {neutral, 0});
    }
}

const Registration registration("variant-convert", 60000, run);

}  // namespace

}  // namespace differential
