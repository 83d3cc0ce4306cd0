#include "markdown_tables.h"

#include <algorithm>

namespace cxml {
namespace {

constexpr std::string_view blanks = " \t\r";

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(blanks);
    return begin == std::string_view::npos ? std::string_view()
                                           : text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

std::size_t characters(std::string_view text) {
    return static_cast<std::size_t>(
        std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

MarkdownRow readRow(std::string_view line, std::size_t number) {
    MarkdownRow row{number, std::string(line.substr(0, line.find_last_not_of(blanks) + 1)), {}};
    const std::size_t indent = line.find('|') + 1;
    std::string cell;
    std::size_t begin = indent;
    const auto end = [&](std::size_t at) {
        const std::string_view written = line.substr(begin, at - begin);
        const std::string_view inner = trimmed(written);
        const std::size_t blank = inner.empty() ? 0 : written.find_first_not_of(blanks);
        row.cells.push_back({std::string(trimmed(cell)),
                             {number, characters(line.substr(0, begin + blank)) + 1},
                             std::max<std::size_t>(characters(inner), 1)});
        cell.clear();
        begin = at + 1;
    };
    for (std::size_t i = indent; i < line.size(); ++i) {
        if (line[i] == '\\' && i + 1 < line.size() && (line[i + 1] == '|' || line[i + 1] == '\\'))
            cell += line[++i];
        else if (line[i] == '|')
            end(i);
        else
            cell += line[i];
    }
    if (!trimmed(cell).empty()) throw MarkdownError({number, characters(line)}, "the row does not end with |");
    return row;
}

// Words, where quotes may hold blanks.
std::vector<std::string> words(std::string_view text, const TextPlace& place) {
    std::vector<std::string> all;
    for (text = trimmed(text); !text.empty(); text = trimmed(text)) {
        const bool quoted = text.front() == '"';
        const std::size_t end = quoted ? text.find('"', 1) : std::min(text.find_first_of(blanks), text.size());
        if (end == std::string_view::npos) throw MarkdownError(place, "a quote is not closed");
        all.emplace_back(quoted ? text.substr(1, end - 1) : text.substr(0, end));
        text.remove_prefix(std::min(end + (quoted ? 1 : 0), text.size()));
    }
    return all;
}

constexpr std::string_view mark = "<!-- rows:";
constexpr std::string_view markEnd = "-->";

MarkdownTable readMark(std::string_view line, std::size_t number) {
    const TextPlace place{number, 1};
    line.remove_prefix(mark.size());
    if (!line.ends_with(markEnd)) throw MarkdownError(place, "the comment does not end on its line");
    line.remove_suffix(markEnd.size());
    const std::vector<std::string> said = words(line, place);
    constexpr const char* expected = "expected: rows: LAYER [title \"TITLE\"] [subtype FIELD]";
    if (said.empty()) throw MarkdownError(place, expected);
    MarkdownTable table{number, said[0], {}, {}, {}, {}};
    for (std::size_t i = 1; i < said.size(); i += 2) {
        if ((said[i] != "title" && said[i] != "subtype") || i + 1 == said.size()) throw MarkdownError(place, expected);
        (said[i] == "title" ? table.title : table.subtypeField) = said[i + 1];
    }
    return table;
}

class Reader {
public:
    explicit Reader(std::string_view text) {
        if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
        while (!text.empty()) {
            const std::size_t end = std::min(text.find('\n'), text.size());
            lines_.push_back(text.substr(0, end));
            text.remove_prefix(std::min(end + 1, text.size()));
        }
    }

    std::vector<MarkdownSection> read() {
        begin({}, 1);
        for (std::size_t i = 0; i < lines_.size(); ++i) {
            const std::string_view line = trimmed(lines_[i]);
            if (line.starts_with("```"))
                i = readBlock(i, line.substr(3) == "xml");
            else if (line.starts_with("## "))
                begin(std::string(trimmed(line.substr(3))), i + 1);
            else if (line.starts_with(mark))
                i = readTable(i);
        }
        std::erase_if(sections_, [](const MarkdownSection& section) { return section.tables.empty(); });
        return std::move(sections_);
    }

private:
    void begin(const std::string& name, std::size_t line) { sections_.push_back({name, line, std::nullopt, {}}); }

    // \return the last line of it.
    std::size_t readBlock(std::size_t first, bool isDocument) {
        std::string content;
        std::size_t last = first + 1;
        for (; last < lines_.size() && trimmed(lines_[last]) != "```"; ++last) content.append(lines_[last]) += '\n';
        if (last == lines_.size()) throw MarkdownError({first + 1, 1}, "the block is not closed");
        if (isDocument) {
            begin(std::string(sections_.back().name), first + 1);
            sections_.back().document = std::move(content);
        }
        return last;
    }

    std::size_t readTable(std::size_t first) {
        MarkdownTable table = readMark(trimmed(lines_[first]), first + 1);
        std::size_t i = first + 1;
        for (; i < lines_.size() && trimmed(lines_[i]).starts_with('|'); ++i) {
            MarkdownRow row = readRow(lines_[i], i + 1);
            if (i == first + 1) {
                table.header = std::move(row);
                continue;
            }
            if (row.cells.size() != table.header.cells.size())
                throw MarkdownError({i + 1, 1}, "the row has " + std::to_string(row.cells.size()) +
                                                    " cells, the header " + std::to_string(table.header.cells.size()));
            if (i > first + 2) table.rows.push_back(std::move(row));  // the second line only separates
        }
        if (table.header.cells.empty()) throw MarkdownError({first + 1, 1}, "no table follows on the next line");
        if (table.rows.empty()) throw MarkdownError({first + 1, 1}, "the table has no rows");
        sections_.back().tables.push_back(std::move(table));
        return i - 1;
    }

    std::vector<std::string_view> lines_;
    std::vector<MarkdownSection> sections_;
};

}  // namespace

std::vector<MarkdownSection> readMarkdown(std::string_view text) {
    return Reader(text).read();
}

}  // namespace cxml
