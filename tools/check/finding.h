// Findings: what a document check has to say.
#pragma once

#include "platform/platform.h"

#include <string>
#include <vector>

namespace cxml {

struct Finding {
    std::string file;  // the document, a library file or the dataset
    LONG line;         // from 1; 0 when it has none
    std::string kind;  // a word that stays
    std::string text;

    auto operator<=>(const Finding&) const = default;
};

/// The findings of one document while they are made.
class Findings {
public:
    explicit Findings(std::string document) : document_(std::move(document)) {}

    void add(LONG line, const char* kind, std::string text) { addIn(document_, line, kind, std::move(text)); }
    void addIn(std::string file, LONG line, const char* kind, std::string text) {
        found_.push_back({std::move(file), line, kind, std::move(text)});
    }

    /// Each once: the document's by line, then those of other files; in a file those without a line come last.
    std::vector<Finding> take();

    const std::string& document() const noexcept { return document_; }

private:
    std::string document_;
    std::vector<Finding> found_;
};

}  // namespace cxml
