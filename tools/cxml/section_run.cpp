#include "section_run.h"

#include "host/com_object.h"
#include "interrupt.h"
#include "symbolize/runs.h"
#include "text/text.h"
#include "tools/reports/configurations.h"
#include "tools/reports/explain_report.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <utility>

namespace cxml {
namespace {

using ConditionalXml::FeatureClassRule;
using embedded_host::ColumnType;
using embedded_host::HostError;
using embedded_host::MemoryDataset;
using embedded_host::partOf;
using Role = TestColumn::Role;

template <class Number>
Number numberIn(const MarkdownCell& cell, const std::string& text, const char* what) {
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        throw MarkdownError(cell.place, fmt::format("'{}' is not {}", cell.text, what));
    return number;
}

MemoryDataset::Value givenValue(const MarkdownCell& cell, ColumnType type) {
    const std::optional<std::string> text = textOf(cell.text);
    if (!text) return std::monostate();
    switch (partOf(type)) {
        case embedded_host::CellPart::Integer:
            return numberIn<std::int64_t>(cell, *text, "a whole number");
        case embedded_host::CellPart::Real:
            return numberIn<double>(cell, *text, "a number");
        default:
            return *text;
    }
}

struct NoCounter {
    static inline std::atomic<long> live = 0;
};

// Hands the library's messages of a run on.
class MessagesTo final : public embedded_host::ComObject<NoCounter, IGPMessages> {
public:
    using Take = std::function<void(const std::string&)>;

    /// \param take must outlive this.
    explicit MessagesTo(const Take& take) : take_(take) {}
    HRESULT STDMETHODCALLTYPE AddMessage(BSTR text) override { return add(text); }
    HRESULT STDMETHODCALLTYPE AddError(LONG /*code*/, BSTR text) override { return add(text); }

private:
    HRESULT add(BSTR text) noexcept {
        try {
            take_(toUtf8(ConditionalXml::view(text)));
            return S_OK;
        } catch (const std::exception&) {
            return E_OUTOFMEMORY;
        }
    }

    const Take& take_;
};

bool symbolize(const TestedRules& rules, IFeatureClass* featureClass, ConditionalXml::RowSymbolization::Answers answers,
               ConditionalXml::EvaluationObserver& observer, const MessagesTo::Take& onMessage) {
    const CComPtr<IGPMessages> messages(new MessagesTo(onMessage));
    return ConditionalXml::symbolizeClass(rules.map, featureClass, nullptr, messages, answers, &observer);
}

// What is in a table after its run, by row and field.
class StoredValues {
public:
    explicit StoredValues(IFeatureClass* featureClass) {
        const CComQIPtr<ITable> table(featureClass);
        if (!table || FAILED(table->Update(nullptr, VARIANT_FALSE, &cursor_)) || FAILED(table->get_Fields(&fields_)))
            throw HostError("the rows of a test cannot be read");
    }
    CComPtr<IRow> next() {
        CComPtr<IRow> row;
        if (FAILED(cursor_->NextRow(&row))) throw HostError("a row of a test cannot be read");
        return row;
    }
    CComVariant value(IRow* row, const std::string& field) const {
        LONG index = -1;
        CComVariant value;
        if (FAILED(fields_->FindField(toBstr(field), &index)) || index < 0 || FAILED(row->get_Value(index, &value)))
            throw HostError(fmt::format("the field {} of a test's row cannot be read", field));
        return value;
    }

private:
    CComPtr<ICursor> cursor_;
    CComPtr<IFields> fields_;
};

bool hasAddress(const DocumentPlaces& places, const FeatureClassRule& configuration, std::string_view address) {
    return std::ranges::any_of(places.conditionsOf(configuration), [&](const ConditionalXml::Condition* condition) {
        return places.addressOf(*condition) == address;
    });
}

// One row against what its cells say.
class Judgement {
public:
    Judgement(const TestedRules& rules, const FeatureClassRule& configuration, const RowVerdict& verdict,
              TestedRow& row)
        : rules_(rules), configuration_(configuration), named_(verdict.named), row_(row) {
        row_.decided = named_ ? fmt::format("{}:{} {}", rules.file, rules.places.lineOf(*named_), address())
                              : "no condition names a symbol";
        row_.missingFields = verdict.missingFields;
        const MarkdownCell& first = row.row->cells.front();
        for (const std::string& message : verdict.messages) miss(first, oneLine(message), {}, {});
        if (!verdict.isDecided && verdict.messages.empty()) miss(first, "the row cannot be read", {}, {});
        if (!verdict.isStored && verdict.messages.empty()) miss(first, "the row is not stored", {}, {});
    }

