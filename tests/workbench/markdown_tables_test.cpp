// Tables of rows in Markdown: what is read, with its places, and what is refused.
#include "tools/workbench/markdown_tables.h"

#include <gtest/gtest.h>

namespace {

using cxml::MarkdownError;
using cxml::readMarkdown;

constexpr const char* page =
    "# Page\n"
    "text | with | bars\n"
    "\n"
    "| prose | table |\n"
    "|---|---|\n"
    "| 1 | 2 |\n"
    "## First\n"
    "  <!-- rows: BUOY title \"Lateral buoys\" subtype SUB -->\n"
    "  | A integer | SYMBOL_C |\r\n"
    "  |---|---|\r\n"
    "  |  1  | X\\|Y\\\\ |\r\n"
    "  | \xC3\xA4 |  |\n"
    "### still the first\n"
    "<!-- rows: LIGHT -->\n"
    "| B text |\n"
    "|---|\n"
    "| b |\n"
    "## Empty\n"
    "```\n"
    "<!-- rows: NOT A TABLE -->\n"
    "```\n"
    "## Second\n"
    "```xml\n"
    "<a/>\n"
    "```\n"
    "<!-- rows: BUOY -->\n"
    "| A integer |\n"
    "|---|\n"
    "| 2 |";

TEST(MarkdownTables, sectionsTablesCellsAndTheirPlaces) {
    const auto sections = readMarkdown(page);
    ASSERT_EQ(sections.size(), 2U) << "sections without tables are prose";
    EXPECT_EQ(sections[0].name, "First");
    EXPECT_EQ(sections[0].line, 7U);
    EXPECT_FALSE(sections[0].document);
    ASSERT_EQ(sections[0].tables.size(), 2U);
    const cxml::MarkdownTable& buoys = sections[0].tables[0];
    EXPECT_EQ(buoys.layer + "/" + buoys.title + "/" + buoys.subtypeField, "BUOY/Lateral buoys/SUB");
    EXPECT_EQ(buoys.line, 8U);
    EXPECT_EQ(buoys.header.cells[1].text, "SYMBOL_C");
    ASSERT_EQ(buoys.rows.size(), 2U);
    const auto& [text, place, width] = buoys.rows[0].cells[1];
    EXPECT_EQ(text, "X|Y\\");
    EXPECT_EQ(place.line, 11U);
    EXPECT_EQ(place.column, 11U);
    EXPECT_EQ(width, 6U) << "as it is written";
    EXPECT_EQ(buoys.rows[1].cells[0].width, 1U) << "characters, not bytes";
    EXPECT_EQ(buoys.rows[1].cells[1].place.column, 8U);
    EXPECT_EQ(buoys.rows[1].cells[1].text, "");
    EXPECT_EQ(sections[1].name, "Second");
    EXPECT_EQ(sections[1].document, "<a/>\n");
    EXPECT_EQ(sections[1].tables[0].rows[0].cells[0].text, "2");
}

TEST(MarkdownTables, whatCannotBeReadAndWhere) {
    const struct {
        const char* text;
        std::size_t line;
        const char* said;
    } rows[] = {
        {"\n<!-- rows: A -->\n", 2, "no table follows on the next line"},
        {"<!-- rows: A -->\n\n| B |\n", 1, "no table follows on the next line"},
        {"<!-- rows: A -->\n| B |\n|---|\n", 1, "the table has no rows"},
        {"<!-- rows: A -->\n| B |\n|---|\n| 1 | 2 |\n", 4, "the row has 2 cells, the header 1"},
        {"<!-- rows: A -->\n| B |\n|---|\n| 1\n", 4, "the row does not end with |"},
        {"<!-- rows: -->\n| B |\n", 1, "expected: rows: LAYER [title \"TITLE\"] [subtype FIELD]"},
        {"<!-- rows: A subtype -->\n| B |\n", 1, "expected: rows: LAYER [title \"TITLE\"] [subtype FIELD]"},
        {"<!-- rows: A called B -->\n| B |\n", 1, "expected: rows: LAYER [title \"TITLE\"] [subtype FIELD]"},
        {"<!-- rows: \"A -->\n| B |\n", 1, "a quote is not closed"},
        {"<!-- rows: A\n-->\n| B |\n", 1, "the comment does not end on its line"},
        {"text\n```xml\n<a/>\n", 2, "the block is not closed"},
    };
    for (const auto& row : rows) {
        try {
            readMarkdown(row.text);
            ADD_FAILURE() << row.text;
        } catch (const MarkdownError& e) {
            EXPECT_STREQ(e.what(), row.said);
            EXPECT_EQ(e.place.line, row.line) << row.said;
        }
    }
}

}  // namespace
