// Dates as GDAL reads them.
#include "host/geodatabase/base/date_parts.h"

#include <ogr_core.h>

namespace embedded_host {

std::optional<DateParts> readDate(const std::string& text) {
    OGRField field;
    if (!OGRParseDate(text.c_str(), &field, 0)) return std::nullopt;
    return DateParts{field.Date.Year, field.Date.Month,  field.Date.Day,
                     field.Date.Hour, field.Date.Minute, static_cast<double>(field.Date.Second)};
}

}  // namespace embedded_host