    void value(const MarkdownCell& cell, const std::string& field, const VARIANT& value) {
        std::string_view wanted = cell.text;
        if (wanted.empty()) return;
        const std::string got = cellOf(value);
        row_.expected.emplace_back(field, cell.text);
        row_.got.emplace_back(field, got);
        const bool isNegated = takeNegation(wanted);
        if (isValue(value, wanted) != isNegated) return;
        if (isNegated) return miss(cell, fmt::format("{} is {}, expected another", field, got), {}, {});
        miss(cell, fmt::format("{} is {}, expected {}", field, got, wanted), got,
             field == "SYMBOL_C" ? textOf(wanted).value_or("") : "");
    }

    void decider(const MarkdownCell& cell) {
        std::string_view wanted = cell.text;
        if (wanted.empty()) return;
        const std::string got = named_ ? address() : "-";
        row_.expected.emplace_back("by", cell.text);
        row_.got.emplace_back("by", got);
        const bool isNegated = takeNegation(wanted);
        const bool isAddress = wanted.find('/') != std::string_view::npos;
        if (isAddress && !hasAddress(rules_.places, configuration_, wanted))
            return miss(cell, fmt::format("no condition has the address {}", wanted), isNegated ? "" : got, {});
        const bool isIt = got == wanted || (isNegated && named_ && toUtf8(named_->rulename) == wanted);
        if (isIt != isNegated) return;
        const std::string decider = named_ ? got : "no condition";
        if (isNegated) return miss(cell, fmt::format("decided by {}, expected another", decider), {}, {});
        const bool isNone = wanted == "-";
        miss(cell, fmt::format("decided by {}, expected {}", decider, isNone ? "none" : wanted), got,
             isNone ? "" : std::string(wanted));
    }

private:
    std::string address() const { return rules_.places.addressOf(*named_); }
    void miss(const MarkdownCell& cell, std::string text, std::string got, std::string wanted) {
        row_.misses.push_back({cell.place, cell.width, std::move(text), std::move(got), std::move(wanted)});
    }

    const TestedRules& rules_;
    const FeatureClassRule& configuration_;
    const ConditionalXml::Condition* named_;
    TestedRow& row_;
};

}  // namespace

std::size_t TestedSection::failed() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(rows, [](const TestedRow& row) { return !row.misses.empty(); }));
}

std::size_t TestedSection::passed() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(rows, [](const TestedRow& row) { return row.isTest() && row.misses.empty(); }));
}

SectionRun::SectionRun(const MarkdownSection& section) : section_(section) {
    for (const MarkdownTable& written : section.tables) {
        Table& table = tables_.emplace_back(Table{&written, {}, false});
        for (const MarkdownCell& cell : written.header.cells) {
            const TestColumn& column = table.columns.emplace_back(readColumn(cell));
            table.isRun = table.isRun || column.role != Role::Given;
        }
    }
    dataset_ = std::make_unique<MemoryDataset>(contents());
    workspace_ = embedded_host::GdalWorkspace::open(dataset_->name(), embedded_host::Access::Update,
                                                    {.lockTimeout = std::nullopt, .stop = &stopRequested()});
    workspace_->watch(&monitor_);
}

