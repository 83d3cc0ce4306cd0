#include "explained_run.h"

#include "observed_run.h"

#include <utility>

namespace cxml {

bool runExplained(const LayerRun& run, const std::function<void(ExplainedRow&&)>& onRow) {
    const std::string subtypeField = subtypeFieldOf(run.featureClass);
    Explainer explainer(run.document.places, [&](RowExplanation&& explanation) {
        ExplainedRow row;
        row.layer = run.result.layer;
        row.subtypeField = subtypeField;
        row.explanation = std::move(explanation);
        row.explanation.row = run.monitor.row;
        onRow(std::move(row));
    });
    const OriginsOf origins(run.result.messages, [&](std::string_view text) -> MessageLog::Origin {
        return {run.monitor.row, explainer.onMessage(text)};
    });
    using Answers = ConditionalXml::RowSymbolization::Answers;
    return symbolizeLayer(run, &explainer, Answers::Evaluated);
}

}  // namespace cxml
