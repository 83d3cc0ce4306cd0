#include "made_up_rows.h"

#include "rules/query_rules.h"
#include "rules/rule.h"
#include "tools/reports/configurations.h"
#include "tools/text/text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <optional>
#include <random>
#include <set>

namespace cxml {
namespace {

using ConditionalXml::ConditionMap;
using ConditionalXml::CXAttributeRule;
using ConditionalXml::FeatureClassRule;
using ConditionalXml::Rule;
using embedded_host::ColumnType;
using embedded_host::MemoryDataset;
using Value = MemoryDataset::Value;

std::optional<double> numberIn(const std::string& text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && std::isfinite(number) ? std::optional(number)
                                                                                             : std::nullopt;
}

/// What rules say of a field.
struct FieldWords {
    std::string name;
    std::set<std::string> words;  // operands, and what patterns stand for
    std::set<double> numbers;     // those of the operands that are such
    bool isText = false;

    void add(const std::string& word) {
        words.insert(word);
        if (const auto number = numberIn(word))
            numbers.insert(*number);
        else
            isText = true;
    }

    ColumnType type() const {
        if (isText || numbers.empty()) return ColumnType::Text;
        const bool isWhole = std::ranges::all_of(
            numbers, [](double number) { return number == std::floor(number) && std::abs(number) < 1e9; });
        return isWhole ? ColumnType::Integer : ColumnType::Real;
    }

    void addNumber(std::vector<Value>& all, double number) const {
        if (type() == ColumnType::Integer)
            all.emplace_back(static_cast<std::int64_t>(number));
        else
            all.emplace_back(number);
    }

    std::vector<Value> values() const {
        std::vector<Value> all{std::monostate()};
        if (type() == ColumnType::Text) {
            all.insert(all.end(), words.begin(), words.end());
            all.emplace_back(std::string("something else"));
            return all;
        }
        std::set<double> near;
        for (const double number : numbers) near.insert({number - 1, number, number + 1});
        for (auto at = numbers.begin(); at != numbers.end() && std::next(at) != numbers.end(); ++at)
            if (type() == ColumnType::Real) near.insert((*at + *std::next(at)) / 2);
        for (const double number : near) addNumber(all, number);
        return all;
    }
};

/// A class in both documents.
class ClassWords {
public:
    explicit ClassWords(std::string name) { made_.table.name = std::move(name); }

    void add(const FeatureClassRule& rule) {
        list(rule.defaultConditions);
        for (const auto& [code, conditions] : rule.subtypeConditions) {
            codes_.insert(code);
            list(conditions);
        }
        for (const CComBSTR& field : rule.referencedFields) fieldOf(toUtf8(field));
        for (const std::string& field : resultFields(rule)) outputs_.insert(field);
    }

    MadeUpRows make() {
        addFields();
        std::size_t combinations = 1;
        for (const std::vector<Value>& values : values_) {
            combinations *= values.size();
            if (combinations > mostMadeUpRows) break;
        }
        made_.isComplete = combinations <= mostMadeUpRows;
        if (made_.isComplete)
            enumerate(combinations);
        else
            choose();
        for (std::vector<Value>& row : made_.table.rows) row.resize(made_.table.fields.size());
        return std::move(made_);
    }

private:
    FieldWords& fieldOf(const std::string& name) {
        const auto known =
            std::ranges::find_if(fields_, [&](const FieldWords& field) { return isSameName(field.name, name); });
        if (known != fields_.end()) return *known;
        return fields_.emplace_back(FieldWords{name, {}, {}, false});
    }

    void list(const FeatureClassRule::ConditionList& conditions) {
        for (const auto& condition : conditions) {
            if (condition->callsExpression()) made_.hasExpressions = true;
            std::vector<std::pair<std::string, std::string>>& wanted = wanted_.emplace_back();
            for (const auto& rule : condition->rules) {
                add(*rule, wanted);
                list(rule->nestedConditions);
            }
        }
    }

