// Lists of conditions, written by hand and made up.
#pragma once

#include "cxml/feature_class_rule.h"
#include "memhost/text.h"

#include <random>
#include <string>
#include <vector>

inline std::vector<ConditionalXml::Condition*> listOf(const ConditionalXml::FeatureClassRule& configuration) {
    std::vector<ConditionalXml::Condition*> list;
    for (const auto& condition : configuration.defaultConditions) list.push_back(condition.get());
    return list;
}

inline std::string rule(const std::string& type, const std::string& field, const std::string& op,
                        const std::vector<std::string>& values, const std::string& nested = "") {
    std::string text = "<rule type='" + type + "' field='" + field + "' operator='" + op + "'>";
    for (const std::string& value : values) text += "<value>" + value + "</value>";
    return text + nested + "</rule>";
}

inline std::string condition(const std::string& name, const std::string& content) {
    return "<condition" + (name.empty() ? "" : " rulename='" + name + "'") + ">" + content + "</condition>";
}

/// Random lists over N (numbers), T (texts), L (codes) and random rows.
class ListGenerator {
public:
    explicit ListGenerator(unsigned seed) : random_(seed) {}

    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
    template <class T>
    T pick(std::initializer_list<T> choices) {
        return choices.begin()[below(static_cast<unsigned>(choices.size()))];
    }

    std::string list() {
        std::string text;
        for (unsigned i = 2 + below(5); i > 0; --i) text += made(0);
        return text;
    }

    CComVariant number() {
        if (below(6) == 0) return null();
        CComVariant value(static_cast<double>(below(15)) / 2 - 0.5);
        value.ChangeType(numbers_);
        return value;
    }
    CComVariant text() {
        if (below(6) == 0) return null();
        return CComVariant(memhost::bstr(pick<std::string>({"", "A", "AB", "ABC", "AC", "B", "BAB", "x", "2", "A*"})));
    }
    CComVariant codes() {
        if (below(6) == 0) return null();
        std::string list;
        for (unsigned i = below(4); i > 0; --i) list += pick<std::string>({"1,", "2,", "3,", "4,", ",", "x,"});
        return CComVariant(memhost::bstr(list));
    }
    void chooseNumbers() { numbers_ = pick<VARTYPE>({VT_I2, VT_I4, VT_I8, VT_R4, VT_R8}); }

private:
    static CComVariant null() {
        CComVariant value;
        value.vt = VT_NULL;
        return value;
    }

    std::string made(unsigned depth) {
        std::string content;
        for (unsigned i = pick({0U, 1U, 1U, 1U, 2U, 3U}); i > 0; --i) {
            const std::string nested = depth < 2 && below(5) == 0 ? made(depth + 1) : "";
            content += madeRule(nested);
        }
        return condition(below(5) == 0 ? "" : "S" + std::to_string(++names_), content);
    }

    std::string madeRule(const std::string& nested) {
        std::vector<std::string> values;
        const auto fill = [&](unsigned count, std::initializer_list<std::string> choices) {
            for (; count > 0; --count) values.push_back(pick(choices));
        };
        switch (below(3)) {
            case 0: {
                const auto op = pick<std::string>({"equal", "notequal", "lt", "lte", "gt", "gte", "between"});
                fill(op == "between" ? 2 : 1 + below(2), {"0", "1", "2", "2.5", "3", "5", "NULL"});
                return rule("A", "N", op, values, nested);
            }
            case 1: {
                const auto op = pick<std::string>({"equal", "notequal", "like", "like", "notlike"});
                if (op.ends_with("like"))
                    fill(1 + below(2), {"A*", "AB*", "AB", "*", "", "*B", "A**", "B*"});
                else
                    fill(1 + below(2), {"A", "AB", "B", "NULL", "", "2"});
                return rule("A", "T", op, values, nested);
            }
            default: {
                const auto op = pick<std::string>(
                    {"equal", "notequal", "containsany", "containsnone", "containsall", "hasmultiple"});
                fill(1 + below(3), {"1", "2", "3", "NULL"});
                return rule("L", "L", op, values, nested);
            }
        }
    }

    std::mt19937 random_;
    unsigned names_ = 0;
    VARTYPE numbers_ = VT_I4;
};
