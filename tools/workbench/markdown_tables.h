// Tables of rows in Markdown: what documents' tests and the manual of the language are written in.
#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace cxml {

/// A place in a text, both from 1; columns are characters.
struct TextPlace {
    std::size_t line = 0;
    std::size_t column = 0;
};

struct MarkdownCell {
    std::string text;  // without the blanks around it
    TextPlace place;
    std::size_t width = 0;  // in characters, at least 1
};

struct MarkdownRow {
    std::size_t line = 0;
    std::string source;
    std::vector<MarkdownCell> cells;
};

/// "<!-- rows: LAYER [title "TITLE"] [subtype FIELD] -->" and the table on the lines behind it.
struct MarkdownTable {
    std::size_t line = 0;  // of the comment
    std::string layer;     // names with blanks stand in quotes
    std::string title;     // empty: the layer's name
    std::string subtypeField;
    MarkdownRow header;
    std::vector<MarkdownRow> rows;
};

/// What stands below a heading "## NAME" up to the next one. A block ```xml begins a section of the same name.
struct MarkdownSection {
    std::string name;
    std::size_t line = 0;
    std::optional<std::string> document;  // the block
    std::vector<MarkdownTable> tables;
};

/// A text that cannot be read, and where.
class MarkdownError : public std::runtime_error {
public:
    MarkdownError(const TextPlace& where, const std::string& what) : std::runtime_error(what), place(where) {}
    TextPlace place;
};

/// Sections with tables. Tables without the comment, and what else is written, are prose.
/// \throws MarkdownError
std::vector<MarkdownSection> readMarkdown(std::string_view text);

}  // namespace cxml
