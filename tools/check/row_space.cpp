#include "row_space.h"

#include "cxml/feature_class_rule.h"
#include "rules/attribute_rules.h"
#include "rules/list_attribute_rules.h"
#include "rules/query_rules.h"
#include "text/text.h"
#include "tools/text/text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <set>

namespace cxml {

using ConditionalXml::CXAttributeRuleBetween;
using ConditionalXml::CXAttributeRuleEqual;
using ConditionalXml::CXAttributeRuleLike;
using ConditionalXml::CXAttributeRuleNotEqual;
using ConditionalXml::FieldNames;
using ConditionalXml::ListAttributeRule;
using ConditionalXml::ListAttributeRuleContainsAll;
using ConditionalXml::ListAttributeRuleEqual;
using ConditionalXml::QueryRuleFetch;
using ConditionalXml::Rule;
using ConditionalXml::view;

namespace {

constexpr std::size_t mostLists = 20000;       // of codes that are looked at to tell lists apart
constexpr std::size_t mostQuestions = 100000;  // of an axis whose rules are all asked for all cells

const CComVariant null = [] {
    CComVariant value;
    value.vt = VT_NULL;
    return value;
}();

bool isEquality(const Rule& rule) {
    return dynamic_cast<const CXAttributeRuleEqual*>(&rule) || dynamic_cast<const CXAttributeRuleNotEqual*>(&rule);
}

std::optional<CComVariant> converted(const CComVariant& operand, VARTYPE type) {
    CComVariant value;
    if (operand.vt == VT_NULL || FAILED(ConditionalXml::checked(value.ChangeType(type, &operand)))) return std::nullopt;
    return value;
}

template <class Number>
CComVariant numberOf(VARTYPE type, Number number) {
    CComVariant value;
    value.vt = type;
    switch (type) {
        case VT_I2:
            value.iVal = static_cast<SHORT>(number);
            break;
        case VT_I4:
            value.lVal = static_cast<LONG>(number);
            break;
        case VT_I8:
            value.llVal = static_cast<LONGLONG>(number);
            break;
        case VT_R4:
            value.fltVal = static_cast<FLOAT>(number);
            break;
        case VT_DATE:
            value.date = static_cast<DATE>(number);
            break;
        default:
            value.dblVal = static_cast<DOUBLE>(number);
            break;
    }
    return value;
}

LONGLONG integerOf(const CComVariant& value) {
    return value.vt == VT_I2 ? value.iVal : value.vt == VT_I4 ? value.lVal : value.llVal;
}

double realOf(const CComVariant& value) {
    return value.vt == VT_R4 ? value.fltVal : value.vt == VT_DATE ? value.date : value.dblVal;
}

LONGLONG smallest(VARTYPE type) {
    return type == VT_I2   ? std::numeric_limits<SHORT>::min()
           : type == VT_I4 ? std::numeric_limits<LONG>::min()
                           : std::numeric_limits<LONGLONG>::min();
}

LONGLONG biggest(VARTYPE type) {
    return type == VT_I2   ? std::numeric_limits<SHORT>::max()
           : type == VT_I4 ? std::numeric_limits<LONG>::max()
                           : std::numeric_limits<LONGLONG>::max();
}

bool isInteger(VARTYPE type) {
    return type == VT_I2 || type == VT_I4 || type == VT_I8;
}

// Between two neighbours of an axis; null for its ends.
struct Gap {
    const CComVariant* below;
    const CComVariant* above;
};

// Whether there are values in it, and one of them where one is found.
struct Filled {
    bool exists;
    std::optional<CComVariant> value;
};

Filled fillInteger(VARTYPE type, const Gap& gap) {
    if (gap.below && integerOf(*gap.below) == biggest(type)) return {false, {}};
    if (gap.above && integerOf(*gap.above) == smallest(type)) return {false, {}};
    if (!gap.below && !gap.above) return {true, numberOf(type, 0)};
    const LONGLONG value = gap.below ? integerOf(*gap.below) + 1 : integerOf(*gap.above) - 1;
    if (gap.below && gap.above && value == integerOf(*gap.above)) return {false, {}};
    return {true, numberOf(type, value)};
}

template <class Number>
Filled fillReal(VARTYPE type, const Gap& gap) {
    if (!gap.below && !gap.above) return {true, numberOf(type, Number{0})};
    if (!gap.below || !gap.above) {
        const auto limit = static_cast<Number>(realOf(gap.below ? *gap.below : *gap.above));
        const Number shifted = gap.below ? limit + 1 : limit - 1;
        const Number end =
            gap.below ? std::numeric_limits<Number>::infinity() : -std::numeric_limits<Number>::infinity();
        if (limit == end) return {false, {}};
        return {true, numberOf(type, shifted != limit ? shifted : std::nextafter(limit, end))};
    }
    const auto low = static_cast<Number>(realOf(*gap.below));
    const auto high = static_cast<Number>(realOf(*gap.above));
    if (!(std::nextafter(low, high) < high)) return {false, {}};
    const Number middle = low / 2 + high / 2;
    return {true, numberOf(type, low < middle && middle < high ? middle : std::nextafter(low, high))};
}

// There is hardly a way to know that no text stands between two others.
Filled fillText(const Gap& gap) {
    if (!gap.below) {
        const CComVariant none(OLESTR(""));
        if (gap.above && ConditionalXml::compareVariants(none, *gap.above) != VARCMP_LT) return {false, {}};
        return {true, none};
    }
    for (const OLECHAR* const suffix : {OLESTR(" "), OLESTR("!"), OLESTR("0"), OLESTR("00"), OLESTR("a")}) {
        WideString text(view(gap.below->bstrVal));
        text += suffix;
        CComVariant value(ConditionalXml::makeBstr(text));
        if (ConditionalXml::compareVariants(*gap.below, value) == VARCMP_LT &&
            (!gap.above || ConditionalXml::compareVariants(value, *gap.above) == VARCMP_LT))
            return {true, value};
    }
    return {true, {}};
}

Filled fill(VARTYPE type, const Gap& gap) {
    if (type == VT_BSTR) return fillText(gap);
    if (isInteger(type)) return fillInteger(type, gap);
    return type == VT_R4 ? fillReal<FLOAT>(type, gap) : fillReal<DOUBLE>(type, gap);
}

// A pattern that asks for a whole text, or for the beginning of one.
struct SimplePattern {
    WideString text;
    bool isBeginning;
};

std::optional<SimplePattern> simplePattern(WideView pattern) {
    const std::size_t star = pattern.find(OLESTR('*'));
    if (star == WideView::npos) return SimplePattern{WideString(pattern), pattern.empty()};
    if (star + 1 != pattern.size()) return std::nullopt;
    return SimplePattern{WideString(pattern.substr(0, star)), true};
}

// What the asterisks stand for is nothing; of two, one asterisk.
WideString shortestMatch(WideView pattern) {
    WideString text;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != OLESTR('*'))
            text.push_back(pattern[i]);
        else if (i + 1 < pattern.size() && pattern[i + 1] == OLESTR('*'))
            text.push_back(pattern[i++]);
    }
    return text;
}

}  // namespace

