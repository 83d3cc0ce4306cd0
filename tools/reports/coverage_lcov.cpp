#include "coverage_report.h"

#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <cstdint>
#include <map>

namespace cxml {
namespace {

using ConditionalXml::Condition;

/// The parts of a tracefile's record.
struct Record {
    std::string functions;
    std::string calls;
    std::string branches;
    std::map<LONG, std::int64_t> lines;
    std::map<LONG, int> blocks;  // how many rules a line has: their numbers there
    std::int64_t functionCount = 0;
    std::int64_t functionsHit = 0;
    std::int64_t branchCount = 0;
    std::int64_t branchesHit = 0;

    /// Of several things on a line the least counts: a line is covered when all of them are.
    void addLine(LONG line, std::int64_t count) {
        const auto [entry, isNew] = lines.try_emplace(line, count);
        if (!isNew) entry->second = std::min(entry->second, count);
    }
    void addFunction(LONG line, std::string name, std::int64_t count) {
        for (std::size_t at = name.find(','); at != std::string::npos; at = name.find(',', at))
            name.replace(at, 1, "%2C");  // it separates
        functions += fmt::format("FN:{},{}\n", line, name);
        calls += fmt::format("FNDA:{},{}\n", count, name);
        ++functionCount;
        if (count != 0) ++functionsHit;
    }
    void addBranches(LONG line, const RuleCounts& counts) {
        const bool isAsked = counts.held + counts.failed + counts.unmeasured != 0;
        const int block = blocks[line]++;
        int branch = 0;
        for (const std::int64_t taken : {counts.held, counts.alone}) {
            branches += fmt::format("BRDA:{},{},{},{}\n", line, block, branch++, isAsked ? std::to_string(taken) : "-");
            ++branchCount;
            if (taken != 0) ++branchesHit;
        }
    }
};

void add(Record& record, const CoverageView& view, const Condition& condition) {
    const DocumentPlaces& places = view.document.places;
    const ConditionCounts& counts = view.coverage.of(condition);
    record.addLine(places.lineOf(condition), counts.held);
    if (condition.rulename.Length() != 0 && !places.isFallback(condition))
        record.addFunction(places.lineOf(condition), places.addressOf(condition), counts.decided);
    for (std::size_t i = 0; i < condition.rules.size(); ++i) {
        const LONG line = places.lineOf(*condition.rules[i]);
        record.addLine(line, counts.rules[i].held);
        record.addBranches(line, counts.rules[i]);
    }
}

}  // namespace

std::string coverageLcov(const CoverageView& view) {
    Record record;
    for (const CoveredClass& covered : view.classes)
        for (const Condition* condition : covered.conditions) add(record, view, *condition);
    std::string text = fmt::format("TN:\nSF:{}\n", oneLine(view.document.path));
    text += record.functions + record.calls;
    text += fmt::format("FNF:{}\nFNH:{}\n", record.functionCount, record.functionsHit);
    text += record.branches + fmt::format("BRF:{}\nBRH:{}\n", record.branchCount, record.branchesHit);
    for (const auto& [line, count] : record.lines) text += fmt::format("DA:{},{}\n", line, count);
    const auto covered = std::ranges::count_if(record.lines, [](const auto& line) { return line.second != 0; });
    return text + fmt::format("LF:{}\nLH:{}\nend_of_record\n", record.lines.size(), covered);
}

}  // namespace cxml
