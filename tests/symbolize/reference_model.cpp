#include "symbolize/reference_model.h"

#include <cmath>
#include <cstdlib>
#include <sstream>

namespace reference {

const Value* Row::find(const std::string& name) const {
    for (const auto& [field, value] : fields)
        if (field == name) return &value;
    return nullptr;
}

namespace {

std::string textOf(double number) {
    std::ostringstream out;
    out << number;
    return out.str();
}

/// Turns a value into the type that `like` has, where that can be done.
Value convert(const Value& value, const Value& like) {
    if (value.index() == like.index() || std::holds_alternative<Null>(value) || std::holds_alternative<Null>(like))
        return value;
    if (std::holds_alternative<std::string>(like))
        return std::holds_alternative<int>(value) ? std::to_string(std::get<int>(value))
                                                  : textOf(std::get<double>(value));
    double number = 0;
    if (const auto* text = std::get_if<std::string>(&value)) {
        char* end = nullptr;
        number = std::strtod(text->c_str(), &end);
        if (text->empty() || *end != '\0') return value;
    } else {
        number = std::holds_alternative<int>(value) ? std::get<int>(value) : std::get<double>(value);
    }
    if (std::holds_alternative<int>(like)) return static_cast<int>(std::nearbyint(number));  // half to even
    return number;
}

/// -1, 0 or 1 for two values of one type that are not NULL; nothing otherwise.
std::optional<int> order(const Value& a, const Value& b) {
    if (a.index() != b.index() || std::holds_alternative<Null>(a)) return std::nullopt;
    if (const auto* text = std::get_if<std::string>(&a)) {
        const int sign = text->compare(std::get<std::string>(b));
        return sign < 0 ? -1 : sign > 0 ? 1 : 0;
    }
    const auto number = [](const Value& v) {
        return std::holds_alternative<int>(v) ? std::get<int>(v) : std::get<double>(v);
    };
    return number(a) < number(b) ? -1 : number(a) > number(b) ? 1 : 0;
}

bool isText(const Value* value) {
    return value && std::holds_alternative<std::string>(*value);
}

/// What a value is matched by: NULL and a field that is missing by the empty text.
std::string displayText(const Value* value) {
    if (!value || std::holds_alternative<Null>(*value)) return "";
    return std::get<std::string>(convert(*value, Value(std::string())));
}

bool like(const Value* field, const Value& operand) {
    return (isText(field) || isText(&operand)) && likeMatches(displayText(&operand), displayText(field));
}

/// \param field null for a field that is missing: it equals nothing and is ordered with nothing.
bool compare(const std::string& op, const Value* field, const Value& operand) {
    if (op == "like") return like(field, operand);
    if (op == "notlike") return !like(field, operand);
    if (!field) return false;
    const bool bothNull = std::holds_alternative<Null>(*field) && std::holds_alternative<Null>(operand);
    const std::optional<int> sign = order(*field, operand);
    if (op == "equal" || op == "notequal") return bothNull || sign == 0;
    if (op == "lt") return sign == -1;
    if (op == "lte") return bothNull || sign == -1 || sign == 0;
    if (op == "gt") return sign == 1;
    return bothNull || sign == 1 || sign == 0;  // gte
}

Value operandValue(const std::string& text) {
    if (text == "NULL") return Null{};
    return text;
}

bool holdsBetween(const Rule& rule, const Value* field) {
    if (!field || std::holds_alternative<Null>(*field) || rule.fieldValue || rule.operands.size() != 2) return false;
    const auto orderOfBound = [&](const std::string& text) -> std::optional<int> {
        const Value bound = convert(operandValue(text), *field);
        // A bound that is no number stays a text, and a number is below every text.
        if (std::holds_alternative<std::string>(bound) && !std::holds_alternative<std::string>(*field)) return -1;
        return order(*field, bound);
    };
    const auto lower = orderOfBound(rule.operands[0]);
    const auto upper = orderOfBound(rule.operands[1]);
    return lower && *lower >= 0 && upper && *upper <= 0;
}

}  // namespace

bool likeMatches(const std::string& pattern, const std::string& text) {
    struct Piece {
        std::string text;
        bool floating;  // a wildcard stands before it
    };
    std::vector<Piece> pieces;
    Piece piece{"", false};
    bool openEnd = pattern.empty();
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '*') {
            piece.text += pattern[i];
        } else if (i + 1 < pattern.size() && pattern[i + 1] == '*') {
            piece.text += '*';
            ++i;
        } else {
            if (!piece.text.empty()) pieces.push_back(piece);
            piece = {"", true};
            openEnd = i + 1 == pattern.size();
        }
    }
    if (!piece.text.empty()) pieces.push_back(piece);
    std::size_t at = 0;
    for (const Piece& next : pieces) {
        const std::size_t found = next.floating ? text.find(next.text, at) : at;
        if (found == std::string::npos || text.compare(found, next.text.size(), next.text) != 0) return false;
        at = found + next.text.size();
    }
    return openEnd || at == text.size();
}

bool holds(const Rule& rule, const Row& row) {
    const Value* field = row.find(rule.field);
    if (rule.op == "between") return holdsBetween(rule, field);
    const auto holdsFor = [&](const Value& operand) {
        return compare(rule.op, field, field ? convert(operand, *field) : operand);
    };
    bool any = false;
    if (rule.fieldValue) {
        const Value* other = row.find(*rule.fieldValue);
        any = other && holdsFor(*other);
    } else {
        for (const std::string& text : rule.operands) any = any || holdsFor(operandValue(text));
    }
    return rule.op == "notequal" ? !any : any;
}

bool evaluate(const Condition& condition, const Row& row, Decision& decision) {
    const Condition* candidate = &condition;
    for (const Rule& rule : condition.rules) {
        if (!holds(rule, row)) return false;
        for (const auto& nested : rule.nested) {
            Decision inner{decision.name, candidate};
            evaluate(*nested, row, inner);
            decision.name = inner.name;
            candidate = inner.matched;
        }
    }
    decision.matched = candidate;
    if (!condition.name.empty()) decision.name = condition.name;
    return true;
}

std::string toXml(const Condition& condition) {
    std::ostringstream out;
    out << "<condition";
    if (!condition.name.empty()) out << " rulename='" << condition.name << "'";
    if (condition.xoffset) out << " xoffset='" << *condition.xoffset << "'";
    if (condition.angle) out << " angle='" << *condition.angle << "'";
    out << ">";
    for (const Rule& rule : condition.rules) {
        out << "<rule type='A' field='" << rule.field << "' operator='" << rule.op << "'";
        if (rule.fieldValue) out << " fieldValue='" << *rule.fieldValue << "'";
        out << ">";
        for (const std::string& operand : rule.operands) out << "<value>" << operand << "</value>";
        for (const auto& nested : rule.nested) out << toXml(*nested);
        out << "</rule>";
    }
    out << "</condition>";
    return out.str();
}

}  // namespace reference