RowSpace::RowSpace(const std::vector<Rule*>& rules) {
    if (rules.empty()) return;
    row_ = std::make_unique<ConditionalXml::RowValueMap>(rules.front()->featureClassRule->fieldNames);
    sort(rules);
    for (std::size_t i = 0; i < axes_.size(); ++i) cut(axes_[i], i);
}

RowSpace::~RowSpace() = default;

const RowSpace::Answer* RowSpace::answerOf(const Rule& rule) const {
    const auto known = answers_.find(&rule);
    return known == answers_.end() ? nullptr : &known->second;
}

const CComVariant* RowSpace::valueAt(std::size_t axis, Cell cell) const {
    const auto& value = axes_[axis].values[cell];
    return value ? &*value : nullptr;
}

void RowSpace::sort(const std::vector<Rule*>& rules) {
    std::set<FieldNames::Slot> fetched;
    for (const Rule* rule : rules)
        if (const auto* fetch = dynamic_cast<const QueryRuleFetch*>(rule))
            for (const auto& [field, alias] : fetch->fetchFields)
                if (const auto slot = row_->names().find(alias)) fetched.insert(*slot);
    std::map<std::tuple<FieldNames::Slot, Family, WideString>, std::size_t> known;
    for (Rule* rule : rules) {
        auto* const attribute = dynamic_cast<AttributeRule*>(rule);
        if (!attribute) continue;
        const bool isList = dynamic_cast<ListAttributeRule*>(rule) != nullptr;
        if (attribute->valueFieldName.Length() != 0 && !isList) continue;
        // What is fetched comes and goes with the rows.
        if (fetched.contains(attribute->fieldSlot()) || view(attribute->fieldName).find(OLESTR('.')) != WideView::npos)
            continue;
        const bool isPattern = dynamic_cast<CXAttributeRuleLike*>(rule) != nullptr;
        WideString pattern;
        if (isPattern) {
            const auto isSimple = [](const CComVariant& operand) {
                return operand.vt == VT_BSTR && simplePattern(view(operand.bstrVal));
            };
            if (!std::ranges::all_of(attribute->values, isSimple)) {
                if (attribute->values.size() != 1 || attribute->values.front().vt != VT_BSTR) continue;
                pattern = WideString(view(attribute->values.front().bstrVal));
            }
        }
        const Family family = isList ? Family::List : isPattern ? Family::Pattern : Family::Order;
        const auto [entry, isNew] = known.try_emplace({attribute->fieldSlot(), family, pattern}, axes_.size());
        if (isNew) axes_.push_back({attribute->fieldSlot(), attribute->fieldName, family, pattern});
        axes_[entry->second].rules.push_back(attribute);
    }
}

