#include "check_rows.h"

#include "rules/attribute_rules.h"
#include "rules/list_attribute_rules.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>
#include <limits>

namespace cxml {
namespace {

using ConditionalXml::CXAttributeRule;
using ConditionalXml::CXAttributeRuleEqual;
using ConditionalXml::ListAttributeRuleContainsAny;
using ConditionalXml::ListAttributeRuleEqual;
using embedded_host::Cell;
using embedded_host::CellPart;
using embedded_host::ColumnType;
using embedded_host::FieldInfo;
using embedded_host::GdalWorkspace;
using embedded_host::LayerInfo;
using embedded_host::RowList;

bool isPrintable(char c) {
    return c >= ' ' && c <= '~';
}

// The code that rules read in a text.
std::optional<LONG> codeOf(std::string_view text) {
    constexpr std::size_t safeDigits = 9;
    if (text.empty()) return std::nullopt;
    if (text.size() <= safeDigits && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; })) {
        LONG code = 0;
        for (const char digit : text) code = code * 10 + (digit - '0');
        return code;
    }
    CComVariant value(toBstr(text));
    if (FAILED(value.ChangeType(VT_I4))) return std::nullopt;
    return value.lVal;
}

// The code that a row's subtype field gives for this.
std::optional<LONG> subtypeOf(const Cell& cell, ColumnType type) {
    CComVariant value;
    switch (partOf(type)) {
        case CellPart::Integer:
            if (cell.integer != static_cast<LONG>(cell.integer)) return std::nullopt;
            return static_cast<LONG>(cell.integer);
        case CellPart::Real:
            value = CComVariant(cell.real);
            return SUCCEEDED(value.ChangeType(VT_I4)) ? std::optional(value.lVal) : std::nullopt;
        case CellPart::Text:
            return codeOf(cell.text);
        case CellPart::None:
            break;
    }
    return std::nullopt;
}

std::string someOf(const std::vector<std::string>& names) {
    constexpr std::size_t most = 10;
    if (names.size() <= most) return fmt::format("{}", fmt::join(names, ", "));
    return fmt::format("{} and {} more", fmt::join(names.begin(), names.begin() + most, ", "), names.size() - most);
}

}  // namespace

template <class Values, class Value>
void RowCheck::Search::note(Values& values, const Value& value) {
    const auto found = values.find(value);
    if (found == values.end() || found->second.isThere) return;
    found->second.isThere = true;
    --left;
}

void RowCheck::Search::lookInList(std::string_view list) {
    while (!list.empty() && left != 0) {
        const std::size_t end = std::min(list.find(','), list.size());
        if (const std::optional<LONG> code = codeOf(list.substr(0, end))) note(codes, std::int64_t{*code});
        list.remove_prefix(std::min(end + 1, list.size()));
    }
}

void RowCheck::Search::look(const Cell& cell) {
    if (left == 0 || cell.state != Cell::State::Value) return;
    if (!codes.empty() && !ofLists) return note(codes, cell.integer);
    if (ofLists) return lookInList(cell.text);
    if (std::ranges::all_of(cell.text, isPrintable)) return note(texts, cell.text);
    // Comparing passes over some other characters: a text is taken for the one without them.
    std::string printable = cell.text;
    std::erase_if(printable, [](char c) { return !isPrintable(c); });
    note(texts, printable);
}

RowCheck::RowCheck(const CheckedClass& checked, const LayerInfo& layer, GdalWorkspace& dataset, Findings& findings)
    : checked_(checked), layer_(layer), dataset_(dataset), findings_(findings) {
    for (const Finding& finding : findings.all())
        if (finding.kind == "code-unknown") said_.insert({finding.place.line, finding.place.column});
}

std::size_t RowCheck::columnOf(const std::string& field) {
    const auto known = std::ranges::find(fields_, field);
    if (known != fields_.end()) return static_cast<std::size_t>(known - fields_.begin());
    fields_.push_back(field);
    return fields_.size() - 1;
}

