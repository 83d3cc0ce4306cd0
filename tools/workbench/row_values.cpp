#include "row_values.h"

#include "explanation.h"
#include "text/text.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <ratio>

namespace cxml {
namespace {

using embedded_host::ColumnType;

struct TypeWord {
    std::string_view word;
    ColumnType type;
    VARTYPE values;
};
constexpr std::array types{
    TypeWord{"integer", ColumnType::Integer, VT_I4},   TypeWord{"real", ColumnType::Real, VT_R8},
    TypeWord{"text", ColumnType::Text, VT_BSTR},       TypeWord{"long", ColumnType::Integer64, VT_I8},
    TypeWord{"short", ColumnType::Int16, VT_I2},       TypeWord{"float", ColumnType::Float32, VT_R4},
    TypeWord{"boolean", ColumnType::Boolean, VT_BOOL}, TypeWord{"datetime", ColumnType::DateTime, VT_DATE},
    TypeWord{"date", ColumnType::Date, VT_DATE}};

ColumnType usualType(std::string_view name) {
    return name == "Xoffset_C" || name == "Yoffset_C" || name == "Rotate_C" ? ColumnType::Real : ColumnType::Text;
}

std::vector<std::string_view> wordsOf(std::string_view text) {
    std::vector<std::string_view> words;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find_first_of(" \t"), text.size());
        if (end != 0) words.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return words;
}

template <class Number>
std::optional<Number> numberIn(std::string_view text) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

// "&#10;" is a line feed.
std::string resolved(std::string_view text) {
    std::string all;
    while (!text.empty()) {
        const std::size_t begin = std::min(text.find("&#"), text.size());
        all += text.substr(0, begin);
        text.remove_prefix(begin);
        if (text.empty()) break;
        const std::size_t end = text.find(';');
        const auto code = end == std::string_view::npos ? std::nullopt : numberIn<unsigned>(text.substr(2, end - 2));
        constexpr unsigned ascii = 0x80;
        if (code && *code < ascii) {
            all += static_cast<char>(*code);
            text.remove_prefix(end + 1);
        } else {
            all += text.substr(0, 2);
            text.remove_prefix(2);
        }
    }
    return all;
}

std::string textCell(const std::string& text) {
    std::string cell;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < ' ' || byte == 0x7F || text.compare(i, 2, "&#") == 0)
            cell += fmt::format("&#{};", byte);
        else
            cell += text[i];
    }
    const bool isPlain = !text.empty() && text != "NULL" && text != "-" && text.front() != '"' && text.front() != '!' &&
                         text.front() != ' ' && text.back() != ' ';
    return isPlain ? cell : '"' + cell + '"';
}

std::string isoDate(DATE date) {
    namespace chrono = std::chrono;
    using Milliseconds = chrono::milliseconds;
    constexpr chrono::sys_days first{chrono::year{1899} / chrono::December / 30};
    const double whole = std::floor(date);
    const chrono::year_month_day day(first + chrono::days(static_cast<int>(whole)));
    const chrono::duration<double, std::ratio<86400>> share(date - whole);
    const chrono::hh_mm_ss time(chrono::duration_cast<Milliseconds>(share + chrono::microseconds(500)));
    std::string text = fmt::format("{:04}-{:02}-{:02}", static_cast<int>(day.year()),
                                   static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()));
    if (date == whole) return text;
    return fmt::format("{}T{:02}:{:02}:{:02}.{:03}", text, time.hours().count(), time.minutes().count(),
                       time.seconds().count(), time.subseconds().count());
}

}  // namespace

TestColumn readColumn(const MarkdownCell& header) {
    std::vector<std::string_view> words = wordsOf(header.text);
    const bool isBefore = words.size() > 1 && words.front() == "before";
    if (isBefore) words.erase(words.begin());
    if (words.empty() || words.size() > 2)
        throw MarkdownError(header.place, "a column is 'NAME', 'NAME TYPE' or 'before NAME'");
    TestColumn column{TestColumn::Role::Expected, std::string(words[0]), usualType(words[0])};
    if (words.size() == 2) {
        const auto known = std::ranges::find(types, words[1], &TypeWord::word);
        if (known == types.end())
            throw MarkdownError(header.place, fmt::format("'{}' is no type: integer, real, text, long, short, float, "
                                                          "boolean, date or datetime",
                                                          words[1]));
        column.type = known->type;
    }
    if (isBefore || words.size() == 2)
        column.role = TestColumn::Role::Given;
    else if (words[0] == "by")
        column.role = TestColumn::Role::By;
    return column;
}

bool takeNegation(std::string_view& text) {
    if (!text.starts_with('!')) return false;
    text.remove_prefix(1);
    return true;
}

std::optional<std::string> textOf(std::string_view cell) {
    if (cell == "NULL") return std::nullopt;
    if (cell.size() > 1 && cell.starts_with('"') && cell.ends_with('"')) cell = cell.substr(1, cell.size() - 2);
    return resolved(cell);
}

std::string cellOf(const VARIANT& value) {
    if (value.vt == VT_BOOL) return value.boolVal == VARIANT_FALSE ? "0" : "1";
    if (value.vt == VT_DATE) return isoDate(value.date);
    const ShownValue said = shown(&value);
    if (said.type == "null" || said.type == "empty") return "NULL";
    return said.isText() ? textCell(said.text) : said.text;
}

std::string markdownCell(std::string_view text) {
    std::string cell;
    for (const char c : text) {
        if (c == '|' || c == '\\') cell += '\\';
        cell += c;
    }
    return cell;
}

bool isValue(const VARIANT& value, std::string_view cell) {
    const std::optional<std::string> text = textOf(cell);
    if (value.vt == VT_NULL || value.vt == VT_EMPTY) return !text;
    if (!text) return false;
    if (value.vt == VT_BSTR) return toUtf8(ConditionalXml::view(value.bstrVal)) == *text;
    if (value.vt == VT_R4) return numberIn<float>(*text) == value.fltVal;
    if (value.vt == VT_R8) return numberIn<double>(*text) == value.dblVal;
    return cellOf(value) == *text;
}

const char* typeWord(VARTYPE type) noexcept {
    const auto known = std::ranges::find(types, type, &TypeWord::values);
    return known == types.end() ? nullptr : known->word.data();
}

}  // namespace cxml
