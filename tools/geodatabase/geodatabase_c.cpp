// The one call for C: nothing of C++ leaves it.
#include "symbology/geodatabase_c.h"

#include "symbology/geodatabase.h"

#include <exception>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

struct symbology_dataset_outcome {
    symbology::Outcome outcome;
};

struct symbology_dataset_error {
    std::string text;
};

namespace {

using symbology::LayerOutcome;
using symbology::Message;
using symbology::Rows;

// An error that finds no memory is one all the same.
symbology_dataset_error outOfMemory{"out of memory"};

void tell(symbology_dataset_error** error, const char* text) noexcept {
    if (!error) return;
    try {
        *error = new symbology_dataset_error{text};
    } catch (const std::bad_alloc&) {
        *error = &outOfMemory;
    }
}

// What the listener ends a call with.
struct Ended : std::exception {
    const char* what() const noexcept override { return "the caller's listener has ended the call"; }
};

symbology::SymbolizeOptions optionsOf(const symbology_dataset_options& given) {
    // Later versions have more members; a caller of an earlier one has none of those.
    if (given.size < sizeof(symbology_dataset_options))
        throw symbology::Error("the options' size is " + std::to_string(given.size) +
                               ", not sizeof(symbology_dataset_options)");
    symbology::SymbolizeOptions options;
    if (given.layer_count != 0 && !given.layers) throw symbology::Error("the options lack the layers");
    for (std::size_t i = 0; i < given.layer_count; ++i) {
        if (!given.layers[i]) throw symbology::Error("layer " + std::to_string(i + 1) + " of the options is missing");
        options.layers.emplace_back(given.layers[i]);
    }
    options.addMissingFields = given.add_missing_fields != 0;
    if (given.where) options.where = given.where;
    if (given.subtypes_count != 0 && !given.subtypes) throw symbology::Error("the options lack the subtype fields");
    for (std::size_t i = 0; i < given.subtypes_count; ++i) {
        const symbology_dataset_subtypes& subtypes = given.subtypes[i];
        if (!subtypes.layer || !subtypes.field)
            throw symbology::Error("subtype field " + std::to_string(i + 1) +
                                   " of the options lacks its layer or its name");
        options.subtypeFields[subtypes.layer] = subtypes.field;
    }
    if (given.lock_timeout) options.lockTimeout = *given.lock_timeout;
    return options;
}

symbology::MessageListener listenerOf(const symbology_dataset_options& given) {
    if (!given.listener) return {};
    return [listener = given.listener, context = given.context](std::string_view source, std::string_view text) {
        if (listener(context, std::string(source).c_str(), std::string(text).c_str()) != 0) throw Ended();
    };
}

const LayerOutcome* layerAt(const symbology_dataset_outcome* outcome, std::size_t layer) noexcept {
    return outcome && layer < outcome->outcome.layers.size() ? &outcome->outcome.layers[layer] : nullptr;
}

const char* messageAt(const std::vector<Message>& messages, std::size_t index, std::uint64_t* times) noexcept {
    if (index >= messages.size()) return nullptr;
    if (times) *times = messages[index].count;
    return messages[index].text.c_str();
}

std::int64_t rowsOf(const Rows* rows, const std::int64_t** ids, std::size_t* count) noexcept {
    if (ids) *ids = rows ? rows->ids.data() : nullptr;
    if (count) *count = rows ? rows->ids.size() : 0;
    return rows ? rows->count : 0;
}

}  // namespace

int symbology_dataset_version(void) {
    return SYMBOLOGY_DATASET_VERSION;
}

symbology_dataset_outcome* symbology_dataset_symbolize(const char* dataset, const char* document,
                                                       const symbology_dataset_options* options,
                                                       symbology_dataset_error** error) {
    try {
        if (!dataset || !document) throw symbology::Error("the dataset or the document is missing");
        symbology_dataset_options none{};
        none.size = sizeof none;
        const symbology_dataset_options& given = options ? *options : none;
        const symbology::SymbolizeOptions all = optionsOf(given);
        auto made = std::make_unique<symbology_dataset_outcome>();
        made->outcome = symbology::symbolize(dataset, document, all, listenerOf(given));
        return made.release();
    } catch (const std::bad_alloc&) {
        tell(error, outOfMemory.text.c_str());
    } catch (const std::exception& failure) {
        tell(error, failure.what());
    } catch (...) {
        tell(error, "an unknown failure");
    }
    return nullptr;
}

int symbology_dataset_failed(const symbology_dataset_outcome* outcome) {
    return outcome && outcome->outcome.failed() ? 1 : 0;
}

size_t symbology_dataset_layer_count(const symbology_dataset_outcome* outcome) {
    return outcome ? outcome->outcome.layers.size() : 0;
}

const char* symbology_dataset_layer_name(const symbology_dataset_outcome* outcome, size_t layer) {
    const LayerOutcome* const found = layerAt(outcome, layer);
    return found ? found->layer.c_str() : nullptr;
}

const char* symbology_dataset_layer_failure(const symbology_dataset_outcome* outcome, size_t layer) {
    const LayerOutcome* const found = layerAt(outcome, layer);
    return found ? found->why.c_str() : "";
}

int64_t symbology_dataset_layer_rows(const symbology_dataset_outcome* outcome, size_t layer) {
    const LayerOutcome* const found = layerAt(outcome, layer);
    return found ? found->rows : 0;
}

int64_t symbology_dataset_layer_changed(const symbology_dataset_outcome* outcome, size_t layer) {
    const LayerOutcome* const found = layerAt(outcome, layer);
    return found ? found->changed : 0;
}

int64_t symbology_dataset_layer_unreadable(const symbology_dataset_outcome* outcome, size_t layer, const int64_t** ids,
                                           size_t* count) {
    const LayerOutcome* const found = layerAt(outcome, layer);
    return rowsOf(found ? &found->unreadable : nullptr, ids, count);
}

int64_t symbology_dataset_layer_refused(const symbology_dataset_outcome* outcome, size_t layer, const int64_t** ids,
                                        size_t* count) {
    const LayerOutcome* const found = layerAt(outcome, layer);
    return rowsOf(found ? &found->refused : nullptr, ids, count);
}

size_t symbology_dataset_message_count(const symbology_dataset_outcome* outcome, size_t layer) {
    const LayerOutcome* const found = layerAt(outcome, layer);
    return found ? found->messages.size() : 0;
}

const char* symbology_dataset_message(const symbology_dataset_outcome* outcome, size_t layer, size_t index,
                                      uint64_t* times) {
    const LayerOutcome* const found = layerAt(outcome, layer);
    return found ? messageAt(found->messages, index, times) : nullptr;
}

size_t symbology_dataset_document_message_count(const symbology_dataset_outcome* outcome) {
    return outcome ? outcome->outcome.documentMessages.size() : 0;
}

const char* symbology_dataset_document_message(const symbology_dataset_outcome* outcome, size_t index,
                                               uint64_t* times) {
    return outcome ? messageAt(outcome->outcome.documentMessages, index, times) : nullptr;
}

void symbology_dataset_outcome_free(symbology_dataset_outcome* outcome) {
    delete outcome;
}

const char* symbology_dataset_error_text(const symbology_dataset_error* error) {
    return error ? error->text.c_str() : "";
}

void symbology_dataset_error_free(symbology_dataset_error* error) {
    if (error != &outOfMemory) delete error;
}
