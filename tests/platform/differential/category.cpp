#include "platform/differential/category.h"

#include <cstring>

namespace differential {

namespace {

const Registration* first = nullptr;

std::string hexDigits(std::uint64_t value, int digits) {
    std::string text(static_cast<std::size_t>(digits), '0');
    for (auto digit = text.rbegin(); digit != text.rend(); ++digit, value >>= 4)
        *digit = "0123456789ABCDEF"[value & 15];
    return text;
}

template <class T>
std::string number(T value) {
    return std::to_string(value);
}

std::string describeDecimal(const DECIMAL& value) {
    return hexDigits(value.Hi32, 8) + hexDigits(value.Lo64, 16) + " scale " + number(value.scale) + " sign " +
           number(value.sign);
}

}  // namespace

std::uint64_t Random::next() {
    std::uint64_t mixed = (state_ += 0x9E3779B97F4A7C15U);
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31);
}

void Report::add(std::string_view asked, std::string_view answered) {
    ++cases_;
    std::fwrite(asked.data(), 1, asked.size(), file_);
    std::fputc('\t', file_);
    std::fwrite(answered.data(), 1, answered.size(), file_);
    std::fputc('\n', file_);
}

Registration::Registration(const char* theName, long cases, Run theRun)
    : name(theName), randomCases(cases), run(theRun), next(first) {
    first = this;
}

const Registration* firstCategory() {
    return first;
}

std::string hex(HRESULT status) {
    return "0x" + hexDigits(static_cast<std::uint32_t>(status), 8);
}

std::string bits(double value) {
    std::uint64_t pattern = 0;
    std::memcpy(&pattern, &value, sizeof pattern);
    return "0x" + hexDigits(pattern, 16);
}

std::string bits(float value) {
    std::uint32_t pattern = 0;
    std::memcpy(&pattern, &value, sizeof pattern);
    return "0x" + hexDigits(pattern, 8);
}

std::string quoted(WideView text) {
    std::string result = "\"";
    for (const OLECHAR unit : text) {
        if (unit >= 0x20 && unit < 0x7F && unit != '"' && unit != '\\')
            result += static_cast<char>(unit);
        else
            result += "\\u" + hexDigits(unit, 4);
    }
    return result + '"';
}

std::string quotedBstr(BSTR text) {
    return text ? quoted(WideView(text, SysStringLen(text))) : "null";
}

std::string typeName(VARTYPE type) {
    struct Name {
        VARTYPE type;
        const char* name;
    };
    static constexpr Name names[] = {
        {VT_EMPTY, "EMPTY"},     {VT_NULL, "NULL"},   {VT_I2, "I2"},     {VT_I4, "I4"},
        {VT_R4, "R4"},           {VT_R8, "R8"},       {VT_CY, "CY"},     {VT_DATE, "DATE"},
        {VT_BSTR, "BSTR"},       {VT_ERROR, "ERROR"}, {VT_BOOL, "BOOL"}, {VT_VARIANT, "VARIANT"},
        {VT_UNKNOWN, "UNKNOWN"}, {VT_I1, "I1"},       {VT_UI1, "UI1"},   {VT_DECIMAL, "DECIMAL"},
        {VT_DISPATCH, "DISP"},   {VT_UI2, "UI2"},     {VT_UI4, "UI4"},   {VT_I8, "I8"},
        {VT_UI8, "UI8"},         {VT_INT, "INT"},     {VT_UINT, "UINT"}};
    for (const Name& known : names)
        if (known.type == type) return known.name;
    return "type " + number(type);
}

std::string describe(const VARIANT& value) {
    const std::string type = typeName(value.vt);
    switch (value.vt) {
        case VT_EMPTY:
        case VT_NULL:
            return type;
        case VT_I1:
            return type + ' ' + number(static_cast<int>(static_cast<signed char>(value.cVal)));
        case VT_UI1:
            return type + ' ' + number(value.bVal);
        case VT_I2:
        case VT_BOOL:
            return type + ' ' + number(value.iVal);
        case VT_UI2:
            return type + ' ' + number(value.uiVal);
        case VT_I4:
        case VT_INT:
            return type + ' ' + number(value.lVal);
        case VT_UI4:
        case VT_UINT:
            return type + ' ' + number(value.ulVal);
        case VT_I8:
            return type + ' ' + number(value.llVal);
        case VT_UI8:
            return type + ' ' + number(value.ullVal);
        case VT_R4:
            return type + ' ' + bits(value.fltVal);
        case VT_R8:
        case VT_DATE:
            return type + ' ' + bits(value.dblVal);
        case VT_CY:
            return type + ' ' + number(value.cyVal.int64);
        case VT_ERROR:
            return type + ' ' + hex(value.scode);
        case VT_BSTR:
            return type + ' ' + quotedBstr(value.bstrVal);
        case VT_DECIMAL:
            return type + ' ' + describeDecimal(value.decVal);
        case VT_UNKNOWN:
        case VT_DISPATCH:
            return type + (value.punkVal ? " object" : " null");
        default:
            return type;
    }
}

}  // namespace differential
