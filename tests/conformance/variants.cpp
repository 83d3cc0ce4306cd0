#include "conformance/variants.h"

#include "memhost/text.h"

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace conformance {
namespace {

using std::chrono::sys_days;
using std::chrono::year_month_day;

constexpr sys_days dayZero{std::chrono::year{1899} / 12 / 30};
constexpr double millisecondsOfDay = 86'400'000;

int number(const std::string& text, std::size_t at, std::size_t digits) {
    return std::stoi(text.substr(at, digits));
}

double dayOf(const std::string& text) {
    const sys_days day{std::chrono::year{number(text, 0, 4)} / number(text, 5, 2) / number(text, 8, 2)};
    auto date = static_cast<double>((day - dayZero).count());
    if (text.size() == 23) {
        const int seconds = (number(text, 11, 2) * 60 + number(text, 14, 2)) * 60 + number(text, 17, 2);
        const double time = (seconds * 1000.0 + number(text, 20, 3)) / millisecondsOfDay;
        date += date < 0 ? -time : time;  // the time of day counts away from midnight
    }
    return date;
}

std::string dateText(double date, bool withTime) {
    const double days = std::trunc(date);
    const year_month_day day{dayZero + std::chrono::days{static_cast<int>(days)}};
    std::array<char, 64> text{};
    int length = std::snprintf(text.data(), text.size(), "%04d-%02u-%02u", static_cast<int>(day.year()),
                               static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()));
    if (withTime) {
        const auto time = std::lround(std::abs(date - days) * millisecondsOfDay);
        length += std::snprintf(text.data() + length, text.size() - static_cast<std::size_t>(length),
                                "T%02ld:%02ld:%02ld.%03ld", time / 3'600'000, time / 60'000 % 60, time / 1000 % 60,
                                time % 1000);
    }
    return {text.data(), static_cast<std::size_t>(length)};
}

}  // namespace

CComVariant variantOf(Type type, const Value& value) {
    CComVariant variant;
    variant.vt = VT_NULL;
    if (!value) return variant;
    switch (type) {
        case Type::Small:
            variant.vt = VT_I2;
            variant.iVal = static_cast<SHORT>(std::stoi(*value));
            return variant;
        case Type::Integer:
            return CComVariant(std::stoi(*value));
        case Type::Big:
            variant.vt = VT_I8;
            variant.llVal = std::stoll(*value);
            return variant;
        case Type::Real:
            return CComVariant(realOf(*value));
        case Type::Float:
            variant.vt = VT_R4;
            variant.fltVal = floatOf(*value);
            return variant;
        case Type::Boolean:
            variant.vt = VT_BOOL;
            variant.boolVal = *value == "1" ? VARIANT_TRUE : VARIANT_FALSE;
            return variant;
        case Type::Date:
        case Type::Moment:
            variant.vt = VT_DATE;
            variant.date = dayOf(*value);
            return variant;
        case Type::Text:
            break;
    }
    return CComVariant(memhost::bstr(*value));
}

Value textOf(Type type, const VARIANT& value) {
    switch (value.vt) {
        case VT_NULL:
        case VT_EMPTY:
            return std::nullopt;
        case VT_I2:
            return std::to_string(value.iVal);
        case VT_I4:
            return std::to_string(value.lVal);
        case VT_I8:
            return std::to_string(value.llVal);
        case VT_R8:
            return textOf(value.dblVal);
        case VT_R4:
            return textOf(value.fltVal);
        case VT_BOOL:
            return value.boolVal ? "1" : "0";
        case VT_DATE:
            return dateText(value.date, type == Type::Moment);
        case VT_BSTR:
            return memhost::utf8(value.bstrVal);
        default:
            throw std::runtime_error("a value of type " + std::to_string(value.vt));
    }
}

}  // namespace conformance
