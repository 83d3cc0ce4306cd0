// Dates and times of day as cells have them: ISO 8601, to the millisecond.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace embedded_host {

/// The years 1 to 9999, which can be written.
bool hasFourDigitYear(std::chrono::sys_days day) noexcept;
/// "2024-05-01". \param day hasFourDigitYear().
void appendDay(std::string& text, std::chrono::sys_days day);
/// "13:45:00.000". \param time not negative, less than a day.
void appendTime(std::string& text, std::chrono::milliseconds time);

struct IsoMoment {
    std::chrono::sys_days day;
    std::chrono::milliseconds time{};
};
/// A date, with or without a time, as this file writes them; seconds may lack, or have any fraction. A zone is not
/// applied. \return nothing when it is none.
std::optional<IsoMoment> parseMoment(std::string_view text);

}  // namespace embedded_host
