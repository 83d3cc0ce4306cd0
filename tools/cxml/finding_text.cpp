#include "finding_text.h"

#include "tools/text/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>
#include <array>
#include <cstdint>

namespace cxml {
namespace {

constexpr std::size_t widestLine = 120;  // characters of a line that are shown
constexpr std::size_t shownBefore = 40;  // of those, before what is marked in a longer line
constexpr std::size_t mostLines = 10;    // further places that are named

std::string at(const Place& place) {
    if (place.line == 0) return place.file;
    if (place.column == 0) return fmt::format("{}:{}", place.file, place.line);
    return fmt::format("{}:{}:{}", place.file, place.line, place.column);
}

std::string_view characters(std::string_view line, std::size_t from, std::size_t count) {
    const std::size_t begin = bytesBefore(line, static_cast<LONG>(from) + 1);
    return line.substr(begin, bytesBefore(line.substr(begin), static_cast<LONG>(count) + 1));
}

std::string withoutTabs(std::string_view text) {
    std::string plain(text);
    std::ranges::replace(plain, '\t', ' ');
    return plain;
}

void addSnippet(const Place& place, char mark, Sources& sources, std::vector<std::string>& lines) {
    if (place.line == 0) return;
    const std::string_view whole = sources.of(place.file).line(place.line);
    if (whole.find_first_not_of(" \t") == std::string_view::npos) return;
    const std::size_t column = place.column > 0 ? static_cast<std::size_t>(place.column) : 1;
    const bool isLong = countCharacters(whole) > widestLine;
    const std::size_t from = isLong && column > shownBefore ? column - shownBefore : 0;
    const std::string_view shown = characters(whole, from, widestLine);
    lines.push_back(fmt::format("{:>6} | {}", place.line, withoutTabs(shown)));
    if (place.column == 0) return;
    const std::size_t room = countCharacters(shown) + from + 1 - std::min(countCharacters(shown) + from, column);
    const std::size_t width = std::min(widthAt(whole, place.column), room);
    lines.push_back(fmt::format("       | {}{}", std::string(column - from - 1, ' '),
                                std::string(std::max<std::size_t>(width, 1), mark)));
}

std::string otherLines(const std::vector<Place>& places) {
    std::vector<LONG> numbers;
    for (const Place& place : places)
        if (numbers.size() < mostLines) numbers.push_back(place.line);
    const std::size_t more = places.size() - numbers.size();
    return fmt::format("{}{}", fmt::join(numbers, ", "), more > 0 ? fmt::format(" and {} more", more) : "");
}

bool isUnread(const Remark& remark) {
    return remark.kind == "unread-attribute" || remark.kind == "unread-element";
}

std::string count(std::int64_t number, const char* what) {
    return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

// As the log of a build service wants it.
std::string escaped(std::string_view text, bool isProperty) {
    std::string result;
    for (const char c : text)
        if (c == '%' || c == '\r' || c == '\n' || (isProperty && (c == ':' || c == ',')))
            result += fmt::format("%{:02X}", static_cast<unsigned char>(c));
        else
            result += c;
    return result;
}

}  // namespace

const SourceText& Sources::of(const std::string& file) {
    return read_.try_emplace(file, file).first->second;
}

std::vector<std::string> linesOf(const Finding& finding, Sources& sources) {
    std::vector<std::string> lines{fmt::format("{}: {}: {} [{}]", at(finding.place), nameOf(finding.severity),
                                               oneLine(finding.text), finding.kind)};
    addSnippet(finding.place, '^', sources, lines);
    if (finding.other) {
        lines.push_back(fmt::format("       {}: {}", at(finding.other->place), finding.other->text));
        addSnippet(finding.other->place, '-', sources, lines);
    }
    if (!finding.alsoAt.empty())
        lines.push_back(
            fmt::format("       also in line{} {}", finding.alsoAt.size() == 1 ? "" : "s", otherLines(finding.alsoAt)));
    for (const Remark& remark : finding.follows)
        if (!isUnread(remark))
            lines.push_back(fmt::format("       hence line {}: {}", remark.place.line, oneLine(remark.text)));
    if (const auto unread = std::ranges::count_if(finding.follows, isUnread); unread > 0)
        lines.push_back(fmt::format("       hence nothing reads {} more", count(unread, "name")));
    if (!finding.address.empty()) lines.push_back(fmt::format("       at {}", finding.address));
    if (!finding.help.empty()) lines.push_back(fmt::format("       help: {}", oneLine(finding.help)));
    return lines;
}

std::string summaryOf(const std::vector<Finding>& findings) {
    std::array<std::int64_t, 3> found{};
    std::int64_t ignored = 0;
    for (const Finding& finding : findings)
        if (finding.ignored)
            ++ignored;
        else
            ++found[static_cast<std::size_t>(finding.severity)];
    std::vector<std::string> parts;
    for (const Severity severity : {Severity::Error, Severity::Warning, Severity::Note})
        if (const std::int64_t number = found[static_cast<std::size_t>(severity)]; number > 0)
            parts.push_back(count(number, nameOf(severity)));
    std::string text = parts.empty() ? "nothing found" : fmt::format("{}", fmt::join(parts, ", "));
    if (ignored > 0) text += fmt::format("; {} ignored", ignored);
    return text;
}

std::string annotationOf(const Finding& finding) {
    const char* const command = finding.severity == Severity::Note ? "notice" : nameOf(finding.severity);
    std::string properties = "file=" + escaped(printable(finding.place.file), true);
    if (finding.place.line > 0) properties += fmt::format(",line={}", finding.place.line);
    if (finding.place.column > 0) properties += fmt::format(",col={}", finding.place.column);
    properties += ",title=" + escaped(finding.kind, true);
    std::string text = finding.text;
    if (finding.other) text += fmt::format(" (line {}: {})", finding.other->place.line, finding.other->text);
    if (!finding.help.empty()) text += "\nhelp: " + finding.help;
    return fmt::format("::{} {}::{}", command, properties, escaped(printable(text), false));
}

}  // namespace cxml
