#include "platform/portable/registry.h"

#include "platform/portable/nls.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace {

struct Value {
    DWORD type;
    std::string bytes;  // as a reader receives them
};

using Values = std::map<std::u16string, Value>;  // by upper-case name

std::string& registryFile() {
    static std::string path;
    return path;
}

std::string currentFile() {
    if (!registryFile().empty()) return registryFile();
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing here writes the environment
    const char* configured = std::getenv("SYMBOLOGY_REGISTRY");
    return configured && *configured ? configured : "/etc/symbology/registry.reg";
}

std::u16string widen(std::string_view utf8) {
    const int bytes = static_cast<int>(utf8.size());
    const int units = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, nullptr, 0);
    std::u16string text(static_cast<std::size_t>(units), u'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), bytes, text.data(), units);
    return text;
}

std::u16string upper(std::u16string text) {
    CharUpperBuffW(text.data(), static_cast<DWORD>(text.size()));
    return text;
}

std::string_view trim(std::string_view line) {
    constexpr std::string_view blanks = " \t\r";
    const std::size_t first = line.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return line.substr(first, line.find_last_not_of(blanks) - first + 1);
}

/// Takes a quoted text from the front of `rest`; nothing when there is none.
std::optional<std::string> takeQuoted(std::string_view& rest) {
    if (!rest.starts_with('"')) return std::nullopt;
    std::string text;
    for (std::size_t i = 1; i < rest.size(); ++i) {
        if (rest[i] == '"') {
            rest.remove_prefix(i + 1);
            return text;
        }
        if (rest[i] == '\\' && i + 1 < rest.size()) ++i;
        text.push_back(rest[i]);
    }
    return std::nullopt;
}

std::optional<Value> parseValue(std::string_view text) {
    if (const auto quoted = takeQuoted(text)) {
        const std::u16string wide = widen(*quoted);
        return Value{REG_SZ, std::string(reinterpret_cast<const char*>(wide.c_str()), (wide.size() + 1) * 2)};
    }
    constexpr std::string_view dwordMark = "dword:";
    if (!text.starts_with(dwordMark)) return std::nullopt;
    DWORD number = 0;
    const char* const begin = text.data() + dwordMark.size();
    const char* const end = text.data() + text.size();
    if (std::from_chars(begin, end, number, 16).ptr != end) return std::nullopt;
    return Value{REG_DWORD, std::string(reinterpret_cast<const char*>(&number), sizeof number)};
}

/// Like getline, but for what cannot be read, a directory for instance: it has no lines.
bool readLine(std::ifstream& lines, std::string& line) {
    try {
        return static_cast<bool>(std::getline(lines, line));
    } catch (const std::ios::failure&) {
        return false;
    }
}

/// The values of a key; nothing when the file has neither such a key nor one below it. Lines that are no values are
/// passed over.
std::optional<Values> readKey(const std::string& file, const std::u16string& wantedKey) {
    std::ifstream lines(file);
    std::optional<Values> values;
    bool inside = false;
    std::string raw;
    // A stream keeps to itself that memory ran out, unless it is asked in advance.
    lines.exceptions(std::ios::badbit);
    while (readLine(lines, raw)) {
        std::string_view line = trim(raw);
        if (line.starts_with('[') && line.ends_with(']')) {
            const std::u16string key = upper(widen(line.substr(1, line.size() - 2)));
            inside = key == wantedKey;
            if (!values && (inside || key.starts_with(wantedKey + u'\\'))) values.emplace();
            continue;
        }
        if (!inside) continue;
        const auto name = takeQuoted(line);
        line = trim(line);
        if (!name || !line.starts_with('=')) continue;
        if (auto value = parseValue(trim(line.substr(1)))) values->insert_or_assign(upper(widen(*name)), *value);
    }
    return values;
}

}  // namespace

struct PlatformRegistryKey {
    Values values;
};

LSTATUS RegOpenKeyExW(HKEY root, LPCWSTR path, DWORD /*options*/, REGSAM /*access*/, PHKEY key) {
    if (!path || !key) return ERROR_INVALID_PARAMETER;
    *key = nullptr;
    if (root != HKEY_LOCAL_MACHINE) return ERROR_INVALID_HANDLE;
    std::u16string_view name = path;
    if (name.ends_with(u'\\')) name.remove_suffix(1);
    auto values = readKey(currentFile(), upper(u"HKEY_LOCAL_MACHINE\\" + std::u16string(name)));
    if (!values) return ERROR_FILE_NOT_FOUND;
    *key = new PlatformRegistryKey{std::move(*values)};
    return ERROR_SUCCESS;
}

// NOLINTNEXTLINE(readability-non-const-parameter): the platform's own signature
LSTATUS RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* bytes) {
    if (!key) return ERROR_INVALID_HANDLE;
    if (reserved || (data && !bytes)) return ERROR_INVALID_PARAMETER;
    const auto entry = key->values.find(upper(name ? name : u""));
    if (entry == key->values.end()) return ERROR_FILE_NOT_FOUND;
    const Value& value = entry->second;
    if (type) *type = value.type;
    const DWORD capacity = bytes ? *bytes : 0;
    if (bytes) *bytes = static_cast<DWORD>(value.bytes.size());
    if (!data) return ERROR_SUCCESS;
    if (capacity < value.bytes.size()) return ERROR_MORE_DATA;
    // NOLINTNEXTLINE(bugprone-not-null-terminated-result): a text's terminator is among its bytes
    std::memcpy(data, value.bytes.data(), value.bytes.size());
    return ERROR_SUCCESS;
}

LSTATUS RegCloseKey(HKEY key) {
    if (!key) return ERROR_INVALID_HANDLE;
    delete key;
    return ERROR_SUCCESS;
}

void PlatformSetRegistryFile(const char* path) {
    registryFile() = path ? path : "";
}
