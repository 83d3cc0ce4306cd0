#include "observed_run.h"

#include "symbolize/runs.h"
#include "tools/workbench/nearest_condition.h"
#include "tools/workbench/observers.h"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <utility>

namespace cxml {
namespace {

/// Of the first rows of an end, the condition that is nearest for most of them; the first of several. Null for none.
const Ledger::Condition* nearestOf(const LayerRun& run, const embedded_host::RowList& rows) {
    const CComQIPtr<ITable> table(run.featureClass);
    if (!table) return nullptr;
    const DocumentPlaces& places = run.document.places;
    std::map<std::uint64_t, std::pair<const Ledger::Condition*, int>> counts;  // by place
    NearestCondition observer;
    for (const ObjectId id : rows.ids) {
        CComPtr<IRow> row;
        if (FAILED(table->GetRow(id, &row)) || !row) continue;
        try {
            ConditionalXml::symbolizeSingleRow(*run.document.map, row, &observer);
        } catch (const std::runtime_error&) {
            continue;  // a row of trouble is near to nothing
        }
        const Ledger::Condition* const nearest = observer.nearest();
        if (!nearest) continue;
        auto& [condition, count] = counts[places.orderOf(*nearest)];
        condition = nearest;
        ++count;
    }
    const auto most = std::ranges::max_element(counts, {}, [](const auto& entry) { return entry.second.second; });
    return most == counts.end() ? nullptr : most->second.first;
}

}  // namespace

bool symbolizeLayer(const LayerRun& run, ConditionalXml::EvaluationObserver* observer,
                    ConditionalXml::RowSymbolization::Answers answers) {
    return ConditionalXml::symbolizeClass(*run.document.map, run.featureClass, run.selection, run.messages, answers,
                                          observer);
}

bool runWithLedger(const LayerRun& run, LedgerFiles& files,
                   const std::vector<ConditionalXml::EvaluationObserver*>& others,
                   ConditionalXml::RowSymbolization::Answers answers) {
    LayerResult& result = run.result;
    const ObjectId& row = run.monitor.row;
    result.ledger = std::make_unique<Ledger>(run.document.places, row);
    files.attach(*result.ledger, result.layer, run.document.places);
    const struct End {
        Ledger& ledger;
        ~End() { ledger.endRun(); }
    } end{*result.ledger};
    const OriginsOf origins(result.messages, [&](std::string_view text) -> MessageLog::Origin {
        const LONG line = end.ledger.onMessage(text);
        return {end.ledger.rows() == 0 ? std::nullopt : std::optional(row), line};
    });
    if (others.empty()) return symbolizeLayer(run, result.ledger.get(), answers);
    Observers observers{result.ledger.get()};
    for (ConditionalXml::EvaluationObserver* const other : others) observers.add(other);
    return symbolizeLayer(run, &observers, answers);
}

void findNearest(const LayerRun& run) {
    for (const RowEnd end : {RowEnd::Kept, RowEnd::None}) {
        const embedded_host::RowList& rows = run.result.ledger->of(end);
        if (const Ledger::Condition* const nearest = rows.rows == 0 ? nullptr : nearestOf(run, rows))
            run.result.nearest[end] = nearest;
    }
}

bool isFlawless(const Document& document, const std::vector<LayerResult>& results) {
    return document.messages.empty() && std::ranges::all_of(results, [](const LayerResult& result) {
               return result.messages.empty() && result.ledger && result.ledger->count(RowEnd::Failed) == 0 &&
                      result.ledger->unanswered().empty() && result.unreadable.rows == 0 && result.refused.rows == 0;
           });
}

}  // namespace cxml
