// Conversion between cells and VARIANTs.
#include "host/geodatabase/objects/cell_variant.h"

#include "host/geodatabase/base/status_error.h"
#include "host/geodatabase/base/text.h"
#include "host/geodatabase/objects/dates.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace embedded_host {

namespace {

[[noreturn]] void refuse(HRESULT status, const Column& column, const std::string& why) {
    throw StatusError(status, "field " + column.name + ": " + why);
}

template <class Number>
Number narrowed(const Column& column, std::int64_t value) {
    if (value < std::numeric_limits<Number>::min() || value > std::numeric_limits<Number>::max())
        refuse(DISP_E_OVERFLOW, column, std::to_string(value) + " is out of the field's range");
    return static_cast<Number>(value);
}

// What the caller put, in words for a message.
std::string shown(const VARIANT& value) {
    CComVariant text;
    if (FAILED(VariantChangeTypeEx(&text, const_cast<VARIANT*>(&value), LOCALE_INVARIANT, 0, VT_BSTR)))
        return "a value of variant type " + std::to_string(value.vt);
    std::string words(1, '\'');
    words += toUtf8(viewOf(text.bstrVal));
    return words += '\'';
}

CComVariant converted(const Column& column, const VARIANT& value, VARTYPE type, const char* kind) {
    CComVariant result;
    const HRESULT hr =
        VariantChangeTypeEx(&result, const_cast<VARIANT*>(&value), LOCALE_INVARIANT, VARIANT_NOUSEROVERRIDE, type);
    if (FAILED(hr)) refuse(hr, column, shown(value) + " is not " + kind);
    return result;
}

std::int64_t wholeNumber(const Column& column, const VARIANT& value) {
    // The variant conversions round; a fraction has to be noticed before.
    const double real = converted(column, value, VT_R8, "a number").dblVal;
    if (std::trunc(real) != real) refuse(DISP_E_TYPEMISMATCH, column, shown(value) + " is not a whole number");
    return converted(column, value, VT_I8, "a whole number in range").llVal;
}

double realNumber(const Column& column, const VARIANT& value) {
    const double real = converted(column, value, VT_R8, "a number").dblVal;
    if (std::isnan(real)) refuse(DISP_E_TYPEMISMATCH, column, "not-a-number cannot be stored");
    // From 2^53 on, not every whole number has a double of its own.
    constexpr double exact = 9007199254740992.0;
    if (std::abs(real) >= exact && value.vt != VT_R8 && value.vt != VT_R4) {
        CComVariant whole;
        if (SUCCEEDED(VariantChangeTypeEx(&whole, const_cast<VARIANT*>(&value), LOCALE_INVARIANT, 0, VT_I8)) &&
            (real >= 9223372036854775808.0 || static_cast<std::int64_t>(real) != whole.llVal))
            refuse(DISP_E_OVERFLOW, column, shown(value) + " has more digits than the field can hold");
    }
    return real;
}

double floatNumber(const Column& column, const VARIANT& value) {
    const double real = realNumber(column, value);
    if (std::isfinite(real) && std::abs(real) > static_cast<double>(std::numeric_limits<float>::max()))
        refuse(DISP_E_OVERFLOW, column, shown(value) + " is out of the field's range");
    return static_cast<double>(static_cast<float>(real));
}

std::string textOf(const Column& column, const VARIANT& value) {
    if (value.vt == VT_BSTR) return toUtf8(viewOf(value.bstrVal));
    const CComVariant text = converted(column, value, VT_BSTR, "a text");
    return toUtf8(viewOf(text.bstrVal));
}

std::string limitedText(const Column& column, const VARIANT& value) {
    std::string text = textOf(column, value);
    if (column.width > 0) {
        const auto characters =
            std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; });
        if (characters > column.width)
            refuse(DISP_E_OVERFLOW, column,
                   "'" + text + "' is longer than the field's " + std::to_string(column.width) + " characters");
    }
    return text;
}

std::string dateOf(const Column& column, const VARIANT& value) {
    const double date = converted(column, value, VT_DATE, "a date").date;
    try {
        return isoText(column.type, date);
    } catch (const StatusError& error) {
        refuse(error.status(), column, shown(value) + " " + error.what());
    }
}

