#include "stream_document.h"

#include "host/arrow/related_tables.h"
#include "host/arrow/symbolized_stream.h"
#include "symbolize/runs.h"
#include "tools/reports/configurations.h"
#include "tools/reports/coverage_report.h"
#include "tools/reports/document.h"
#include "tools/reports/explain_report.h"
#include "tools/reports/ledger_report.h"
#include "tools/reports/report.h"
#include "tools/text/text.h"
#include "tools/workbench/coverage.h"
#include "tools/workbench/explanation.h"
#include "tools/workbench/ledger.h"
#include "tools/workbench/observers.h"

#include <fmt/format.h>
#include <algorithm>
#include <atomic>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <utility>

namespace cxml {

using embedded_host::FieldKind;
using embedded_host::HostError;
using embedded_host::RunMonitor;
using embedded_host::StreamRun;

namespace {

using Answers = ConditionalXml::RowSymbolization::Answers;

// A document with the console that it never writes to.
struct Loaded {
    explicit Loaded(const std::string& path)
        : document(console, path, MessageLog::Keep::Counts, MessageLog::Show::Never) {}

    Console console{Console::Bar::Never};
    Document document;
};

std::vector<std::string> textsOf(const MessageLog& messages) {
    std::vector<std::string> texts;
    for (const MessageLog::Text& text : messages.texts()) texts.push_back(text.text);
    return texts;
}

// What is read is the process's own affair: loading is done by one thread at a time.
std::unique_ptr<Loaded> loadOne(const std::string& path) {
    static std::mutex loading;
    const std::scoped_lock lock(loading);
    auto loaded = std::make_unique<Loaded>(path);
    load(loaded->document);
    if (!loaded->document.loaded)
        throw NotLoaded(notLoaded(loaded->document), path, textsOf(loaded->document.messages));
    return loaded;
}

const ConditionalXml::FeatureClassRule& configurationOf(const Document& document, const std::string& layer) {
    const auto found = findConfiguration(*document.map, layer);
    if (!found) throw HostError(fmt::format("{}: no configuration defined for '{}'", document.path, layer));
    return *found;
}

std::string textOf(const nlohmann::ordered_json& json) {
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

nlohmann::ordered_json resultJson(const LayerResult& result) {
    nlohmann::ordered_json json{
        {"layer", result.layer}, {"succeeded", result.succeeded}, {"rows", result.rows}, {"changed", result.changed}};
    const auto add = [&](const char* name, const embedded_host::RowList& list) {
        if (list.rows != 0) json[name] = {{"rows", list.rows}, {"ids", list.ids}};
    };
    add("unreadable", result.unreadable);
    add("refused", result.refused);
    return json;
}

bool isNumber(const std::string& field) {
    return isTargetField(field) && !isSameName(field, targetFields.front());
}

}  // namespace

// The document as it was loaded, as often as runs need it at the same time.
class StreamDocument::Pool : public std::enable_shared_from_this<Pool> {
public:
    explicit Pool(std::string path) : path_(std::move(path)) {
        idle_.emplace_back(loadOne(path_).release());
        sha256_ = idle_.front()->document.sha256;
    }

    /// A document that nobody else uses until its end. \throws HostError when the file is no longer what was loaded.
    std::shared_ptr<Loaded> take() {
        Kept one;
        {
            const std::scoped_lock lock(mutex_);
            if (!idle_.empty()) {
                one = std::move(idle_.back());
                idle_.pop_back();
            }
        }
        if (!one) {
            one.reset(loadOne(path_).release());
            if (one->document.sha256 != sha256_)
                throw HostError(path_ + ": the file has changed since the document was loaded");
        }
        return {one.release(), [pool = shared_from_this()](Loaded* used) { pool->giveBack(used); }};
    }

private:
    static void forget(Loaded* loaded) noexcept {
        if (!mayRelease || mayRelease()) delete loaded;
    }
    struct Forget {
        void operator()(Loaded* loaded) const noexcept { forget(loaded); }
    };
    using Kept = std::unique_ptr<Loaded, Forget>;

    void giveBack(Loaded* used) noexcept {
        Kept one(used);
        const std::scoped_lock lock(mutex_);
        try {
            idle_.push_back(std::move(one));
        } catch (const std::bad_alloc&) {
            return;  // the next run loads it again
        }
    }