// One layer of a name, whatever the number of tables for it: their rows follow each other.
MemoryDataset::Table SectionRun::contentOf(const Table& table) const {
    MemoryDataset::Table content{table.written->layer, table.written->title, {}, {}};
    const auto add = [&content](const std::string& name, ColumnType type) {
        const bool isNew = std::ranges::none_of(
            content.fields, [&](const MemoryDataset::Field& field) { return isSameName(field.name, name); });
        if (isNew) content.fields.push_back({name, type});
        return isNew;
    };
    for (std::size_t i = 0; i < table.columns.size(); ++i)
        if (table.columns[i].role == Role::Given && !add(table.columns[i].name, table.columns[i].type))
            throw MarkdownError(table.written->header.cells[i].place, "the table has this field already");
    for (const MarkdownRow& row : table.written->rows) {
        std::vector<MemoryDataset::Value>& values = content.rows.emplace_back();
        for (std::size_t i = 0; i < table.columns.size(); ++i)
            if (table.columns[i].role == Role::Given) values.push_back(givenValue(row.cells[i], table.columns[i].type));
    }
    for (const TestColumn& column : table.columns)
        if (column.role == Role::Expected) add(column.name, column.type);
    if (table.isRun)
        for (const std::string_view name : targetFields)
            add(std::string(name), name == targetFields.front() ? ColumnType::Text : ColumnType::Real);
    for (std::vector<MemoryDataset::Value>& values : content.rows) values.resize(content.fields.size());
    return content;
}

std::vector<MemoryDataset::Table> SectionRun::contents() {
    std::vector<MemoryDataset::Table> all;
    for (const Table& table : tables_) {
        const bool isTwice = std::ranges::any_of(
            all, [&](const MemoryDataset::Table& other) { return isSameName(other.name, table.written->layer); });
        if (isTwice)
            throw MarkdownError({table.written->line, 1},
                                fmt::format("the section has a table {} already", table.written->layer));
        all.push_back(contentOf(table));
    }
    return all;
}

bool SectionRun::concerns(const std::string& className) const {
    return std::ranges::any_of(tables_, [&](const Table& table) {
        const std::string& alias = table.written->title.empty() ? table.written->layer : table.written->title;
        return table.isRun && isSameName(alias, className);
    });
}

TestedSection SectionRun::run(const TestedRules& rules, Detail detail, const OnExplained& onExplained) {
    TestedSection result{&section_, {}, {}};
    if (std::ranges::none_of(tables_, &Table::isRun))
        result.failures.emplace_back(section_.tables.front().line, "no table says what to expect: nothing was run");
    runTables(rules, result,
              [&](const Table& table, const std::shared_ptr<FeatureClassRule>& configuration,
                  IFeatureClass* featureClass) { judge(table, *configuration, featureClass, rules, result); });
    if (detail == Detail::Verdict || (detail == Detail::Reasons && result.failed() == 0)) return result;
    // Every rule is asked again, to tell what the run found without asking.
    TestedSection again{&section_, {}, {}};
    std::size_t at = 0;
    runTables(
        rules, again,
        [&](const Table& table, const std::shared_ptr<FeatureClassRule>& configuration, IFeatureClass* featureClass) {
            explain(featureClass, rules, [&](RowExplanation&& explanation) {
                TestedRow& row = result.rows.at(at + static_cast<std::size_t>(explanation.row) - 1);
                row.explanation = std::move(explanation);
                row.reasons = reasonsOf(row, configuration, rules);
                if (onExplained) onExplained(row);
            });
            at += table.written->rows.size();
        });
    return result;
}

void SectionRun::cover(const TestedRules& rules, Coverage& coverage) {
    TestedSection unused{&section_, {}, {}};
    runTables(rules, unused,
              [&](const Table& /*table*/, const std::shared_ptr<FeatureClassRule>& configuration,
                  IFeatureClass* featureClass) {
                  monitor_ = {};
                  coverage.beginRun(*configuration);
                  const struct End {
                      Coverage& coverage;
                      ~End() { coverage.endRun(); }
                  } end{coverage};
                  symbolize(rules, featureClass, Answers::Evaluated, coverage, [](const std::string&) {});
              });
}

void SectionRun::runTables(const TestedRules& rules, TestedSection& result, const OnTable& onTable) {
    rules.operands.restore();
    // Nothing of a run stays.
    const struct Rehearsal {
        explicit Rehearsal(embedded_host::GdalWorkspace& workspace) : dataset(workspace) { dataset.begin(); }
        ~Rehearsal() { dataset.rollback(); }
        Rehearsal(const Rehearsal&) = delete;
        Rehearsal& operator=(const Rehearsal&) = delete;
        embedded_host::GdalWorkspace& dataset;
    } rehearsal(*workspace_);
    for (const Table& table : tables_) {
        if (!table.isRun) continue;
        const MarkdownTable& written = *table.written;
        const std::string& alias = written.title.empty() ? written.layer : written.title;
        const auto configuration = findConfiguration(rules.map, alias);
        if (!configuration) {
            result.failures.emplace_back(written.line,
                                         fmt::format("the document has no class '{}': nothing was run", alias));
            continue;
        }
        onTable(table, configuration,
                workspace_->openFeatureClass(
                    written.layer, written.subtypeField.empty() ? std::nullopt : std::optional(written.subtypeField)));
    }
}

