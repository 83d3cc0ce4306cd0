// Documents at work on streams of Arrow record batches, and what is to be told of it.
#pragma once

#include "host/host_error.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

struct ArrowArrayStream;

namespace cxml {

struct Document;

/// Why a document did not load.
class NotLoaded : public embedded_host::HostError {
public:
    NotLoaded(const std::string& text, std::string file, std::vector<std::string> messages)
        : HostError(text), file_(std::move(file)), messages_(std::move(messages)) {}
    const std::string& file() const noexcept { return file_; }
    /// What was said while it loaded, in order, each text once.
    const std::vector<std::string>& messages() const noexcept { return messages_; }

private:
    std::string file_;
    std::vector<std::string> messages_;
};

struct StreamOptions {
    std::string layer;
    /// The column with the subtypes' codes; without one all rows have the default list.
    std::optional<std::string> subtypeField;
    /// Tables that rules ask about, by name. Their streams are moved from.
    std::vector<std::pair<std::string, ArrowArrayStream*>> related;
    /// Whether counts are kept of how rows ended and which conditions decided.
    bool ledger = true;
    /// Whether it is counted what rows put to the test; everything is evaluated for it.
    bool coverage = false;
    /// What it returns lives while a caller waits for the run, see embedded_host::StreamRun.
    std::function<std::shared_ptr<void>()> aroundWaits;
};

/// What a run has to tell. From any thread; all but isEnded() is empty before the run's end.
class StreamReport {
public:
    struct Message {
        std::string text;
        std::uint64_t count;
    };

    bool isEnded() const;
    /// Why the stream ended early; empty when it did not.
    std::string failure() const;
    std::int64_t rows() const;
    std::int64_t changed() const;
    /// Each text once, in the order of their first coming.
    std::vector<Message> messages() const;
    /// An object as `cxml symbolize --json` has it of a layer: "rows", "changed", "unreadable", "refused" and so on.
    std::string resultJson() const;
    /// As `cxml ledger --json` and as its tables; empty when none was kept.
    std::string ledgerJson() const;
    std::string ledgerText() const;
    /// As `cxml coverage --json` and as its text; empty when it was not counted.
    std::string coverageJson() const;
    std::string coverageText() const;

private:
    friend class StreamDocument;
    struct Content {
        std::string failure;
        std::int64_t rows = 0;
        std::int64_t changed = 0;
        std::vector<Message> messages;
        std::string resultJson;
        std::string ledgerJson;
        std::string ledgerText;
        std::string coverageJson;
        std::string coverageText;
    };

    mutable std::mutex mutex_;
    bool isEnded_ = false;
    Content content_;
};

/// A rule document. May be used from any thread, also while its streams are read: each run has the document for itself,
/// and a second run at the same time loads it again. Where there are expressions, the process has an initialised
/// Python, and no caller holds its lock.
class StreamDocument {
public:
    /// \param path UTF-8. \throws NotLoaded
    explicit StreamDocument(const std::string& path);
    ~StreamDocument();
    StreamDocument(const StreamDocument&) = delete;
    StreamDocument& operator=(const StreamDocument&) = delete;

    /// Asked before a document is let go of; null: always. A document whose Python is gone cannot be: it is left to the
    /// process's end. To be set before the first document.
    static inline bool (*mayRelease)() = nullptr;

    const std::string& path() const noexcept { return path_; }
    /// What was said while it loaded, each text once.
    std::vector<std::string> messages() const;
    /// The feature classes that it configures, as it writes them, in the order of their names.
    std::vector<std::string> classes() const;

    struct Fields {
        std::vector<std::string> read;     // that rules and expressions ask rows for
        std::vector<std::string> written;  // SYMBOL_C, the placement, and what expressions compute
    };
    /// \throws embedded_host::HostError when the document does not configure the class.
    Fields fields(const std::string& layer) const;

    /// Makes `output` the stream `input` with the fields that the document writes, see symbolizeStream(). This may end
    /// before the output. \param input is moved from. \return what the run will have to tell.
    /// \throws embedded_host::HostError
    std::shared_ptr<StreamReport> symbolize(ArrowArrayStream& input, const StreamOptions& options,
                                            ArrowArrayStream& output) const;

    struct Explanation {
        std::int64_t row;
        std::string json;  // as `cxml explain --json`
        std::string text;
    };
    /// Why rows of the stream get what they get. \param rows their numbers, from 1; empty: the first `most`.
    /// \throws embedded_host::HostError
    std::vector<Explanation> explain(ArrowArrayStream& input, const StreamOptions& options,
                                     std::vector<std::int64_t> rows, std::size_t most) const;

private:
    class Pool;
    class Run;

    std::string path_;
    std::shared_ptr<Pool> pool_;
};

}  // namespace cxml
