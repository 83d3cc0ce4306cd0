#include "why_not.h"

#include "change_search.h"
#include "text/text.h"
#include "tools/places/places.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>

namespace cxml {

using ConditionalXml::Condition;
using End = WalkedCondition::End;

namespace {

bool isWanted(const Condition& condition, const std::string& wanted, const DocumentPlaces& places) {
    return toUtf8(condition.rulename) == wanted || places.addressOf(condition) == wanted ||
           std::to_string(places.lineOf(condition)) == wanted;
}

/// The first rule of the walked condition that was asked and did not hold.
const WalkedRule* falseRule(const WalkedCondition& walked) {
    const auto found =
        std::ranges::find_if(walked.rules, [](const WalkedRule& rule) { return rule.isAsked && !rule.answer; });
    return found == walked.rules.end() ? nullptr : &*found;
}

/// A nested condition that was not walked: a rule of those around it was in the way.
void explainNotReached(WhyNot& answer, const RowExplanation& row, const DocumentPlaces& places) {
    answer.reasons.emplace_back("not-reached");
    for (const Condition* outer = places.outerOf(*answer.condition); outer; outer = places.outerOf(*outer)) {
        const WalkedCondition* walked = findWalked(row.conditions, *outer);
        if (!walked) continue;
        if (const WalkedRule* rule = falseRule(*walked)) answer.rules.push_back(rule);
        return;
    }
}

void explainWalked(WhyNot& answer, const WalkedCondition& walked, const DocumentPlaces& places) {
    switch (walked.end) {
        case End::Decides:
            break;
        case End::No:
            answer.reasons.emplace_back("rule-false");
            if (const WalkedRule* rule = falseRule(walked)) answer.rules.push_back(rule);
            break;
        case End::Error:
            answer.reasons.emplace_back(walked.held ? "expression-failed" : "rule-error");
            answer.detail = walked.error.substr(0, walked.error.find('\n'));
            break;
        case End::OuterName:
            answer.reasons.emplace_back("outer-name");
            answer.detail = fmt::format("by {}", places.lineOf(*walked.by));
            break;
        default:
            answer.reasons.emplace_back("replaced");
            if (walked.by) answer.detail = fmt::format("by {}", places.lineOf(*walked.by));
    }
}

WhyNot explain(const Condition& condition, const TriedRow& row, const DocumentPlaces& places) {
    WhyNot answer;
    answer.condition = &condition;
    answer.line = places.lineOf(condition);
    if (const WalkedCondition* walked = findWalked(row.explanation.conditions, condition)) {
        explainWalked(answer, *walked, places);
    } else if (row.explanation.list && stands(condition, *row.explanation.list)) {
        explainNotReached(answer, row.explanation, places);
    } else {
        answer.reasons.emplace_back("other-list");
        const std::string& list = places.listOf(condition);
        answer.detail =
            list == "-" ? "stands in the default list" : fmt::format("stands in the list of subtype {}", list);
    }
    return answer;
}

/// Names that stand where no row of the class comes to them.
std::vector<WhyNot> explainAbsence(const TriedRow& row, const std::string& wanted, const DocumentPlaces& places) {
    std::vector<WhyNot> answers;
    for (const DocumentPlaces::Unused& unused : places.unused()) {
        if (unused.name != wanted && std::to_string(unused.line) != wanted) continue;
        WhyNot& answer = answers.emplace_back();
        answer.line = unused.line;
        answer.reasons.emplace_back(unused.isDiscarded ? "discarded" : "class-replaced");
        answer.detail = unused.isDiscarded
                            ? "loading has discarded the condition"
                            : fmt::format("no row gets the configuration of '{}' that it stands in", unused.className);
    }
    for (const auto& condition : row.configuration->owner->conditions) {
        if (condition->featureClassRule == row.configuration.get() || !isWanted(*condition, wanted, places)) continue;
        const auto same = [&](const WhyNot& answer) { return answer.line == places.lineOf(*condition); };
        if (std::ranges::any_of(answers, same)) continue;
        WhyNot& answer = answers.emplace_back();
        answer.line = places.lineOf(*condition);
        answer.reasons.emplace_back("not-configured");
        answer.detail = fmt::format("stands in the class '{}'", toUtf8(condition->featureClassRule->name));
    }
    if (answers.empty()) {
        WhyNot& answer = answers.emplace_back();
        answer.reasons.emplace_back("no-such-name");
        answer.detail = "no condition of the document has this name, line or address";
    }
    return answers;
}

}  // namespace

std::vector<WhyNot> whyNot(const TriedRow& row, const std::string& wanted, const DocumentPlaces& places) {
    std::vector<WhyNot> answers;
    for (const Condition* condition : places.conditionsOf(*row.configuration)) {
        if (!isWanted(*condition, wanted, places)) continue;
        WhyNot& answer = answers.emplace_back(explain(*condition, row, places));
        if (answer.reasons.empty() || !row.trial || condition->rulename.Length() == 0) continue;
        answer.isSearched = true;
        if (auto found = findChange(row, *condition, places)) {
            answer.change = std::move(found->changes);
            answer.evaluated = std::move(found->evaluated);
        }
    }
    return answers.empty() ? explainAbsence(row, wanted, places) : answers;
}

}  // namespace cxml
