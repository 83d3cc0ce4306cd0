// Random documents and rows that the plain second reading understands, too.
#pragma once

#include "memhost/table.h"
#include "symbolize/reference_model.h"

#include <map>
#include <random>
#include <string>
#include <vector>

namespace reference_runs {

using memhost::Cell;
using reference::Condition;
using reference::Null;
using reference::Row;
using reference::Rule;
using reference::Value;

/// Makes documents and rows from a seed.
class Generator {
public:
    explicit Generator(unsigned seed) : random_(seed) {}

    int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }
    template <class T>
    T pick(std::initializer_list<T> choices) {
        return choices.begin()[below(static_cast<int>(choices.size()))];
    }

    Condition condition(int depth) {
        Condition made;
        if (below(4) != 0) made.name = "S" + std::to_string(++names_);
        if (below(3) == 0) made.xoffset = pick({0.0, 1.0, 2.5});
        if (below(3) == 0) made.angle = pick({0.0, 45.0, -90.0});
        for (int i = pick({0, 1, 1, 1, 2, 3}); i > 0; --i) made.rules.push_back(rule(depth));
        return made;
    }

    Value value(char field) {
        if (below(5) == 0) return Null{};
        if (field == 'I') return below(6);
        if (field == 'D') return pick({0.0, 0.5, 1.0, 1.5, 2.5, 3.0});
        return pick<std::string>({"", "A", "AB", "ABC", "B", "BAB", "A*B", "2", "5"});
    }

    /// Rows without FAR, which conditions speak of all the same.
    Row row() {
        return {{{"SYMBOL_C", below(3) ? Value(Null{}) : Value("S" + std::to_string(1 + below(12)))},
                 {"Xoffset_C", pick<Value>({Null{}, 0.0, 1.0, 2.5})},
                 {"Rotate_C", pick<Value>({Null{}, 45.0, -90.0})},
                 {"I", value('I')},
                 {"D", value('D')},
                 {"T", value('T')},
                 {"KIND", pick<Value>({Null{}, 1, 2, 3})}}};
    }

private:
    Rule rule(int depth) {
        Rule made;
        made.field = pick<std::string>({"I", "I", "D", "D", "T", "T", "T", "FAR"});
        made.op = pick<std::string>(
            {"equal", "equal", "notequal", "lt", "lte", "gt", "gte", "between", "between", "like", "like", "notlike"});
        if (made.op == "between" && made.field == "FAR") made.field = "T";  // what that gives is the platform's
        if (below(6) == 0)
            made.fieldValue = pick<std::string>({"I", "D", "T", "FAR"});
        else
            for (int i = made.op == "between" ? pick({2, 2, 2, 1}) : pick({0, 1, 1, 2, 3}); i > 0; --i)
                made.operands.push_back(operand(made.field, made.op));
        if (depth < 2)
            for (int i = pick({0, 0, 0, 1, 2}); i > 0; --i)
                made.nested.push_back(std::make_shared<Condition>(condition(depth + 1)));
        return made;
    }

    std::string operand(const std::string& field, const std::string& op) {
        if (op == "like" || op == "notlike")
            return pick<std::string>(
                {"A*", "*B", "*", "", "A**B", "*A*", "B*B", "***", "AB", "*AB", "2", "5*", "NULL"});
        if (below(8) == 0) return pick<std::string>({"NULL", "X", ""});
        if (field == "I") return std::to_string(below(6));
        if (field == "D") return pick<std::string>({"0", "0.5", "1", "1.5", "2.5"});
        return pick<std::string>({"", "A", "AB", "ABC", "B", "2", "5"});
    }

    std::mt19937 random_;
    int names_ = 0;
};

inline Cell cellOf(const Value& value) {
    if (const auto* number = std::get_if<int>(&value)) return *number;
    if (const auto* number = std::get_if<double>(&value)) return *number;
    if (const auto* text = std::get_if<std::string>(&value)) return *text;
    return nullptr;
}

/// One class with default conditions and two subtypes, as text and as the model has it.
struct Document {
    std::vector<Condition> defaults;
    std::map<int, std::vector<Condition>> subtypes;
    std::string xml;
};

inline Document makeDocument(Generator& generator) {
    Document document;
    const auto conditions = [&] {
        std::vector<Condition> made;
        for (int i = 1 + generator.below(5); i > 0; --i) made.push_back(generator.condition(0));
        return made;
    };
    const auto append = [&](const std::vector<Condition>& made) {
        for (const Condition& condition : made) document.xml += toXml(condition);
    };
    document.xml = "<conditionMap name='random'><featureClass name='Rnd'>";
    document.defaults = conditions();
    append(document.defaults);
    for (const int code : {1, 2}) {
        if (generator.below(3) == 0) continue;
        document.subtypes[code] = conditions();
        document.xml += "<subtype number='" + std::to_string(code) + "'>";
        append(document.subtypes[code]);
        document.xml += "</subtype>";
    }
    document.xml += "</featureClass></conditionMap>";
    return document;
}

/// The conditions that count for a row.
inline const std::vector<Condition>& listFor(const Document& document, const Row& row) {
    if (const auto* code = std::get_if<int>(row.find("KIND")))
        if (const auto found = document.subtypes.find(*code); found != document.subtypes.end()) return found->second;
    return document.defaults;
}

/// A table of rows that a generator has made.
inline memhost::Table tableFor(const std::vector<Row>& rows) {
    memhost::Table builder("Rnd");
    builder.field("SYMBOL_C", VT_BSTR).field("Xoffset_C", VT_R8).field("Rotate_C", VT_R8).field("I", VT_I4);
    builder.field("D", VT_R8).field("T", VT_BSTR).field("KIND", VT_I4).subtypes("KIND");
    for (const Row& row : rows) {
        std::vector<Cell> cells;
        for (const auto& [field, value] : row.fields) cells.push_back(cellOf(value));
        builder.row(cells);
    }
    return builder;
}

}  // namespace reference_runs
