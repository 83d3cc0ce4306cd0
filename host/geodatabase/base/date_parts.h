// Reading a date: by GDAL where the host is linked with it, else by code of our own, for ISO 8601 only.
#pragma once

#include <optional>
#include <string>

namespace embedded_host {

/// As they are written; not checked to be a day that there is.
struct DateParts {
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    double second = 0;
};

/// A date, with or without a time; a zone is not applied. \return nothing when it is none.
std::optional<DateParts> readDate(const std::string& text);

}  // namespace embedded_host
