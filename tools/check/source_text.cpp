#include "source_text.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace cxml {
namespace {

bool isContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

// Well enough for a text that is only shown: no zeros, and each sequence of the length that its first byte says.
bool isUtf8(std::string_view text) {
    std::size_t missing = 0;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (missing > 0) {
            if (!isContinuation(c)) return false;
            --missing;
        } else if (byte == 0 || (byte >= 0x80 && byte < 0xC2) || byte > 0xF4) {
            return false;
        } else {
            missing = byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : byte >= 0xC0 ? 1 : 0;
        }
    }
    return missing == 0;
}

constexpr std::string_view space = " \t\r\n";

}  // namespace

SourceText::SourceText(const std::string& path) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) return;
    std::ifstream file(path, std::ios::binary);
    text_.assign(std::istreambuf_iterator<char>(file), {});
    if (text_.starts_with("\xEF\xBB\xBF")) text_.erase(0, 3);
    // Other bytes would become replacement characters.
    if (!isUtf8(text_)) text_.clear();
    if (text_.empty()) return;
    begins_.push_back(0);
    for (std::size_t at = text_.find('\n'); at != std::string::npos; at = text_.find('\n', at + 1))
        begins_.push_back(at + 1);
}

std::string_view SourceText::line(LONG number) const noexcept {
    if (number < 1 || static_cast<std::size_t>(number) > begins_.size()) return {};
    const auto index = static_cast<std::size_t>(number) - 1;
    const std::size_t end = index + 1 < begins_.size() ? begins_[index + 1] : text_.size();
    std::string_view line = std::string_view(text_).substr(begins_[index], end - begins_[index]);
    while (line.ends_with('\n') || line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

std::size_t countCharacters(std::string_view text) {
    return static_cast<std::size_t>(std::ranges::count_if(text, [](char c) { return !isContinuation(c); }));
}

std::size_t bytesBefore(std::string_view line, LONG column) {
    std::size_t at = 0;
    for (LONG passed = 1; at < line.size(); ++at)
        if (!isContinuation(line[at]) && passed++ == column) break;
    return at;
}

std::size_t widthAt(std::string_view line, LONG column) {
    std::string_view rest = line.substr(bytesBefore(line, column));
    if (rest.starts_with('<')) return countCharacters(rest.substr(0, rest.find_first_of(" \t\r\n/>", 1)));
    const std::size_t nameEnd = rest.find_first_of(" \t=<>'\"()");
    const std::size_t equals = nameEnd == std::string_view::npos ? nameEnd : rest.find_first_not_of(space, nameEnd);
    if (equals != std::string_view::npos && rest[equals] == '=') {
        const std::size_t quote = rest.find_first_not_of(space, equals + 1);
        const bool isQuoted = quote != std::string_view::npos && (rest[quote] == '"' || rest[quote] == '\'');
        const std::size_t end = isQuoted ? rest.find(rest[quote], quote + 1) : std::string_view::npos;
        if (end != std::string_view::npos) return countCharacters(rest.substr(0, end + 1));
    }
    const std::size_t last = rest.find_last_not_of(space);
    return last == std::string_view::npos ? 1 : countCharacters(rest.substr(0, last + 1));
}

}  // namespace cxml
