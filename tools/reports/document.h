// Loading a document as the library does, and learning what went wrong when it does not load.
#pragma once

#include "cxml/condition_map.h"
#include "messages.h"
#include "tools/places/places.h"

#include <memory>
#include <optional>
#include <string>

namespace cxml {

/// A document, the library's map of it, and where the parts of the map were written.
struct Document {
    Document(Console& console, std::string file, MessageLog::Keep keep,
             MessageLog::Show show = MessageLog::Show::AsTheyCome)
        : path(std::move(file)), messages(console, path, keep, show) {}

    std::string path;
    std::shared_ptr<ConditionalXml::ConditionMap> map;  // null when there is no document
    DocumentPlaces places;
    bool loaded = false;
    std::optional<std::string> sha256;  // of the file's bytes, hexadecimal; none of what is no regular file
    std::optional<std::string> error;   // the text of the exception that left the library, word for word
    std::string reason;                 // one line for people when it did not load; empty when messages told all
    MessageLog messages;
    CComPtr<IXMLDOMDocument> dom;  // as the library read it; null when it made none
};

/// The text of a status that left the library as an exception.
std::string describe(const CAtlException& failure);

/// Why a document is not well formed or cannot be read, in one line: what the library's exception says, or, where that
/// is empty (the library gives up on texts that are longer than its buffer), what the document's parser says.
std::string whyNotParsed(const std::string& exceptionText, IXMLDOMDocument* dom);

/// One line for people about a document that did not load.
std::string notLoaded(const Document& document);

/// What becomes of expressions: they are compiled, or passed over, so that no code of the document ever runs.
enum class Expressions : unsigned char { Compiled, PassedOver };

/// Loads the document; failures are in the result.
void load(Document& document, Expressions expressions = Expressions::Compiled);

}  // namespace cxml