    void add(const Rule& rule, std::vector<std::pair<std::string, std::string>>& wanted) {
        if (rule.ruleType == 'Q') made_.hasQueries = true;
        const auto* const compared = dynamic_cast<const CXAttributeRule*>(&rule);
        if (!compared || compared->fieldName.Length() == 0) return;
        const std::string name = toUtf8(compared->fieldName);
        if (name.find('.') != std::string::npos) return;  // only a query fetches it
        FieldWords& field = fieldOf(name);
        if (rule.ruleType == 'L') field.isText = true;
        std::string codes;
        for (const CComVariant& operand : compared->values) {
            if (operand.vt != VT_BSTR) continue;
            std::string word = toUtf8(CComBSTR(operand.bstrVal));
            if (word.find('*') != std::string::npos) {
                std::string longer = word;
                std::erase(word, '*');
                std::ranges::replace(longer, '*', 'x');
                field.add(longer);
            }
            field.add(word);
            codes += (codes.empty() ? "" : ",") + word;
            wanted.emplace_back(name, word);
        }
        if (rule.ruleType == 'L' && compared->values.size() > 1) field.add(codes);
    }

    void addFields() {
        const auto isOutput = [&](const std::string& name) {
            return isTargetField(name) ||
                   std::ranges::any_of(outputs_, [&](const auto& other) { return isSameName(other, name); });
        };
        for (const FieldWords& field : fields_) {
            if (isOutput(field.name) || field.name.empty()) continue;
            made_.table.fields.push_back({field.name, field.type()});
            values_.push_back(field.values());
        }
        if (!codes_.empty()) {
            made_.subtypeField = "SUBTYPE";
            while (std::ranges::any_of(made_.table.fields,
                                       [&](const auto& field) { return isSameName(field.name, made_.subtypeField); }))
                made_.subtypeField += '_';
            made_.table.fields.push_back({made_.subtypeField, ColumnType::Integer});
            std::vector<Value>& codes = values_.emplace_back();
            codes.emplace_back(std::monostate());
            for (const LONG code : codes_) codes.emplace_back(std::int64_t{code});
            codes.emplace_back(std::int64_t{*codes_.rbegin()} + 1);
        }
        made_.given = made_.table.fields.size();
        for (const std::string& field : outputs_)
            if (!isTargetField(field)) made_.table.fields.push_back({field, ColumnType::Text});
        for (const std::string_view field : targetFields)
            made_.table.fields.push_back(
                {std::string(field), field == targetFields.front() ? ColumnType::Text : ColumnType::Real});
    }

    void enumerate(std::size_t combinations) {
        for (std::size_t i = 0; i < combinations; ++i) {
            std::vector<Value>& row = made_.table.rows.emplace_back();
            std::size_t rest = i;
            for (const std::vector<Value>& values : values_) {
                row.push_back(values[rest % values.size()]);
                rest /= values.size();
            }
        }
    }

    // What one condition asks for, and the other fields by chance.
    void choose() {
        std::minstd_rand chance(1);  // always the same rows
        const auto below = [&](std::size_t count) { return static_cast<std::size_t>(chance()) % count; };
        for (std::size_t i = 0; i < mostMadeUpRows; ++i) {
            std::vector<Value>& row = made_.table.rows.emplace_back();
            for (const std::vector<Value>& values : values_)
                row.push_back(below(2) == 0 ? values.front() : values[below(values.size())]);
            for (const auto& [name, word] : wanted_[i % wanted_.size()]) {
                for (std::size_t field = 0; field < made_.given; ++field)
                    if (isSameName(made_.table.fields[field].name, name)) row[field] = valueOf(field, word);
            }
        }
    }

    Value valueOf(std::size_t field, const std::string& word) const {
        const ColumnType type = made_.table.fields[field].type;
        if (type == ColumnType::Text) return word;
        const double number = numberIn(word).value_or(0);
        if (type == ColumnType::Integer) return static_cast<std::int64_t>(number);
        return number;
    }

    MadeUpRows made_;
    std::vector<FieldWords> fields_;
    std::set<std::string> outputs_;
    std::set<LONG> codes_;
    std::vector<std::vector<std::pair<std::string, std::string>>> wanted_;  // by condition: fields and operands
    std::vector<std::vector<Value>> values_;                                // by field
};

}  // namespace

std::vector<MadeUpRows> makeUpRows(const ConditionMap& first, const ConditionMap& second) {
    std::map<std::string, ClassWords> classes;
    for (const ConditionMap* map : {&first, &second})
        for (const auto& [upperName, rule] : map->featureClassRules)
            classes.try_emplace(toUtf8(upperName), toUtf8(upperName)).first->second.add(*rule);
    std::vector<MadeUpRows> all;
    all.reserve(classes.size());
    for (auto& [name, words] : classes) all.push_back(words.make());
    return all;
}

}  // namespace cxml