    std::string path_;
    std::optional<std::string> sha256_;
    std::mutex mutex_;
    std::vector<Kept> idle_;
};

bool StreamReport::isEnded() const {
    const std::scoped_lock lock(mutex_);
    return isEnded_;
}
std::string StreamReport::failure() const {
    const std::scoped_lock lock(mutex_);
    return content_.failure;
}
std::int64_t StreamReport::rows() const {
    const std::scoped_lock lock(mutex_);
    return content_.rows;
}
std::int64_t StreamReport::changed() const {
    const std::scoped_lock lock(mutex_);
    return content_.changed;
}
std::vector<StreamReport::Message> StreamReport::messages() const {
    const std::scoped_lock lock(mutex_);
    return content_.messages;
}
std::string StreamReport::resultJson() const {
    const std::scoped_lock lock(mutex_);
    return content_.resultJson;
}
std::string StreamReport::ledgerJson() const {
    const std::scoped_lock lock(mutex_);
    return content_.ledgerJson;
}
std::string StreamReport::ledgerText() const {
    const std::scoped_lock lock(mutex_);
    return content_.ledgerText;
}
std::string StreamReport::coverageJson() const {
    const std::scoped_lock lock(mutex_);
    return content_.coverageJson;
}
std::string StreamReport::coverageText() const {
    const std::scoped_lock lock(mutex_);
    return content_.coverageText;
}

// One run: what it uses, and what it will tell.
class StreamDocument::Run {
public:
    Run(std::shared_ptr<Loaded> loaded, const StreamOptions& options)
        : loaded_(std::move(loaded)), keepsLedger_(options.ledger), keepsCoverage_(options.coverage) {
        results_.push_back({.layer = options.layer,
                            .messages = MessageLog(loaded_->console, options.layer, MessageLog::Keep::Counts,
                                                   MessageLog::Show::Never)});
    }

    Document& document() noexcept { return loaded_->document; }
    LayerResult& result() noexcept { return results_.front(); }

    void go(IFeatureClass* featureClass, const RunMonitor& monitor) {
        LayerResult& result = this->result();
        Observers observers{};
        const bool observes = keepsLedger_ || keepsCoverage_;
        if (keepsLedger_) {
            result.ledger = std::make_unique<Ledger>(document().places, monitor.row);
            observers.add(result.ledger.get());
        }
        const auto& configuration = configurationOf(document(), result.layer);
        if (keepsCoverage_) {
            coverage_.emplace();
            coverage_->beginRun(configuration);
            observers.add(&*coverage_);
        }
        const struct End {
            Run& run;
            ~End() {
                if (run.coverage_) run.coverage_->endRun();
                if (run.result().ledger) run.result().ledger->endRun();
            }
        } end{*this};
        const OriginsOf origins(result.messages, [&](std::string_view text) -> MessageLog::Origin {
            return {monitor.row, result.ledger ? result.ledger->onMessage(text) : 0};
        });
        symbolize(featureClass, observes ? &observers : nullptr,
                  keepsCoverage_ ? Answers::Evaluated : Answers::Remembered);
    }

    void explain(IFeatureClass* featureClass, const RunMonitor& monitor,
                 const std::function<bool(std::int64_t)>& isWanted, const std::string& subtypeField,
                 std::vector<Explanation>& explanations) {
        LayerResult& result = this->result();
        Explainer explainer(document().places, [&](RowExplanation&& explanation) {
            if (!isWanted(monitor.row)) return;
            ExplainedRow row{.layer = result.layer,
                             .subtypeField = subtypeField,
                             .set = {},
                             .explanation = std::move(explanation),
                             .wanted = {},
                             .whyNot = {}};
            row.explanation.row = monitor.row;
            explanations.push_back({monitor.row, textOf(explainedJson(document(), row)),
                                    explained(document(), row, Detail::Usual, false)});
        });
        const OriginsOf origins(result.messages, [&](std::string_view text) -> MessageLog::Origin {
            return {monitor.row, explainer.onMessage(text)};
        });
        symbolize(featureClass, &explainer, Answers::Evaluated);
    }

    // What the run has to tell, in the words of the tool.
    void tell(StreamReport& report, const RunMonitor& monitor, const std::string& failure) noexcept {
        StreamReport::Content content;
        try {
            content = contentOf(monitor, failure);
        } catch (const std::exception&) {
            content = {};
            content.failure = failure.empty() ? "out of memory" : failure;
        }
        const std::scoped_lock lock(report.mutex_);
        report.content_ = std::move(content);
        report.isEnded_ = true;
    }

private:
    void symbolize(IFeatureClass* featureClass, ConditionalXml::EvaluationObserver* observer, Answers answers) {
        MessageLog& messages = result().messages;
        if (ConditionalXml::symbolizeClass(*document().map, featureClass, nullptr, collectInto(messages), answers,
                                           observer))
            return;
        throw HostError(messages.texts().empty() ? "the run failed" : messages.texts().back().text);
    }

    StreamReport::Content contentOf(const RunMonitor& monitor, const std::string& failure) {
        LayerResult& result = this->result();
        result.rows = monitor.rows;
        result.changed = monitor.changed;
        result.unreadable = monitor.unreadable;
        result.refused = monitor.refused;
        result.succeeded = failure.empty();
        StreamReport::Content content;
        content.failure = failure;
        content.rows = result.rows;
        content.changed = result.changed;
        for (const MessageLog::Text& text : result.messages.texts())
            content.messages.push_back({text.text, text.count});
        content.resultJson = textOf(resultJson(result));
        if (result.ledger) {
            content.ledgerJson = textOf(ledgersJson(document(), results_));
            std::ostringstream text;
            writeLedgers(text, document(), results_);
            content.ledgerText = text.str();
        }
        if (coverage_) {
            const CoverageView view{document(), *coverage_, classesOf(document().places, *document().map), {}};
            content.coverageJson = textOf(cxml::coverageJson(view, results_));
            std::ostringstream text;
            writeCoverage(text, view);
            content.coverageText = text.str();
        }
        return content;
    }

