// SectionRun: a section of a test's file, run as a dataset of its own.
#pragma once

#include "host/geodatabase/base/run_monitor.h"
#include "host/geodatabase/gdal_workspace.h"
#include "host/geodatabase/memory_dataset.h"
#include "symbolize/row_symbolization.h"
#include "tools/places/places.h"
#include "tools/workbench/coverage.h"
#include "tools/workbench/explanation.h"
#include "tools/workbench/markdown_tables.h"
#include "tools/workbench/operand_state.h"
#include "tools/workbench/row_values.h"
#include "tools/workbench/row_verdicts.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cxml {

/// What a section is run with.
struct TestedRules {
    const ConditionalXml::ConditionMap& map;
    const DocumentPlaces& places;
    const std::string& file;  // as reasons call the document
    OperandState& operands;
};

/// Something that is not as the test says.
struct Miss {
    TextPlace place;
    std::size_t width = 0;
    std::string text;    // "SYMBOL_C is BOYLAT13, expected BOYSPR61"
    std::string got;     // what the cell would have to say; empty where that is no answer
    std::string wanted;  // the name or address of a condition that should have decided; empty for none
};

/// Borrows from the section that it is of, and from the document.
struct TestedRow {
    const MarkdownTable* table;
    const MarkdownRow* row;
    std::vector<Miss> misses;
    std::vector<std::pair<std::string, std::string>> expected;  // by column
    std::vector<std::pair<std::string, std::string>> got;
    std::string decided;               // "rules.cxml:48 BOYLAT/1/BOYLAT13", or that no condition named a symbol
    std::vector<std::string> reasons;  // why it is not as the test says
    std::vector<std::string> missingFields;
    std::optional<RowExplanation> explanation;  // where it was asked for

    /// Whether a cell says what to expect; else the row is there for queries.
    bool isTest() const noexcept { return !expected.empty() || !misses.empty(); }
};

struct TestedSection {
    const MarkdownSection* section;
    std::vector<TestedRow> rows;
    std::vector<std::pair<std::size_t, std::string>> failures;  // of tables as a whole: line, text

    std::size_t failed() const;
    std::size_t passed() const;
};

class SectionRun {
public:
    enum class Detail {
        Verdict,    // whether rows are as the test says
        Reasons,    // and, when one is not, explanations of all
        Everything  // explanations in any case
    };

    /// \param section must outlive this. \throws MarkdownError, embedded_host::HostError
    explicit SectionRun(const MarkdownSection& section);

    /// Told of each row when it has got its explanation, of which it may take what is large.
    using OnExplained = std::function<void(TestedRow&)>;

    /// As if the dataset were new each time. \throws embedded_host::HostError
    TestedSection run(const TestedRules& rules, Detail detail, const OnExplained& onExplained = {});
    /// Counts what the rows of its tables put to the test; what runs have to say, run() tells.
    void cover(const TestedRules& rules, Coverage& coverage);
    const MarkdownSection& section() const noexcept { return section_; }
    /// Whether the class of one of the tables that are run has this name, in any case.
    bool concerns(const std::string& className) const;

private:
    struct Table {
        const MarkdownTable* written;
        std::vector<TestColumn> columns;
        bool isRun;  // else it is there for queries
    };

    embedded_host::MemoryDataset::Table contentOf(const Table& table) const;
    std::vector<embedded_host::MemoryDataset::Table> contents();
    using Answers = ConditionalXml::RowSymbolization::Answers;
    using FeatureClassRule = ConditionalXml::FeatureClassRule;
    /// What is to be done with a table that runs.
    using OnTable = std::function<void(const Table&, const std::shared_ptr<FeatureClassRule>&, IFeatureClass*)>;

    void runTables(const TestedRules& rules, TestedSection& result, const OnTable& onTable);
    void judge(const Table& table, const FeatureClassRule& configuration, IFeatureClass* featureClass,
               const TestedRules& rules, TestedSection& result);
    /// \return a row's explanation by its id.
    void explain(IFeatureClass* featureClass, const TestedRules& rules,
                 const std::function<void(RowExplanation&&)>& onRow);
    static std::vector<std::string> reasonsOf(const TestedRow& row,
                                              const std::shared_ptr<FeatureClassRule>& configuration,
                                              const TestedRules& rules);

    const MarkdownSection& section_;
    std::vector<Table> tables_;
    std::unique_ptr<embedded_host::MemoryDataset> dataset_;
    embedded_host::RunMonitor monitor_;
    std::shared_ptr<embedded_host::GdalWorkspace> workspace_;
};

}  // namespace cxml