void RowCheck::lookFor(const CheckedRule& rule, const FieldInfo& field) {
    auto* const attribute = rule.as<CXAttributeRule>();
    const bool ofLists = rule.as<ListAttributeRuleContainsAny>() || rule.as<ListAttributeRuleEqual>();
    if (!attribute || (!ofLists && !rule.as<CXAttributeRuleEqual>())) return;
    if (!ofLists && attribute->valueFieldName.Length() != 0) return;
    const bool isText = field.type == VT_BSTR;
    const bool isInteger = field.type == VT_I2 || field.type == VT_I4 || field.type == VT_I8;
    if (ofLists ? !isText : !isText && !isInteger) return;
    const std::string name = toUtf8(attribute->fieldName);
    const auto [entry, isNew] = searches_.try_emplace({name, ofLists}, Search{0, ofLists});
    Search& search = entry->second;
    if (isNew) search.column = columnOf(name);
    for (std::size_t i = 0; i < attribute->values.size(); ++i) {
        const CComVariant& operand = attribute->values[i];
        if (operand.vt != VT_BSTR || said_.contains(operandSpot(rule, i))) continue;
        const std::string text = toUtf8(WideView(operand.bstrVal, SysStringLen(operand.bstrVal)));
        bool isAdded = false;
        if (ofLists) {
            const std::optional<LONG> code = codeOf(text);
            isAdded = code && search.codes.try_emplace(*code, Wanted{text}).second;
        } else if (isInteger) {
            CComVariant code;
            if (FAILED(code.ChangeType(field.type, &operand)) || FAILED(code.ChangeType(VT_I8))) continue;
            isAdded = search.codes.try_emplace(code.llVal, Wanted{text}).second;
        } else if (std::ranges::all_of(text, isPrintable)) {
            isAdded = search.texts.try_emplace(text, Wanted{text}).second;
        }
        if (isAdded) ++search.left;
    }
}

void RowCheck::lookForSubtypes(const std::string& field) {
    const std::optional<FieldInfo> info = dataset_.field(layer_.name, field);
    if (!info) return;
    subtypeColumn_ = columnOf(field);
    subtypeType_ = info->column.type;
    for (const auto& [code, list] : checked_.subtypes) subtypes_.insert(code);
}

void RowCheck::lookForUnreadable(const std::vector<std::string>& fields) {
    if (dataset_.type() == workspaceRemoteDatabase) return;
    for (const std::string& field : fields) {
        const std::size_t column = columnOf(field);
        const bool isKnown = std::ranges::any_of(unreadable_, [&](const auto& list) { return list.first == column; });
        if (!isKnown) unreadable_.emplace_back(column, RowList());
    }
}

void RowCheck::run() {
    if (fields_.empty()) return;
    dataset_.readFields(layer_.name, fields_,
                        [this](ObjectId id, const std::vector<const Cell*>& cells) { return visit(id, cells); });
    reportUnreadable();
    if (rows_ == 0) return;
    reportCodes();
    reportSubtypes();
}

bool RowCheck::visit(ObjectId id, const std::vector<const Cell*>& cells) {
    ++rows_;
    bool isComplete = unreadable_.empty();
    for (auto& [column, list] : unreadable_)
        if (cells[column]->state == Cell::State::Foreign) list.add(id);
    for (auto& [key, search] : searches_) {
        search.look(*cells[search.column]);
        isComplete = isComplete && search.left == 0;
    }
    if (!subtypes_.empty() && cells[*subtypeColumn_]->state == Cell::State::Value)
        if (const std::optional<LONG> code = subtypeOf(*cells[*subtypeColumn_], subtypeType_)) subtypes_.erase(*code);
    return !isComplete || !subtypes_.empty();
}

void RowCheck::reportUnreadable() {
    for (const auto& [column, list] : unreadable_) {
        if (list.rows == 0) continue;
        const std::optional<FieldInfo> field = dataset_.field(layer_.name, fields_[column]);
        const std::int64_t more = list.rows - static_cast<std::int64_t>(list.ids.size());
        findings_.addIn(
            {dataset_.name()}, "value-unreadable",
            fmt::format("layer {}: field '{}' holds values that are not of its type, in {} row{}: {}{}", layer_.name,
                        field ? field->column.name : fields_[column], list.rows, list.rows == 1 ? "" : "s",
                        fmt::join(list.ids, ", "), more > 0 ? fmt::format(" and {} more", more) : ""));
    }
}

// One for a layer: a document serves many datasets, and most have not everything.
void RowCheck::reportCodes() {
    std::vector<std::string> fields;
    for (const auto& [key, search] : searches_) {
        std::vector<std::string> values;
        for (const auto& [code, wanted] : search.codes)
            if (!wanted.isThere) values.push_back(oneLine(wanted.shown));
        for (const auto& [text, wanted] : search.texts)
            if (!wanted.isThere) values.push_back(fmt::format("'{}'", oneLine(text)));
        if (!values.empty()) fields.push_back(fmt::format("{} {}", key.first, someOf(values)));
    }
    if (fields.empty()) return;
    findings_.add(checked_.at, "code-without-row",
                  fmt::format("no row of layer {} has {}", layer_.name, fmt::join(fields, ", nor ")));
}

void RowCheck::reportSubtypes() {
    if (subtypes_.empty()) return;
    std::vector<std::string> codes;
    codes.reserve(subtypes_.size());
    for (const LONG code : subtypes_) codes.push_back(std::to_string(code));
    findings_.add(checked_.at, "subtype-without-row",
                  fmt::format("no row of layer {} has the subtype {}", layer_.name, someOf(codes)));
}

}  // namespace cxml
