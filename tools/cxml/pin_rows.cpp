#include "pin_rows.h"

#include "host/host_error.h"
#include "object_ids.h"
#include "section_run.h"
#include "symbolize/runs.h"
#include "tools/reports/configurations.h"
#include "tools/runs/subtype_fields.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>
#include <functional>
#include <optional>

namespace cxml {
namespace {

using ConditionalXml::FeatureClassRule;
using embedded_host::GdalWorkspace;
using embedded_host::HostError;
using Answers = ConditionalXml::RowSymbolization::Answers;

// Whether the row would pass as a test: it is decided and stored, and no error broke a condition off.
bool isSound(const std::vector<WalkedCondition>& conditions) {
    return std::ranges::all_of(conditions, [](const WalkedCondition& walked) {
        return walked.error.empty() &&
               std::ranges::all_of(walked.rules, [](const WalkedRule& rule) { return isSound(rule.nested); });
    });
}

// Leaves what the rows of queries are found by: a row may have walked through thousands of conditions.
void keepQueries(std::vector<WalkedCondition>& conditions) {
    for (WalkedCondition& walked : conditions) {
        std::erase_if(walked.rules, [](WalkedRule& rule) {
            keepQueries(rule.nested);
            const bool hasFound = rule.rule->ruleType == 'Q' && rule.isAsked && rule.answer;
            return !hasFound && rule.nested.empty();
        });
    }
    std::erase_if(conditions, [](const WalkedCondition& walked) { return walked.rules.empty(); });
    conditions.shrink_to_fit();
}

std::string quotedName(const std::string& name) {
    return name.find_first_of(" \t") == std::string::npos ? name : '"' + name + '"';
}

struct Column {
    std::string field;
    std::string type;
};

// Rows of one table, as they are in the dataset.
class SourceTable {
public:
    SourceTable(GdalWorkspace& workspace, std::string layer, IFeatureClass* featureClass)
        : workspace_(workspace), layer_(std::move(layer)), table_(featureClass), known_(workspace.fieldNames(layer_)) {
        if (FAILED(table_->get_Fields(&fields_))) throw HostError(layer_ + ": its fields cannot be read");
    }

    const std::string& layer() const noexcept { return layer_; }
    const std::vector<Column>& columns() const noexcept { return columns_; }
    const std::vector<ObjectId>& rows() const noexcept { return rows_; }

    /// \return false when the table has no such field, or none of a type that tests have.
    bool addColumn(const std::string& field) {
        const auto sameName = [&](const std::string& other) { return isSameName(other, field); };
        if (std::ranges::any_of(columns_, sameName, &Column::field)) return true;
        const auto known = std::ranges::find_if(known_, sameName);
        const auto type = known == known_.end() ? std::nullopt : workspace_.fieldType(layer_, *known);
        const char* const word = type ? typeWord(*type) : nullptr;
        if (!word) return false;
        columns_.push_back({*known, word});
        return true;
    }
    /// Fields that a clause names.
    void addColumnsOf(const std::string& clause) {
        const std::string upper = toUtf8(upperCase(toBstr(clause)));
        for (const std::string& field : known_)
            if (upper.find(toUtf8(upperCase(toBstr(field)))) != std::string::npos) addColumn(field);
    }

    void addRows(const std::vector<ObjectId>& rows) {
        rows_.insert(rows_.end(), rows.begin(), rows.end());
        std::ranges::sort(rows_);
        const auto twice = std::ranges::unique(rows_);
        rows_.erase(twice.begin(), twice.end());
    }

    std::vector<std::string> cells(ObjectId id) const {
        const CComPtr<IRow> row = rowOf(id);
        std::vector<std::string> cells;
        cells.reserve(columns_.size());
        for (const Column& column : columns_) cells.push_back(markdownCell(cell(row, column.field)));
        return cells;
    }
    std::string cell(ObjectId id, const std::string& field) const { return cell(rowOf(id), field); }

private:
    CComPtr<IRow> rowOf(ObjectId id) const {
        CComPtr<IRow> row;
        if (FAILED(table_->GetRow(id, &row)) || !row)
            throw HostError(fmt::format("{}: the row {} cannot be read", layer_, id));
        return row;
    }
    std::string cell(IRow* row, const std::string& field) const {
        LONG index = -1;
        CComVariant value;
        if (FAILED(fields_->FindField(toBstr(field), &index)) || index < 0 || FAILED(row->get_Value(index, &value)))
            throw HostError(fmt::format("{}: the field {} of a row cannot be read", layer_, field));
        return cellOf(value);
    }

