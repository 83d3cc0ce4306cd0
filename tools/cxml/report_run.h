// The runs behind a report: one over all rows, and one over the rows that it shows.
#pragma once

#include "document_findings.h"
#include "layer_options.h"
#include "report_map.h"
#include "tools/reports/explain_report.h"
#include "tools/workbench/coverage.h"
#include "tools/workbench/operand_state.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

namespace cxml {

struct ReportArguments : LayerArguments {
    RowArguments rows;
    std::string output;
    std::optional<std::string> against;
    std::vector<std::string> tests;
    std::optional<std::string> symbols;
    bool hasMap = true;
    bool needsMap = false;  // trouble with it is an error
    std::size_t samples = 3;
    std::string stamp;
    bool overwrite = false;
};

/// What a report shows, and the pictures for it.
struct Report {
    nlohmann::ordered_json content;
    std::optional<SymbolSet> symbols;
    std::string map;  // SVG; empty without
};

class ReportRun {
public:
    /// \param work which rows.
    ReportRun(const ReportArguments& arguments, const LayerWork& work, Console& console);

    /// Runs and fills the report. \return the status of a ledger of the same. \throws embedded_host::HostError,
    /// DrawError
    ExitStatus run(Report& report);
    const Document& document() const noexcept { return document_; }

private:
    bool loadDocument();
    void findFindings();
    ExitStatus runRows();
    bool runLayer(const LayerRun& run);
    void explainSamples();
    bool explainLayer(const LayerRun& run);
    void addExplanation(const ExplainedRow& row);
    nlohmann::ordered_json valuesOf(IRow* row) const;
    void addMap(Report& report);
    ExitStatus statusOf(ExitStatus status);

    const ReportArguments& arguments_;
    LayerWork rowsOnly_;  // which rows
    LayerWork work_;
    Console& console_;
    Document document_;
    std::optional<OperandState> operands_;  // as they were before the first run
    std::vector<Finding> findings_;
    std::shared_ptr<embedded_host::GdalWorkspace> workspace_;
    std::string dataset_;
    std::vector<LayerResult> results_;
    Coverage coverage_;
    DecidedValues decided_;
    // The rows that are explained.
    nlohmann::ordered_json explanations_ = nlohmann::ordered_json::array();
    std::size_t explainedBytes_ = 0;
    std::size_t notExplained_ = 0;
    std::vector<std::string> fields_;  // of the layer that is explained
    nlohmann::ordered_json values_;    // of the row
};

}  // namespace cxml
