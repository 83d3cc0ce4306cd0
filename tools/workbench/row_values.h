// The words that tables of rows in Markdown have for columns, types and values.
#pragma once

#include "host/geodatabase/base/column.h"
#include "markdown_tables.h"
#include "platform/platform.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace cxml {

/// What a column of a test's table is.
struct TestColumn {
    enum class Role : std::uint8_t {
        Given,     // "NAME TYPE", and "before NAME [TYPE]": the value that the field has before the run
        Expected,  // "NAME": the value that it has afterwards; "!VALUE": one that it has not
        By         // "by": the address of the condition that names the symbol; "-": none does; "!NAME", "!ADDRESS"
    };
    Role role;
    std::string name;
    embedded_host::ColumnType type;  // of a column that is given; of others the type of a field that is made for them
};

/// \throws MarkdownError
TestColumn readColumn(const MarkdownCell& header);

/// Whether a cell says that something must not be; its text is what then.
bool takeNegation(std::string_view& text);

/// A cell without the quotes around it and with its character references resolved; nothing for NULL.
std::optional<std::string> textOf(std::string_view cell);

/// The value as a cell that textOf() takes back; NULL for none.
std::string cellOf(const VARIANT& value);

/// The text as a cell has it: what would end the cell is escaped.
std::string markdownCell(std::string_view text);

/// Whether the value is what the cell says: numbers are compared as numbers.
bool isValue(const VARIANT& value, std::string_view cell);

/// The word for a type of values; null when tables have none.
const char* typeWord(VARTYPE type) noexcept;

}  // namespace cxml