void RowSpace::cut(Axis& axis, std::size_t number) {
    // Rules convert their operands in place.
    std::vector<std::vector<CComVariant>> operands;
    operands.reserve(axis.rules.size());
    for (const AttributeRule* rule : axis.rules) operands.push_back(rule->values);
    if (axis.family == Family::Order)
        cutOrder(axis, number);
    else if (axis.family == Family::List)
        cutList(axis, number);
    else if (axis.pattern.empty())
        cutPattern(axis, number);
    else
        cutOnePattern(axis, number);
    for (std::size_t i = 0; i < axis.rules.size(); ++i) axis.rules[i]->values = std::move(operands[i]);
    // Of an axis that was too much there are none.
    if (axis.values.empty()) axis.values.emplace_back();
    axis.universe = CellSet(0, static_cast<Cell>(axis.values.size()));
}

bool RowSpace::ask(AttributeRule& rule, const VARIANT& value) {
    ++asked_;
    row_->clear();
    row_->append(rule.fieldSlot()) = value;
    return rule.evaluate(*row_, nullptr);
}

void RowSpace::cutOrder(Axis& axis, std::size_t number) {
    std::size_t ordered = 0;
    std::size_t numbers = 0;
    for (const AttributeRule* rule : axis.rules) {
        if (isEquality(*rule)) continue;
        for (const CComVariant& operand : rule->values) {
            if (operand.vt == VT_NULL) continue;
            ++ordered;
            if (converted(operand, VT_R8)) ++numbers;
        }
    }
    std::vector<VARTYPE> types{VT_I4, VT_R8, VT_I2, VT_I8, VT_R4, VT_BSTR, VT_DATE};
    if (ordered != 0 && numbers == ordered) {
        types = {VT_I4, VT_R8, VT_I2, VT_I8, VT_R4};
        axis.assumption = "numbers";
    } else if (ordered != 0 && numbers == 0) {
        types = {VT_BSTR, VT_DATE};
        axis.assumption = "texts or dates";
    }
    std::vector<Answer> answers(axis.rules.size(), Answer{number, {}, {}});
    for (const VARTYPE type : types) cutType(axis, type, answers);
    const auto cell = static_cast<Cell>(axis.values.size());
    axis.values.emplace_back(null);
    for (std::size_t i = 0; i < axis.rules.size(); ++i) {
        if (ask(*axis.rules[i], null)) {
            answers[i].may.append(cell, cell + 1);
            answers[i].must.append(cell, cell + 1);
        }
        answers_.emplace(axis.rules[i], std::move(answers[i]));
    }
}