    GdalWorkspace& workspace_;
    std::string layer_;
    CComQIPtr<ITable> table_;
    CComPtr<IFields> fields_;
    std::vector<std::string> known_;
    std::vector<Column> columns_;
    std::vector<ObjectId> rows_;
};

std::string lineOf(const std::vector<std::string>& cells) {
    return fmt::format("| {} |\n", fmt::join(cells, " | "));
}

class LayerPins {
public:
    LayerPins(const LayerRun& run, GdalWorkspace& workspace, const FeatureClassRule& configuration, std::string alias,
              OperandState& operands)
        : run_(run),
          workspace_(workspace),
          alias_(std::move(alias)),
          operands_(operands),
          own_(workspace, run.result.layer, run.featureClass),
          subtypeField_(subtypeFieldOf(run.featureClass)) {
        if (!subtypeField_.empty()) own_.addColumn(subtypeField_);
        for (const CComBSTR& field : configuration.referencedFields)
            if (!isTargetField(toUtf8(field))) own_.addColumn(toUtf8(field));
        outputs_ = writtenFields(configuration);
    }

    /// \param chosen the rows that the section is to have, in the order of their ids.
    PinnedSection pin(const std::map<ObjectId, RowExplanation>& chosen) {
        std::vector<ObjectId> ids;
        ids.reserve(chosen.size());
        for (const auto& [id, explanation] : chosen) ids.push_back(id);
        own_.addRows(ids);
        for (const auto& [id, explanation] : chosen) addRelated(explanation.conditions);
        // What the rows come to by themselves is what is expected; it has to be what they come to in the dataset.
        expect(chosen);
        std::string written;
        while (!expected_.empty()) {
            written = text(usedOutputs());
            if (passes(written)) break;
        }
        return {expected_.empty() ? std::string() : written, expected_.size(), std::move(remarks_)};
    }

private:
    void addRelated(const std::vector<WalkedCondition>& conditions) {
        for (const WalkedCondition& walked : conditions) {
            for (const WalkedRule& rule : walked.rules) {
                if (const auto* query = dynamic_cast<const ConditionalXml::QueryRule*>(rule.rule);
                    query && rule.isAsked && rule.answer)
                    addRelated(*query, rule.clause);
                addRelated(rule.nested);
            }
        }
    }

    void addRelated(const ConditionalXml::QueryRule& query, const std::string& clause) {
        constexpr std::size_t most = 50;  // that one question of a row finds
        const std::string name = toUtf8(query.tableName);
        try {
            const std::string layer = workspace_.layerName(name);
            SourceTable& table = isSameName(layer, own_.layer()) ? own_ : related(layer);
            table.addColumnsOf(clause);
            if (const auto* fetch = dynamic_cast<const ConditionalXml::QueryRuleFetch*>(&query); fetch)
                for (const auto& [field, alias] : fetch->fetchFields) table.addColumn(toUtf8(field));
            const CComPtr<ISelectionSet> rows = workspace_.select(table.layer(), clause, std::nullopt);
            if (rows) table.addRows(firstIds(rows, most));
        } catch (const HostError& e) {
            remarks_.push_back(fmt::format("rows of {} are left out: {}", name, e.what()));
        }
    }

    SourceTable& related(const std::string& layer) {
        const auto known =
            std::ranges::find_if(related_, [&](const SourceTable& table) { return isSameName(table.layer(), layer); });
        if (known != related_.end()) return *known;
        return related_.emplace_back(workspace_, layer, workspace_.openFeatureClass(layer, std::nullopt));
    }

    std::vector<std::string> usedOutputs() const {
        std::vector<std::string> used;
        for (const std::string& output : outputs_) {
            const bool isUsed = output == "SYMBOL_C" || std::ranges::any_of(expected_, [&](const auto& row) {
                                    const auto cell = row.second.find(output);
                                    return cell != row.second.end() && cell->second != "NULL";
                                });
            if (isUsed) used.push_back(output);
        }
        return used;
    }

