#include "platform/portable/date_text.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>

namespace ole {

namespace {

using std::chrono::year_month_day;

constexpr std::chrono::sys_days dayZero{std::chrono::year{1899} / 12 / 30};

constexpr std::array<std::string_view, 12> monthNames{"january",   "february", "march",    "april",
                                                      "may",       "june",     "july",     "august",
                                                      "september", "october",  "november", "december"};
constexpr std::array<std::string_view, 7> dayNames{"sunday",   "monday", "tuesday", "wednesday",
                                                   "thursday", "friday", "saturday"};

struct TimeOfDay {
    unsigned hour = 0;
    unsigned minute = 0;
    unsigned second = 0;
};

/// The nearest second of a day's fraction; 24:00:00 is possible.
TimeOfDay timeOf(double fraction) {
    // So little more that a time written as h/24 + m/1440 + s/86400 does not fall below its second.
    double rest = fraction + 0.00000000001;
    if (rest >= 1.0) rest = fraction;
    TimeOfDay time;
    rest *= 24;
    time.hour = static_cast<unsigned>(rest);
    rest = (rest - time.hour) * 60;
    time.minute = static_cast<unsigned>(rest);
    rest = (rest - time.minute) * 60;
    time.second = static_cast<unsigned>(rest);
    if (rest - time.second <= 0.5) return time;
    time.second += 1;
    time.minute += time.second / 60;
    time.second %= 60;
    time.hour += time.minute / 60;
    time.minute %= 60;
    return time;
}

void addNumber(ShortText& text, unsigned value, unsigned digits) {
    char buffer[8];
    unsigned count = 0;
    for (; value > 0 || count < digits; value /= 10) buffer[count++] = static_cast<char>('0' + value % 10);
    while (count > 0) text.add(buffer[--count]);
}

void addDate(ShortText& text, const year_month_day& date, bool invariant) {
    const unsigned digits = invariant ? 2 : 1;
    addNumber(text, static_cast<unsigned>(date.month()), digits);
    text.add('/');
    addNumber(text, static_cast<unsigned>(date.day()), digits);
    text.add('/');
    addNumber(text, static_cast<unsigned>(static_cast<int>(date.year())), invariant ? 4 : 1);
}

void addTime(ShortText& text, const TimeOfDay& time, bool invariant) {
    if (invariant)
        addNumber(text, time.hour, 2);
    else
        addNumber(text, time.hour % 12 == 0 ? 12 : time.hour % 12, 1);
    text.add(':');
    addNumber(text, time.minute, 2);
    text.add(':');
    addNumber(text, time.second, 2);
    if (!invariant) text.add(time.hour < 12 ? " AM" : " PM");
}

bool isLetter(char16_t unit) {
    return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z');
}

bool equalsNoCase(std::u16string_view text, std::string_view lower) {
    if (text.size() != lower.size()) return false;
    for (std::size_t i = 0; i < text.size(); ++i)
        if ((text[i] | 0x20) != lower[i]) return false;
    return true;
}

/// The place in the list of a name, in full or by its first three letters; -1 for none.
template <std::size_t N>
int nameIndex(std::u16string_view word, const std::array<std::string_view, N>& names) {
    for (std::size_t i = 0; i < N; ++i)
        if (equalsNoCase(word, names[i]) || equalsNoCase(word, names[i].substr(0, 3))) return static_cast<int>(i);
    return -1;
}

enum class Half { None, Morning, Afternoon };

/// A number or a month's name, and what follows it.
struct Part {
    unsigned value = 0;
    bool isMonthName = false;
    char16_t separator = 0;
    Half half = Half::None;

    bool isTime() const { return separator == u':' || half != Half::None; }
};

/// Splits a text into its parts; then tells which are the time and which the date.
class DateReader {
public:
    explicit DateReader(std::u16string_view text) : text_(text.substr(0, text.find(u'\0'))) {}

    HRESULT read(double& date) {
        if (!split() || !takeTime() || !takeDate()) return DISP_E_TYPEMISMATCH;
        // Before day zero too the time of day counts away from zero.
        const double sign = day_ < 0 ? -1 : 1;
        date = day_;
        date += sign * (time_.hour / 24.0);
        date += sign * (time_.minute / 1440.0);
        date += sign * (time_.second / 86400.0);
        return S_OK;
    }

private:
    bool split() {
        while (at_ < text_.size()) {
            const char16_t unit = text_[at_];
            if (unit >= u'0' && unit <= u'9') {
                if (!addNumber()) return false;
            } else if (isLetter(unit)) {
                if (!addWord()) return false;
            } else {
                ++at_;
                if (!isBlank(unit) && unit != u',' && !addSeparator(unit)) return false;
            }
        }
        return count_ > 0 && parts_[count_ - 1].separator == 0;
    }

    bool addNumber() {
        if (count_ == parts_.size()) return false;
        constexpr unsigned tooLarge = 10000;
        unsigned value = 0;
        for (; at_ < text_.size() && text_[at_] >= u'0' && text_[at_] <= u'9'; ++at_)
            value = std::min(value * 10 + static_cast<unsigned>(text_[at_] - u'0'), tooLarge);
        parts_[count_++] = {.value = value};
        return true;
    }

