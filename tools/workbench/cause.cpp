#include "cause.h"

#include "tools/places/places.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>
#include <utility>

namespace cxml {

using ConditionalXml::Condition;
using ConditionalXml::CXAttributeRule;
using ConditionalXml::QueryRule;

namespace {

// The condition with the same address in the other document; null when it has none.
const Condition* counterpart(const Condition& condition, const ExplainedSide& from, const ExplainedSide& to) {
    if (!to.explanation.configuration) return nullptr;
    const std::string address = from.places.addressOf(condition);
    for (const Condition* other : to.places.conditionsOf(*to.explanation.configuration))
        if (to.places.addressOf(*other) == address) return other;
    return nullptr;
}

Cause::Place placeOf(const WalkedRule& walked, const DocumentPlaces& places) {
    Cause::Place place{.line = places.lineOf(*walked.rule), .text = {}, .answer = walked.answer};
    if (const auto* attribute = dynamic_cast<const CXAttributeRule*>(walked.rule)) {
        std::vector<std::string> operands;
        operands.reserve(walked.operands.size());
        for (const ShownValue& operand : walked.operands) operands.push_back(inWords(operand));
        const std::string other = toUtf8(attribute->valueFieldName);
        place.text = fmt::format("{} {} {}", toUtf8(attribute->fieldName), places.operatorOf(*walked.rule),
                                 other.empty() ? fmt::format("{}", fmt::join(operands, ", ")) : other);
    } else if (const auto* query = dynamic_cast<const QueryRule*>(walked.rule)) {
        place.text = fmt::format("{} {}", places.operatorOf(*query), toUtf8(query->tableName));
    }
    return place;
}

class Search {
public:
    Search(const ExplainedSide& first, const ExplainedSide& second) : first_(first), second_(second) {}

    // Looks at the pair, then at what it is nested in: that may keep it from being come to.
    void look(const Condition* first, const Condition* second) {
        bool heldInBoth = true;
        for (bool found = false; first && second && !found;) {
            const WalkedCondition* a = findWalked(first_.explanation.conditions, *first);
            const WalkedCondition* b = findWalked(second_.explanation.conditions, *second);
            heldInBoth = heldInBoth && a && b && a->held && b->held;
            found = a && b && addDifference(*a, *b);
            first = first_.places.outerOf(*first);
            second = second_.places.outerOf(*second);
        }
        held_ += heldInBoth ? 1 : 0;
    }

    void add(Cause cause) {
        if (std::ranges::find(causes_, cause) == causes_.end()) causes_.push_back(std::move(cause));
    }

    int held() const noexcept { return held_; }
    std::vector<Cause> take() { return std::move(causes_); }

private:
    bool addDifference(const WalkedCondition& a, const WalkedCondition& b) {
        for (std::size_t i = 0; i < std::min(a.rules.size(), b.rules.size()); ++i) {
            if (!a.rules[i].isAsked || !b.rules[i].isAsked) return false;
            if (a.rules[i].answer == b.rules[i].answer) continue;
            add({Cause::Kind::Rule, placeOf(a.rules[i], first_.places), placeOf(b.rules[i], second_.places)});
            return true;
        }
        return false;
    }

    const ExplainedSide& first_;
    const ExplainedSide& second_;
    int held_ = 0;
    std::vector<Cause> causes_;
};

}  // namespace

std::vector<Cause> causesOf(const ChangeGroup& group, const ExplainedSide& first, const ExplainedSide& second) {
    Search search(first, second);
    int pairs = 0;
    const auto lookFrom = [&](const Condition* condition, bool isFirst) {
        if (!condition) return;
        const ExplainedSide& own = isFirst ? first : second;
        const Condition* other = counterpart(*condition, own, isFirst ? second : first);
        if (!other) {
            Cause cause;
            cause.kind = isFirst ? Cause::Kind::OnlyInFirst : Cause::Kind::OnlyInSecond;
            Cause::Place& place = isFirst ? cause.first : cause.second;
            place.line = own.places.lineOf(*condition);
            place.text = own.places.addressOf(*condition);
            search.add(std::move(cause));
            return;
        }
        ++pairs;
        search.look(isFirst ? condition : other, isFirst ? other : condition);
    };
    lookFrom(group.from.by, true);
    lookFrom(group.to.by, false);
    std::vector<Cause> causes = search.take();
    if (causes.empty() && pairs == 2 && search.held() == 2)
        causes.push_back({Cause::Kind::Order,
                          {.line = first.places.lineOf(*group.from.by), .text = {}, .answer = true},
                          {.line = second.places.lineOf(*group.to.by), .text = {}, .answer = true}});
    return causes;
}

}  // namespace cxml
