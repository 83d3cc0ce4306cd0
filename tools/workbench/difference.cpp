#include "difference.h"

#include "cxml/target_fields.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <numeric>
#include <stdexcept>
#include <utility>

namespace cxml {

using Put = RowOutcome::Put;

namespace {

bool areSame(const ShownValue& a, const ShownValue& b) {
    return a.type == b.type && a.text == b.text;
}

bool isEmpty(const ShownValue& value) {
    return value.text.empty();
}

const std::string& symbolName() {
    static const std::string name = toUtf8(WideView(ConditionalXml::symbolField));
    return name;
}

// A field that at least one side writes, and what both leave in it.
struct Pair {
    std::string field;
    ShownValue from;
    ShownValue to;
    const Put* first;
    const Put* second;
};

Pair pairOf(const Put* first, const Put* second) {
    if (first && second && !areSame(first->before, second->before))
        throw std::runtime_error("the dataset was changed while it was compared");
    const Put& known = first ? *first : *second;
    return {.field = known.field,
            .from = first ? first->value : known.before,
            .to = second ? second->value : known.before,
            .first = first,
            .second = second};
}

// The fields that are otherwise.
std::vector<Pair> differing(const RowOutcome* first, const RowOutcome* second) {
    std::vector<Pair> pairs;
    const auto add = [&](const Put* a, const Put* b) {
        Pair pair = pairOf(a, b);
        if (!areSame(pair.from, pair.to)) pairs.push_back(std::move(pair));
    };
    if (first)
        for (const Put& put : first->puts) add(&put, second ? second->findPut(put.field) : nullptr);
    if (second)
        for (const Put& put : second->puts)
            if (!first || !first->findPut(put.field)) add(nullptr, &put);
    return pairs;
}

bool hasTrouble(const RowOutcome* outcome) {
    return outcome && (outcome->isFailed || outcome->hasError);
}

RowChange changeOf(const RowOutcome* first, const RowOutcome* second, const std::vector<Pair>& pairs) {
    if (pairs.empty()) return RowChange::Same;
    if (hasTrouble(first) != hasTrouble(second)) return RowChange::Error;
    const auto symbol = std::ranges::find(pairs, symbolName(), &Pair::field);
    if (symbol != pairs.end()) {
        if (isEmpty(symbol->to)) return RowChange::Lost;
        return isEmpty(symbol->from) ? RowChange::Gained : RowChange::Symbol;
    }
    const bool isPlaced = std::ranges::any_of(pairs, [](const Pair& pair) { return isPlacementField(pair.field); });
    return isPlaced ? RowChange::Placement : RowChange::Fields;
}

// Of the pairs, those that make the change what it is: the symbol, placement values or computed ones.
bool isOf(RowChange change, const std::string& field, bool hasSymbol) {
    if (hasSymbol) return field == symbolName();
    return change == RowChange::Placement ? isPlacementField(field) : true;
}

ChangeGroup groupOf(RowChange change, const RowOutcome* first, const RowOutcome* second,
                    const std::vector<Pair>& pairs) {
    const bool hasSymbol = std::ranges::find(pairs, symbolName(), &Pair::field) != pairs.end();
    ChangeGroup group{.change = change, .fields = {}, .from = {}, .to = {}, .rows = {}};
    for (const Pair& pair : pairs) {
        if (!isOf(change, pair.field, hasSymbol)) continue;
        if (!group.fields.empty()) {
            group.fields += ", " + pair.field;
            continue;
        }
        group.fields = pair.field;
        group.from.value = pair.from;
        group.to.value = pair.to;
        if (pair.first) group.from.by = pair.first->by;
        if (pair.second) group.to.by = pair.second->by;
    }
    // A value that is there already is put by nobody, and decided all the same.
    if (hasSymbol && first) group.from.by = first->named;
    if (hasSymbol && second) group.to.by = second->named;
    return group;
}

}  // namespace

void Difference::compare(const RowOutcome* first, const RowOutcome* second, bool isInside) {
    if (first && second && first->row != second->row)
        throw std::runtime_error(
            fmt::format("the dataset was changed while it was compared: row {} was {}", second->row, first->row));
    const ObjectId row = first ? first->row : second->row;
    const std::vector<Pair> pairs = differing(first, second);
    const RowChange change = changeOf(first, second, pairs);
    ++rows_;
    ++counts_[static_cast<std::size_t>(change)];
    if ((!first || first->isFailed) && (!second || second->isFailed)) ++failed_;
    if (change == RowChange::Same) {
        const bool isDecided = first && second && !hasTrouble(first) && !hasTrouble(second);
        if (isDecided && (first->named != nullptr) != (second->named != nullptr)) kept_.add(row);
        return;
    }
    if (!isInside) ++outside_;
    ChangeGroup group = groupOf(change, first, second, pairs);
    if (onChange) onChange(row, group, isInside);
    const bool hasText = group.fields == symbolName();
    Key key(change, group.fields, group.from.by, group.to.by, hasText ? group.from.value.text : std::string(),
            hasText ? group.to.value.text : std::string());
    auto known = index_.find(key);
    if (known == index_.end()) {
        if (groups_.size() >= mostGroups) {
            ++ungrouped_;
            return;
        }
        known = index_.emplace(std::move(key), groups_.size()).first;
        groups_.push_back(std::move(group));
    }
    ChangeGroup& counted = groups_[known->second];
    counted.rows.add(row);
    if (!isInside) ++counted.outside;
}

std::vector<ChangeGroup> Difference::groups() const {
    std::vector<std::size_t> order(groups_.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::sort(order, {}, [this](std::size_t i) { return std::pair(-groups_[i].rows.rows, i); });
    std::vector<ChangeGroup> sorted;
    sorted.reserve(order.size());
    for (const std::size_t i : order) sorted.push_back(groups_[i]);
    return sorted;
}

}  // namespace cxml
