#include "places.h"

#include "cxml/condition_map.h"
#include "cxml/dom.h"
#include "symbology/host_interfaces.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>

namespace cxml {

LONG lineOf(IXMLDOMNode* element) {
    LONG line = 0;
    if (const CComQIPtr<INodeTrace> trace(element); trace) trace->get_line(&line);
    return line;
}

std::string addressPart(std::string_view name) {
    constexpr std::string_view meaningful = "%/~@|`";
    std::string part;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte <= ' ' || byte == 0x7F || meaningful.find(c) != std::string_view::npos)
            part += fmt::format("%{:02X}", byte);
        else
            part += c;
    }
    return part;
}

const DocumentPlaces::Written* DocumentPlaces::find(const Condition& condition) const noexcept {
    const auto found = conditions_.find(&condition);
    return found == conditions_.end() ? nullptr : &found->second;
}

LONG DocumentPlaces::lineOf(const Condition& condition) const noexcept {
    const Written* written = find(condition);
    return written ? written->line : 0;
}

LONG DocumentPlaces::lineOf(const Rule& rule) const noexcept {
    const auto found = rules_.find(&rule);
    return found == rules_.end() ? 0 : found->second.line;
}

const std::string& DocumentPlaces::operatorOf(const Rule& rule) const noexcept {
    static const std::string none;
    const auto found = rules_.find(&rule);
    return found == rules_.end() ? none : found->second.operatorName;
}

std::string DocumentPlaces::addressOf(const Condition& condition) const {
    const Written* written = find(condition);
    if (!written) return {};
    const std::string name = addressPart(toUtf8(condition.rulename));
    std::string address =
        fmt::format("{}/{}/", addressPart(toUtf8(condition.featureClassRule->name)), lists_[written->list]);
    if (name.empty()) return address + fmt::format("@{}", written->number);
    return written->number == 1 ? address + name : address + fmt::format("{}~{}", name, written->number);
}

const std::string& DocumentPlaces::listOf(const Condition& condition) const noexcept {
    static const std::string unknown;
    const Written* written = find(condition);
    return written ? lists_[written->list] : unknown;
}

const DocumentPlaces::Condition* DocumentPlaces::outerOf(const Condition& condition) const noexcept {
    const Written* written = find(condition);
    return written ? written->outer : nullptr;
}

std::uint64_t DocumentPlaces::orderOf(const Condition& condition) const noexcept {
    constexpr unsigned lineBits = 32;
    const Written* written = find(condition);
    // A class's default conditions are read last, wherever they stand.
    return written ? std::uint64_t{static_cast<std::uint32_t>(written->line)} << lineBits | written->order : 0;
}

bool DocumentPlaces::isFallback(const Condition& condition) const noexcept {
    return condition.rules.empty() && !outerOf(condition);
}

std::vector<const DocumentPlaces::Condition*> DocumentPlaces::conditionsOf(const FeatureClassRule& rule) const {
    std::vector<const Condition*> all;
    const auto add = [&](const auto& self, const auto& conditions) -> void {
        for (const auto& condition : conditions) {
            all.push_back(condition.get());
            for (const auto& inside : condition->rules) self(self, inside->nestedConditions);
        }
    };
    add(add, rule.defaultConditions);
    for (const auto& [code, conditions] : rule.subtypeConditions) add(add, conditions);
    std::ranges::sort(all, {}, [this](const Condition* condition) { return orderOf(*condition); });
    const auto repeated = std::ranges::unique(all);  // of several codes' lists
    all.erase(repeated.begin(), repeated.end());
    return all;
}

void DocumentPlaces::beginClass(IXMLDOMNode* /*element*/, const CComBSTR& /*name*/, FeatureClassRule& rule) {
    class_ = &rule;
}

void DocumentPlaces::beginSubtype(IXMLDOMNode* /*element*/, const std::optional<CComBSTR>& number,
                                  const std::set<LONG>& codes) {
    // Without a code no row comes to the list; what was written names it then.
    beginList(codes.empty() ? "?" + (number ? addressPart(toUtf8(*number)) : "")
                            : fmt::format("{}", fmt::join(codes, ",")));
}

void DocumentPlaces::endSubtype(const std::set<LONG>& /*codes*/, bool /*isKept*/) {
    endList();
}

void DocumentPlaces::beginDefaults(bool /*isKept*/) {
    beginList("-");
}

void DocumentPlaces::endClass(FeatureClassRule& rule, bool isKept, const FeatureClassRule* replaced) {
    endList();
    const FeatureClassRule* const refused = isKept ? nullptr : &rule;
    for (const FeatureClassRule* lost : {refused, replaced})
        if (lost)
            for (const Condition* condition : conditionsOf(*lost)) addUnused(*condition, false);
}

void DocumentPlaces::addUnused(const Condition& condition, bool isDiscarded) {
    if (condition.rulename.Length() == 0) return;
    unused_.push_back(
        {toUtf8(condition.rulename), toUtf8(condition.featureClassRule->name), lineOf(condition), isDiscarded});
}

void DocumentPlaces::beginList(std::string name) {
    const auto known = std::ranges::find(lists_, name);
    list_ = static_cast<std::uint32_t>(known - lists_.begin());
    if (known == lists_.end()) lists_.push_back(std::move(name));
    ended_.clear();
}

// Numbers follow the start tags, also where a condition and one that is nested in it have the same name.
void DocumentPlaces::endList() {
    std::ranges::sort(ended_, {}, [this](const auto& condition) { return conditions_.at(condition.get()).order; });
    for (const std::shared_ptr<Condition>& condition : ended_)
        conditions_.at(condition.get()).number = ++counts_[class_][lists_[list_] + '/' + toUtf8(condition->rulename)];
    ended_.clear();
}

void DocumentPlaces::beginCondition(IXMLDOMNode* element) {
    open_.push_back({cxml::lineOf(element), order_++, {}});
}

void DocumentPlaces::endCondition(const std::shared_ptr<Condition>& condition, bool /*attributesAreGood*/,
                                  bool isKept) {
    const Open ended = std::move(open_.back());
    open_.pop_back();
    conditions_[condition.get()] = {ended.line, list_, 0, ended.order, nullptr};
    for (const Condition* nested : ended.nested) conditions_.at(nested).outer = condition.get();
    if (!open_.empty()) open_.back().nested.push_back(condition.get());
    ended_.push_back(condition);
    if (!isKept) addUnused(*condition, true);
}

void DocumentPlaces::beginRule(IXMLDOMNode* element) {
    rule_ = element;
}

void DocumentPlaces::onRule(const std::shared_ptr<Rule>& rule) {
    const CComPtr<IXMLDOMNode> element = std::move(rule_);  // kept, it would keep the whole document
    if (!rule) return;
    // Read only of rules that the library has made: of others nobody has read it, which checks want to know.
    const auto name = ConditionalXml::attributeText(element, OLESTR("operator"));
    rules_[rule.get()] = {cxml::lineOf(element), name ? toUtf8(*name) : std::string()};
}

}  // namespace cxml