    // \param outputs to be expected; without any it is a draft: of all outputs with a cell that no value is.
    std::string text(const std::vector<std::string>& outputs) const {
        const bool isDraft = outputs.empty();
        std::string all = fmt::format("## {}\n<!-- rows: {}", own_.layer(), quotedName(own_.layer()));
        if (alias_ != own_.layer()) all += fmt::format(" title \"{}\"", alias_);
        if (!subtypeField_.empty()) all += fmt::format(" subtype {}", subtypeField_);
        std::vector<std::string> header;
        for (const Column& column : own_.columns()) header.push_back(column.field + ' ' + column.type);
        const std::vector<std::string>& results = isDraft ? outputs_ : outputs;
        header.insert(header.end(), results.begin(), results.end());
        header.emplace_back("by");
        all += " -->\n" + lineOf(header) + lineOf(std::vector<std::string>(header.size(), "---"));
        for (const ObjectId id : own_.rows()) {
            std::vector<std::string> cells = own_.cells(id);
            const auto expected = expected_.find(id);
            for (std::size_t i = 0; i < results.size() + 1; ++i) {
                const std::string name = i == results.size() ? "by" : results[i];
                if (isDraft)
                    cells.emplace_back("?");
                else
                    cells.push_back(expected == expected_.end() ? "" : markdownCell(expected->second.at(name)));
            }
            all += lineOf(cells);
        }
        for (const SourceTable& table : related_) {
            header.clear();
            for (const Column& column : table.columns()) header.push_back(column.field + ' ' + column.type);
            all += fmt::format("\n<!-- rows: {} -->\n", quotedName(table.layer())) + lineOf(header) +
                   lineOf(std::vector<std::string>(header.size(), "---"));
            for (const ObjectId id : table.rows()) all += lineOf(table.cells(id));
        }
        return all;
    }

    // Whether the row by itself comes to what it comes to in the dataset.
    bool isSame(ObjectId id, const RowExplanation& there, const TestedRow& alone,
                const std::map<std::string, std::string>& got) const {
        if (!alone.explanation || there.named != alone.explanation->named) return false;
        return std::ranges::all_of(outputs_, [&](const std::string& output) {
            const auto isOf = [&](const RowExplanation::Put& put) { return put.field == output; };
            const auto put = std::ranges::find_if(there.puts, isOf);
            const auto aloneToo = std::ranges::find_if(alone.explanation->puts, isOf);
            const bool isPut = put != there.puts.end();
            if (aloneToo == alone.explanation->puts.end()) return !isPut || put->value.type == "null";
            // What the dataset holds already is not put again.
            return isPut ? inWords(put->value) == inWords(aloneToo->value) : own_.cell(id, output) == got.at(output);
        });
    }

    void expect(const std::map<ObjectId, RowExplanation>& chosen) {
        const std::vector<MarkdownSection> sections = readMarkdown(text({}));
        const auto keepSound = [](TestedRow& row) {
            if (isSound(row.explanation->conditions))
                row.explanation->conditions.clear();
            else
                row.explanation.reset();
        };
        const TestedSection tested = run(sections.front(), SectionRun::Detail::Everything, keepSound);
        for (std::size_t i = 0; i < tested.rows.size(); ++i) {
            const ObjectId id = own_.rows().at(i);
            const auto there = chosen.find(id);
            if (there == chosen.end()) continue;
            std::map<std::string, std::string> got(tested.rows[i].got.begin(), tested.rows[i].got.end());
            if (isSame(id, there->second, tested.rows[i], got))
                expected_.emplace(id, std::move(got));
            else
                remarks_.push_back(fmt::format("fid {} is not pinned: by itself it comes to something else", id));
        }
    }

