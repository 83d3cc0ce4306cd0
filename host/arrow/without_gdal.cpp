// What the embedded host takes from GDAL where it is there, for programs that are not linked with it: nobody speaks on
// the thread, and dates are ISO 8601.
#include "host/arrow/iso_text.h"
#include "host/geodatabase/base/date_parts.h"
#include "host/geodatabase/base/gdal_errors.h"

namespace embedded_host {

GdalErrors::GdalErrors() = default;
GdalErrors::~GdalErrors() = default;

std::string GdalErrors::text(std::string_view otherwise) const {
    return std::string(otherwise);
}

std::optional<DateParts> readDate(const std::string& text) {
    const std::optional<IsoMoment> moment = parseMoment(text);
    if (!moment) return std::nullopt;
    const std::chrono::year_month_day date{moment->day};
    const std::chrono::hh_mm_ss time{moment->time};
    return DateParts{
        static_cast<int>(date.year()),
        static_cast<int>(static_cast<unsigned>(date.month())),
        static_cast<int>(static_cast<unsigned>(date.day())),
        static_cast<int>(time.hours().count()),
        static_cast<int>(time.minutes().count()),
        static_cast<double>(time.seconds().count()) + static_cast<double>(time.subseconds().count()) / 1000.0};
}

}  // namespace embedded_host
