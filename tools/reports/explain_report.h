// What is shown of an explained row.
#pragma once

#include "document.h"
#include "tools/workbench/why_not.h"

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace cxml {

/// How much is shown: the answer in one line, the walk up to what kept each condition from holding, or every rule.
enum class Detail : std::uint8_t { Short, Usual, Full };

struct ExplainedRow {
    std::string layer;
    std::string subtypeField;  // empty without one
    std::vector<Change> set;   // values that were tried instead of the row's
    RowExplanation explanation;
    std::string wanted;  // that was asked about; empty without
    std::vector<WhyNot> whyNot;
};

/// Lines for people; the last one ends with a line feed. \param isColoured whether a terminal shows it.
std::string explained(const Document& document, const ExplainedRow& row, Detail detail, bool isColoured);

/// Where the answer stands and what it is, in one line without its end; of a change nothing is said. \param file as the
/// document is to be called.
std::string whyNotLine(const DocumentPlaces& places, const std::string& file, const WhyNot& answer);

/// What a value that a rule has seen means, where layer and field are S-57's; else empty.
std::string meaningOf(const ExplainedRow& row, const WalkedRule& walked);

nlohmann::ordered_json explainedJson(const Document& document, const ExplainedRow& row);

}  // namespace cxml
