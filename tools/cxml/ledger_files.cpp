#include "ledger_files.h"

#include "tools/reports/json_head.h"
#include "tools/reports/ledger_report.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

namespace cxml {

using embedded_host::ColumnType;
using embedded_host::HostError;
using embedded_host::RowTable;

void addLedgerFiles(CLI::App& command, LedgerFileOptions& options) {
    command.add_option("--ledger", options.ledger, "write how each row ended, as JSON")->type_name("FILE");
    command.add_option("--rows", options.rows, "write a GeoPackage with how each row ended, a table to join")
        ->type_name("FILE.gpkg");
    command.add_flag("--overwrite", options.overwrite, "files that are there may be written anew");
}

void LedgerFiles::begin() {
    if (options_.ledger) place_.expectFree(*options_.ledger);
    if (!options_.rows) return;
    place_.expectFree(*options_.rows);
    const std::vector<RowTable::Field> fields{{"end", ColumnType::Text},       {"line", ColumnType::Integer},
                                              {"address", ColumnType::Text},   {"symbol", ColumnType::Text},
                                              {"placed_by", ColumnType::Text}, {"writes", ColumnType::Text},
                                              {"messages", ColumnType::Text}};
    rows_.emplace(*options_.rows, options_.overwrite, "cxml_ledger", fields, RowTable::Shapes::None);
}

void LedgerFiles::attach(Ledger& ledger, const std::string& layer, const DocumentPlaces& places) {
    if (rows_) ledger.onRowReport = [this, &layer, &places](const RowReport& report) { add(layer, places, report); };
}

void LedgerFiles::add(const std::string& layer, const DocumentPlaces& places, const RowReport& report) {
    if (!failure_.empty()) return;
    const auto text = [](std::string value) {
        return value.empty() ? RowTable::Value() : RowTable::Value(std::move(value));
    };
    const auto addressOf = [&](const Ledger::Condition* condition) {
        return condition ? RowTable::Value(places.addressOf(*condition)) : RowTable::Value();
    };
    try {
        rows_->add(layer, report.row,
                   {rowEndNames[static_cast<std::size_t>(report.end)],
                    report.decided ? RowTable::Value(std::int64_t{places.lineOf(*report.decided)}) : RowTable::Value(),
                    addressOf(report.decided), text(report.symbol), addressOf(report.placed),
                    text(fmt::format("{}", fmt::join(report.writes, ","))),
                    text(fmt::format("{}", fmt::join(report.messages, "\n")))});
    } catch (const HostError& error) {
        failure_ = error.what();
    }
}

ExitStatus LedgerFiles::writeLedger(Console& console, const Document& document,
                                    const std::vector<LayerResult>& results) const {
    nlohmann::ordered_json object = jsonHead("ledger", document);
    object.update(ledgersJson(document, results));
    const std::string why = place_.write(*options_.ledger, dumped(object) + '\n');
    if (why.empty()) return ExitStatus::Good;
    console.complain(why);
    return ExitStatus::Unusable;
}

ExitStatus LedgerFiles::end(Console& console, const Document& document, const std::vector<LayerResult>& results,
                            ExitStatus status) {
    if (!document.loaded || status == ExitStatus::Unusable || status == ExitStatus::Interrupted) return status;
    if (options_.ledger) status = graver(status, writeLedger(console, document, results));
    if (!rows_) return status;
    try {
        if (!failure_.empty()) throw HostError(failure_);
        rows_->finish();
    } catch (const HostError& error) {
        console.complain(error.what());
        status = graver(status, ExitStatus::Unusable);
    }
    return status;
}

}  // namespace cxml
