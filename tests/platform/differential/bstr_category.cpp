// BSTR allocation, lengths and concatenation.
#include "platform/differential/category.h"

namespace {

using differential::Random;
using differential::Report;

WideString randomText(Random& random) {
    WideString text(random.below(random.oneIn(8) ? 300 : 12), OLECHAR{});
    for (OLECHAR& unit : text)
        unit = static_cast<OLECHAR>(random.oneIn(10) ? random.below(0x10000) : random.below(0x80));
    return text;
}

std::string describeText(BSTR text) {
    // A terminator follows the counted units, whatever they are.
    const bool terminated = !text || text[SysStringLen(text)] == 0;
    return std::to_string(SysStringLen(text)) + ' ' + std::to_string(SysStringByteLen(text)) + ' ' +
           differential::quotedBstr(text) + (terminated ? "" : " unterminated");
}

void addCopies(Report& report, const WideString& text) {
    const std::string name = differential::quoted(text);
    const CComBSTR whole(static_cast<int>(text.size()), text.c_str());
    report.add("SysAllocStringLen " + name, describeText(whole));
    CComBSTR copied;
    copied.Attach(SysAllocString(text.c_str()));
    report.add("SysAllocString " + name, describeText(copied));
    for (const UINT bytes : {UINT(text.size()), UINT(text.size()) + 1}) {
        CComBSTR odd;
        odd.Attach(SysAllocStringByteLen(reinterpret_cast<const char*>(text.c_str()), bytes));
        report.add("SysAllocStringByteLen " + std::to_string(bytes) + ' ' + name,
                   std::to_string(SysStringByteLen(odd)) + ' ' + differential::quotedBstr(odd));
    }
}

void addJoined(Report& report, BSTR left, BSTR right) {
    CComBSTR joined;
    const HRESULT status = VarBstrCat(left, right, &joined);
    report.add("VarBstrCat " + differential::quotedBstr(left) + ' ' + differential::quotedBstr(right),
               differential::hex(status) + ' ' + describeText(joined));
}

void addEdges(Report& report) {
    report.add("SysStringLen null", std::to_string(SysStringLen(nullptr)));
    report.add("SysStringByteLen null", std::to_string(SysStringByteLen(nullptr)));
    CComBSTR copy;
    copy.Attach(SysAllocString(nullptr));
    report.add("SysAllocString null", describeText(copy));
    copy.Attach(SysAllocStringLen(nullptr, 0));
    report.add("SysAllocStringLen null 0", describeText(copy));
    copy.Attach(SysAllocStringLen(nullptr, 5));
    report.add("SysAllocStringLen null 5", std::to_string(SysStringLen(copy)));
    copy.Attach(SysAllocStringByteLen(nullptr, 7));
    report.add("SysAllocStringByteLen null 7", std::to_string(SysStringByteLen(copy)));
    copy.Attach(SysAllocStringLen(OLESTR("x"), 0xFFFFFFFFU));
    report.add("SysAllocStringLen of too many units", describeText(copy));
    CComBSTR empty(0, OLESTR(""));
    CComBSTR text(OLESTR("text"));
    BSTR choices[] = {nullptr, empty, text};
    for (BSTR left : choices)
        for (BSTR right : choices) addJoined(report, left, right);
    report.add("VarBstrCat without a place for the result", differential::hex(VarBstrCat(text, text, nullptr)));
    CComBSTR odd;
    odd.Attach(SysAllocStringByteLen("abc", 3));
    CComBSTR joined;
    const HRESULT status = VarBstrCat(odd, odd, &joined);
    report.add("VarBstrCat of odd lengths", differential::hex(status) + ' ' + std::to_string(SysStringByteLen(joined)));
}

void run(Report& report, Random& random, long randomCases) {
    addEdges(report);
    addCopies(report, WideString());
    addCopies(report, WideString(3, OLECHAR{}));
    for (long i = 0; i < randomCases; i += 5) {
        const WideString text = randomText(random);
        addCopies(report, text);
        CComBSTR left(static_cast<int>(text.size()), text.c_str());
        const WideString other = randomText(random);
        CComBSTR right(static_cast<int>(other.size()), other.c_str());
        addJoined(report, left, right);
    }
}

const differential::Registration registration("bstr", 10000, run);

}  // namespace
