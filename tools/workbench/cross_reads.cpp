#include "cross_reads.h"

#include "rules/query_rules.h"
#include "tools/places/places.h"
#include "tools/text/text.h"

#include <algorithm>
#include <optional>
#include <set>

namespace cxml {

using ConditionalXml::Condition;
using ConditionalXml::QueryRule;
using ConditionalXml::QueryRuleFetch;

namespace {

bool isWordByte(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x80 || c == '_' || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z');
}

void addWords(const std::string& text, std::set<std::string>& words) {
    const std::string lower = lowerAscii(text);
    for (std::size_t at = 0; at < lower.size();) {
        std::size_t end = at;
        while (end < lower.size() && isWordByte(lower[end])) ++end;
        if (end > at) words.insert(lower.substr(at, end - at));
        at = std::max(end, at + 1);
    }
}

// What stands in the rule's clause and in the list of what it fetches.
std::set<std::string> wordsOf(const QueryRule& query) {
    std::set<std::string> words;
    addWords(toUtf8(query.queryText), words);
    if (const auto* fetch = dynamic_cast<const QueryRuleFetch*>(&query))
        for (const auto& [field, alias] : fetch->fetchFields) addWords(toUtf8(field), words);
    return words;
}

// "owner"."table" is asked as the table.
std::string lastPart(const std::string& table) {
    std::string name = lowerAscii(table.substr(table.rfind('.') + 1));
    std::erase(name, '"');
    return name;
}

// The first field that the query may read of what is written.
std::optional<std::string> readField(const QueryRule& query, const std::vector<WrittenLayer>& layers) {
    const std::set<std::string> words = wordsOf(query);
    const std::string asked = lastPart(toUtf8(query.tableName));
    const bool runs =
        std::ranges::any_of(layers, [&](const WrittenLayer& layer) { return lastPart(layer.table) == asked; });
    const bool asksMore = !runs || words.contains("select");
    for (const WrittenLayer& layer : layers) {
        if (!asksMore && lastPart(layer.table) != asked) continue;
        for (const std::string& field : layer.fields)
            if (words.contains(lowerAscii(field))) return field;
    }
    return std::nullopt;
}

}  // namespace

std::vector<CrossRead> crossReads(const std::vector<WrittenLayer>& layers, const DocumentPlaces& places) {
    std::vector<CrossRead> found;
    for (const WrittenLayer& layer : layers) {
        for (const Condition* condition : places.conditionsOf(*layer.configuration))
            for (const auto& rule : condition->rules)
                if (const auto* query = dynamic_cast<const QueryRule*>(rule.get()))
                    if (const std::optional<std::string> field = readField(*query, layers))
                        found.push_back({places.lineOf(*rule), toUtf8(query->tableName), *field});
    }
    return found;
}

}  // namespace cxml
