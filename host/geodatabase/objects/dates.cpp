// Dates and times between ISO 8601 texts and DATE.
#include "host/geodatabase/objects/dates.h"

#include "host/geodatabase/base/date_parts.h"
#include "host/geodatabase/base/status_error.h"

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <utility>

namespace embedded_host {

namespace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::year_month_day;

constexpr std::int64_t millisecondsPerDay = 86'400'000;
constexpr sys_days dayZero{std::chrono::year{1899} / 12 / 30};

std::string formatted(const char* pattern, auto... values) {
    std::array<char, 48> buffer{};
    const int length = std::snprintf(buffer.data(), buffer.size(), pattern, values...);
    return {buffer.data(), static_cast<std::size_t>(length)};
}

}  // namespace

bool parseIso(ColumnType type, const std::string& text, DATE& date) {
    // What reads it wants a date before a time.
    const std::optional<DateParts> parts = readDate(type == ColumnType::Time ? "1899-12-30T" + text : text);
    if (!parts) return false;
    const year_month_day ymd{std::chrono::year{parts->year} / parts->month / parts->day};
    if (!ymd.ok()) return false;
    const auto dayNumber = static_cast<double>((sys_days{ymd} - dayZero).count());
    const double seconds = std::round(parts->second * 1000.0) / 1000.0;
    const double time = (parts->hour * 3600 + parts->minute * 60 + seconds) / 86400.0;
    // Before day zero the fraction still counts forward from midnight, but with the sign of the day.
    date = dayNumber < 0 ? dayNumber - time : dayNumber + time;
    return true;
}

std::string isoText(ColumnType type, DATE date) {
    if (std::isnan(date) || date <= -657435.0 || date >= 2958466.0)
        throw StatusError(DISP_E_OVERFLOW, "is outside the years 100 to 9999");
    const double whole = std::trunc(date);
    auto day = static_cast<std::int64_t>(whole);
    auto time = static_cast<std::int64_t>(std::round(std::abs(date - whole) * millisecondsPerDay));
    if (time == millisecondsPerDay) {
        time = 0;
        ++day;
    }
    if (type == ColumnType::Date && time != 0) throw StatusError(DISP_E_TYPEMISMATCH, "has a time of day");
    if (type == ColumnType::Time && day != 0) throw StatusError(DISP_E_TYPEMISMATCH, "is not a time of day");

    const year_month_day ymd{dayZero + days{day}};
    std::string dayText = formatted("%04d-%02u-%02u", static_cast<int>(ymd.year()), static_cast<unsigned>(ymd.month()),
                                    static_cast<unsigned>(ymd.day()));
    if (type == ColumnType::Date) return dayText;
    const auto milliseconds = static_cast<int>(time);
    const std::string timeText = formatted("%02d:%02d:%02d.%03d", milliseconds / 3'600'000, milliseconds / 60'000 % 60,
                                           milliseconds / 1000 % 60, milliseconds % 1000);
    return type == ColumnType::Time ? timeText : std::move(dayText) + 'T' + timeText + 'Z';
}

}  // namespace embedded_host
