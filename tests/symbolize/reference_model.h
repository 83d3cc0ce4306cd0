// A second, plain reading of what conditions do, for comparing with the library: no variants, no caches, no cleverness.
//
// Texts are of capital letters, digits and asterisks only, so that their linguistic order is that of their characters.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace reference {

struct Null {
    bool operator==(const Null&) const = default;
};
/// A value of a row. The index of the alternative is its type.
using Value = std::variant<Null, int, double, std::string>;

/// A row: its values by field; a field that is not there is missing from the table.
struct Row {
    std::vector<std::pair<std::string, Value>> fields;
    const Value* find(const std::string& name) const;
};

struct Condition;

struct Rule {
    std::string field;
    std::string op;
    std::vector<std::string> operands;      // as the document writes them
    std::optional<std::string> fieldValue;  // then no operands
    std::vector<std::shared_ptr<Condition>> nested;
};

struct Condition {
    std::string name;
    std::optional<double> xoffset;
    std::optional<double> angle;
    std::vector<Rule> rules;
};

struct Decision {
    std::string name;                    // empty: no symbol
    const Condition* matched = nullptr;  // null: none
};

bool holds(const Rule& rule, const Row& row);
bool evaluate(const Condition& condition, const Row& row, Decision& decision);
bool likeMatches(const std::string& pattern, const std::string& text);

/// The element of a condition, and of all below it.
std::string toXml(const Condition& condition);

}  // namespace reference
