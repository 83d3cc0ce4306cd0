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
    result.messages.originOf = [&row, &ledger = *result.ledger](std::string_view text) -> MessageLog::Origin {
        const LONG line = ledger.onMessage(text);
        return {ledger.rows() == 0 ? std::nullopt : std::optional(row), line};
    };
    // What comes after the run is the tool's.
    const struct End {
        LayerResult& result;
        ~End() {
            result.messages.originOf = nullptr;
            result.ledger->endRun();
        }
    } end{result};
    return symbolizeLayer(run, result.ledger.get());
}

bool isFlawless(const Document& document, const std::vector<LayerResult>& results) {
    return document.messages.empty() && std::ranges::all_of(results, [](const LayerResult& result) {
               return result.messages.empty() && result.ledger && result.ledger->count(RowEnd::Failed) == 0 &&
                      result.ledger->unanswered().empty() && result.unreadable.rows == 0 && result.refused.rows == 0;
           });
}

}  // namespace cxml
