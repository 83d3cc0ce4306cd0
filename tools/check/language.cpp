#include "language.h"

#include "tools/text/similar.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <utility>
#include <vector>

namespace cxml {
namespace {

using Words = std::vector<std::string>;

const std::vector<LanguageElement>& elements() {
    static const std::vector<LanguageElement> all{
        {{""}, "conditionMap", {"name", "alias"}, {"functionLibrary", "featureClass"}},
        {{"conditionMap"}, "functionLibrary", {}, {"expression", "expressionFile"}},
        {{"functionLibrary"}, "expression", {"name"}, {}, true},
        {{"functionLibrary"}, "expressionFile", {"name"}, {}, true},
        {{"conditionMap"}, "featureClass", {"name"}, {"subtype", "condition"}},
        {{"featureClass"}, "subtype", {"number"}, {"condition"}},
        {{"featureClass", "subtype", "rule"},
         "condition",
         {"rulename", "type", "field", "xoffset", "yoffset", "angle"},
         {"rule", "expression"}},
        {{"condition"}, "expression", {"library"}, {}, true},
        {{"condition"},
         "rule",
         {"type", "field", "operator", "fieldValue", "value", "table", "selectOption"},
         {"value", "query", "params", "fields", "condition"}},
        {{"rule"}, "value", {}, {}, true},
        {{"rule"}, "query", {}, {}, true},
        {{"rule"}, "params", {}, {"param"}},
        {{"params"}, "param", {"value"}, {}},
        {{"rule"}, "fields", {}, {"field"}},
        {{"fields"}, "field", {"name", "alias"}, {}},
    };
    return all;
}

struct Family {
    std::string type;
    const char* name;
    Words operators;
};

const std::vector<Family>& families() {
    static const std::vector<Family> all{
        {"A",
         "attribute",
         {"equal", "notequal", "lt", "lte", "gt", "gte", "between", "like", "notlike", "equals", "notequals"}},
        {"L",
         "list attribute",
         {"equal", "notequal", "containsany", "containsall", "containsnone", "hasmultiple", "equals", "notequals"}},
        {"Q", "query", {"exists", "fetch", "exist"}},
    };
    return all;
}

const Family* find(std::string_view type) {
    const auto found =
        std::ranges::find(families(), lowerAscii(type), [](const Family& family) { return lowerAscii(family.type); });
    return found == families().end() ? nullptr : &*found;
}

bool has(std::span<const std::string> words, std::string_view word) {
    return std::ranges::find(words, word) != words.end();
}

}  // namespace

std::span<const LanguageElement> languageElements() {
    return elements();
}

ElementWords wordsOf(std::string_view parent, std::string_view element) {
    for (const LanguageElement& known : elements())
        if (known.name == element && has(known.parents, parent)) return {known.attributes, known.children};
    return {};
}

std::string whereReadIn(std::string_view element) {
    Words parents;
    for (const LanguageElement& known : elements())
        if (known.name == element) parents.insert(parents.end(), known.parents.begin(), known.parents.end());
    std::string text;
    for (std::size_t i = 0; i < parents.size(); ++i) {
        if (parents[i].empty()) return "the document, as its root";
        text += (i == 0 ? "a " : i + 1 == parents.size() ? " or a " : ", a ") + parents[i];
    }
    return text;
}

std::span<const std::string> operatorsOf(std::string_view type) {
    const Family* const family = find(type);
    return family ? std::span<const std::string>(family->operators) : std::span<const std::string>();
}

const char* familyOf(std::string_view type) noexcept {
    const Family* const family = find(type);
    return family ? family->name : nullptr;
}

std::string familyWith(std::string_view keyword) {
    for (const Family& family : families())
        if (has(family.operators, lowerAscii(keyword))) return family.type;
    return {};
}

std::string meantOperator(std::string_view type, std::string_view written) {
    static const std::pair<std::string_view, std::string_view> signs[] = {
        {"=", "equal"},
        {"==", "equal"},
        {"eq", "equal"},
        {"is", "equal"},
        {"in", "equal"},
        {"!=", "notequal"},
        {"<>", "notequal"},
        {"ne", "notequal"},
        {"neq", "notequal"},
        {"not", "notequal"},
        {"<", "lt"},
        {"less", "lt"},
        {"lessthan", "lt"},
        {"<=", "lte"},
        {"le", "lte"},
        {"=<", "lte"},
        {">", "gt"},
        {"greater", "gt"},
        {"greaterthan", "gt"},
        {">=", "gte"},
        {"ge", "gte"},
        {"=>", "gte"},
        {"contains", "containsany"},
    };
    const std::span<const std::string> operators = operatorsOf(type);
    const std::string wanted = lowerAscii(written);
    for (const auto& [sign, name] : signs)
        if (sign == wanted && has(operators, name)) return std::string(name);
    return mostSimilar(wanted, operators);
}

}  // namespace cxml
