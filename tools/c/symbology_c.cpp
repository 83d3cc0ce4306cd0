// The C interface: nothing of C++ leaves it.
#include "symbology/symbology.h"

#include "tools/streams/stream_document.h"

#include <cstddef>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

struct symbology_document {
    explicit symbology_document(const char* path) : document(path), classes(document.classes()) {}

    cxml::StreamDocument document;
    std::vector<std::string> classes;
};

// Texts are asked for once: what was given lives as long as this.
struct symbology_run {
    std::shared_ptr<cxml::StreamReport> report;
    bool isRead = false;
    std::string failure;
    std::string ledger;
    std::string coverage;
    std::vector<cxml::StreamReport::Message> messages;
};

struct symbology_error {
    std::string text;
    std::string file;
};

namespace {

using embedded_host::HostError;

// An error that finds no memory is one all the same.
symbology_error outOfMemory{"out of memory", {}};

void tell(symbology_error** error, const char* text, const std::string& file = {}) noexcept {
    if (!error) return;
    try {
        *error = new symbology_error{text, file};
    } catch (const std::bad_alloc&) {
        *error = &outOfMemory;
    }
}

// What `body` makes; null, with the error, when it throws.
template <class Body>
auto guarded(symbology_error** error, Body&& body) noexcept -> decltype(body()) {
    try {
        return body();
    } catch (const cxml::NotLoaded& failure) {
        tell(error, failure.what(), failure.file());
    } catch (const std::bad_alloc&) {
        tell(error, outOfMemory.text.c_str());
    } catch (const std::exception& failure) {
        tell(error, failure.what());
    } catch (...) {
        tell(error, "an unknown failure");
    }
    return nullptr;
}

cxml::StreamOptions optionsOf(const symbology_options& given) {
    // Later versions have more members; a caller of an earlier one has none of those.
    if (given.size < sizeof(symbology_options))
        throw HostError("the options' size is " + std::to_string(given.size) + ", not sizeof(symbology_options)");
    if (!given.layer) throw HostError("the options name no layer");
    if (given.related_count != 0 && !given.related) throw HostError("the options lack the related tables");
    cxml::StreamOptions options;
    options.layer = given.layer;
    if (given.subtype_field) options.subtypeField = given.subtype_field;
    for (std::size_t i = 0; i < given.related_count; ++i) {
        const symbology_related& table = given.related[i];
        if (!table.name || !table.stream)
            throw HostError("related table " + std::to_string(i + 1) + " lacks its name or its stream");
        options.related.emplace_back(table.name, table.stream);
    }
    options.ledger = given.ledger != 0;
    options.coverage = given.coverage != 0;
    return options;
}

// The run with its texts, once it has ended. \return null before that, or without a run.
const symbology_run* ended(symbology_run* run) noexcept {
    if (!run || !run->report->isEnded()) return nullptr;
    if (run->isRead) return run;
    try {
        run->failure = run->report->failure();
        run->ledger = run->report->ledgerJson();
        run->coverage = run->report->coverageJson();
        run->messages = run->report->messages();
        run->isRead = true;
        return run;
    } catch (const std::exception&) {
        return nullptr;
    }
}

}  // namespace

int symbology_version(void) {
    return SYMBOLOGY_C_VERSION;
}

symbology_document* symbology_open(const char* path, symbology_error** error) {
    return guarded(error, [&] {
        if (!path) throw HostError("no path is given");
        return new symbology_document(path);
    });
}

void symbology_close(symbology_document* document) {
    delete document;
}

size_t symbology_class_count(const symbology_document* document) {
    return document ? document->classes.size() : 0;
}

const char* symbology_class_name(const symbology_document* document, size_t index) {
    return document && index < document->classes.size() ? document->classes[index].c_str() : nullptr;
}

symbology_run* symbology_symbolize_stream(const symbology_document* document, ArrowArrayStream* input,
                                          const symbology_options* options, ArrowArrayStream* output,
                                          symbology_error** error) {
    return guarded(error, [&] {
        if (!document || !input || !options || !output)
            throw HostError("the document, a stream or the options are missing");
        auto run = std::make_unique<symbology_run>();
        run->report = document->document.symbolize(*input, optionsOf(*options), *output);
        return run.release();
    });
}

int symbology_run_ended(const symbology_run* run) {
    return run && run->report->isEnded() ? 1 : 0;
}

int64_t symbology_run_rows(const symbology_run* run) {
    return run ? run->report->rows() : 0;
}

int64_t symbology_run_changed(const symbology_run* run) {
    return run ? run->report->changed() : 0;
}

const char* symbology_run_failure(symbology_run* run) {
    const symbology_run* const told = ended(run);
    return told ? told->failure.c_str() : "";
}

size_t symbology_run_message_count(symbology_run* run) {
    const symbology_run* const told = ended(run);
    return told ? told->messages.size() : 0;
}

const char* symbology_run_message(symbology_run* run, size_t index, uint64_t* times) {
    const symbology_run* const told = ended(run);
    if (!told || index >= told->messages.size()) return nullptr;
    if (times) *times = told->messages[index].count;
    return told->messages[index].text.c_str();
}

const char* symbology_run_ledger_json(symbology_run* run) {
    const symbology_run* const told = ended(run);
    return told ? told->ledger.c_str() : "";
}

const char* symbology_run_coverage_json(symbology_run* run) {
    const symbology_run* const told = ended(run);
    return told ? told->coverage.c_str() : "";
}

void symbology_run_free(symbology_run* run) {
    delete run;
}

const char* symbology_error_text(const symbology_error* error) {
    return error ? error->text.c_str() : "";
}

const char* symbology_error_file(const symbology_error* error) {
    return error ? error->file.c_str() : "";
}

void symbology_error_free(symbology_error* error) {
    if (error != &outOfMemory) delete error;
}
