#include "test_report.h"

#include "tools/reports/explain_report.h"
#include "tools/text/text.h"

#include <fmt/format.h>
#include <algorithm>
#include <nlohmann/json.hpp>

namespace cxml {
namespace {

using nlohmann::ordered_json;

// "file:5:19: text", the row, and a caret below the cell.
void writeRow(Console& console, const TestFile& file, const TestedRow& row) {
    // A character of the row is one of the line, so that the caret stands below it.
    std::string source = row.row->source;
    std::ranges::replace(source, '\t', ' ');
    std::ranges::replace_if(source, [](unsigned char c) { return c < ' ' || c == 0x7F; }, '?');
    for (const Miss& miss : row.misses) {
        console.result(fmt::format("{}:{}:{}: {}", file.path, miss.place.line, miss.place.column, miss.text));
        const std::string number = fmt::format("{}", row.row->line);
        console.result(fmt::format("    {} | {}", number, source));
        console.result(fmt::format("    {:{}} | {:{}}{} {}", "", number.size(), "", miss.place.column - 1,
                                   std::string(miss.width, '^'), row.decided));
    }
    constexpr std::size_t most = 8;
    for (std::size_t i = 0; i < std::min(row.reasons.size(), most); ++i) console.result("  " + row.reasons[i]);
    if (row.reasons.size() > most) console.result(fmt::format("  and {} more", row.reasons.size() - most));
}

std::string escaped(std::string_view text) {
    std::string all;
    for (const char c : oneLine(toUtf8(toBstr(text)))) {
        constexpr std::string_view special = "<>&\"";
        constexpr const char* references[] = {"&lt;", "&gt;", "&amp;", "&quot;"};
        const std::size_t known = special.find(c);
        if (known == std::string_view::npos)
            all += c;
        else
            all += references[known];
    }
    return all;
}

std::string explained(const TestedRow& row) {
    std::string text = row.decided;
    for (const std::string& reason : row.reasons) text += "; " + reason;
    return text;
}

ordered_json cellsJson(const std::vector<std::pair<std::string, std::string>>& cells) {
    ordered_json object = ordered_json::object();
    for (const auto& [name, value] : cells) object[name] = value;
    return object;
}

ordered_json rowJson(const Document& document, const TestedRow& row) {
    ordered_json object{{"line", row.row->line}, {"passed", row.misses.empty()}};
    if (row.misses.empty()) return object;
    object["expected"] = cellsJson(row.expected);
    object["got"] = cellsJson(row.got);
    ordered_json misses = ordered_json::array();
    for (const Miss& miss : row.misses) misses.push_back({{"column", miss.place.column}, {"text", miss.text}});
    object["misses"] = std::move(misses);
    object["decided"] = row.decided;
    object["reasons"] = row.reasons;
    object["explain"] = row.explanation ? explainedJson(document, {.layer = row.table->layer,
                                                                   .subtypeField = row.table->subtypeField,
                                                                   .set = {},
                                                                   .explanation = *row.explanation,
                                                                   .wanted = {},
                                                                   .whyNot = {}})
                                        : ordered_json();
    return object;
}

}  // namespace

TestCounts countsOf(const std::vector<TestFile>& files) {
    TestCounts counts;
    for (const TestFile& file : files) {
        counts.skipped += file.sections.size() - file.results.size();
        for (const TestedSection& section : file.results) {
            counts.failed += section.failed() + section.failures.size();
            counts.passed += section.passed();
        }
    }
    return counts;
}

void writeTests(Console& console, const std::vector<TestFile>& files) {
    for (const TestFile& file : files) {
        for (const TestedSection& section : file.results) {
            for (const auto& [line, text] : section.failures)
                console.result(fmt::format("{}:{}:1: {}", file.path, line, text));
            for (const TestedRow& row : section.rows)
                if (!row.misses.empty()) writeRow(console, file, row);
        }
    }
    const TestCounts counts = countsOf(files);
    console.result(fmt::format("{} failed, {} passed of {}{}", counts.failed, counts.passed,
                               counts.failed + counts.passed,
                               counts.skipped == 0 ? "" : fmt::format("; {} sections skipped", counts.skipped)));
}

void writeMutants(Console& console, const MutationResult& mutants, const std::string& document) {
    for (const Survivor& survivor : mutants.survivors)
        console.result(fmt::format("{}:{}: not noticed: {}", document, survivor.line, survivor.change));
    console.result(fmt::format("{} mutants of {}: {} killed, {} survived", mutants.made, mutants.possible,
                               mutants.killed, mutants.survivors.size()));
}

ordered_json testsJson(const Document& document, const std::vector<TestFile>& files, const MutationResult& mutants) {
    const TestCounts counts = countsOf(files);
    ordered_json sections = ordered_json::array();
    for (const TestFile& file : files) {
        for (const TestedSection& section : file.results) {
            ordered_json rows = ordered_json::array();
            for (const TestedRow& row : section.rows)
                if (row.isTest()) rows.push_back(rowJson(document, row));
            ordered_json failures = ordered_json::array();
            for (const auto& [line, text] : section.failures) failures.push_back({{"line", line}, {"text", text}});
            sections.push_back({{"name", section.section->name},
                                {"file", file.path},
                                {"line", section.section->line},
                                {"rows", std::move(rows)},
                                {"failures", std::move(failures)}});
        }
    }
    ordered_json survivors = ordered_json::array();
    for (const Survivor& survivor : mutants.survivors)
        survivors.push_back({{"line", survivor.line}, {"change", survivor.change}});
    return {{"passed", counts.passed},
            {"failed", counts.failed},
            {"skipped", counts.skipped},
            {"sections", std::move(sections)},
            {"mutants",
             {{"possible", mutants.possible},
              {"made", mutants.made},
              {"killed", mutants.killed},
              {"survivors", std::move(survivors)}}}};
}

std::string junitXml(const std::vector<TestFile>& files) {
    std::string xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n";
    for (const TestFile& file : files) {
        std::string cases;
        std::size_t count = 0;
        std::size_t failures = 0;
        const auto add = [&](const TestedSection& section, std::size_t line, const std::string& failure,
                             const std::string& detail) {
            ++count;
            const std::string head = fmt::format(R"(  <testcase classname="{}" name="{}, line {}")", escaped(file.path),
                                                 escaped(section.section->name), line);
            if (failure.empty()) {
                cases += head + "/>\n";
                return;
            }
            ++failures;
            cases += fmt::format("{}>\n   <failure message=\"{}\">{}</failure>\n  </testcase>\n", head,
                                 escaped(failure), escaped(detail));
        };
        for (const TestedSection& section : file.results) {
            for (const auto& [line, text] : section.failures) add(section, line, text, text);
            for (const TestedRow& row : section.rows)
                if (row.isTest())
                    add(section, row.row->line, row.misses.empty() ? "" : row.misses.front().text, explained(row));
        }
        xml += fmt::format(" <testsuite name=\"{}\" tests=\"{}\" failures=\"{}\">\n{} </testsuite>\n",
                           escaped(file.path), count, failures, cases);
    }
    return xml + "</testsuites>\n";
}

}  // namespace cxml