// The cells of a type: below all operands, the first, between it and the second, and so on; and for reals what is no
// number. A rule answers the same for all values between two of its own operands, and is asked once for each such gap.
void RowSpace::cutType(Axis& axis, VARTYPE type, std::vector<Answer>& answers) {
    struct Operand {
        CComVariant value;
        std::size_t rule;
    };
    std::vector<Operand> operands;
    std::vector<bool> isComparable(axis.rules.size(), true);
    std::vector<std::vector<CComVariant>> written;
    for (std::size_t i = 0; i < axis.rules.size(); ++i) {
        written.push_back(axis.rules[i]->values);
        for (const CComVariant& operand : axis.rules[i]->values) {
            if (std::optional<CComVariant> value = converted(operand, type))
                operands.push_back({std::move(*value), i});
            else if (dynamic_cast<CXAttributeRuleBetween*>(axis.rules[i]))
                isComparable[i] = false;  // it compares what is of another type, too
        }
    }
    std::ranges::sort(operands, [](const Operand& a, const Operand& b) {
        return ConditionalXml::compareVariants(a.value, b.value) == VARCMP_LT;
    });
    const auto first = static_cast<Cell>(axis.values.size());
    std::vector<std::vector<Cell>> own(axis.rules.size());
    const auto addGap = [&](const Gap& gap) {
        Filled filled = fill(type, gap);
        if (filled.exists) axis.values.push_back(std::move(filled.value));
    };
    const CComVariant* below = nullptr;
    for (Operand& operand : operands) {
        if (!below || ConditionalXml::compareVariants(*below, operand.value) != VARCMP_EQ) {
            addGap({below, &operand.value});
            axis.values.emplace_back(operand.value);
            below = &operand.value;
        }
        std::vector<Cell>& cells = own[operand.rule];
        const auto cell = static_cast<Cell>(axis.values.size() - 1);
        if (cells.empty() || cells.back() != cell) cells.push_back(cell);
    }
    addGap({below, nullptr});
    const auto end = static_cast<Cell>(axis.values.size());
    const bool isReal = type == VT_R4 || type == VT_R8;
    if (isReal) axis.values.emplace_back(numberOf(type, std::numeric_limits<double>::quiet_NaN()));
    for (std::size_t i = 0; i < axis.rules.size(); ++i) {
        AttributeRule& rule = *axis.rules[i];
        Answer& answer = answers[i];
        const auto add = [&](Cell from, Cell to, Cell asked) {
            if (ask(rule, *axis.values[asked])) {
                answer.may.append(from, to);
                answer.must.append(from, to);
            }
        };
        const auto addBetween = [&](Cell from, Cell to) {
            for (Cell cell = from; cell < to; ++cell)
                if (axis.values[cell]) return add(from, to, cell);
            answer.may.append(from, to);
        };
        if (!isComparable[i]) {
            answer.may.append(first, end + (isReal ? 1 : 0));
            continue;
        }
        Cell next = first;
        for (const Cell cell : own[i]) {
            addBetween(next, cell);
            add(cell, cell + 1, cell);
            next = cell + 1;
        }
        addBetween(next, end);
        if (isReal) add(end, end + 1, end);
        rule.values = written[i];
    }
}

// By which of the beginnings a text has, and whether it is one of the whole texts, it is told apart from the others: a
// value that is no text is matched by its text, and is like one that is none of the whole texts where it can be none.
void RowSpace::cutPattern(Axis& axis, std::size_t number) {
    std::set<WideString> beginnings{WideString()};
    std::set<WideString> texts;
    for (const AttributeRule* rule : axis.rules)
        for (const CComVariant& operand : rule->values) {
            SimplePattern pattern = *simplePattern(view(operand.bstrVal));
            (pattern.isBeginning ? beginnings : texts).insert(std::move(pattern.text));
        }
    std::set<OLECHAR> used;
    for (const auto* const all : {&beginnings, &texts})
        for (const WideString& text : *all) used.insert(text.begin(), text.end());
    OLECHAR unused = OLESTR('x');
    while (used.contains(unused)) ++unused;
    std::set<WideString> cells(texts);
    for (const WideString& beginning : beginnings) cells.insert(beginning + unused);
    for (const WideString& text : cells) axis.values.emplace_back(CComVariant(ConditionalXml::makeBstr(text)));
    askAll(axis, number);
}

