#include "document_mutants.h"

#include "markup_tree.h"

#include <fmt/format.h>
#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <utility>

namespace cxml {
namespace {

using Edit = Mutant::Edit;

// Operators of which one holds where the other does not, but for NULL and the like.
constexpr std::array<std::pair<std::string_view, std::string_view>, 6> contraries{{{"equal", "notequal"},
                                                                                   {"equals", "notequals"},
                                                                                   {"lt", "gte"},
                                                                                   {"lte", "gt"},
                                                                                   {"like", "notlike"},
                                                                                   {"containsany", "containsnone"}}};

std::string lowered(std::string_view text) {
    std::string all(text);
    std::ranges::transform(all, all.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return all;
}

std::optional<std::string_view> contraryOf(std::string_view keyword) {
    for (const auto& [one, other] : contraries) {
        if (keyword == one) return other;
        if (keyword == other) return one;
    }
    return std::nullopt;
}

class Changes {
public:
    explicit Changes(std::string_view text) : text_(text) {}

    std::vector<Mutant> of(const MarkupElement& root) {
        for (const MarkupElement& element : root.children) {
            if (element.name != "featureClass") continue;
            className_ = valueOf(element, "name");
            list(element);
            for (const MarkupElement& inner : element.children)
                if (inner.name == "subtype") list(inner);
        }
        std::multimap<std::size_t, Mutant> byLine;  // those of a line in the order of their making
        for (Mutant& mutant : mutants_) byLine.emplace(mutant.line, std::move(mutant));
        std::vector<Mutant> ordered;
        ordered.reserve(byLine.size());
        for (auto& [line, mutant] : byLine) ordered.push_back(std::move(mutant));
        return ordered;
    }

private:
    std::string_view valueOf(const MarkupElement& element, std::string_view name) const {
        const MarkupAttribute* attribute = element.attribute(name);
        return attribute ? text_.substr(attribute->value, attribute->end - attribute->value) : std::string_view();
    }

    std::string_view source(const MarkupElement& element) const {
        return text_.substr(element.begin, element.end - element.begin);
    }

    void add(const MarkupElement& element, std::string change, std::vector<Edit> edits) {
        mutants_.push_back({element.line, std::move(change), std::string(className_), std::move(edits)});
    }

    // The conditions of a class, a subtype or a rule.
    void list(const MarkupElement& parent) {
        const MarkupElement* before = nullptr;
        for (const MarkupElement& condition : parent.children) {
            if (condition.name != "condition") continue;
            const std::string name(valueOf(condition, "rulename"));
            add(condition, fmt::format("condition {} removed", name), {{condition.begin, condition.end, ""}});
            if (before && !excludeEachOther(*before, condition) && source(*before) != source(condition))
                add(condition,
                    fmt::format("condition {} swapped with {} of line {}", name, valueOf(*before, "rulename"),
                                before->line),
                    {{before->begin, before->end, std::string(source(condition))},
                     {condition.begin, condition.end, std::string(source(*before))}});
            before = &condition;
            for (const MarkupElement& rule : condition.children)
                if (rule.name == "rule") this->rule(rule);
        }
    }

    void rule(const MarkupElement& rule) {
        contrary(rule);
        operands(rule);
        list(rule);
    }

    static std::vector<const MarkupElement*> valuesOf(const MarkupElement& rule) {
        std::vector<const MarkupElement*> values;
        if (rule.attribute("value") || rule.attribute("fieldValue")) return values;
        for (const MarkupElement& child : rule.children)
            if (child.name == "value") values.push_back(&child);
        return values;
    }

    std::string shown(const MarkupElement& rule) const {
        const std::string_view table = valueOf(rule, "table");
        return fmt::format("{} {}", table.empty() ? valueOf(rule, "field") : table, valueOf(rule, "operator"));
    }

    void contrary(const MarkupElement& rule) {
        const MarkupAttribute* keyword = rule.attribute("operator");
        const MarkupAttribute* type = rule.attribute("type");
        if (!keyword || !type) return;
        const bool isQuery = valueOf(rule, "type") == "Q";
        const auto other = isQuery ? std::nullopt : contraryOf(lowered(valueOf(rule, "operator")));
        if (other) {
            add(rule, fmt::format("{} turned into {}", shown(rule), *other),
                {{keyword->value, keyword->end, std::string(*other)}});
            return;
        }
        // An attribute rule without operands holds for nothing.
        std::vector<Edit> edits{{type->value, type->end, "A"}, {keyword->value, keyword->end, "equal"}};
        if (isQuery && !rule.attribute("field"))
            edits.push_back(
                {rule.begin + 1 + rule.name.size(), rule.begin + 1 + rule.name.size(), " field=\"SYMBOL_C\""});
        for (const std::string_view name : {"value", "fieldValue"})
            if (const MarkupAttribute* operand = rule.attribute(name); operand)
                edits.push_back({operand->begin, operand->end + 1, ""});
        for (const MarkupElement* value : valuesOf(rule)) edits.push_back({value->begin, value->end, ""});
        std::ranges::sort(edits, {}, &Edit::begin);
        add(rule, fmt::format("{} made never to hold", shown(rule)), std::move(edits));
    }

    void operands(const MarkupElement& rule) {
        const std::vector<const MarkupElement*> values = valuesOf(rule);
        // Of between, one operand alone is no rule.
        if (values.size() < 2 || lowered(valueOf(rule, "operator")) == "between") return;
        for (const MarkupElement* value : values) {
            const std::string_view content = text_.substr(value->tagEnd, value->end - value->tagEnd);
            add(*value, fmt::format("{}: operand {} dropped", shown(rule), content.substr(0, content.find("</"))),
                {{value->begin, value->end, ""}});
        }
    }

    struct Test {
        std::string_view field;
        std::vector<std::string_view> operands;  // whole numbers
    };

    // What a condition asks first, where that is whether a field is one of some numbers.
    std::optional<Test> firstTest(const MarkupElement& condition) const {
        const auto rule = std::ranges::find(condition.children, "rule", &MarkupElement::name);
        if (rule == condition.children.end() || valueOf(*rule, "type") != "A" || rule->attribute("fieldValue") ||
            !lowered(valueOf(*rule, "operator")).starts_with("equal"))
            return std::nullopt;
        Test test{valueOf(*rule, "field"), {}};
        if (rule->attribute("value")) test.operands.push_back(valueOf(*rule, "value"));
        for (const MarkupElement* value : valuesOf(*rule)) {
            const std::string_view content = text_.substr(value->tagEnd, value->end - value->tagEnd);
            test.operands.push_back(content.substr(0, content.find("</")));
        }
        const bool areNumbers = std::ranges::all_of(test.operands, [](std::string_view operand) {
            return !operand.empty() && operand.front() != '0' &&
                   operand.find_first_not_of("0123456789") == std::string_view::npos;
        });
        return areNumbers && !test.operands.empty() ? std::optional(std::move(test)) : std::nullopt;
    }

    bool excludeEachOther(const MarkupElement& a, const MarkupElement& b) const {
        const std::optional<Test> one = firstTest(a);
        const std::optional<Test> other = firstTest(b);
        if (!one || !other || one->field != other->field) return false;
        return std::ranges::none_of(one->operands, [&](std::string_view operand) {
            return std::ranges::find(other->operands, operand) != other->operands.end();
        });
    }

    std::string_view text_;
    std::string_view className_;
    std::vector<Mutant> mutants_;
};

}  // namespace

std::string Mutant::applied(std::string_view text) const {
    std::string all;
    std::size_t at = 0;
    for (const Edit& edit : edits) {
        all.append(text.substr(at, edit.begin - at)) += edit.text;
        at = edit.end;
    }
    return all.append(text.substr(at));
}

std::vector<Mutant> mutantsOf(std::string_view text) {
    const MarkupElement root = readMarkup(text);
    return Changes(text).of(root);
}

}  // namespace cxml
