// The values of GDAL's features, and how SQL writes them.
#include "host/geodatabase/gdal/feature_values.h"

#include <ogrsf_frmts.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <string_view>

namespace embedded_host {

namespace {

template <class Item, class Show>
void join(const Item* items, int count, std::string& text, Show&& show) {
    for (int i = 0; i < count; ++i) {
        if (i > 0) text += ',';
        text += show(items[i]);
    }
}

void readList(OGRFeature& feature, int field, std::string& text) {
    int count = 0;
    switch (feature.GetFieldDefnRef(field)->GetType()) {
        case OFTIntegerList: {
            const int* items = feature.GetFieldAsIntegerList(field, &count);
            return join(items, count, text, [](int item) { return std::to_string(item); });
        }
        case OFTInteger64List: {
            const GIntBig* items = feature.GetFieldAsInteger64List(field, &count);
            return join(items, count, text, [](GIntBig item) { return std::to_string(item); });
        }
        case OFTRealList: {
            const double* items = feature.GetFieldAsDoubleList(field, &count);
            return join(items, count, text, realText);
        }
        default: {
            char** items = feature.GetFieldAsStringList(field);
            return join(items, CSLCount(items), text, [](const char* item) { return std::string_view(item); });
        }
    }
}

void readDate(OGRFeature& feature, int field, ColumnType type, std::string& text) {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, zone = 0;
    float second = 0;
    feature.GetFieldAsDateTime(field, &year, &month, &day, &hour, &minute, &second, &zone);
    std::array<char, 64> date{};
    std::array<char, 64> time{};
    std::snprintf(date.data(), date.size(), "%04d-%02d-%02d", year, month, day);
    std::snprintf(time.data(), time.size(), "%02d:%02d:%06.3f", hour, minute, static_cast<double>(second));
    if (type != ColumnType::Time) text = date.data();
    if (type == ColumnType::DateTime) text += 'T';
    if (type != ColumnType::Date) text += time.data();
}

}  // namespace

void readField(const OGRFeature& constFeature, int field, ColumnType type, Cell& cell) {
    // GDAL's reading calls are not declared const.
    auto& feature = const_cast<OGRFeature&>(constFeature);
    cell.state = feature.IsFieldSetAndNotNull(field) ? Cell::State::Value : Cell::State::Null;
    if (cell.state == Cell::State::Null) return;
    cell.text.clear();
    switch (type) {
        case ColumnType::Date:
        case ColumnType::Time:
        case ColumnType::DateTime:
            return readDate(feature, field, type, cell.text);
        case ColumnType::IntegerList:
        case ColumnType::RealList:
        case ColumnType::TextList:
            return readList(feature, field, cell.text);
        default:
            break;
    }
    switch (partOf(type)) {
        case CellPart::Integer:
            cell.integer = feature.GetFieldAsInteger64(field);
            break;
        case CellPart::Real:
            cell.real = feature.GetFieldAsDouble(field);
            break;
        case CellPart::Text:
            cell.text = feature.GetFieldAsString(field);
            break;
        case CellPart::None:
            break;
    }
}

std::string realText(double value) {
    if (std::isinf(value)) return value < 0 ? "-1e999" : "1e999";
    std::array<char, 32> buffer{};
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr;
    return {buffer.data(), end};
}

}  // namespace embedded_host
