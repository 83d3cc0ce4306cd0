#include "host/arrow/iso_text.h"

#include <array>
#include <charconv>
#include <cstdio>

namespace embedded_host {
namespace {

using std::chrono::days;
using std::chrono::milliseconds;
using std::chrono::sys_days;
using std::chrono::year_month_day;

// Takes a number of so many digits off the front.
bool takeNumber(std::string_view& text, std::size_t digits, int& number) {
    if (text.size() < digits) return false;
    const auto [end, error] = std::from_chars(text.data(), text.data() + digits, number);
    if (error != std::errc() || end != text.data() + digits || number < 0) return false;
    text.remove_prefix(digits);
    return true;
}

bool take(std::string_view& text, char sign) {
    if (text.empty() || text.front() != sign) return false;
    text.remove_prefix(1);
    return true;
}

milliseconds takeFraction(std::string_view& text) {
    int thousandths = 0;
    int place = 100;
    while (!text.empty() && text.front() >= '0' && text.front() <= '9') {
        thousandths += (text.front() - '0') * place;
        place /= 10;
        text.remove_prefix(1);
    }
    return milliseconds(thousandths);
}

bool takeTime(std::string_view& text, milliseconds& time) {
    int hour = 0, minute = 0, second = 0;
    if (!takeNumber(text, 2, hour) || !take(text, ':') || !takeNumber(text, 2, minute)) return false;
    if (take(text, ':') && !takeNumber(text, 2, second)) return false;
    if (hour > 23 || minute > 59 || second > 60) return false;
    time = std::chrono::hours(hour) + std::chrono::minutes(minute) + std::chrono::seconds(second);
    if (take(text, '.')) time += takeFraction(text);
    return true;
}

}  // namespace

bool hasFourDigitYear(sys_days day) noexcept {
    constexpr sys_days first{std::chrono::year{1} / 1 / 1};
    constexpr sys_days last{std::chrono::year{9999} / 12 / 31};
    return day >= first && day <= last;
}

void appendDay(std::string& text, sys_days day) {
    const year_month_day date{day};
    std::array<char, 32> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%04d-%02u-%02u", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    text += buffer.data();
}

void appendTime(std::string& text, milliseconds time) {
    const auto all = static_cast<int>(time.count());
    std::array<char, 48> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%02d:%02d:%02d.%03d", all / 3'600'000, all / 60'000 % 60,
                  all / 1000 % 60, all % 1000);
    text += buffer.data();
}

std::optional<IsoMoment> parseMoment(std::string_view text) {
    int year = 0, month = 0, day = 0;
    if (!takeNumber(text, 4, year) || !take(text, '-') || !takeNumber(text, 2, month) || !take(text, '-') ||
        !takeNumber(text, 2, day))
        return std::nullopt;
    const year_month_day date{std::chrono::year{year}, std::chrono::month{static_cast<unsigned>(month)},
                              std::chrono::day{static_cast<unsigned>(day)}};
    if (!date.ok()) return std::nullopt;
    IsoMoment moment{.day = sys_days{date}};
    if (text.empty()) return moment;
    if (!take(text, 'T') && !take(text, ' ')) return std::nullopt;
    if (!takeTime(text, moment.time)) return std::nullopt;
    return moment;
}

}  // namespace embedded_host