    // What does not pass is no longer expected.
    bool passes(const std::string& written) {
        const std::vector<MarkdownSection> sections = readMarkdown(written);
        const TestedSection tested = run(sections.front(), SectionRun::Detail::Verdict);
        if (!tested.failures.empty()) throw HostError(tested.failures.front().second);
        bool isGood = true;
        for (std::size_t i = 0; i < tested.rows.size(); ++i) {
            const std::vector<Miss>& misses = tested.rows[i].misses;
            if (misses.empty()) continue;
            isGood = false;
            const ObjectId id = own_.rows().at(i);
            expected_.erase(id);
            remarks_.push_back(fmt::format("fid {} is not pinned: {}", id, misses.front().text));
        }
        return isGood;
    }

    TestedSection run(const MarkdownSection& section, SectionRun::Detail detail,
                      const SectionRun::OnExplained& onExplained = {}) const {
        SectionRun alone(section);
        return alone.run({*run_.document.map, run_.document.places, run_.document.path, operands_}, detail,
                         onExplained);
    }

    const LayerRun& run_;
    GdalWorkspace& workspace_;
    std::string alias_;
    OperandState& operands_;
    SourceTable own_;
    std::vector<SourceTable> related_;
    std::string subtypeField_;
    std::vector<std::string> outputs_;
    std::map<ObjectId, std::map<std::string, std::string>> expected_;  // of chosen rows, by column
    std::vector<std::string> remarks_;
};

bool explainRows(const LayerRun& run, ISelectionSet* selection, IGPMessages* messages,
                 const std::function<void(RowExplanation&&)>& onRow) {
    Explainer explainer(run.document.places, onRow);
    const bool succeeded = ConditionalXml::symbolizeClass(*run.document.map, run.featureClass, selection, messages,
                                                          Answers::Evaluated, &explainer);
    return succeeded && run.monitor.failure.empty();
}

}  // namespace

std::uint32_t Occurrences::number(const void* part, int what) {
    return numbers_.try_emplace({part, what}, static_cast<std::uint32_t>(numbers_.size())).first->second;
}

enum : int { Decides, Places, Computes, Holds, Fails };

RowCover::Elements Occurrences::of(const RowExplanation& row) {
    RowCover::Elements elements{number(row.named, Decides)};
    if (row.placed) elements.push_back(number(row.placed, Places));
    add(row.conditions, elements);
    std::ranges::sort(elements);
    const auto twice = std::ranges::unique(elements);
    elements.erase(twice.begin(), twice.end());
    return elements;
}

void Occurrences::add(const std::vector<WalkedCondition>& conditions, RowCover::Elements& elements) {
    for (const WalkedCondition& walked : conditions) {
        if (walked.held && walked.condition->callsExpression()) elements.push_back(number(walked.condition, Computes));
        for (const WalkedRule& rule : walked.rules) {
            if (rule.isAsked) elements.push_back(number(rule.rule, rule.answer ? Holds : Fails));
            add(rule.nested, elements);
        }
    }
}

std::optional<PinnedSection> pinLayer(const LayerRun& run, GdalWorkspace& workspace, OperandState& operands,
                                      Occurrences& occurrences, RowCover cover, std::size_t most) {
    CComBSTR alias;
    if (FAILED(run.featureClass->get_AliasName(&alias))) throw HostError(run.result.layer + ": its class has no name");
    const auto configuration = findConfiguration(*run.document.map, toUtf8(alias));
    std::size_t decided = 0;
    std::size_t undecided = 0;
    const auto coverRow = [&](const RowExplanation& row) {
        ++(row.isDecided ? decided : undecided);
        if (row.isDecided && row.isStored && isSound(row.conditions)) cover.add(run.monitor.row, occurrences.of(row));
    };
    if (!explainRows(run, run.selection, run.messages, coverRow) || !configuration) return std::nullopt;
    if (decided == 0 && undecided != 0) return std::nullopt;  // as of a layer without SYMBOL_C
    const std::vector<ObjectId> ids = cover.choose(most);
    if (ids.empty()) return PinnedSection();
    std::map<ObjectId, RowExplanation> chosen;
    const auto keepRow = [&](RowExplanation&& row) {
        keepQueries(row.conditions);
        chosen.insert_or_assign(run.monitor.row, std::move(row));
    };
    if (!explainRows(run, workspace.select(run.result.layer, std::nullopt, ids), nullptr, keepRow)) return std::nullopt;
    return LayerPins(run, workspace, *configuration, toUtf8(alias), operands).pin(chosen);
}

}  // namespace cxml
