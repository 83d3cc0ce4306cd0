// Connection strings and names of tables on a PostgreSQL server.
#include "host/geodatabase/postgres/pg_names.h"

#include "host/geodatabase/base/status_error.h"
#include "host/geodatabase/base/text.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace embedded_host {

namespace {

constexpr std::size_t longestName = 63;  // the server would cut what is longer without a word

bool startsWithoutCase(std::string_view text, std::string_view start) noexcept {
    const auto same = [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
    };
    return text.size() >= start.size() && std::ranges::equal(text.substr(0, start.size()), start, same);
}

bool isBlank(char c) noexcept {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

// "keyword = value" pairs as libpq reads them: values may stand between single quotes, with backslashes before quotes.
class SettingReader {
public:
    explicit SettingReader(std::string_view text) : text_(text) {}

    bool next(std::string& keyword, std::string& value) {
        skipBlanks();
        if (at_ == text_.size()) return false;
        keyword.clear();
        while (at_ < text_.size() && text_[at_] != '=' && !isBlank(text_[at_])) keyword += text_[at_++];
        skipBlanks();
        if (at_ == text_.size() || text_[at_] != '=')
            throw HostError("PG: '" + keyword + "' has no value in the connection string");
        ++at_;
        skipBlanks();
        value = readValue();
        return true;
    }

private:
    void skipBlanks() {
        while (at_ < text_.size() && isBlank(text_[at_])) ++at_;
    }
    std::string readValue() {
        std::string value;
        const bool quoted = at_ < text_.size() && text_[at_] == '\'';
        if (quoted) ++at_;
        while (at_ < text_.size() && (quoted ? text_[at_] != '\'' : !isBlank(text_[at_]))) {
            if (text_[at_] == '\\' && at_ + 1 < text_.size()) ++at_;
            value += text_[at_++];
        }
        if (quoted && at_ == text_.size()) throw HostError("PG: a quote is not closed in the connection string");
        if (quoted) ++at_;
        return value;
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

std::string setting(const std::string& keyword, const std::string& value) {
    std::string text = keyword + "='";
    for (const char c : value) {
        if (c == '\'' || c == '\\') text += '\\';
        text += c;
    }
    return text + "' ";
}

std::vector<std::string> listOf(const std::string& text) {
    std::vector<std::string> items(1);
    for (const char c : text) {
        if (c == ',')
            items.emplace_back();
        else
            items.back() += c;
    }
    return items;
}

std::string part(const std::string& name) {
    if (name.size() > longestName)
        throw StatusError(E_INVALIDARG, "'" + name + "' is longer than the 63 bytes that a name may have");
    const bool plain = !name.empty() && name.find_first_of(".\"") == std::string::npos;
    return plain ? name : quotedName(name);
}

}  // namespace

bool isPostgresName(std::string_view dataset) noexcept {
    return startsWithoutCase(dataset, "PG:") || startsWithoutCase(dataset, "PGB:") ||
           startsWithoutCase(dataset, "postgresql://") || startsWithoutCase(dataset, "postgres://");
}

PgSettings parsePgSettings(std::string_view dataset) {
    PgSettings settings;
    if (startsWithoutCase(dataset, "postgres")) {
        settings.connection = dataset;
        return settings;
    }
    dataset.remove_prefix(dataset.find(':') + 1);
    SettingReader reader(dataset);
    std::string keyword;
    std::string value;
    while (reader.next(keyword, value)) {
        if (keyword == "schemas")
            settings.schemas = listOf(value);
        else if (keyword == "active_schema")
            settings.activeSchema = value;
        else
            settings.connection += setting(keyword, value);
    }
    return settings;
}

TableName parseTableName(std::string_view name) {
    std::vector<std::string> parts(1);
    bool quoted = false;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const char c = name[i];
        if (c == '"' && quoted && i + 1 < name.size() && name[i + 1] == '"')
            parts.back() += name[++i];
        else if (c == '"')
            quoted = !quoted;
        else if (c == '.' && !quoted)
            parts.emplace_back();
        else
            parts.back() += c;
    }
    const bool complete = std::ranges::none_of(parts, [](const std::string& text) { return text.empty(); });
    if (quoted || !complete || parts.size() > 3)
        throw StatusError(E_INVALIDARG, "'" + std::string(name) + "' is not the name of a table");
    TableName result;
    result.table = std::move(parts.back());
    if (parts.size() > 1) result.owner = std::move(parts[parts.size() - 2]);
    if (parts.size() > 2) result.database = std::move(parts.front());
    return result;
}

std::string qualifyTableName(const TableName& name) {
    if (name.table.empty()) throw StatusError(E_INVALIDARG, "a table without a name");
    std::string text;
    if (!name.database.empty()) text += part(name.database) + '.';
    if (!name.owner.empty()) text += part(name.owner) + '.';
    return text + part(name.table);
}

}  // namespace embedded_host
