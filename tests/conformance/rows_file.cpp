#include "conformance/rows_file.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <stdexcept>
#include <utility>

namespace conformance {
namespace {

const std::map<std::string, Type> typeNames{
    {"small", Type::Small},     {"integer", Type::Integer}, {"big", Type::Big},
    {"real", Type::Real},       {"float", Type::Float},     {"text", Type::Text},
    {"boolean", Type::Boolean}, {"date", Type::Date},       {"moment", Type::Moment},
};

std::vector<std::string> wordsOf(const std::string& line) {
    std::vector<std::string> words;
    for (std::size_t begin = 0; begin <= line.size();) {
        const std::size_t end = std::min(line.find('\t', begin), line.size());
        words.push_back(line.substr(begin, end - begin));
        begin = end + 1;
    }
    return words;
}

Value valueOf(const std::string& word) {
    if (word == "\\N") return std::nullopt;
    std::string text;
    for (std::size_t i = 0; i < word.size(); ++i) {
        if (word[i] != '\\') {
            text += word[i];
            continue;
        }
        const char escaped = i + 1 < word.size() ? word[++i] : ' ';
        if (std::string("\\tnr").find(escaped) == std::string::npos) throw std::runtime_error("an unknown escape");
        text += escaped == 't' ? '\t' : escaped == 'n' ? '\n' : escaped == 'r' ? '\r' : '\\';
    }
    return text;
}

void addLine(std::vector<Table>& tables, const std::vector<std::string>& words) {
    if (words[0] == "table" && (words.size() == 3 || words.size() == 4)) {
        tables.push_back({words[1], words[2], words.size() == 4 ? words[3] : "", {}, {}});
    } else if (words[0] == "field" && words.size() == 3 && !tables.empty() && tables.back().rows.empty()) {
        tables.back().fields.push_back({words[1], typeNames.at(words[2])});
    } else if (words[0] == "row" && !tables.empty() && words.size() == tables.back().fields.size() + 1) {
        std::vector<Value>& row = tables.back().rows.emplace_back();
        for (std::size_t i = 1; i < words.size(); ++i) {
            const Value value = valueOf(words[i]);
            row.push_back(value ? Value(canonical(tables.back().fields[i - 1].type, *value)) : value);
        }
    } else {
        throw std::runtime_error("it is no line of a table");
    }
}

std::vector<Table> readTables(const std::filesystem::path& path) {
    std::ifstream file(path);
    if (!file) throw std::runtime_error(path.string() + " cannot be read");
    std::vector<Table> tables;
    std::string line;
    for (int number = 1; std::getline(file, line); ++number) {
        try {
            addLine(tables, wordsOf(line));
        } catch (const std::exception& error) {
            throw std::runtime_error(path.string() + ':' + std::to_string(number) + ": " + error.what());
        }
    }
    return tables;
}

// What the first group of the expression is, wherever it is.
std::vector<std::string> allOf(const std::string& text, const char* expression) {
    const std::regex pattern(expression);
    std::vector<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match)
        if (std::ranges::find(found, (*match)[1].str()) == found.end()) found.push_back((*match)[1].str());
    return found;
}

template <class Number>
std::string shortest(Number number) {
    if (std::isnan(number)) return "nan";
    if (std::isinf(number)) return number < 0 ? "-inf" : "inf";
    if (number == 0) return "0";  // a database may lose the sign of zero
    std::array<char, 64> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    return {digits.data(), end};
}

}  // namespace

std::optional<std::size_t> Table::find(const std::string& field) const {
    for (std::size_t i = 0; i < fields.size(); ++i)
        if (lower(fields[i].name) == lower(field)) return i;
    return std::nullopt;
}

const Table& Case::ofTitle(const std::string& title) const {
    for (const Table& table : tables)
        if (lower(table.title) == lower(title)) return table;
    throw std::runtime_error("there is no table with the title " + title);
}

Case readCase(const std::filesystem::path& document) {
    Case made;
    made.document = document;
    made.tables = readTables(std::filesystem::path(document).replace_extension(".rows"));
    std::ifstream file(document);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    std::vector<std::string> classes = allOf(text, "<featureClass [^>]*name=[\"']([^\"']*)");
    std::ranges::transform(classes, classes.begin(), lower);
    for (const Table& table : made.tables)
        if (std::ranges::find(classes, lower(table.title)) != classes.end()) made.runs.push_back(table.title);
    made.computed = allOf(text, "<condition [^>]*field=[\"']([^\"']*)");
    return made;
}

std::vector<std::filesystem::path> documentsOf(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> documents;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (entry.path().extension() == ".cxml") documents.push_back(entry.path());
    std::ranges::sort(documents);
    return documents;
}

std::string lower(std::string text) {
    for (char& letter : text)
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    return text;
}

std::string textOf(double number) {
    return shortest(number);
}

std::string textOf(float number) {
    return shortest(number);
}

double realOf(const std::string& text) {
    return std::strtod(text.c_str(), nullptr);
}

float floatOf(const std::string& text) {
    return std::strtof(text.c_str(), nullptr);
}

std::string canonical(Type type, const std::string& text) {
    switch (type) {
        case Type::Small:
        case Type::Integer:
        case Type::Big:
            return std::to_string(std::stoll(text));
        case Type::Real:
            return textOf(realOf(text));
        case Type::Float:
            return textOf(floatOf(text));
        case Type::Boolean:
            return text == "1" || text == "t" || text == "true" ? "1" : "0";
        case Type::Moment: {
            std::string moment = text.ends_with('Z') ? text.substr(0, text.size() - 1) : text;
            moment.at(10) = 'T';
            if (moment.size() == 19) moment += '.';
            moment.resize(23, '0');
            return moment;
        }
        case Type::Text:
        case Type::Date:
            return text;
    }
    return text;
}

}  // namespace conformance