Cell convertedCell(const Column& column, const VARIANT& value) {
    Cell cell;
    cell.state = Cell::State::Value;
    switch (column.type) {
        case ColumnType::Boolean:
            cell.integer = value.vt == VT_BSTR   ? (converted(column, value, VT_BOOL, "true or false").boolVal != 0)
                           : value.vt == VT_BOOL ? value.boolVal != VARIANT_FALSE
                                                 : wholeNumber(column, value);
            if (cell.integer == -1) cell.integer = 1;
            if (cell.integer != 0 && cell.integer != 1)
                refuse(DISP_E_OVERFLOW, column, shown(value) + " is neither true nor false");
            break;
        case ColumnType::Int16:
            cell.integer = narrowed<std::int16_t>(column, wholeNumber(column, value));
            break;
        case ColumnType::Integer:
            cell.integer = narrowed<std::int32_t>(column, wholeNumber(column, value));
            break;
        case ColumnType::Integer64:
            cell.integer = wholeNumber(column, value);
            break;
        case ColumnType::Real:
            cell.real = realNumber(column, value);
            break;
        case ColumnType::Float32:
            cell.real = floatNumber(column, value);
            break;
        case ColumnType::Text:
            cell.text = limitedText(column, value);
            break;
        case ColumnType::Date:
        case ColumnType::Time:
        case ColumnType::DateTime:
            cell.text = dateOf(column, value);
            break;
        case ColumnType::IntegerList:
        case ColumnType::RealList:
        case ColumnType::TextList:
            cell.text = textOf(column, value);
            break;
        case ColumnType::Unsupported:
            refuse(DISP_E_TYPEMISMATCH, column, "values of this field's type cannot be written");
    }
    return cell;
}

}  // namespace

VARTYPE variantTypeOf(ColumnType type) noexcept {
    switch (type) {
        case ColumnType::Boolean:
            return VT_BOOL;
        case ColumnType::Int16:
            return VT_I2;
        case ColumnType::Integer:
            return VT_I4;
        case ColumnType::Integer64:
            return VT_I8;
        case ColumnType::Real:
            return VT_R8;
        case ColumnType::Float32:
            return VT_R4;
        case ColumnType::Date:
        case ColumnType::Time:
        case ColumnType::DateTime:
            return VT_DATE;
        case ColumnType::Unsupported:
            return VT_EMPTY;
        default:
            return VT_BSTR;
    }
}

void toVariant(const Column& column, const Cell& cell, VARIANT* value) {
    if (cell.state == Cell::State::Null) {
        value->vt = VT_NULL;
        return;
    }
    if (cell.state == Cell::State::Foreign)
        refuse(DISP_E_TYPEMISMATCH, column, "the row holds '" + cell.text + "', which is not of the field's type");
    if (column.type == ColumnType::Unsupported)
        refuse(DISP_E_TYPEMISMATCH, column, "values of this field's type cannot be read");
    // The type word is set last: a failure leaves VT_EMPTY.
    switch (column.type) {
        case ColumnType::Boolean:
            value->boolVal = cell.integer ? VARIANT_TRUE : VARIANT_FALSE;
            value->vt = VT_BOOL;
            break;
        case ColumnType::Int16:
            value->iVal = narrowed<SHORT>(column, cell.integer);
            value->vt = VT_I2;
            break;
        case ColumnType::Integer:
            value->lVal = narrowed<LONG>(column, cell.integer);
            value->vt = VT_I4;
            break;
        case ColumnType::Integer64:
            value->llVal = cell.integer;
            value->vt = VT_I8;
            break;
        case ColumnType::Real:
            value->dblVal = cell.real;
            value->vt = VT_R8;
            break;
        case ColumnType::Float32:
            value->fltVal = static_cast<FLOAT>(cell.real);
            value->vt = VT_R4;
            break;
        case ColumnType::Date:
        case ColumnType::Time:
        case ColumnType::DateTime:
            if (!parseIso(column.type, cell.text, value->date))
                refuse(DISP_E_TYPEMISMATCH, column, "the row holds '" + cell.text + "', which is not a date or time");
            value->vt = VT_DATE;
            break;
        default:
            value->bstrVal = toBstr(cell.text);
            value->vt = VT_BSTR;
            break;
    }
}

void fromVariant(const Column& column, const VARIANT& value, Cell& cell) {
    if (value.vt == VT_NULL || value.vt == VT_EMPTY) {
        cell.state = Cell::State::Null;
        return;
    }
    // What is of the column's type already needs no conversion.
    if (value.vt == VT_BSTR && column.type == ColumnType::Text && column.width == 0)
        cell.text = toUtf8(viewOf(value.bstrVal));
    else if (value.vt == VT_R8 && column.type == ColumnType::Real && !std::isnan(value.dblVal))
        cell.real = value.dblVal;
    else
        cell = convertedCell(column, value);
    cell.state = Cell::State::Value;
}

}  // namespace embedded_host