    bool addWord() {
        const std::size_t first = at_;
        while (at_ < text_.size() && isLetter(text_[at_])) ++at_;
        const std::u16string_view word = text_.substr(first, at_ - first);
        if (equalsNoCase(word, "am") || equalsNoCase(word, "a")) return addHalf(Half::Morning);
        if (equalsNoCase(word, "pm") || equalsNoCase(word, "p")) return addHalf(Half::Afternoon);
        if (nameIndex(word, dayNames) >= 0) return true;  // the day of the week says nothing new
        const int month = nameIndex(word, monthNames);
        if (month < 0 || count_ == parts_.size()) return false;
        parts_[count_++] = {.value = static_cast<unsigned>(month) + 1, .isMonthName = true};
        return true;
    }

    bool addHalf(Half half) {
        if (count_ == 0 || halfSeen_) return false;
        halfSeen_ = true;
        parts_[count_ - 1].half = half;
        return !parts_[count_ - 1].isMonthName && parts_[count_ - 1].separator == 0;
    }

    bool addSeparator(char16_t unit) {
        if (unit == u'.') unit = u':';
        if (unit != u':' && unit != u'/' && unit != u'-') return false;
        if (count_ == 0 || parts_[count_ - 1].separator != 0 || parts_[count_ - 1].half != Half::None) return false;
        parts_[count_ - 1].separator = unit;
        return unit != u':' || !parts_[count_ - 1].isMonthName;
    }

    /// Takes the run of parts joined by colons, which stands first or last, out of the parts.
    bool takeTime() {
        unsigned first = 0;
        while (first < count_ && !parts_[first].isTime()) ++first;
        if (first == count_) return true;
        unsigned end = first;
        while (parts_[end].separator == u':') ++end;
        const Half half = parts_[end].half;
        if (parts_[end].separator != 0 || parts_[end].isMonthName) return false;
        ++end;
        if (end - first > 3 || (first != 0 && end != count_)) return false;
        unsigned values[3] = {};
        for (unsigned i = first; i < end; ++i) values[i - first] = parts_[i].value;
        time_ = {values[0], values[1], values[2]};
        if (time_.hour > 23 || time_.minute > 59 || time_.second > 59) return false;
        if (half == Half::Morning && time_.hour == 12) time_.hour = 0;
        if (half == Half::Afternoon && time_.hour < 12) time_.hour += 12;
        removeParts(first, end);
        return true;
    }

    void removeParts(unsigned first, unsigned end) {
        for (unsigned i = end; i < count_; ++i) parts_[first + i - end] = parts_[i];
        count_ -= end - first;
    }

    bool takeDate() {
        for (unsigned i = 0; i < count_; ++i)
            if (parts_[i].isTime()) return false;
        unsigned monthNamesSeen = 0;
        for (unsigned i = 0; i < count_; ++i) monthNamesSeen += parts_[i].isMonthName ? 1U : 0U;
        if (monthNamesSeen > 1) return false;
        switch (count_) {
            case 0:
                return true;  // a time alone
            case 2:
                // What cannot be a month and a day is a month and a year.
                return take("md") || take("dm") || take("my") || take("ym");
            case 3:
                return take("mdy") || take("ymd") || take("dmy") || take("ydm");
            default:
                return false;
        }
    }

    /// Takes the parts in the order given, when that makes a date.
    bool take(std::string_view order) {
        int year = currentYear();
        unsigned month = 0;
        unsigned day = 1;
        for (unsigned i = 0; i < count_; ++i) {
            if (parts_[i].isMonthName != (order[i] == 'm') && hasMonthName()) return false;
            if (order[i] == 'y') year = fullYear(parts_[i].value);
            if (order[i] == 'm') month = parts_[i].value;
            if (order[i] == 'd') day = parts_[i].value;
        }
        const year_month_day date{std::chrono::year{year}, std::chrono::month{month}, std::chrono::day{day}};
        if (!date.ok() || month > 12 || day > 31 || year < 100 || year > 9999) return false;
        day_ = static_cast<double>((std::chrono::sys_days{date} - dayZero).count());
        return true;
    }

    bool hasMonthName() const {
        for (unsigned i = 0; i < count_; ++i)
            if (parts_[i].isMonthName) return true;
        return false;
    }

    /// Two digits mean 1950 to 2049.
    static int fullYear(unsigned value) {
        return static_cast<int>(value < 50 ? value + 2000 : value < 100 ? value + 1900 : value);
    }

    static int currentYear() {
        const auto today = std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now());
        return static_cast<int>(year_month_day{today}.year());
    }

    std::u16string_view text_;
    std::size_t at_ = 0;
    std::array<Part, 6> parts_{};
    unsigned count_ = 0;
    bool halfSeen_ = false;
    TimeOfDay time_;
    double day_ = 0;
};

}  // namespace

bool isDate(double date) {
    return date > firstDay - 1 && date < lastDay + 1;
}

HRESULT textOfDate(double date, LCID locale, ShortText& text) {
    if (!isDate(date)) return E_INVALIDARG;
    const bool invariant = locale == LOCALE_INVARIANT;
    const double whole = std::trunc(date);
    const double fraction = std::fabs(date - whole);
    TimeOfDay time = timeOf(fraction);
    std::chrono::sys_days day = dayZero + std::chrono::days(static_cast<int>(whole));
    if (time.hour == 24) {
        time.hour = 0;
        day += std::chrono::days(1);
    }
    // Whether date and time are shown is decided before rounding.
    const bool showsTime = whole == 0 || fraction >= 1e-12;
    if (whole != 0) addDate(text, year_month_day{day}, invariant);
    if (whole != 0 && showsTime) text.add(' ');
    if (showsTime) addTime(text, time, invariant);
    return S_OK;
}

HRESULT readDate(std::u16string_view text, double& date) {
    return DateReader(text).read(date);
}

}  // namespace ole
