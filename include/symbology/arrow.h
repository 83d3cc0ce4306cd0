// Rule documents at work on streams of Apache Arrow data, for C++: classes over symbology/symbology.h. They are in this
// header alone, so that programs of any compiler and standard library may use libsymbology_c.
#pragma once

#include "symbology/symbology.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace symbology::arrow {

// All texts are UTF-8.

/// What cannot be done: what() says in one line why, and names the file, class, column or table.
class Error : public std::runtime_error {
public:
    /// \param text one line. \param file see file().
    Error(const std::string& text, std::string file) : std::runtime_error(text), documentFile(std::move(file)) {}
    /// The document's path when it did not load, else empty.
    const std::string& file() const noexcept { return documentFile; }

private:
    std::string documentFile;
};

/// A text that was said, and how often.
struct Message {
    std::string text;     ///< one line
    std::uint64_t count;  ///< from 1
};

/// A table that rules ask about. Its stream is moved from, also on failure.
struct Related {
    std::string name;          ///< as rules write it, in any case
    ArrowArrayStream* stream;  ///< not null
};

// NOLINTBEGIN(readability-redundant-member-init): designated initializers leave them out
/// How a stream is symbolized. Any of them may be named alone.
struct Options {
    /// The feature class, in any case.
    std::string layer{};
    /// The column with the subtypes' codes; none: every row has the class's default list.
    std::optional<std::string> subtypeField{};
    /// Read into memory before the run.
    std::vector<Related> related{};
    /// Whether it is counted how rows end.
    bool ledger = false;
    /// Whether it is counted what rows put to the test; everything is evaluated for it.
    bool coverage = false;
};
// NOLINTEND(readability-redundant-member-init)

/// What a run over a stream has to tell, once the stream is at its end; nothing and 0 before. May outlive the stream,
/// or end before. One thread at a time.
class Run {
public:
    /// Whether the run is over.
    bool isEnded() const { return symbology_run_ended(handle.get()) != 0; }
    /// Those that were symbolized.
    std::int64_t rows() const { return symbology_run_rows(handle.get()); }
    /// Those that got other values than they had.
    std::int64_t changed() const { return symbology_run_changed(handle.get()); }
    /// Why the stream ended early; empty when it did not.
    std::string failure() const { return symbology_run_failure(handle.get()); }
    /// Each text once, in the order of their first coming.
    std::vector<Message> messages() const {
        std::vector<Message> all;
        for (std::size_t i = 0; i < symbology_run_message_count(handle.get()); ++i) {
            Message message{{}, 0};
            if (const char* const text = symbology_run_message(handle.get(), i, &message.count)) message.text = text;
            all.push_back(std::move(message));
        }
        return all;
    }
    /// As `cxml ledger --json` writes it; empty when it was not asked for.
    std::string ledgerJson() const { return symbology_run_ledger_json(handle.get()); }
    /// As `cxml coverage --json` writes it; empty when it was not asked for.
    std::string coverageJson() const { return symbology_run_coverage_json(handle.get()); }

private:
    friend class Document;
    struct Free {
        void operator()(symbology_run* run) const noexcept { symbology_run_free(run); }
    };
    explicit Run(symbology_run* run) : handle(run) {}

    std::unique_ptr<symbology_run, Free> handle;
};

/// A loaded rule document. May be used from any thread, also while streams that it symbolizes are read, and ends before
/// them as it likes. One with expressions needs an initialised Python in the process, whose lock no caller holds.
class Document {
public:
    /// \throws Error when the file cannot be read, is not well-formed or does not load.
    explicit Document(const std::string& path) {
        symbology_error* error = nullptr;
        handle.reset(symbology_open(path.c_str(), &error));
        if (!handle) fail(error);
    }

    /// The feature classes that it configures, as it writes them, in the order of their names.
    std::vector<std::string> classes() const {
        std::vector<std::string> names;
        names.reserve(symbology_class_count(handle.get()));
        for (std::size_t i = 0; i < symbology_class_count(handle.get()); ++i)
            names.emplace_back(symbology_class_name(handle.get(), i));
        return names;
    }

    /// Makes `output` a stream that gives the batches of `input` with what the document writes, one for one; rows are
    /// symbolized while it is read. \param options the class, at least. \param input moved from, also on failure.
    /// \param output released by the caller, at any time. \throws Error for a class that is not there or a column that
    /// cannot be written, and `output` is left alone; what goes wrong later ends it with an error.
    Run symbolize(ArrowArrayStream& input, const Options& options, ArrowArrayStream& output) const {
        std::vector<symbology_related> related;
        related.reserve(options.related.size());
        for (const Related& table : options.related) related.push_back({table.name.c_str(), table.stream});
        symbology_options given{};
        given.size = sizeof given;
        given.layer = options.layer.c_str();
        given.subtype_field = options.subtypeField ? options.subtypeField->c_str() : nullptr;
        given.related = related.data();
        given.related_count = related.size();
        given.ledger = options.ledger ? 1 : 0;
        given.coverage = options.coverage ? 1 : 0;
        symbology_error* error = nullptr;
        symbology_run* const run = symbology_symbolize_stream(handle.get(), &input, &given, &output, &error);
        if (!run) fail(error);
        return Run(run);
    }

private:
    struct Close {
        void operator()(symbology_document* document) const noexcept { symbology_close(document); }
    };
    struct Free {
        void operator()(symbology_error* error) const noexcept { symbology_error_free(error); }
    };

    [[noreturn]] static void fail(symbology_error* error) {
        const std::unique_ptr<symbology_error, Free> owned(error);
        throw Error(symbology_error_text(error), symbology_error_file(error));
    }

    std::unique_ptr<symbology_document, Close> handle;
};

/// One call: the rows of `input` by the document of a path, see Document::symbolize(). \throws Error
inline Run symbolize(const std::string& document, ArrowArrayStream& input, const Options& options,
                     ArrowArrayStream& output) {
    return Document(document).symbolize(input, options, output);
}

}  // namespace symbology::arrow