    std::shared_ptr<Loaded> loaded_;
    bool keepsLedger_;
    bool keepsCoverage_;
    std::vector<LayerResult> results_;
    std::optional<Coverage> coverage_;
};

StreamDocument::StreamDocument(const std::string& path) : path_(path), pool_(std::make_shared<Pool>(path)) {}
StreamDocument::~StreamDocument() = default;

std::vector<std::string> StreamDocument::messages() const {
    return textsOf(pool_->take()->document.messages);
}

std::vector<std::string> StreamDocument::classes() const {
    const std::shared_ptr<Loaded> loaded = pool_->take();
    std::vector<std::string> names;
    for (const auto& [upperName, configuration] : loaded->document.map->featureClassRules)
        names.push_back(toUtf8(configuration->name));
    return names;
}

StreamDocument::Fields StreamDocument::fields(const std::string& layer) const {
    const std::shared_ptr<Loaded> loaded = pool_->take();
    const ConditionalXml::FeatureClassRule& configuration = configurationOf(loaded->document, layer);
    Fields fields;
    for (const CComBSTR& field : configuration.referencedFields) {
        std::string name = toUtf8(field);
        if (!isTargetField(name)) fields.read.push_back(std::move(name));
    }
    fields.written = writtenFields(configuration);
    return fields;
}

namespace {

std::shared_ptr<embedded_host::Dataset> relatedTables(const StreamOptions& options) {
    if (options.related.empty()) return nullptr;
    embedded_host::RelatedTables tables;
    for (const auto& [name, stream] : options.related) tables.add(name, *stream);
    return tables.dataset();
}

StreamRun streamRunOf(const Document& document, const StreamOptions& options) {
    StreamRun run{.layer = options.layer,
                  .subtypeField = options.subtypeField,
                  .writes = {},
                  .related = relatedTables(options),
                  .run = {},
                  .onEnd = {},
                  .aroundWaits = options.aroundWaits};
    for (const std::string& field : writtenFields(configurationOf(document, options.layer)))
        run.writes.push_back({field, isNumber(field) ? FieldKind::Real : FieldKind::Text});
    return run;
}

}  // namespace

std::shared_ptr<StreamReport> StreamDocument::symbolize(ArrowArrayStream& input, const StreamOptions& options,
                                                        ArrowArrayStream& output) const {
    auto report = std::make_shared<StreamReport>();
    auto run = std::make_shared<Run>(pool_->take(), options);
    StreamRun streamRun = streamRunOf(run->document(), options);
    streamRun.run = [run](IFeatureClass* featureClass, const RunMonitor& monitor) { run->go(featureClass, monitor); };
    streamRun.onEnd = [run, report](const RunMonitor& monitor, const std::string& failure) {
        run->tell(*report, monitor, failure);
    };
    embedded_host::symbolizeStream(input, std::move(streamRun), output);
    return report;
}

std::vector<StreamDocument::Explanation> StreamDocument::explain(ArrowArrayStream& input, const StreamOptions& options,
                                                                 std::vector<std::int64_t> rows,
                                                                 std::size_t most) const {
    std::ranges::sort(rows);
    const std::int64_t last = !rows.empty() ? rows.back()
                              : std::cmp_less(most, std::numeric_limits<int>::max())
                                  ? static_cast<std::int64_t>(most)
                                  : std::numeric_limits<std::int64_t>::max();
    const auto isWanted = [&](std::int64_t row) {
        return rows.empty() ? row <= last : std::ranges::binary_search(rows, row);
    };
    std::vector<Explanation> explanations;
    Run run(pool_->take(), options);
    StreamRun streamRun = streamRunOf(run.document(), options);
    streamRun.run = [&](IFeatureClass* featureClass, const RunMonitor& monitor) {
        run.explain(featureClass, monitor, isWanted, options.subtypeField.value_or(std::string()), explanations);
    };
    ArrowArrayStream output{};
    embedded_host::symbolizeStream(input, std::move(streamRun), output);
    const struct Release {
        ArrowArrayStream& stream;
        ~Release() {
            if (stream.release) stream.release(&stream);
        }
    } release{output};
    for (std::int64_t before = 0; before < last;) {
        ArrowArray batch{};
        if (output.get_next(&output, &batch) != 0) {
            const char* const text = output.get_last_error(&output);
            throw HostError(text ? text : "the stream cannot be read");
        }
        if (!batch.release) break;
        before += batch.length;
        batch.release(&batch);
    }
    return explanations;
}

}  // namespace cxml
