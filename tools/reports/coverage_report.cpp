#include "coverage_report.h"

#include "rules/query_rules.h"
#include "tools/text/text.h"
#include "tools/workbench/explanation.h"

#include <fmt/format.h>
#include <algorithm>
#include <utility>

namespace cxml {
namespace {

using ConditionalXml::Condition;
using ConditionalXml::CXAttributeRule;
using ConditionalXml::QueryRule;
using ConditionalXml::Rule;

std::string shownName(const Condition& condition) {
    return condition.rulename.Length() == 0 ? "(no name)" : oneLine(toUtf8(condition.rulename));
}

std::string shownShare(const Shares& shares, Measure measure) {
    const Share& share = shares[static_cast<std::size_t>(measure)];
    return fmt::format("{} of {}", share.seen, share.of);
}

/// "44 (6) 48 (6)", what took the most places first.
std::string replacedBy(const DocumentPlaces& places, const ConditionCounts& counts) {
    constexpr std::size_t shown = 5;
    std::vector<std::pair<const Condition*, std::int64_t>> all(counts.replacedBy.begin(), counts.replacedBy.end());
    std::ranges::sort(all, {},
                      [&](const auto& entry) { return std::pair(-entry.second, places.orderOf(*entry.first)); });
    std::string text;
    for (std::size_t i = 0; i < std::min(shown, all.size()); ++i)
        text += fmt::format(" {} ({})", places.lineOf(*all[i].first), all[i].second);
    if (all.size() > shown) text += fmt::format(" and {} more", all.size() - shown);
    return text;
}

/// Without quotes: whether an operand is a text yet depends on the rows that came to it.
std::string asWritten(const ShownValue& operand) {
    return operand.isText() && !operand.text.empty() ? operand.text : inWords(operand);
}

std::string unanswered(std::int64_t count) {
    return count == 0 ? std::string() : fmt::format(", {} not measured", count);
}

std::string notesOn(const DocumentPlaces& places, const Condition& condition, const ConditionCounts& counts) {
    std::string notes;
    if (!counts.replacedBy.empty())
        notes += (counts.decided == 0 ? "  always replaced:" : "  replaced:") + replacedBy(places, counts);
    if (counts.unmeasured != 0) notes += fmt::format("  not measured {}", counts.unmeasured);
    if (counts.failed != 0) notes += fmt::format("  expression failed {}", counts.failed);
    if (places.isFallback(condition)) notes += "  default";
    return notes;
}

void writeRule(std::ostream& out, const DocumentPlaces& places, const Missed& missed) {
    const RuleCounts& counts = *missed.counts;
    if (counts.isSeenBothWays() && counts.unmeasured == 0) return;
    const std::int64_t asked = counts.held + counts.failed + counts.unmeasured;
    if (asked == 0) return;  // the condition's line, or that of a rule before, says why
    out << fmt::format("      {} {}: {} of {} true", places.lineOf(*missed.rule), inWords(places, *missed.rule),
                       counts.held, asked)
        << (counts.isSeenBothWays() ? unanswered(counts.unmeasured) : ", " + whyMissed(Measure::Rules, missed)) << '\n';
}

void writeCondition(std::ostream& out, const CoverageView& view, const Condition& condition, std::size_t width) {
    const DocumentPlaces& places = view.document.places;
    const ConditionCounts& counts = view.coverage.of(condition);
    out << fmt::format("  {:>4}  {:<{}}", places.lineOf(condition), shownName(condition), width);
    if (counts.reached == 0) {
        out << "  not reached" << notesOn(places, condition, counts) << '\n';
        return;
    }
    out << fmt::format("  reached {:>4}  held {:>4}", counts.reached, counts.held);
    if (condition.rulename.Length() != 0) out << fmt::format("  decided {:>4}", counts.decided);
    out << notesOn(places, condition, counts) << '\n';
    for (std::size_t i = 0; i < condition.rules.size(); ++i) {
        const RuleCounts& rule = counts.rules[i];
        writeRule(out, places, {&condition, condition.rules[i].get(), &rule, rule.unmeasured});
    }
}

void writeClass(std::ostream& out, const CoverageView& view, const CoveredClass& covered) {
    const ClassCounts& counts = view.coverage.of(*covered.configuration);
    const Shares shares = sharesOf(view.document.places, view.coverage, covered);
    out << fmt::format("{}  {} row{}   held {}   decided {}   rules seen both ways {}",
                       oneLine(toUtf8(covered.configuration->name)), counts.rows, counts.rows == 1 ? "" : "s",
                       shownShare(shares, Measure::Held), shownShare(shares, Measure::Decided),
                       shownShare(shares, Measure::Rules));
    if (counts.unmeasured != 0) out << fmt::format("   rows not measured {}", counts.unmeasured);
    out << '\n';
    constexpr std::size_t widest = 24;
    std::size_t width = 0;
    for (const Condition* condition : covered.conditions)
        width = std::max(width, std::min(widest, shownName(*condition).size()));
    for (const Condition* condition : covered.conditions) writeCondition(out, view, *condition, width);
}

void writeMissed(std::ostream& out, const CoverageView& view, Measure measure) {
    const DocumentPlaces& places = view.document.places;
    for (const Missed& missed : missedBy(measure, places, view.coverage, view.classes))
        out << fmt::format("{}:{}: {}{}: {}\n", oneLine(view.document.path),
                           missed.rule ? places.lineOf(*missed.rule) : places.lineOf(*missed.condition),
                           missed.rule ? inWords(places, *missed.rule) + " of " : "",
                           oneLine(places.addressOf(*missed.condition)), whyMissed(measure, missed));
}

}  // namespace

bool CoverageView::isBelow(Measure measure) const {
    const auto floor = floors.find(measure);
    if (floor == floors.end()) return false;
    return sharesOf(document.places, coverage, classes)[static_cast<std::size_t>(measure)].percent() < floor->second;
}

std::string inWords(const DocumentPlaces& places, const Rule& rule) {
    if (const auto* query = dynamic_cast<const QueryRule*>(&rule))
        return oneLine(fmt::format("{} {}", places.operatorOf(rule), toUtf8(query->tableName)));
    const auto* attribute = dynamic_cast<const CXAttributeRule*>(&rule);
    if (!attribute) return "rule";
    std::string text = fmt::format("{} {}", toUtf8(attribute->fieldName), places.operatorOf(rule));
    if (attribute->valueFieldName.Length() != 0) return oneLine(text + ' ' + toUtf8(attribute->valueFieldName));
    constexpr std::size_t most = 4;
    const std::vector<CComVariant>& operands = attribute->values;
    for (std::size_t i = 0; i < std::min(most, operands.size()); ++i)
        text += (i == 0 ? " " : ", ") + asWritten(shown(&operands[i]));
    if (operands.size() > most) text += ", ...";
    return oneLine(text);
}

std::string whyMissed(Measure measure, const Missed& missed) {
    const std::string beside = unanswered(missed.unmeasured);
    if (measure == Measure::Held) return "never held" + beside;
    if (measure == Measure::Decided) return "never decided a symbol" + beside;
    const RuleCounts& counts = *missed.counts;
    if (counts.held + counts.failed == 0)
        return counts.unmeasured == 0 ? "never asked"
                                      : fmt::format("never answered ({} times asked)", counts.unmeasured);
    if (counts.held == 0) return "never true" + beside;
    if (counts.failed == 0) return "never false" + beside;
    if (counts.unattributed == 0) return "never alone to blame" + beside;
    return fmt::format("never alone to blame as far as can be told, {} times it cannot{}", counts.unattributed, beside);
}

RowCounts rowsOf(const CoverageView& view) {
    RowCounts all;
    for (const CoveredClass& covered : view.classes) {
        if (!view.coverage.hasRunOf(*covered.configuration)) continue;
        const ClassCounts& counts = view.coverage.of(*covered.configuration);
        all.rows += counts.rows;
        all.unmeasured += counts.unmeasured;
    }
    return all;
}

void writeCoverage(std::ostream& out, const CoverageView& view) {
    std::size_t without = 0;
    std::string names;
    for (const CoveredClass& covered : view.classes) {
        if (view.coverage.hasRunOf(*covered.configuration)) {
            writeClass(out, view, covered);
            continue;
        }
        ++without;
        names += ' ' + oneLine(toUtf8(covered.configuration->name));
    }
    if (without != 0) out << fmt::format("{} class{} without a layer:{}\n", without, without == 1 ? "" : "es", names);
    constexpr std::array<const char*, measureNames.size()> what{"conditions", "names", "rules seen both ways"};
    const Shares shares = sharesOf(view.document.places, view.coverage, view.classes);
    for (std::size_t measure = 0; measure < shares.size(); ++measure)
        out << fmt::format("{:<8} {:>6} of {} {}, {} %\n", measureNames[measure], shares[measure].seen,
                           shares[measure].of, what[measure], shares[measure].percent());
    if (const RowCounts rows = rowsOf(view); rows.unmeasured != 0)
        out << fmt::format("not measured as a whole: {} of {} rows\n", rows.unmeasured, rows.rows);
    for (const auto& [measure, floor] : view.floors) {
        if (!view.isBelow(measure)) continue;
        writeMissed(out, view, measure);
        const auto index = static_cast<std::size_t>(measure);
        out << fmt::format("{}: {} %, below {} %\n", measureNames[index], shares[index].percent(), floor);
    }
}

}  // namespace cxml
