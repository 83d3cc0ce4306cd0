#include "catalogue.h"

#include "platform/platform.h"
#include "tools/text/text.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstddef>
#include <utility>
#include <vector>

namespace cxml {
namespace {

constexpr std::size_t acronymLength = 6;

// The tables are UTF-8 but for a line or two of Latin-1.
std::string inUtf8(std::string_view line) {
    const int bytes = static_cast<int>(line.size());
    if (bytes == 0 || MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, line.data(), bytes, nullptr, 0) != 0)
        return std::string(line);
    WideString wide;
    for (const char c : line) wide += static_cast<OLECHAR>(static_cast<unsigned char>(c));
    return toUtf8(WideView(wide));
}

// The tables are those of edition 3.0; these codes came later.
struct LaterCode {
    std::string_view attribute;
    int code;
    std::string_view meaning;
};
constexpr LaterCode laterCodes[] = {
    {"CATMFA", 5, "pearl culture farm"},
    {"CATOBS", 10, "boom"},
    {"CATREA", 26, "water skiing area"},
    {"CATREA", 27, "environmentally sensitive sea area"},
    {"CATREA", 28, "particularly sensitive sea area"},
    {"RESTRN", 16, "discharging prohibited"},
    {"RESTRN", 17, "discharging restricted"},
    {"RESTRN", 18, "industrial or mineral exploration/development prohibited"},
    {"RESTRN", 19, "industrial or mineral exploration/development restricted"},
    {"RESTRN", 20, "drilling prohibited"},
    {"RESTRN", 21, "drilling restricted"},
    {"RESTRN", 22, "removal of historical artifacts prohibited"},
    {"RESTRN", 23, "cargo transhipment (lightering) prohibited"},
    {"RESTRN", 24, "dragging prohibited"},
    {"RESTRN", 25, "stopping prohibited"},
    {"RESTRN", 26, "landing prohibited"},
    {"RESTRN", 27, "speed restricted"},
    {"STATUS", 28, "buoyed"},
    {"WATLEV", 7, "floating"},
};

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())) != 0) text.remove_prefix(1);
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0) text.remove_suffix(1);
    return text;
}

// The cells of a line: between commas, or between quotes in which a quote is written twice.
std::vector<std::string> cellsOf(std::string_view line) {
    std::vector<std::string> cells(1);
    bool isQuoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (c == '"' && isQuoted && i + 1 < line.size() && line[i + 1] == '"') {
            cells.back() += c;
            ++i;
        } else if (c == '"') {
            isQuoted = !isQuoted;
        } else if (c == ',' && !isQuoted) {
            cells.emplace_back();
        } else {
            cells.back() += c;
        }
    }
    for (std::string& cell : cells) cell = std::string(trimmed(cell));
    return cells;
}

// Calls `take` with the cells of each line behind the heading that has so many, or more.
void readTable(std::string_view text, std::size_t count,
               const std::function<void(const std::vector<std::string>&)>& take) {
    bool isHeading = true;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::vector<std::string> cells = cellsOf(inUtf8(text.substr(0, end)));
        if (!std::exchange(isHeading, false) && cells.size() >= count) take(cells);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

// Some lines of the tables stand for nothing and have "###" or "N/A" for an acronym.
bool isAcronym(std::string_view text) {
    return text.size() == acronymLength && std::ranges::all_of(text, [](char c) {
               return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '$';
           });
}

std::string inCapitals(std::string_view text) {
    std::string capitals(text);
    for (char& c : capitals)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return capitals;
}

template <class Map>
const typename Map::mapped_type* find(const Map& map, std::string_view acronym) {
    auto found = map.find(acronym);
    if (found == map.end()) found = map.find(inCapitals(acronym));
    return found == map.end() ? nullptr : &found->second;
}

}  // namespace

const std::string* S57Attribute::meaningOf(int ofCode) const {
    const auto found = meanings.find(ofCode);
    return found == meanings.end() ? nullptr : &found->second;
}

std::string S57Attribute::meaningOf(std::string_view value) const {
    std::string text;
    bool isKnown = false;
    while (!value.empty()) {
        const std::size_t end = std::min(value.find(','), value.size());
        const std::optional<int> piece = readCode(value.substr(0, end));
        const std::string* const meaning = piece ? meaningOf(*piece) : nullptr;
        isKnown = isKnown || meaning;
        if (!text.empty()) text += ", ";
        text += meaning ? *meaning : "no code of " + acronym;
        value.remove_prefix(std::min(end + 1, value.size()));
    }
    return isKnown ? text : std::string();
}

S57Catalogue::S57Catalogue(std::string_view classes, std::string_view attributes, std::string_view codes) {
    std::map<int, S57Attribute*> byCode;
    readTable(attributes, 4, [&](const std::vector<std::string>& cells) {
        const std::optional<int> code = readCode(cells[0]);
        if (!code || !isAcronym(cells[2]) || cells[3].empty()) return;
        const auto [added, isNew] =
            attributes_.try_emplace(cells[2], S57Attribute{*code, cells[2], cells[1], cells[3].front(), {}});
        if (isNew) byCode.try_emplace(*code, &added->second);
    });
    readTable(codes, 3, [&](const std::vector<std::string>& cells) {
        const std::optional<int> attribute = readCode(cells[0]);
        const std::optional<int> code = readCode(cells[1]);
        const auto found = attribute ? byCode.find(*attribute) : byCode.end();
        if (code && found != byCode.end()) found->second->meanings.try_emplace(*code, cells[2]);
    });
    for (const LaterCode& later : laterCodes)
        if (const auto found = attributes_.find(later.attribute); found != attributes_.end())
            found->second.meanings.try_emplace(later.code, later.meaning);
    readTable(classes, 6, [&](const std::vector<std::string>& cells) {
        const std::optional<int> code = readCode(cells[0]);
        if (!code || !isAcronym(cells[2])) return;
        S57Class& added = classes_.try_emplace(cells[2], S57Class{*code, cells[2], cells[1], {}}).first->second;
        for (std::size_t i = 3; i < 6; ++i)
            for (std::string_view set = cells[i]; !set.empty();) {
                const std::size_t end = std::min(set.find(';'), set.size());
                if (const std::string_view name = trimmed(set.substr(0, end)); !name.empty())
                    added.attributes.insert(std::string(name));
                set.remove_prefix(std::min(end + 1, set.size()));
            }
    });
}

const S57Class* S57Catalogue::findClass(std::string_view acronym) const {
    return find(classes_, acronym);
}

const S57Class* S57Catalogue::findClass(std::string_view name, std::string_view otherName) const {
    const S57Class* const found = findClass(name);
    return found ? found : findClass(otherName);
}

const S57Attribute* S57Catalogue::findAttribute(std::string_view acronym) const {
    return find(attributes_, acronym);
}

const S57Attribute* S57Catalogue::findField(const S57Class* ofClass, std::string_view field) const {
    const S57Attribute* const attribute = ofClass ? findAttribute(field) : nullptr;
    return attribute && ofClass->has(*attribute) ? attribute : nullptr;
}

bool looksLikeS57(std::string_view name) {
    return name.size() == acronymLength &&
           std::ranges::all_of(name, [](char c) { return (c >= 'A' && c <= 'Z') || c == '_'; });
}

std::optional<int> readCode(std::string_view text) {
    text = trimmed(text);
    int code = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), code);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return code;
}

}  // namespace cxml
