// Small changes of a document's text, to see whether its tests notice them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace cxml {

/// One change: what stands in ranges of the text is replaced.
struct Mutant {
    struct Edit {
        std::size_t begin;
        std::size_t end;
        std::string text;
    };

    std::size_t line;         // of the element that is changed
    std::string change;       // "CATLAM equal 2: notequal"
    std::string className;    // as the document writes it
    std::vector<Edit> edits;  // in the order of the text

    std::string applied(std::string_view text) const;
};

/// In the order of the document: each rule turned into its contrary (or, where the language has none, into one that
/// never holds), each of several operands dropped, each condition removed, neighbours swapped. Changes that cannot
/// make a difference are left out: neighbours of which never both hold.
/// \param text of a document that loads, in an encoding that has ASCII's characters.
std::vector<Mutant> mutantsOf(std::string_view text);

}  // namespace cxml