// Any other pattern matches or does not.
void RowSpace::cutOnePattern(Axis& axis, std::size_t number) {
    OLECHAR unused = OLESTR('x');
    while (axis.pattern.find(unused) != WideString::npos) ++unused;
    axis.values.emplace_back(CComVariant(ConditionalXml::makeBstr(WideString(1, unused))));
    axis.values.emplace_back(CComVariant(ConditionalXml::makeBstr(shortestMatch(axis.pattern))));
    const bool isToldApart = std::ranges::all_of(axis.rules, [&](AttributeRule* rule) {
        const bool other = ask(*rule, *axis.values[0]);
        return other != ask(*rule, *axis.values[1]);
    });
    if (isToldApart) askAll(axis, number);
}

// Rules ask which of their codes a list has, and how many it has. Codes that all rules name as often as each other are
// as good as each other: what counts is how many of such a group there are. Of lists that are longer than any rule
// counts, only which groups they have.
void RowSpace::cutList(Axis& axis, std::size_t number) {
    std::map<LONG, std::vector<std::size_t>> uses;  // by code, how often each rule names it
    std::size_t most = 1;                           // that a rule counts
    for (std::size_t i = 0; i < axis.rules.size(); ++i) {
        const AttributeRule& rule = *axis.rules[i];
        if (dynamic_cast<const ListAttributeRuleEqual*>(&rule) ||
            dynamic_cast<const ListAttributeRuleContainsAll*>(&rule))
            most = std::max(most, rule.values.size());
        for (const CComVariant& operand : rule.values)
            if (const std::optional<CComVariant> code = converted(operand, VT_I4)) {
                std::vector<std::size_t>& counts = uses[code->lVal];
                counts.resize(axis.rules.size());
                ++counts[i];
            }
    }
    std::map<std::vector<std::size_t>, std::vector<LONG>> groups;
    for (const auto& [code, counts] : uses) groups[counts].push_back(code);
    std::vector<std::vector<LONG>> all;
    all.reserve(groups.size() + 1);
    for (const auto& [counts, codes] : groups) all.push_back(codes);
    std::vector<LONG>& others = all.emplace_back();  // that no rule names
    for (LONG code = 1; others.size() < most + 1; ++code)
        if (!uses.contains(code)) others.push_back(code);
    std::size_t choices = 1;
    for (const std::vector<LONG>& codes : all) {
        choices *= std::min(codes.size(), most + 1) + 1;
        if (choices > mostLists) {
            leftOut_ += axis.rules.size();
            return;
        }
    }
    std::set<std::vector<bool>> longLists;
    for (std::size_t choice = 0; choice < choices; ++choice) {
        std::size_t rest = choice;
        std::size_t count = 0;
        std::string text;
        std::vector<bool> has;
        for (const std::vector<LONG>& codes : all) {
            const std::size_t base = std::min(codes.size(), most + 1) + 1;
            for (std::size_t i = 0; i < rest % base; ++i) text += (count++ == 0 ? "" : ",") + std::to_string(codes[i]);
            has.push_back(rest % base != 0);
            rest /= base;
        }
        if (count <= most || longLists.insert(has).second) axis.values.emplace_back(CComVariant(toBstr(text)));
    }
    askAll(axis, number);
}

void RowSpace::askAll(Axis& axis, std::size_t number) {
    if (axis.values.size() * axis.rules.size() > mostQuestions) {
        leftOut_ += axis.rules.size();
        return;
    }
    for (AttributeRule* rule : axis.rules) {
        Answer answer{number, {}, {}};
        for (Cell cell = 0; cell < axis.values.size(); ++cell)
            if (ask(*rule, *axis.values[cell])) answer.must.append(cell, cell + 1);
        answer.may = answer.must;
        answers_.emplace(rule, std::move(answer));
    }
}

}  // namespace cxml
