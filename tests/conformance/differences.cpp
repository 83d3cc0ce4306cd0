#include "conformance/hosts.h"

#include <algorithm>
#include <set>

namespace conformance {
namespace {

std::string shown(const Value& value) {
    return value ? '"' + *value + '"' : "NULL";
}

std::string shown(const LayerAnswer& answer) {
    std::string text = answer.failure.empty() ? "" : "failed: " + answer.failure + "; ";
    text += std::to_string(answer.rows) + " rows, " + std::to_string(answer.changed) + " changed";
    for (const auto& [message, count] : answer.messages) text += "; " + std::to_string(count) + " times " + message;
    return text;
}

// A host may lack a field that nobody has written.
Value valueAt(const Table& table, std::size_t row, const std::string& field) {
    const std::optional<std::size_t> column = table.find(field);
    return column ? table.rows.at(row).at(*column) : std::nullopt;
}

void compareRows(const std::string& where, const std::pair<std::string, const Table*>& one,
                 const std::pair<std::string, const Table*>& other, std::vector<std::string>& found) {
    if (one.second->rows.size() != other.second->rows.size()) {
        found.push_back(where + ": " + std::to_string(one.second->rows.size()) + " rows are left in " + one.first +
                        ", in " + other.first + ' ' + std::to_string(other.second->rows.size()));
        return;
    }
    std::set<std::string> fields;
    for (const Table* table : {one.second, other.second})
        for (const Field& field : table->fields) fields.insert(lower(field.name));
    for (const std::string& field : fields)
        for (std::size_t row = 0; row < one.second->rows.size(); ++row) {
            const Value mine = valueAt(*one.second, row, field);
            const Value theirs = valueAt(*other.second, row, field);
            if (mine != theirs)
                found.push_back(where + ", row " + std::to_string(row + 1) + ", " + field + ": " + shown(mine) +
                                " in " + one.first + ", " + shown(theirs) + " in " + other.first);
        }
}

}  // namespace

std::vector<std::string> differences(const Case& which, const std::string& oneHost, const std::vector<LayerAnswer>& one,
                                     const std::string& otherHost, const std::vector<LayerAnswer>& other) {
    std::vector<std::string> found;
    const std::string name = which.document.filename().string();
    if (one.size() != other.size())
        found.push_back(name + ": " + std::to_string(one.size()) + " runs in " + oneHost + ", in " + otherHost + ' ' +
                        std::to_string(other.size()));
    for (std::size_t i = 0; i < std::min(one.size(), other.size()); ++i) {
        const std::string where = name + ", " + one[i].title;
        if (shown(one[i]) != shown(other[i]))
            found.push_back(where + ": \"" + shown(one[i]) + "\" in " + oneHost + ", \"" + shown(other[i]) + "\" in " +
                            otherHost);
        compareRows(where, {oneHost, &one[i].after}, {otherHost, &other[i].after}, found);
    }
    if (found.size() > 10) found.resize(10);
    return found;
}

}  // namespace conformance
