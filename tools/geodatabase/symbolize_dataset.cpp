// The call of symbology/geodatabase.h: what cxml symbolize does, for a process of somebody else's.
#include "symbology/geodatabase.h"

#include "host/host_error.h"
#include "symbolize/runs.h"
#include "tools/runs/document_run.h"
#include "tools/runs/target_fields.h"

#include <fmt/format.h>
#include <atomic>
#include <cmath>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

namespace symbology {
namespace {

using cxml::Console;
using cxml::Document;
using cxml::DocumentRun;
using cxml::LayerResult;
using cxml::LayerRun;
using cxml::LayerWork;
using cxml::MessageLog;
using cxml::RunArguments;
using embedded_host::GdalWorkspace;
using embedded_host::HostError;

constexpr double longestLockTimeout = 1e6;

void expectText(const std::string& text, const char* what) {
    if (text.empty()) throw Error(fmt::format("the name of the {} is empty", what));
    if (text.find('\0') != std::string::npos) throw Error(fmt::format("the name of the {} has a U+0000 in it", what));
}

void expectUsable(const SymbolizeOptions& options) {
    for (const std::string& layer : options.layers) expectText(layer, "layer");
    for (const auto& [layer, field] : options.subtypeFields) {
        expectText(layer, "layer");
        expectText(field, "subtype field");
    }
    if (options.where && options.where->find_first_not_of(" \t\r\n") == std::string::npos)
        throw Error("the condition for rows is empty");
    const double lockTimeout = options.lockTimeout.value_or(0);
    if (std::isnan(lockTimeout) || lockTimeout < 0 || lockTimeout > longestLockTimeout)
        throw Error(
            fmt::format("the lock time-out {} is not between 0 and {} seconds", lockTimeout, longestLockTimeout));
}

std::vector<Message> messagesOf(const MessageLog& log) {
    std::vector<Message> messages;
    messages.reserve(log.texts().size());
    for (const MessageLog::Text& text : log.texts()) messages.push_back({text.text, text.count});
    return messages;
}

Rows rowsOf(const embedded_host::RowList& list) {
    return {list.rows, {list.ids.begin(), list.ids.end()}};
}

std::string whyNoSymbols(GdalWorkspace& workspace, const std::string& layer) {
    if (workspace.fieldType(layer, std::string(cxml::targetFields.front()))) return {};
    return "no row has got a symbol: the layer has no field SYMBOL_C, and missing fields were not to be added";
}

class Call {
public:
    Call(const std::string& dataset, const std::string& document, const SymbolizeOptions& options,
         const MessageListener& messages)
        : dataset_(dataset),
          options_(options),
          messages_(messages),
          console_([this](std::string_view source, std::string_view text) { tell(source, text); }),
          document_(console_, document, MessageLog::Keep::Counts) {}

    Outcome run() {
        try {
            runAll();
        } catch (const HostError& e) {
            endWhereAsked();
            throw Error(e.what());
        }
        endWhereAsked();
        return outcome();
    }

private:
    // The library's calls would swallow what a listener throws: it is kept, and the run stopped.
    void tell(std::string_view source, std::string_view text) noexcept {
        if (!messages_ || thrown_) return;
        try {
            messages_(source, text);
        } catch (...) {
            thrown_ = std::current_exception();
            stop_ = true;
        }
    }
    void endWhereAsked() const {
        if (thrown_) std::rethrow_exception(thrown_);
    }

    void runAll() {
        cxml::load(document_);
        endWhereAsked();
        if (!document_.loaded) throw HostError(whyNotLoaded());
        const std::shared_ptr<GdalWorkspace> workspace = GdalWorkspace::open(
            dataset_, GdalWorkspace::Access::Update, {.lockTimeout = options_.lockTimeout, .stop = &stop_});
        const RunArguments arguments{.layers = options_.layers, .json = false};
        const LayerWork work = layerWork();
        DocumentRun run(arguments, work, console_, document_, *workspace, results_, stop_);
        run.prepare();
        run.run();
    }

    // What the loader said is the reason where nothing else is known.
    std::string whyNotLoaded() const {
        if (!document_.reason.empty() || document_.messages.empty()) return cxml::notLoaded(document_);
        return fmt::format("{}: the document did not load: {}", document_.path, document_.messages.last());
    }

    LayerWork layerWork() const {
        LayerWork work;
        work.subtypeFields.byLayer = options_.subtypeFields;
        if (options_.where)
            work.select = [this](GdalWorkspace& workspace, const std::string& layer) {
                return workspace.select(layer, options_.where, std::nullopt);
            };
        if (options_.addMissingFields) work.prepare = cxml::addTargetFields;
        work.run = [](const LayerRun& run) {
            return ConditionalXml::symbolizeClass(*run.document.map, run.featureClass, run.selection, run.messages);
        };
        work.whyFailed = whyNoSymbols;
        work.showsLayers = false;
        return work;
    }

    Outcome outcome() const {
        Outcome outcome{.layers = {}, .documentMessages = messagesOf(document_.messages)};
        for (const LayerResult& result : results_)
            outcome.layers.push_back({.layer = result.layer,
                                      .failed = !result.succeeded,
                                      .why = result.failure,
                                      .rows = result.rows,
                                      .changed = result.changed,
                                      .messages = messagesOf(result.messages),
                                      .unreadable = rowsOf(result.unreadable),
                                      .refused = rowsOf(result.refused)});
        return outcome;
    }

    const std::string& dataset_;
    const SymbolizeOptions& options_;
    const MessageListener& messages_;
    std::exception_ptr thrown_;
    std::atomic<bool> stop_{false};
    Console console_;
    Document document_;
    std::vector<LayerResult> results_;
};

}  // namespace

Error::Error(const std::string& text) : std::runtime_error(text) {}
Error::~Error() = default;

Outcome symbolize(const std::string& dataset, const std::string& document, const SymbolizeOptions& options,
                  const MessageListener& messages) {
    expectText(dataset, "dataset");
    expectText(document, "document");
    expectUsable(options);
    // The object factory, by which documents are loaded and filters made, belongs to one thread at a time.
    static std::mutex oneAtATime;
    const std::scoped_lock lock(oneAtATime);
    try {
        return Call(dataset, document, options, messages).run();
    } catch (const CAtlException& e) {
        if (e.m_hr == E_OUTOFMEMORY) throw std::bad_alloc();
        throw Error(cxml::describe(e));
    }
}

}  // namespace symbology