void SectionRun::judge(const Table& table, const FeatureClassRule& configuration, IFeatureClass* featureClass,
                       const TestedRules& rules, TestedSection& result) {
    const MarkdownTable& written = *table.written;
    monitor_ = {};
    RowVerdicts verdicts(monitor_.row);
    const bool succeeded = symbolize(rules, featureClass, Answers::Remembered, verdicts,
                                     [&](const std::string& text) { verdicts.onMessage(text); });
    if (!succeeded || !monitor_.failure.empty() || !verdicts.messages().empty()) {
        const std::string why = verdicts.messages().empty() ? monitor_.failure : verdicts.messages().front();
        result.failures.emplace_back(written.line, why.empty() ? "the run has failed" : oneLine(why));
    }
    StoredValues stored(featureClass);
    bool isTest = false;
    for (std::size_t i = 0; i < written.rows.size(); ++i) {
        const MarkdownRow& line = written.rows[i];
        const CComPtr<IRow> row = stored.next();
        if (!row) throw HostError("a row of a test is gone");
        TestedRow tested{&written, &line, {}, {}, {}, {}, {}, {}, {}};
        const auto expects = [&](std::size_t column) {
            return table.columns[column].role != Role::Given && !line.cells[column].text.empty();
        };
        bool expectsAny = false;
        for (std::size_t column = 0; column < table.columns.size(); ++column)
            expectsAny = expectsAny || expects(column);
        if (expectsAny) {
            Judgement judgement(rules, configuration, verdicts.of(static_cast<ObjectId>(i) + 1), tested);
            for (std::size_t column = 0; column < table.columns.size(); ++column) {
                const std::string& name = table.columns[column].name;
                if (!expects(column)) continue;
                if (table.columns[column].role == Role::By)
                    judgement.decider(line.cells[column]);
                else
                    judgement.value(line.cells[column], name, stored.value(row, name));
            }
        }
        isTest = isTest || expectsAny;
        result.rows.push_back(std::move(tested));
    }
    if (!isTest) result.failures.emplace_back(written.line, "no row of the table says what to expect");
}

void SectionRun::explain(IFeatureClass* featureClass, const TestedRules& rules,
                         const std::function<void(RowExplanation&&)>& onRow) {
    monitor_ = {};
    Explainer explainer(rules.places, [&](RowExplanation&& explanation) {
        explanation.row = monitor_.row;
        onRow(std::move(explanation));
    });
    // That it can fail, the run before has told.
    symbolize(rules, featureClass, Answers::Evaluated, explainer,
              [&](const std::string& text) { explainer.onMessage(text); });
}

std::vector<std::string> SectionRun::reasonsOf(const TestedRow& row,
                                               const std::shared_ptr<FeatureClassRule>& configuration,
                                               const TestedRules& rules) {
    std::vector<std::string> reasons;
    std::vector<std::string> asked;
    std::vector<const ConditionalXml::Condition*> conditions;
    const TriedRow tried{*row.explanation, configuration, row.table->subtypeField, {}};
    for (const Miss& miss : row.misses) {
        if (miss.wanted.empty() || std::ranges::find(asked, miss.wanted) != asked.end()) continue;
        asked.push_back(miss.wanted);
        for (const WhyNot& answer : whyNot(tried, miss.wanted, rules.places)) {
            // A condition is asked about by its name, and once more by its address.
            if (answer.condition && std::ranges::find(conditions, answer.condition) != conditions.end()) continue;
            conditions.push_back(answer.condition);
            reasons.push_back(
                fmt::format("not {} because: {}", oneLine(miss.wanted), whyNotLine(rules.places, rules.file, answer)));
        }
    }
    if (!row.misses.empty() && !row.missingFields.empty())
        reasons.push_back(oneLine(fmt::format("no fields of the row: {}", fmt::join(row.missingFields, ", "))));
    return reasons;
}

}  // namespace cxml
