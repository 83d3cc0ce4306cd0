// Runs of a layer that somebody watches.
#pragma once

#include "layer_run.h"
#include "ledger_files.h"
#include "symbolize/row_symbolization.h"

#include <vector>

namespace cxml {

/// Symbolizes the layer's rows as the library does. \param observer null, or told of each row.
bool symbolizeLayer(
    const LayerRun& run, ConditionalXml::EvaluationObserver* observer,
    ConditionalXml::RowSymbolization::Answers answers = ConditionalXml::RowSymbolization::Answers::Remembered);

/// The same with a ledger, which the result gets; messages come to know their rows and lines.
/// \param others are told of the run, too.
bool runWithLedger(
    const LayerRun& run, LedgerFiles& files, const std::vector<ConditionalXml::EvaluationObserver*>& others = {},
    ConditionalXml::RowSymbolization::Answers answers = ConditionalXml::RowSymbolization::Answers::Remembered);

/// After the run: of rows that ended without a decision, the condition that lacked least.
void findNearest(const LayerRun& run);

/// Whether nothing was said, no row has failed and every question was answered.
bool isFlawless(const Document& document, const std::vector<LayerResult>& results);

}  // namespace cxml
