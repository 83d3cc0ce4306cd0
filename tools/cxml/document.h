// Loading a document with the library and learning what went wrong when it does not load.
#pragma once

#include "messages.h"
#include "symbology/symbology_manager.h"

#include <optional>
#include <string>

namespace cxml {

/// A document that was handed to the library.
struct Document {
    Document(Console& console, std::string file, MessageLog::Keep keep)
        : path(std::move(file)), messages(console, path, keep) {}

    std::string path;
    SymbologyManager manager;
    bool loaded = false;
    std::optional<std::string> error;  // the text of the exception that left the library, word for word
    std::string reason;                // one line for people when it did not load; empty when messages told all
    MessageLog messages;
    CComPtr<IXMLDOMDocument> dom;  // as the library read it; null when it made none
};

/// The text of a status that left the library as an exception.
std::string describe(const CAtlException& failure);

/// Why a document is not well formed or cannot be read, in one line: what the library's exception says, or, where that
/// is empty (the library gives up on texts that are longer than its buffer), what the document's parser says.
std::string whyNotParsed(const std::string& exceptionText, IXMLDOMDocument* dom);

/// Loads the document; failures are in the result.
void load(Document& document);

}  // namespace cxml
