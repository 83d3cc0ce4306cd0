// Reading the text of triggers as far as it takes to see that they do nothing. What is not understood may do anything.
#include "host/geodatabase/sqlite/sqlite_triggers.h"

#include "host/geodatabase/base/text.h"
#include "host/geodatabase/sqlite/sqlite_statement.h"

#include <algorithm>
#include <string_view>

namespace embedded_host {

namespace {

bool isSpace(char c) noexcept {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool isNamePart(char c) noexcept {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || (c & 0x80) != 0;
}

char lowered(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// Names are compared as SQLite compares them: without regard to the case of ASCII letters.
std::string lowered(std::string_view text) {
    std::string result(text);
    std::ranges::transform(result, result.begin(), [](char c) { return lowered(c); });
    return result;
}

// The words of a statement one after the other: names and keywords in lower case, names in quotes with a quote before
// them, any other character by itself.
class Words {
public:
    explicit Words(std::string_view text) : rest_(text) { advance(); }

    const std::string& current() const noexcept { return word_; }
    void advance() {
        rest_.remove_prefix(static_cast<std::size_t>(std::ranges::find_if_not(rest_, isSpace) - rest_.begin()));
        word_.clear();
        if (rest_.empty()) return;
        if (rest_.front() == '"') return takeQuoted();
        const auto end = std::ranges::find_if_not(rest_, isNamePart);
        const auto length = std::max<std::size_t>(static_cast<std::size_t>(end - rest_.begin()), 1);
        word_ = lowered(rest_.substr(0, length));
        rest_.remove_prefix(length);
    }
    bool take(std::string_view word) {
        if (word_ != word) return false;
        advance();
        return true;
    }
    bool takeAll(std::initializer_list<std::string_view> words) {
        return std::ranges::all_of(words, [this](std::string_view word) { return take(word); });
    }
    // The name that comes next, without quotes; empty when none does.
    std::string takeName() {
        std::string name;
        if (!word_.empty() && word_.front() == '"')
            name = word_.substr(1);
        else if (!word_.empty() && isNamePart(word_.front()))
            name = word_;
        if (!name.empty()) advance();
        return name;
    }
    // Passes over a bracket and what it holds, which strings and comments are no part of.
    bool takeBracket() {
        if (word_ != "(") return false;
        int depth = 0;
        do {
            if (word_.empty() || word_ == "'" || word_ == "-" || word_ == "/" || word_ == "[" || word_ == "`")
                return false;
            if (word_ == "(") ++depth;
            if (word_ == ")") --depth;
            advance();
        } while (depth > 0);
        return true;
    }

private:
    void takeQuoted() {
        const std::size_t end = rest_.find('"', 1);
        // A quote within the name is nothing that GDAL writes: such a trigger is not understood.
        const bool whole = end != std::string_view::npos && (end + 1 == rest_.size() || rest_[end + 1] != '"');
        word_ = whole ? '"' + lowered(rest_.substr(1, end - 1)) : std::string("\"");
        rest_.remove_prefix(whole ? end + 1 : rest_.size());
    }

    std::string_view rest_;
    std::string word_;
};

bool hasColumn(const TableSchema& schema, const std::string& name) {
    return std::ranges::any_of(schema.columns, [&](const Column& column) { return lowered(column.name) == name; });
}

// WHEN OLD.key != NEW.key AND (...) BEGIN
bool asksForNewKey(Words& words, const std::string& key) {
    if (!words.takeAll({"when", "old", "."}) || words.takeName() != lowered(key)) return false;
    if (!words.takeAll({"!", "=", "new", "."}) || words.takeName() != lowered(key)) return false;
    return words.take("and") && words.takeBracket() && words.current() == "begin";
}

// CREATE TRIGGER name AFTER ...
bool isIdle(std::string_view sql, const std::string& key, const TableSchema& schema) {
    Words words(sql);
    if (!words.takeAll({"create", "trigger"}) || words.takeName().empty() || !words.take("after")) return false;
    if (words.current() == "insert" || words.current() == "delete") return true;
    if (!words.take("update")) return false;
    if (words.take("of")) {
        const std::string column = words.takeName();
        return !column.empty() && !hasColumn(schema, column) && words.current() == "on";
    }
    return words.take("on") && !words.takeName().empty() && asksForNewKey(words, key);
}

}  // namespace

bool triggersAreIdle(sqlite3* connection, const std::string& table, const std::string& key, const TableSchema& schema) {
    const std::string ofTable = " WHERE type = 'trigger' AND lower(tbl_name) = lower(" + quotedText(table) + ")";
    SqliteStatement triggers(connection, "SELECT sql FROM sqlite_master" + ofTable +
                                             " UNION ALL SELECT sql FROM sqlite_temp_master" + ofTable);
    Cell sql;
    while (triggers.step()) {
        triggers.read(0, CellPart::Text, sql);
        if (sql.state != Cell::State::Value || !isIdle(sql.text, key, schema)) return false;
    }
    return true;
}

}  // namespace embedded_host
