#include "ledger_report.h"

#include "tools/text/text.h"
#include "tools/workbench/explanation.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

namespace cxml {
namespace {

using embedded_host::RowList;
using nlohmann::ordered_json;

constexpr std::size_t rowsShown = 5;

std::string shownRows(const RowList& rows) {
    return std::cmp_greater(rows.rows, rowsShown) ? fmt::format("{} ({})", firstRows(rows), rows.rows)
                                                  : firstRows(rows);
}

void writeLayer(std::ostream& out, const LayerResult& result, std::size_t width) {
    const Ledger& ledger = *result.ledger;
    out << fmt::format("{:<{}} {:>8}", oneLine(result.layer), width, ledger.rows());
    for (std::size_t end = 0; end < rowEndNames.size(); ++end)
        out << fmt::format(" {:>8}", ledger.count(static_cast<RowEnd>(end)));
    out << fmt::format(" {:>8}\n", ledger.messageCount());
}

// "nearest rules.cxml:600; ", where it is known.
std::string nearestText(const Document& document, const LayerResult& result, RowEnd end) {
    const auto nearest = result.nearest.find(end);
    if (nearest == result.nearest.end()) return {};
    return fmt::format("nearest {}:{}; ", oneLine(document.path), document.places.lineOf(*nearest->second));
}

void writeDetails(std::ostream& out, const Document& document, const LayerResult& result) {
    const Ledger& ledger = *result.ledger;
    const std::string layer = oneLine(result.layer);
    for (const auto& [condition, rows] : ledger.decided())
        out << fmt::format("{}  {}:{}  {}  {} row{}{}\n", layer, oneLine(document.path),
                           document.places.lineOf(*condition), oneLine(toUtf8(condition->rulename)), rows->rows,
                           rows->rows == 1 ? "" : "s", document.places.isFallback(*condition) ? " (default)" : "");
    for (const RowEnd end : {RowEnd::Kept, RowEnd::None, RowEnd::Failed})
        if (const RowList& rows = ledger.of(end); rows.rows != 0)
            out << fmt::format("{}  {}: {}{}\n", layer, rowEndNames[static_cast<std::size_t>(end)],
                               nearestText(document, result, end), shownRows(rows));
    for (const auto& [line, question] : ledger.unanswered())
        out << fmt::format("{}  {}:{}  not answered ({}): {}  {}\n", layer, oneLine(document.path), line,
                           nameOf(question->outcome), oneLine(question->clause), shownRows(question->rows));
    for (const Ledger::Message& message : ledger.messages())
        out << fmt::format("{}  {}{}  {}\n", layer,
                           message.line == 0 ? "" : fmt::format("{}:{}  ", oneLine(document.path), message.line),
                           oneLine(message.text), shownRows(message.rows));
}

ordered_json layerJson(const Document& document, const LayerResult& result) {
    const Ledger& ledger = *result.ledger;
    ordered_json layer{{"layer", result.layer}, {"rows", ledger.rows()}};
    for (std::size_t end = 0; end < rowEndNames.size(); ++end)
        layer["ends"][rowEndNames[end]] = ledger.count(static_cast<RowEnd>(end));
    for (const RowEnd end : {RowEnd::Kept, RowEnd::None, RowEnd::Failed})
        if (ledger.count(end) != 0) layer["samples"][rowEndNames[static_cast<std::size_t>(end)]] = ledger.of(end).ids;
    for (const auto& [end, condition] : result.nearest)
        layer["nearest"][rowEndNames[static_cast<std::size_t>(end)]] = {
            {"line", document.places.lineOf(*condition)}, {"address", document.places.addressOf(*condition)}};
    layer["writes"] = ordered_json::object();
    for (const auto& [field, count] : ledger.writes()) layer["writes"][field] = count;
    layer["decided"] = ordered_json::array();
    for (const auto& [condition, rows] : ledger.decided())
        layer["decided"].push_back({{"line", document.places.lineOf(*condition)},
                                    {"address", document.places.addressOf(*condition)},
                                    {"symbol", toUtf8(condition->rulename)},
                                    {"fallback", document.places.isFallback(*condition)},
                                    {"rows", rows->rows},
                                    {"sample", rows->ids}});
    layer["questions"] = ordered_json::array();
    for (const auto& [line, question] : ledger.unanswered())
        layer["questions"].push_back({{"line", line},
                                      {"outcome", nameOf(question->outcome)},
                                      {"clause", question->clause},
                                      {"rows", question->rows.rows},
                                      {"sample", question->rows.ids}});
    layer["messages"] = ordered_json::array();
    for (const Ledger::Message& message : ledger.messages())
        layer["messages"].push_back({{"text", message.text},
                                     {"line", message.line},
                                     {"rows", message.rows.rows},
                                     {"sample", message.rows.ids}});
    return layer;
}

}  // namespace

std::string firstRows(const RowList& rows) {
    const auto count = std::min(rowsShown, rows.ids.size());
    std::string text =
        fmt::format("fid {}", fmt::join(rows.ids.begin(), rows.ids.begin() + static_cast<std::ptrdiff_t>(count), " "));
    return std::cmp_greater(rows.rows, count) ? text + " ..." : text;
}

void writeLedgers(std::ostream& out, const Document& document, const std::vector<LayerResult>& results) {
    std::size_t width = 5;
    for (const LayerResult& result : results) width = std::max(width, oneLine(result.layer).size());
    out << fmt::format("{:<{}} {:>8}", "layer", width, "rows");
    for (const char* name : rowEndNames) out << fmt::format(" {:>8}", name);
    out << " messages\n";
    std::int64_t rows = 0;
    for (const LayerResult& result : results) {
        if (!result.ledger) continue;
        writeLayer(out, result, width);
        rows += result.ledger->rows();
    }
    out << fmt::format("{} layer{}, {} row{}\n", results.size(), results.size() == 1 ? "" : "s", rows,
                       rows == 1 ? "" : "s");
    for (const LayerResult& result : results)
        if (result.ledger) writeDetails(out, document, result);
}

ordered_json ledgersJson(const Document& document, const std::vector<LayerResult>& results) {
    ordered_json all{{"layers", ordered_json::array()}};
    std::int64_t rows = 0;
    std::int64_t accounted = 0;
    for (const LayerResult& result : results) {
        if (!result.ledger) continue;
        all["layers"].push_back(layerJson(document, result));
        rows += result.rows;
        for (std::size_t end = 0; end < rowEndNames.size(); ++end)
            accounted += result.ledger->count(static_cast<RowEnd>(end));
    }
    all["rows"] = rows;
    all["accounted"] = accounted;
    return all;
}

}  // namespace cxml
