#include "observed_run.h"

#include "symbolize/runs.h"

#include <algorithm>

namespace cxml {

bool symbolizeLayer(const LayerRun& run, ConditionalXml::EvaluationObserver* observer,
                    ConditionalXml::RowSymbolization::Answers answers) {
    return ConditionalXml::symbolizeClass(*run.document.map, run.featureClass, run.selection, run.messages, answers,
                                          observer);
}

bool runWithLedger(const LayerRun& run) {
    LayerResult& result = run.result;
    const ObjectId& row = run.monitor.row;
    result.ledger = std::make_unique<Ledger>(run.document.places, row);
    const struct End {
        Ledger& ledger;
        ~End() { ledger.endRun(); }
    } end{*result.ledger};
    const OriginsOf origins(result.messages, [&](std::string_view text) -> MessageLog::Origin {
        const LONG line = end.ledger.onMessage(text);
        return {end.ledger.rows() == 0 ? std::nullopt : std::optional(row), line};
    });
    return symbolizeLayer(run, result.ledger.get());
}

bool isFlawless(const Document& document, const std::vector<LayerResult>& results) {
    return document.messages.empty() && std::ranges::all_of(results, [](const LayerResult& result) {
               return result.messages.empty() && result.ledger && result.ledger->count(RowEnd::Failed) == 0 &&
                      result.ledger->unanswered().empty() && result.unreadable.rows == 0 && result.refused.rows == 0;
           });
}

}  // namespace cxml
