// Each table on the pages about the language, run as cxml test runs tables.
#include "section_run.h"
#include "services.h"
#include "tools/reports/document.h"

#include <gtest/gtest.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;

// What stands around an example that shows an inner element only.
std::string framed(const std::string& example) {
    if (example.starts_with("<conditionMap")) return example;
    if (example.starts_with("<featureClass")) return "<conditionMap name='Example'>" + example + "</conditionMap>";
    if (example.starts_with("<condition")) return framed("<featureClass name='BUOY'>" + example + "</featureClass>");
    return framed("<condition rulename='MATCH'>" + example + "</condition>");
}

TEST(LanguagePage, tablesComeOutAsTheyArePrinted) {
    std::ostringstream page;
    page << std::ifstream(SOURCE_ROOT "/docs/cxml-language.md", std::ios::binary).rdbuf();
    std::string pattern = (fs::temp_directory_path() / "cxml-page-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    const fs::path folder = pattern;
    cxml::Console console(cxml::Console::Bar::Never);
    const cxml::Services services({}, console);
    std::size_t rows = 0;
    const auto sections = cxml::readMarkdown(page.str());
    for (const cxml::MarkdownSection& section : sections) {
        SCOPED_TRACE(section.name + ", line " + std::to_string(section.line));
        ASSERT_TRUE(section.document);
        const std::string path = (folder / "example.cxml").string();
        std::ofstream(path, std::ios::binary) << framed(*section.document);
        cxml::Document document(console, path, cxml::MessageLog::Keep::All);
        cxml::load(document);
        ASSERT_TRUE(document.loaded);
        cxml::OperandState operands(*document.map);
        cxml::SectionRun run(section);
        const cxml::TestedSection tested =
            run.run({*document.map, document.places, path, operands}, cxml::SectionRun::Detail::Reasons);
        rows += tested.rows.size();
        for (const auto& [line, text] : tested.failures) ADD_FAILURE() << line << ": " << text;
        for (const cxml::TestedRow& row : tested.rows)
            for (const cxml::Miss& miss : row.misses) ADD_FAILURE() << row.row->source << ": " << miss.text;
    }
    EXPECT_GT(sections.size(), 20U) << "tables are gone, or no longer recognised";
    EXPECT_GT(rows, 60U);
    fs::remove_all(folder);
}

}  // namespace
