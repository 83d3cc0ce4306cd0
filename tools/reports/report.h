// What a command reports when it is done: summary lines for people, one JSON object for programs.
#pragma once

#include "document.h"
#include "host/geodatabase/base/run_monitor.h"
#include "tools/workbench/ledger.h"

#include <cstdint>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace cxml {

/// How the run of one layer ended.
struct LayerResult {
    std::string layer;
    bool succeeded = false;
    bool interrupted = false;
    // Why it did not succeed, in one line.
    // NOLINTNEXTLINE(readability-redundant-member-init): designated initializers leave it out
    std::string failure{};
    std::int64_t rows = 0;     // visited
    std::int64_t changed = 0;  // written; none of a run that was rolled back
    // Rows with values that could not be read, and with values that were not taken: they keep what they had.
    embedded_host::RowList unreadable{};
    embedded_host::RowList refused{};
    MessageLog messages;
    std::unique_ptr<Ledger> ledger = nullptr;  // null where none is kept
    // Of rows that ended without a decision: the condition that lacked least, for most of the first ones.
    // NOLINTNEXTLINE(readability-redundant-member-init): designated initializers leave it out
    std::map<RowEnd, const ConditionalXml::Condition*> nearest{};
};

/// "BOYLAT: 12 rows, 3 changed", what went wrong, and the count of every text that came more than once.
std::string summaryLine(const LayerResult& result);

/// The object with the members "document" and "layers", and those of `more`, "name": value.
void writeJson(std::ostream& out, const Document& document, const std::vector<LayerResult>& layers,
               const std::string& more = {});

/// The object of one layer.
void writeJson(std::ostream& out, const LayerResult& result);

/// The value of a member "document".
void writeJson(std::ostream& out, const Document& document);

/// A JSON string; bytes that are not UTF-8 become U+FFFD.
std::string jsonString(std::string_view text);

}  // namespace cxml
